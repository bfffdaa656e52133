#!/usr/bin/env python3
"""Whole convex quadratic problems: runs every instance of a data folder through `zalvo --json`, holds
status, objective and violations against the folder's index, and sets times beside those of CVXOPT.

    bench/qp.py [--zalvo PROGRAM] [--data DIR] [--limit S] [--threads N] [--peers cvxopt]
                [--tsv FILE] [-p NAME=VALUE] [NAME...]

DIR (default $ZALVO_DATA) holds qp/NAME.mps.gz and INDEX.tsv, as bench/lp.py wants them. The time of
CVXOPT is that of its solve call alone, with its default tolerances, and stands beside our optimizer's
time; it counts as optimal when its objective is within --tol of the index. Exit code 1 when an instance
does not pass. Where the index says that a strict convexity check refuses a problem, refusing it passes.
"""
import argparse
import csv
import importlib.util
import json
import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import lp

NONCONVEX = 1291  # the response code


def cvxopt_one(path):
    """In a process of its own: one instance; prints a JSON object."""
    import cvxopt
    import cvxopt.solvers

    import mpsread
    m = mpsread.read(path)
    n, rows = len(m.c), len(m.kinds)
    sign = -1.0 if m.maximize else 1.0
    qi, qj, qv = list(m.qi), list(m.qj), list(m.qv)
    for i, j, v in zip(m.qi, m.qj, m.qv):
        if i != j:
            qi.append(j), qj.append(i), qv.append(v)
    q = cvxopt.spmatrix([sign * v for v in qv], qi, qj, (n, n))
    isequal = [lo == up for lo, up in zip(m.rowlo, m.rowup)]
    byrow = [[] for _ in range(rows)]
    for i, j, v in zip(m.ai, m.aj, m.av):
        byrow[i].append((j, v))
    le, eq = ([], [], [], []), ([], [], [], [])  # rows, columns, values, right-hand sides

    def put(system, entries, scale, bound):
        for j, v in entries:
            system[0].append(len(system[3])), system[1].append(j), system[2].append(scale * v)
        system[3].append(scale * bound)

    bounded = [(byrow[i], m.rowlo[i], m.rowup[i], isequal[i]) for i in range(rows)]
    bounded += [([(j, 1.0)], m.collo[j], m.colup[j], m.collo[j] == m.colup[j]) for j in range(n)]
    for entries, lo, up, fixed in bounded:
        if fixed:
            put(eq, entries, 1.0, lo)
            continue
        if lo > -lp.math.inf:
            put(le, entries, -1.0, lo)
        if up < lp.math.inf:
            put(le, entries, 1.0, up)
    g = cvxopt.spmatrix(le[2], le[0], le[1], (len(le[3]), n))
    a = cvxopt.spmatrix(eq[2], eq[0], eq[1], (len(eq[3]), n))
    cvxopt.solvers.options["show_progress"] = False
    start = time.perf_counter()
    try:
        r = cvxopt.solvers.qp(q, cvxopt.matrix([sign * v for v in m.c]), g,
                              cvxopt.matrix(le[3], tc="d", size=(len(le[3]), 1)), a,
                              cvxopt.matrix(eq[3], tc="d", size=(len(eq[3]), 1)))
        status, objective = r["status"], r["primal objective"]
        iterations = r["iterations"]
    except (ValueError, ArithmeticError) as fault:
        status, objective, iterations = str(fault)[:20], None, None
    seconds = time.perf_counter() - start
    if objective is not None:
        objective = sign * objective + m.const
    print(json.dumps({"status": status, "seconds": seconds, "objective": objective,
                      "iterations": iterations}))


def run_cvxopt(args, path):
    command = [sys.executable, os.path.abspath(__file__), "--cvxopt-one", path]
    _, out, _, _, peak = lp.run(command, args.limit + 30.0)  # reading is Python's, and slow
    try:
        answer = json.loads(out.strip().splitlines()[-1])
    except (ValueError, IndexError):
        answer = {"status": "none", "seconds": None, "objective": None}
    answer["peak"] = peak
    if answer["seconds"] is not None and answer["seconds"] > args.limit:
        answer["status"] = "limit"
    return answer


