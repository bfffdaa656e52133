"""What bench/qp.py and bench/conic.py share: one run of zalvo with its solution judged on the model,
the peers on the same model, tables and summaries.

Peers: CVXOPT, and ECOS and SCS where Python has them. Time of a peer is that of its solve call alone
and stands beside our optimizer's time; it counts as optimal when its objective is within --tol of the
index (of ours for a generated problem).
"""
import argparse
import importlib.util
import json
import math
import os
import sys
import tempfile
import time

import common
import mpsread
from common import show

ENTRY = os.path.abspath(__file__)
PEERS = {"cvxopt": "cvxopt", "ecos": "ecos", "scs": "scs"}
TIGHT = 1e-9
# parameters of the tolerances (primal, dual, gap) with their defaults, by kind
TOLERANCES = {
    "qp": {"ZLV_DPAR_INTPNT_TOL_PFEAS": 1e-10, "ZLV_DPAR_INTPNT_TOL_DFEAS": 1e-10,
           "ZLV_DPAR_INTPNT_TOL_REL_GAP": 1e-8},
    "socp": {"ZLV_DPAR_INTPNT_CO_TOL_PFEAS": 1e-8, "ZLV_DPAR_INTPNT_CO_TOL_DFEAS": 1e-8,
             "ZLV_DPAR_INTPNT_CO_TOL_REL_GAP": 1e-8},
}


# ---- Peers: min c'x + x'Px/2 with A x = b and h - G x in a product of the nonnegative orthant and cones

class Standard:
    def __init__(self, m):
        self.n = len(m.c)
        self.sign = -1.0 if m.maximize else 1.0
        self.c = [self.sign * v for v in m.c]
        self.p = ([], [], [])
        for i, j, v in zip(m.qi, m.qj, m.qv):
            self._add(self.p, i, j, self.sign * v)
            if i != j:
                self._add(self.p, j, i, self.sign * v)
        self.g, self.h, self.a, self.b = ([], [], []), [], ([], [], []), []
        byrow = [[] for _ in m.kinds]
        for i, j, v in zip(m.ai, m.aj, m.av):
            byrow[i].append((j, v))
        for entries, lo, up in ([(byrow[i], m.rowlo[i], m.rowup[i]) for i in range(len(m.kinds))] +
                                [([(j, 1.0)], m.collo[j], m.colup[j]) for j in range(self.n)]):
            if lo == up:
                self._put(self.a, self.b, entries, 1.0, lo)
                continue
            if lo > -math.inf:
                self._put(self.g, self.h, entries, -1.0, -lo)
            if up < math.inf:
                self._put(self.g, self.h, entries, 1.0, up)
        self.numlinear = len(self.h)
        root = 1.0 / math.sqrt(2.0)
        for kind, members in m.cones:
            rest = members
            if kind == "RQUAD":
                x, z = members[:2]
                self._put(self.g, self.h, [(x, -root), (z, -root)], 1.0, 0.0)
                self._put(self.g, self.h, [(x, -root), (z, root)], 1.0, 0.0)
                rest = members[2:]
            for j in rest:
                self._put(self.g, self.h, [(j, -1.0)], 1.0, 0.0)
        self.sizes = [len(members) for _, members in m.cones]

    @staticmethod
    def _add(triplets, i, j, v):
        triplets[0].append(i), triplets[1].append(j), triplets[2].append(v)

    def _put(self, triplets, side, entries, scale, bound):
        for j, v in entries:
            self._add(triplets, len(side), j, scale * v)
        side.append(bound)


def solve_cvxopt(s, limit):
    import cvxopt
    import cvxopt.solvers

    def sparse(t, rows):
        return cvxopt.spmatrix(t[2], t[0], t[1], (rows, s.n))

    def dense(v):
        return cvxopt.matrix(v, tc="d", size=(len(v), 1))

    g, a = sparse(s.g, len(s.h)), sparse(s.a, len(s.b))
    dims = {"l": s.numlinear, "q": s.sizes, "s": []}
    cvxopt.solvers.options["show_progress"] = False
    start = time.perf_counter()
    try:
        if s.p[0]:
            r = cvxopt.solvers.coneqp(sparse(s.p, s.n), dense(s.c), g, dense(s.h), dims, a, dense(s.b))
        else:
            r = cvxopt.solvers.conelp(dense(s.c), g, dense(s.h), dims, a, dense(s.b))
        status, objective, count = r["status"], r["primal objective"], r["iterations"]
    except (ValueError, ArithmeticError) as fault:
        status, objective, count = str(fault)[:20], None, None
    return status, time.perf_counter() - start, objective, count


def solve_ecos(s, limit):
    import ecos
    import numpy as np
    import scipy.sparse as sp
    g = sp.csc_matrix((s.g[2], (s.g[0], s.g[1])), shape=(len(s.h), s.n))
    a = sp.csc_matrix((s.a[2], (s.a[0], s.a[1])), shape=(len(s.b), s.n))
    start = time.perf_counter()
    r = ecos.solve(np.array(s.c), g, np.array(s.h), {"l": s.numlinear, "q": s.sizes}, a,
                   np.array(s.b), verbose=False)
    info = r["info"]
    status = "optimal" if info["exitFlag"] == 0 else "exit %d" % info["exitFlag"]
    return status, time.perf_counter() - start, float(info["pcost"]), int(info["iter"])


