#!/usr/bin/env bash
# What a user of the program `zalvo` meets: exit codes, what stands on standard output and what on
# standard error, limits and interrupts.
#   zalvo.sh PROGRAM DATAFOLDER [CASE...]
set -u
program=$1 data=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
out=$folder/out err=$folder/err
failures=0
what=

# run EXITCODE ARGUMENT...: runs the program and compares its exit code.
run() {
  local want=$1 got
  shift
  what="zalvo $*"
  "$program" "$@" >"$out" 2>"$err" </dev/null
  got=$?
  [ "$got" = "$want" ] || fail "exit code $got, expected $want"
}
fail() {
  failures=$((failures + 1))
  printf 'FAILED: %s: %s\n-- standard output\n' "$what" "$1"
  head -c 1500 "$out"
  printf '\n-- standard error\n'
  head -c 1500 "$err"
  printf '\n'
}
says() { grep -qF -- "$2" "$1" || fail "does not say '$2'"; }
says_nothing() { [ ! -s "$1" ] || fail "says something"; }

# json PYTHON: the output is one JSON object with the promised fields; PYTHON is an assertion on o.
json() {
  python3 - "$out" "$1" <<'PY' || fail "JSON"
import json, sys
text = open(sys.argv[1], encoding="utf-8").read()
o = json.loads(text)
want = ["file", "name", "rows", "cols", "nonzeros", "problem_type", "optimizer", "response",
        "response_text", "problem_status", "solution_status", "objective", "dual_objective",
        "primal_infeasibility", "dual_infeasibility", "iterations", "seconds", "threads", "version"]
assert list(o) == want, list(o)
assert list(o["iterations"]) == ["interior", "simplex", "nodes"], o
assert list(o["seconds"]) == ["read", "presolve", "optimize", "total"], o
assert text.count("\n") == 1 and text.endswith("\n"), "not one line"
assert eval("(" + sys.argv[2] + ")"), (sys.argv[2], o)
PY
}

case_answers() {
  run 0 "$data/small.mps"
  says "$out" "Interior-point optimizer started."
  says "$out" "Solution status : OPTIMAL"
  says_nothing "$err"
  run 0 "$data/infeasrows.mps"
  says "$out" "PRIMAL_INFEASIBLE_CER"
  run 0 --quiet "$data/small.mps"
  says_nothing "$out"
  says_nothing "$err"
  run 1 -p ZLV_IPAR_INTPNT_MAX_ITERATIONS=1 "$data/planning.mps"
  run 1 --time-limit 0 "$data/planning.mps"
  says "$out" "Solution status"
}

case_json() {
  run 0 --json "$data/small.mps"
  json 'abs(o["objective"] + 36) < 1e-4 and abs(o["dual_objective"] + 36) < 1e-4 and
        o["rows"] == 3 and o["cols"] == 2 and o["nonzeros"] == 4 and o["response"] == 0 and
        o["solution_status"] == "OPTIMAL" and o["iterations"]["interior"] > 0 and
        o["primal_infeasibility"] <= 1e-6 and o["dual_infeasibility"] <= 1e-6 and
        o["seconds"]["total"] >= o["seconds"]["read"] and o["file"].endswith("small.mps")'
  says_nothing "$err"
  run 0 --json "$data/infeasrows.mps"
  json 'o["objective"] is None and o["dual_infeasibility"] <= 1e-6 and
        o["problem_status"] == "PRIMAL_INFEASIBLE"'
  run 0 --json "$data/unbounded.mps"
  json 'o["objective"] is None and o["primal_infeasibility"] <= 1e-6'
  run 1 --json --time-limit 0 "$data/planning.mps"
  json 'o["response"] == 4001'
  run 2 --json "$folder/missing.mps"
  json 'o["response"] >= 1000 and o["objective"] is None and o["response_text"] != ""'
  says "$err" "missing.mps"
  local odd="$folder/ a \"b\" \\ $(printf '\t')é.mps"
  cp "$data/small.mps" "$odd"
  run 0 --json "$odd"
  json 'o["file"].endswith(" a \"b\" \\ \té.mps")'
}

case_usage() {
  run 0 --version
  grep -qE '^zalvo [0-9]+\.[0-9]+\.[0-9]+\.[0-9]+$' "$out" || fail "no version"
  run 0 --help
  local option
  for option in -p --params --optimizer --threads --time-limit --write --compare --quiet --json --version \
    --help; do
    says "$out" "$option"
  done
  run 2
  run 2 --no-such-option "$data/small.mps"
  says "$err" "no-such-option"
  run 2 "$data/small.mps" "$data/bounds.mps"
  run 2 --threads 0 "$data/small.mps"
  run 2 --threads many "$data/small.mps"
  run 2 --time-limit -3 "$data/small.mps"
  run 2 --optimizer fastest "$data/small.mps"
  run 2 -p ZLV_IPAR_INTPNT_MAX_ITERATION=3 "$data/small.mps"  # the nearest name is told
  cat "$out" "$err" >"$folder/both"
  says "$folder/both" "ZLV_IPAR_INTPNT_MAX_ITERATIONS"
  run 2 -p ZLV_IPAR_INTPNT_MAX_ITERATIONS=-3 "$data/small.mps"
  run 2 -p ZLV_IPAR_INTPNT_MAX_ITERATIONS=few "$data/small.mps"
  run 2 -p ZLV_IPAR_LOG "$data/small.mps"
  run 2 --params "$folder/missing.par" "$data/small.mps"
}

