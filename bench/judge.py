"""How good a solution file is, computed from the model as mpsread reads it: nothing here asks the
library. Signs are those of minimization; a maximization problem is turned round first. Sums that
vanish count from what rounding of their terms, as doubles are stored, makes of them."""
import numpy as np

DROPPED = 1e-12  # default of ZLV_DPAR_DATA_TOL_AIJ: smaller entries of A are not part of the problem
ULP = 2.0 ** -52  # part of the magnitudes of its terms that a vanishing sum may miss: doubles are no finer
ROOT2 = np.sqrt(2.0)


class Solution:
    """Activities and multipliers of rows (slc, suc, y) and columns (x, slx, sux, snx)."""


def _section(lines, at, numvalue):
    """Numbers of the section with its title at lines[at]; names may hold blanks, so fields count from
    the right."""
    end = lines.index("", at) if "" in lines[at:] else len(lines)
    values = np.array([line.split()[-numvalue:] for line in lines[at + 2:end]])
    if len(values) == 0:
        return np.zeros((numvalue, 0))
    values[values == "NONE"] = "nan"
    return values.astype(float).T


def read_solution(path):
    with open(path, encoding="latin-1") as f:
        lines = f.read().splitlines()
    con, var = lines.index("CONSTRAINTS"), lines.index("VARIABLES")
    s = Solution()
    s.xc, _, _, s.slc, s.suc, s.y = _section(lines, con, 6)
    hascones = "CONIC" in lines[var + 1]
    columns = _section(lines, var, 6 if hascones else 5)
    s.x, s.slx, s.sux = columns[0], columns[3], columns[4]
    s.snx = columns[5] if hascones else np.zeros(len(s.x))
    return s


def scatter(at, values, size):
    """Sums of values by position, in extended precision: multipliers may be 1e8 and cancel."""
    sums = np.zeros(size, dtype=np.longdouble)
    np.add.at(sums, at, values)
    return sums


def norm(v):
    return float(np.max(np.abs(v))) if len(v) else 0.0


def finite_norm(*vectors):
    return max([norm(v[np.isfinite(v)]) for v in vectors], default=0.0)


def cone_parts(kind, z):
    """Head and tail norm of z as member of a quadratic cone; a rotated one is turned into it."""
    if kind == "QUAD":
        return z[0], float(np.linalg.norm(z[1:]))
    return (z[0] + z[1]) / ROOT2, float(np.hypot((z[0] - z[1]) / ROOT2, np.linalg.norm(z[2:])))


def bound_measures(value, lower, upper, sl, su, noise=0.0):
    """(violation of bounds above noise, violation of signs, largest product, dual objective) of rows or columns."""
    haslo, hasup = np.isfinite(lower), np.isfinite(upper)
    below = np.where(haslo, lower - value, 0.0)
    above = np.where(hasup, value - upper, 0.0)
    wrong = np.concatenate([np.where(haslo, -sl, np.abs(sl)), np.where(hasup, -su, np.abs(su))])
    isfixed = lower == upper
    pairs = np.concatenate([np.where(isfixed, 0.0, below * sl), np.where(isfixed, 0.0, above * su)])
    dual = np.sum(np.where(haslo, lower, 0.0) * sl) - np.sum(np.where(hasup, upper, 0.0) * su)
    worst = max(np.max(below - noise, initial=0.0), np.max(above - noise, initial=0.0))
    return float(worst), float(np.max(wrong, initial=0.0)), norm(pairs), float(dual)


def measures(m, s):
    """Absolute and relative measures of an optimal solution s of model m.
    primal   rows, bounds and cones; dual: stationarity, signs and dual cones; comp: the largest
             product of a pair, of a cone its inner product; gap: of the objectives
    Relative ones (rprimal, ...) are divided by 1 + the largest right-hand side or bound, by 1 + the
    largest cost, and by 1 + the smaller of the objectives."""
    sign = -1.0 if m.maximize else 1.0
    n, numrow = len(m.c), len(m.kinds)
    c = sign * np.array(m.c)
    ai, aj, av = np.array(m.ai, dtype=int), np.array(m.aj, dtype=int), np.array(m.av)
    av = np.where(np.abs(av) <= DROPPED, 0.0, av)
    rowlo, rowup = np.array(m.rowlo), np.array(m.rowup)
    collo, colup = np.array(m.collo), np.array(m.colup)
    x = s.x.astype(np.longdouble)
    y, slc, suc, slx, sux, snx = (sign * v.astype(np.longdouble)
                                  for v in (s.y, s.slc, s.suc, s.slx, s.sux, s.snx))
    act = scatter(ai, av * x[aj], numrow)
    aty = scatter(aj, av * y[ai], n)
    qi, qj = np.array(m.qi, dtype=int), np.array(m.qj, dtype=int)
    qv = sign * np.array(m.qv)
    off = qi != qj
    qx = scatter(qi, qv * x[qj], n) + scatter(qj[off], (qv * x[qi])[off], n)
    actnoise = ULP * scatter(ai, np.abs(av * x[aj]), numrow)
    dualnoise = ULP * (np.abs(c) + np.abs(slx) + np.abs(sux) + scatter(aj, np.abs(av * y[ai]), n) +
                       scatter(qi, np.abs(qv * x[qj]), n) +
                       scatter(qj[off], np.abs(qv * x[qi])[off], n))
    stationarity = np.abs(c + qx - aty - slx + sux - snx) - dualnoise
    rows = bound_measures(act, rowlo, rowup, slc, suc, actnoise)
    columns = bound_measures(x, collo, colup, slx, sux)
    primal, dual = max(rows[0], columns[0]), max(rows[1], columns[1])
    comp = max(rows[2], columns[2])
    ismember = np.zeros(n, dtype=bool)
    for kind, members in m.cones:
        ismember[members] = True
        head, tail = cone_parts(kind, x[members])
        primal = max(primal, tail - head)
        dhead, dtail = cone_parts(kind, snx[members])
        dual = max(dual, dtail - dhead)
        comp = max(comp, abs(float(x[members] @ snx[members])))
    dual = max(dual, norm(snx[~ismember]), norm(y - slc + suc), np.max(stationarity, initial=0.0))
    half = float(x @ qx) / 2
    pobj = float(c @ x) + half
    dobj = rows[3] + columns[3] - half
    gap = abs(pobj - dobj)
    scale = 1.0 + min(abs(pobj + sign * m.const), abs(dobj + sign * m.const))
    worst = {"primal": primal, "dual": dual, "comp": comp, "gap": gap,
             "rprimal": primal / (1.0 + finite_norm(rowlo, rowup, collo, colup)),
             "rdual": dual / (1.0 + norm(c)), "rcomp": comp / scale, "rgap": gap / scale}
    worst["objective"] = sign * pobj + m.const
    return {name: float(value) for name, value in worst.items()}