def solve_scs(s, limit):
    import numpy as np
    import scipy.sparse as sp
    import scs
    rows = len(s.b) + len(s.h)
    i = s.a[0] + [k + len(s.b) for k in s.g[0]]
    data = {"A": sp.csc_matrix((s.a[2] + s.g[2], (i, s.a[1] + s.g[1])), shape=(rows, s.n)),
            "b": np.array(s.b + s.h), "c": np.array(s.c)}
    if s.p[0]:
        data["P"] = sp.triu(sp.csc_matrix((s.p[2], (s.p[0], s.p[1])), shape=(s.n, s.n)), format="csc")
    start = time.perf_counter()
    r = scs.SCS(data, {"z": len(s.b), "l": s.numlinear, "q": s.sizes}, eps_abs=1e-8, eps_rel=1e-8,
                time_limit_secs=limit, max_iters=10**8, verbose=False).solve()
    info = r["info"]
    status = "optimal" if info["status"] == "solved" else info["status"]
    return status, time.perf_counter() - start, float(info["pobj"]), int(info["iter"])


def peer_one(peer, path, limit):
    """In a process of its own: one instance; prints a JSON object."""
    m = mpsread.read(path)
    s = Standard(m)
    solve = {"cvxopt": solve_cvxopt, "ecos": solve_ecos, "scs": solve_scs}[peer]
    status, seconds, objective, count = solve(s, limit)
    if objective is not None:
        objective = s.sign * objective + m.const
    print(json.dumps({"status": status, "seconds": seconds, "objective": objective,
                      "iterations": count}))


def judge_one(path, file):
    """In a process of its own: prints the measures of a solution file as a JSON object."""
    import judge
    print(json.dumps(judge.measures(mpsread.read(path), judge.read_solution(file))))


def run_peer(args, peer, path):
    command = [sys.executable, ENTRY, peer, path, str(args.limit)]
    _, out, _, _, peak = common.run(command, args.limit)  # its grace is for reading, which is Python's
    try:
        answer = json.loads(out.strip().splitlines()[-1])
    except (ValueError, IndexError):
        answer = {"status": "none", "seconds": None, "objective": None, "iterations": None}
    answer["peak"] = peak
    if answer["seconds"] is not None and answer["seconds"] > args.limit:
        answer["status"] = "limit"
    return answer


# ---- One instance

def run_judged(args, kind, path):
    """A run of zalvo, with measures of its solution under "true" when it is called optimal."""
    asked = dict(TOLERANCES[kind])
    options = []
    if args.tight:
        asked = {name: min(value, TIGHT) for name, value in asked.items()}
    for setting in args.p:
        name, _, value = setting.partition("=")
        if name in asked:
            asked[name] = float(value)
    for name, value in asked.items():
        options += ["-p", "%s=%g" % (name, value)]
    with tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, "out.itr")
        row = common.run_zalvo(args, path, options + ["--solution", file])
        row["asked"] = list(asked.values())
        if row["status"].lower() in ("optimal", "near_optimal"):  # apart, or its memory counts as the next run's
            _, out, err, _, _ = common.run([sys.executable, ENTRY, "judge", path, file], 600.0)
            if not out:
                raise RuntimeError(err)
            row["true"] = json.loads(out)
    return row


def untrue(row):
    """What of an "optimal" does not hold on the original data at the tolerances asked."""
    true = row.get("true")
    if row["status"].lower() != "optimal" or true is None:
        return []
    primal, dual, gap = row["asked"]
    return ["%s %.1e of %.0e" % (name, true[key], tol)
            for name, key, tol in (("primal", "rprimal", primal), ("dual", "rdual", dual),
                                   ("gap", "rgap", gap), ("comp", "rcomp", gap))
            if not true[key] <= tol]


def fault_of(row, reference, tol):
    """None when the row is optimal with the objective of the index, else what is wrong."""
    if row["status"].lower() != "optimal":
        return "status " + row["status"]
    row["error"] = common.relative(row["true"]["objective"], reference)
    if row["error"] is not None and not row["error"] <= tol:
        return "objective"
    return None


# ---- Tables

def table(rows, peers):
    head = ["instance", "rows", "cols", "status", "obj.err", "primal", "dual", "comp", "gap", "iter",
            "sec", "opt.sec", "MiB"]
    for p in peers:
        head += [p + ".iter", p + ".sec", p + ".err"]
    lines = [head + ["verdict"]]
    for r in rows:
        z = r["zalvo"]
        true = z.get("true", {})
        line = [r["name"], r["rows"], r["cols"], z["status"], show(z.get("error"), "%.1e")]
        line += [show(true.get(key), "%.1e") for key in ("rprimal", "rdual", "rcomp", "rgap")]
        line += [show(z.get("iterations"), "%d"), show(z["seconds"], "%.3f"),
                 show(z.get("solve"), "%.3f"), "%.0f" % (z["peak"] / 1024)]
        for p in peers:
            q = r[p]
            line += [show(q.get("iterations"), "%d"), show(q["seconds"], "%.3f"),
                     show(q.get("error"), "%.1e") if q["status"] == "optimal" else q["status"]]
        lines.append(line + [r["fault"] or "ok"])
    return lines