case_files() {
  run 2 "$folder/missing.mps"
  run 2 "$folder"
  run 2 "$data/INDEX.tsv"
  head -c 200 "$data/planning.mps" >"$folder/cut.mps"
  run 2 "$folder/cut.mps"
  printf '\037\213\010\000garbage' >"$folder/garbage.mps.gz"
  run 2 "$folder/garbage.mps.gz"
  : >"$folder/empty.mps"
  run 2 "$folder/empty.mps"
  mkdir "$folder/with blanks"
  gzip -c "$data/small.mps" >"$folder/with blanks/a model.mps.gz"
  run 0 "$folder/with blanks/a model.mps.gz"
  printf 'BEGIN ZALVO\nZLV_IPAR_INTPNT_MAX_ITERATIONS 1\nEND ZALVO\n' >"$folder/one iteration.par"
  run 1 --params "$folder/one iteration.par" "$data/planning.mps"
}

case_compare() {
  local format
  run 0 --write "$folder/a.lp" "$data/planning.mps"
  for format in opf mbt.gz mps; do  # each is read from the one before it
    run 0 --quiet --write "$folder/b.$format" "$folder/a.lp"
    run 0 --compare "$data/planning.mps" "$folder/b.$format"
    says "$out" "The problems are the same"
  done
  sed '0,/ <= /s// >= /' "$folder/a.lp" >"$folder/c.lp"
  run 1 --compare "$folder/a.lp" "$folder/c.lp"
  says "$out" ", bounds: "
  says "$out" "The problems differ in 1 place."
  run 1 --quiet --compare "$folder/a.lp" "$data/small.mps"
  says_nothing "$out"
  run 2 --compare "$folder/a.lp" "$folder/none.lp"
  run 2 --compare "$folder/a.lp"
  run 2 --compare "$folder/a.lp" "$folder/c.lp" "$data/small.mps"
  # what the command line says counts more than what a file brings with it
  run 0 --quiet -p ZLV_IPAR_WRITE_PRECISION=3 --write "$folder/d.mbt" "$data/planning.mps"
  run 0 --quiet --write "$folder/e.mps" "$folder/d.mbt"
  run 0 --compare "$folder/e.mps" "$data/planning.mps"
}

case_output() {  # standard output that takes nothing is told
  local got
  [ -w /dev/full ] || return 0
  for what in "" --json; do
    "$program" $what "$data/small.mps" >/dev/full 2>"$err"
    got=$?
    [ "$got" = 3 ] || fail "exit code $got with a full standard output, expected 3"
    says "$err" "standard output"
  done
}

# A model that keeps the optimizer busy for seconds: rows with random entries all over.
big_model() {
  python3 - "$1" <<'PY'
import random, sys
random.seed(3)
m, n, per = 2500, 5000, 8
with open(sys.argv[1], "w") as f:
    f.write("NAME\nROWS\n N c\n" + "".join(f" E r{i}\n" for i in range(m)) + "COLUMNS\n")
    rhs = [0.0] * m
    for j in range(n):
        x = random.random()
        f.write(f" x{j} c {random.random():.6f}\n")
        for i in sorted(random.sample(range(m), per)):
            a = round(random.uniform(-1, 1), 6)
            rhs[i] += a * x
            f.write(f" x{j} r{i} {a}\n")
    f.write("RHS\n" + "".join(f" b r{i} {rhs[i]:.12g}\n" for i in range(m)) + "ENDATA\n")
PY
}

case_interrupt() {
  big_model "$folder/big.mps"
  local option pid got
  for option in --json ""; do
    what="interrupt $option"
    (trap - INT; exec "$program" $option "$folder/big.mps") >"$out" 2>"$err" &
    pid=$!
    sleep 1.5
    if ! kill -INT "$pid" 2>/dev/null; then
      echo "The model was solved too fast to interrupt."
      wait "$pid"
      continue
    fi
    wait "$pid"
    got=$?
    if [ "$got" = 0 ]; then
      echo "The model was solved too fast to interrupt."
    elif [ "$got" != 1 ]; then
      fail "exit code $got, expected 1"
    elif [ -n "$option" ]; then
      json 'o["response"] == 4005'
    else
      says "$out" "Optimizer"
    fi
  done
  what="time limit"
  local start
  run 1 --json --time-limit 0.5 "$folder/big.mps"
  json 'o["response"] == 4001'
}

[ $# -gt 0 ] || set -- answers json usage files compare output interrupt
for c in "$@"; do "case_$c"; done
[ "$failures" = 0 ] && exit 0
echo "$failures checks failed"
exit 1
