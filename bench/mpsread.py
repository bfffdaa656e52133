"""Reads an MPS file (plain or gzip) into a record for the peers that take arrays.

Lines are split at blanks; a file whose data lines cannot be read that way is read by fixed columns.
Kept deliberately apart from the library's own reader, so that the two can be held against each other.
"""
import gzip
import math

INF = math.inf


class Model:
    """min or max c'x + x'Qx/2 + const, rowlo <= A x <= rowup, collo <= x <= colup; A as triplets, Q
    as triplets of one triangle; x[members] in each cone of cones, given as (QUAD or RQUAD, members)."""

    def __init__(self):
        self.name = ""
        self.maximize = False
        self.const = 0.0
        self.rows, self.cols = {}, {}  # name -> index, in order of appearance
        self.kinds = []                # G, L or E by row
        self.c, self.collo, self.colup, self.integer = [], [], [], []
        self.ai, self.aj, self.av = [], [], []
        self.rowlo, self.rowup = [], []
        self.qi, self.qj, self.qv = [], [], []
        self.cones = []


def open_text(path):
    with open(path, "rb") as f:
        raw = f.read()
    if raw[:2] == b"\x1f\x8b":
        raw = gzip.decompress(raw)
    return raw.decode("latin-1").splitlines()


def read(path):
    lines = open_text(path)
    try:
        return _read(lines, _split_blanks)
    except (ValueError, KeyError, IndexError):
        return _read(lines, _split_columns)


def _number(text):
    return float(text.replace("d", "e").replace("D", "e"))


def _is_number(text):
    try:
        _number(text)
        return True
    except ValueError:
        return False


def _split_blanks(line, section):
    """Fields 1 (bound or row type), 2, 3, 4, 5 with '' for what is missing."""
    f = line.split()
    if section == "ROWS":
        return [f[0], f[1]]
    if section == "CSECTION":
        if len(f) != 1:
            raise ValueError(line)
        return f
    if section == "BOUNDS":
        if f[0] in ("FR", "MI", "PL", "BV"):  # no number needed; the vector's name may be missing
            return [f[0], f[1] if len(f) > 2 else "", f[2] if len(f) > 2 else f[1], "", ""]
        if len(f) == 3:
            f.insert(1, "")
        if len(f) != 4:
            raise ValueError(line)
        return f
    if section in ("RHS", "RANGES") and len(f) % 2 == 0:  # an unnamed vector
        f.insert(0, "")
    if len(f) not in (3, 5):
        raise ValueError(line)
    return [""] + f


def _split_columns(line, section):
    line = line.ljust(61)
    f = [line[1:3].strip(), line[4:12].rstrip(), line[14:22].rstrip(), line[24:36].strip(),
         line[39:47].rstrip(), line[49:61].strip()]
    if section == "ROWS":
        return f[:2]
    if section == "CSECTION":
        return f[1:2]
    if section == "BOUNDS":
        return f[:4]
    return f if f[4] else f[:4]


def _read(lines, split):
    m = Model()
    obj, free = None, set()
    section, integer = "", False
    rhs, ran, taken = {}, {}, {}
    loset = set()

    def pairs(f):
        return [(f[k], _number(f[k + 1])) for k in range(2, len(f) - 1, 2)]

    def mine(vector):  # of several vectors of a section the first is taken
        return taken.setdefault(section, vector) == vector

    for line in lines:
        if not line.strip() or line[0] == "*":
            continue
        if line[0] not in " \t":
            f = line.split()
            section = f[0]
            if section == "NAME":
                m.name = f[1] if len(f) > 1 else ""
            elif section == "OBJSENSE" and len(f) > 1:
                m.maximize = f[1].upper().startswith("MAX")
            elif section == "ENDATA":
                break
            elif section == "QSECTION" and (len(f) == 1 or f[1] == obj):
                section = "QUADOBJ"
            elif section == "CSECTION":
                m.cones.append((f[-1].upper(), []))
            elif section not in ("ROWS", "COLUMNS", "RHS", "RANGES", "BOUNDS", "OBJSENSE",
                                 "QUADOBJ", "QMATRIX"):
                raise NotImplementedError("section " + section)
            continue
        if section == "OBJSENSE":
            m.maximize = line.strip().upper().startswith("MAX")
            continue
        f = split(line, section)
        if section == "CSECTION":
            m.cones[-1][1].append(m.cols[f[0]])
        elif section in ("QUADOBJ", "QMATRIX"):
            i = m.cols[f[1]]
            for name, value in pairs(f):
                j = m.cols[name]
                if section == "QUADOBJ" or i >= j:  # QMATRIX holds both triangles
                    m.qi.append(max(i, j))
                    m.qj.append(min(i, j))
                    m.qv.append(value)
        elif section == "ROWS":
            kind, name = f[0].upper(), f[1]
            if kind == "N":
                if obj is None:
                    obj = name
                else:
                    free.add(name)
            elif kind in "GLE":
                m.rows[name] = len(m.kinds)
                m.kinds.append(kind)
            else:
                raise ValueError(line)
        elif section == "COLUMNS":
            if "'MARKER'" in line:
                integer = "'INTORG'" in line
                continue
            j = m.cols.get(f[1])
            if j is None:
                j = m.cols[f[1]] = len(m.c)
                m.c.append(0.0)
                m.collo.append(0.0)
                m.colup.append(INF)
                m.integer.append(integer)
            for row, value in pairs(f):
                if row == obj:
                    m.c[j] += value
                elif row not in free:
                    m.ai.append(m.rows[row])
                    m.aj.append(j)
                    m.av.append(value)
        elif section in ("RHS", "RANGES"):
            if not mine(f[1]):
                continue
            for row, value in pairs(f):
                if row == obj and section == "RHS":
                    m.const = -value
                elif row not in free:
                    (rhs if section == "RHS" else ran)[m.rows[row]] = value
        elif section == "BOUNDS":
            kind, vector, name = f[0].upper(), f[1], f[2]
            j = m.cols[name]
            if not mine(vector):
                continue
            value = _number(f[3]) if kind not in ("FR", "MI", "PL", "BV") else 0.0
            if kind in ("UP", "UI"):
                m.colup[j] = value
                if value < 0 and j not in loset:
                    m.collo[j] = -INF
            elif kind in ("LO", "LI"):
                m.collo[j] = value
                loset.add(j)
            elif kind == "FX":
                m.collo[j] = m.colup[j] = value
            elif kind == "FR":
                m.collo[j], m.colup[j] = -INF, INF
            elif kind == "MI":
                m.collo[j] = -INF
                loset.add(j)
            elif kind == "PL":
                m.colup[j] = INF
            elif kind == "BV":
                m.collo[j], m.colup[j], m.integer[j] = 0.0, 1.0, True
            else:
                raise ValueError(line)
        else:
            raise ValueError(line)
    for i, kind in enumerate(m.kinds):
        b = rhs.get(i, 0.0)
        lo = b if kind in "GE" else -INF
        up = b if kind in "LE" else INF
        if i in ran:
            r = ran[i]
            if kind == "G" or (kind == "E" and r >= 0):
                up = b + abs(r)
            if kind == "L" or (kind == "E" and r < 0):
                lo = b - abs(r)
        m.rowlo.append(lo)
        m.rowup.append(up)
    return m
