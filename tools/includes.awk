# Walks the include lines of the sources given as arguments (paths relative to the root) and prints
# each that goes up a floor, across a floor, or past the public interface. Exit 1 when there is one.
# An include goes only downwards; rooms of one floor do not include each other, so that no cycle of
# folders can arise.
BEGIN {
  nfloor = split("cpub|misc|lalib|order|kfac lu|homo simplex basic prslv|optimize mio|zalvo", row, "|")
  for (i = 1; i <= nfloor; ++i) {
    n = split(row[i], name, " ")
    for (k = 1; k <= n; ++k) level[name[k]] = i
  }
}

function fault(text) {
  printf "%s:%d: %s\n", FILENAME, FNR, text
  ++faults
}

FNR == 1 {  # where the file lives: src/ROOM/.., or another top folder
  split(FILENAME, part, "/")
  top = part[1]
  room = (top == "src" && part[3] != "") ? part[2] : ""
  if (room != "" && !(room in level)) fault("room '" room "' has no floor in tools/includes.awk")
}

/^[ \t]*#[ \t]*include[ \t]*["<]/ {
  target = $0
  sub(/^[^"<]*["<]/, "", target)
  sub(/[">].*$/, "", target)
  split(target, part, "/")
  other = (part[2] != "" && (part[1] in level)) ? part[1] : ""
  if (target ~ /^\.\.?\//) fault("include from the source folder, not by a relative path: " target)
  if (top == "src" && room != "") {
    if (target == "zalvo.h" && level[room] < level["optimize"])
      fault("below the gate nothing knows the C interface")
    if (other != "" && other != room && level[other] > level[room])
      fault("include goes up from " room " to " other)
    if (other != "" && other != room && level[other] == level[room])
      fault(room " and " other " are on one floor")
  } else if (other != "" && (top == "apps" || top == "examples" || FILENAME ~ /^tests\/(api|solve)\//)) {
    fault("only the public header is known here, not " target)
  }
}

END { exit faults > 0 }