def best_peer(row, peers, tol):
    """Seconds of the fastest peer that is right, None when none is."""
    right = [row[p]["seconds"] for p in peers
             if row[p]["status"] == "optimal" and (row[p]["error"] or 0.0) <= tol]
    return min(right, default=None)


def summary(rows, peers, args):
    passed = [r for r in rows if not r["fault"]]
    optima = [r for r in passed if r["zalvo"]["status"].lower() == "optimal"]
    yield "%d of %d instances pass, %d of them optimal" % (len(passed), len(rows), len(optima))
    if optima:
        yield ("shifted geometric means over the optima: %.4f s in all, %.4f s optimizing, %.1f iterations"
               % (common.geometric([r["zalvo"]["seconds"] for r in optima]),
                  common.geometric([r["zalvo"]["solve"] for r in optima]),
                  common.geometric([float(r["zalvo"]["iterations"]) for r in optima])))
    for p in list(peers) + (["best peer"] if len(peers) > 1 else []):
        both = [(r, best_peer(r, peers if p == "best peer" else [p], args.tol)) for r in optima]
        both = [(r["zalvo"]["solve"], t, r["name"]) for r, t in both if t is not None]
        yield "%s: optimal on %d of these" % (p, len(both))
        if both:
            mine, theirs = (common.geometric([b[k] for b in both]) for k in (0, 1))
            yield "  on them: zalvo %.4f s, %s %.4f s, ratio %.2f" % (mine, p, theirs, mine / theirs)
            slower = [name for a, b, name in both if a > b]
            if slower:
                yield "  slower on: " + " ".join(slower)
    judged = [r for r in rows if r["zalvo"]["status"].lower() == "optimal"]
    wrong = [(r["name"], untrue(r["zalvo"])) for r in judged]
    wrong = [(name, faults) for name, faults in wrong if faults]
    yield ("%d of %d optimal solutions are true on the original data at the tolerances asked" %
           (len(judged) - len(wrong), len(judged)))
    for name, faults in wrong:
        yield "  %s: %s" % (name, ", ".join(faults))
    for r in rows:
        if "near" in r["zalvo"]["status"].lower():
            true = r["zalvo"]["true"]
            yield ("near optimal: %s, primal %.1e dual %.1e gap %.1e" %
                   (r["name"], true["rprimal"], true["rdual"], true["rgap"]))


# ---- The program

def arguments(doc, peers):
    parser = argparse.ArgumentParser(description=doc.split("\n\n")[0])
    parser.add_argument("--zalvo", default="build/release/apps/zalvo")
    parser.add_argument("--data", default=os.environ.get("ZALVO_DATA"))
    parser.add_argument("--limit", type=float, default=60.0, help="seconds for each run")
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--tol", type=float, default=1e-6, help="relative error of the objective")
    parser.add_argument("--tight", action="store_true", help="tolerances of %g" % TIGHT)
    parser.add_argument("--peers", default=peers, help="comma-separated; empty for none")
    parser.add_argument("--tsv", help="also write the table to this file")
    parser.add_argument("-p", action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("names", nargs="*")
    return parser


def available(args):
    return [p for p in args.peers.split(",") if p in PEERS and importlib.util.find_spec(PEERS[p])]


def progress(count, total, name):
    if sys.stderr.isatty():
        print("\r%d/%d %-24s" % (count, total, name), end="", file=sys.stderr)


def run_index(args, kind, peers, accept=None):
    """Rows of all instances of the index of this kind; accept may pass a row for its own reason."""
    index = common.index_of(args.data, [kind], args.names)
    unknown = set(args.names) - {e["name"] for e in index}
    if unknown or not index:
        raise SystemExit("not in the index: " + (" ".join(sorted(unknown)) or kind))
    rows = []
    for e in index:
        path = os.path.join(args.data, kind, e["name"] + ".mps.gz")
        reference = float(e["objective"])
        row = {"name": e["name"], "rows": e["rows"], "cols": e["cols"],
               "zalvo": run_judged(args, kind, path)}
        if not (accept and accept(row["zalvo"], e)):
            row["fault"] = fault_of(row["zalvo"], reference, args.tol)
        else:
            row["fault"] = None
        for p in peers:
            row[p] = run_peer(args, p, path)
            row[p]["error"] = common.relative(row[p]["objective"], reference)
        rows.append(row)
        progress(len(rows), len(index), e["name"])
    return rows


def report(args, rows, peers):
    lines = table(rows, peers)
    print("\n".join(common.aligned(lines)))
    print("\n".join(summary(rows, peers, args)))
    if args.tsv:
        common.write_tsv(args.tsv, lines)


if __name__ == "__main__":
    if sys.argv[1] == "judge":
        judge_one(sys.argv[2], sys.argv[3])
    else:
        peer_one(sys.argv[1], sys.argv[2], float(sys.argv[3]))