def fault_of(row, expected, tol):
    if row.get("response") == NONCONVEX and "convexity check refuses" in (expected.get("notes") or ""):
        row["status"] = "refused"
        return None
    return lp.passes(row, expected, tol)


def summary(rows, peers, tol):
    passed = [r for r in rows if not r["fault"]]
    optima = [r for r in passed if r["zalvo"]["status"] != "refused"]
    yield "%d of %d instances pass, %d of them optimal" % (len(passed), len(rows), len(optima))
    if optima:
        yield ("shifted geometric means over the optima: %.4f s in all, %.4f s optimizing, %.1f iterations"
               % (lp.geometric([r["zalvo"]["seconds"] for r in optima]),
                  lp.geometric([r["zalvo"]["solve"] for r in optima]),
                  lp.geometric([float(r["zalvo"]["iterations"]) for r in optima])))
    for p in peers:
        both = [r for r in optima if r[p]["status"] == "optimal" and r[p]["error"] <= tol]
        yield "%s: optimal on %d" % (p, len(both))
        if both:
            mine = lp.geometric([r["zalvo"]["solve"] for r in both])
            theirs = lp.geometric([r[p]["seconds"] for r in both])
            yield "  on these: zalvo %.4f s, %s %.4f s, ratio %.2f" % (mine, p, theirs, mine / theirs)
            yield ("  iterations: zalvo %.1f, %s %.1f" %
                   (lp.geometric([r["zalvo"]["iterations"] for r in both]), p,
                    lp.geometric([r[p]["iterations"] for r in both])))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--zalvo", default="build/release/apps/zalvo")
    parser.add_argument("--data", default=os.environ.get("ZALVO_DATA"))
    parser.add_argument("--limit", type=float, default=60.0, help="seconds for each run")
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--tol", type=float, default=1e-6)
    parser.add_argument("--peers", default="cvxopt", help="comma-separated; empty for none")
    parser.add_argument("--tsv", help="also write the table to this file")
    parser.add_argument("-p", action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("--cvxopt-one", help=argparse.SUPPRESS)
    parser.add_argument("names", nargs="*")
    args = parser.parse_args()
    if args.cvxopt_one:
        cvxopt_one(args.cvxopt_one)
        return 0
    if not args.data:
        print("no instances: set ZALVO_DATA or give --data", file=sys.stderr)
        return 2
    peers = [p for p in args.peers.split(",") if p == "cvxopt" and importlib.util.find_spec(p)]
    with open(os.path.join(args.data, "INDEX.tsv"), newline="") as f:
        index = [e for e in csv.DictReader(f, delimiter="\t", quoting=csv.QUOTE_NONE)
                 if e["kind"] == "qp" and (not args.names or e["name"] in args.names)]
    rows = []
    for e in index:
        path = os.path.join(args.data, "qp", e["name"] + ".mps.gz")
        row = {"name": e["name"], "rows": e["rows"], "cols": e["cols"], "expected": e["status"],
               "zalvo": lp.run_zalvo(args, path)}
        row["fault"] = fault_of(row["zalvo"], e, args.tol)
        for p in peers:
            row[p] = run_cvxopt(args, path)
            row[p]["error"] = lp.relative(row[p]["objective"], float(e["objective"]))
        rows.append(row)
        if sys.stderr.isatty():
            print("\r%d/%d %-12s" % (len(rows), len(index), e["name"]), end="", file=sys.stderr)
    lines = lp.table(rows, peers)
    print("\n".join(lp.aligned(lines)))
    print("\n".join(summary(rows, peers, args.tol)))
    if args.tsv:
        with open(args.tsv, "w", newline="") as f:
            csv.writer(f, delimiter="\t", lineterminator="\n").writerows(lines)
    return any(r["fault"] for r in rows) or not rows


if __name__ == "__main__":
    sys.exit(main())
