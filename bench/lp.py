#!/usr/bin/env python3
"""Whole linear problems: runs every instance of a data folder through `zalvo --json`, holds status,
objective and violations against the folder's index, and sets times beside those of other solvers.

    bench/lp.py [--basis] [--zalvo PROGRAM] [--data DIR] [--kinds lp,infeas] [--limit S] [--threads N]
                [--peers clp,highs] [--tsv FILE] [-p NAME=VALUE] [NAME...]

DIR (default $ZALVO_DATA) holds KIND/NAME.mps.gz and INDEX.tsv with the columns kind, name, status
and objective. An instance passes when the status is the index's, and for an optimum the relative
error of the objective and the primal and dual infeasibilities are at most --tol (1e-6). Peers are
used when they are installed: clp's barrier method without crossover (whole process), and the
interior-point method of HiGHS in SciPy without crossover (its optimize call alone). For both the
iterations are told, and for HiGHS the size of the problem after its presolve. With --basis all three
go on to a basic solution, as they do by default, and the table tells what that takes.
MiB is the peak of resident memory, of which this script's own 10 or so are the floor.
Exit code 1 when an instance does not pass.
"""
import argparse
import importlib.util
import json
import math
import os
import re
import shutil
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import common  # noqa: E402
from common import aligned, geometric, relative, run, show  # noqa: E402

EXPECTED = {"optimal": ("optimal",), "primal infeasible": ("primal", "infeas"),
            "dual infeasible": ("dual", "infeas")}


def run_zalvo(args, path):
    options = [] if args.basis else ["-p", "ZLV_IPAR_INTPNT_BASIS=ZLV_BI_NEVER"]
    row = common.run_zalvo(args, path, options)
    if "solve" not in row:
        return row
    if args.basis:
        row["phases"] = phase_times(args, path)
    else:
        row["presolved"] = presolved_sizes(args, path)
    return row


def phase_times(args, path):
    """Seconds of processor time of the interior point and of basis identification behind it."""
    out = run([args.zalvo] + [w for s in args.p for w in ("-p", s)] + [path], args.limit)[1]
    found = [re.search(r"^ +%s +- .*cpu time: (\S+)" % what, out, re.M)
             for what in ("Interior-point", "Basis identification")]
    return [float(f.group(1)) for f in found] if all(found) else None


def presolved_sizes(args, path):
    """What presolve leaves, as the log of a run that ends before the first iteration tells it."""
    command = [args.zalvo, "-p", "ZLV_IPAR_INTPNT_MAX_ITERATIONS=0", "-p",
               "ZLV_IPAR_INTPNT_BASIS=ZLV_BI_NEVER"]
    for setting in args.p:
        command += ["-p", setting]
    out = run(command + [path], args.limit)[1]
    left = dict(re.findall(r"^Presolve +(rows|columns|nonzeros) +\d+ +-> (\d+)", out, re.M))
    return {"rows": int(left["rows"]), "nonzeros": int(left["nonzeros"])} if left else None


def passes(row, expected, tol):
    """None when the row is as the index wants it, else what is wrong."""
    words = re.sub(r"[^a-z]+", " ", row["status"].lower()).split()
    if "near" in words or not all(any(w.startswith(e) for w in words)
                                  for e in EXPECTED[expected["status"]]):
        return "status " + row["status"]
    if expected["status"] != "optimal":
        return None
    row["error"] = relative(row["objective"], float(expected["objective"]))
    for key, what in (("error", "objective"), ("pinf", "primal infeasibility"),
                      ("dinf", "dual infeasibility")):
        if row[key] is None or not row[key] <= tol:  # a NaN fails too
            return what
    return None


def run_clp(args, path):
    command = ["clp", path, "-seconds", str(args.limit), "-crossover",
               "on" if args.basis else "off", "-barrier"]
    _, out, _, seconds, peak = run(command, args.limit)
    found = re.findall(r"^Optimal objective +(\S+)", out, re.M)
    proven = re.search(r"^(PrimalInfeasible|DualInfeasible)", out, re.M)
    steps = re.findall(r"^(\d+) Primal \S+ Dual", out, re.M)
    return {"seconds": seconds, "peak": peak, "objective": float(found[-1]) if found else None,
            "iterations": int(steps[-1]) if steps else None,
            "status": "optimal" if found else proven.group(1) if proven else "none"}


def run_highs(args, path):
    command = [sys.executable, os.path.abspath(__file__), "--highs-one", path, "--limit",
               str(args.limit)] + (["--basis"] if args.basis else [])
    _, out, _, _, peak = run(command, args.limit + 30.0)  # reading is Python's, and slow
    try:
        answer = json.loads(out.strip().splitlines()[-1])
    except (ValueError, IndexError):
        return {"status": "none", "seconds": None, "objective": None, "peak": peak}
    answer["peak"] = peak
    left = re.search(r"Reductions: rows (\d+)\(.*columns (\d+)\(.*elements (\d+)\(", out)
    if left:
        answer["presolved"] = dict(zip(("rows", "cols", "nonzeros"), map(int, left.groups())))
    return answer


def highs_one(path, limit, crossover, method="ipm"):
    """In a process of its own: one instance through SciPy; prints a JSON object."""
    import numpy as np
    import scipy.sparse as sp
    from scipy.optimize._highs._highs_wrapper import _highs_wrapper

    import mpsread
    m = mpsread.read(path)
    a = sp.csc_matrix((m.av, (m.ai, m.aj)), shape=(len(m.kinds), len(m.c)))
    sign = -1.0 if m.maximize else 1.0
    options = {"time_limit": float(limit), "output_flag": True, "log_to_console": True,
               "presolve": True, "solver": method, "run_crossover": crossover}
    arrays = [np.array(v, dtype=float) for v in (m.rowlo, m.rowup, m.collo, m.colup)]
    start = time.perf_counter()
    r = _highs_wrapper(sign * np.array(m.c), a.indptr, a.indices, a.data, *arrays,
                       np.empty(0, dtype=np.uint8), options)
    seconds = time.perf_counter() - start
    status = {7: "optimal", 8: "PrimalInfeasible", 10: "DualInfeasible"}.get(int(r["status"]), "none")
    objective = sign * r["fun"] + m.const if status == "optimal" else None
    sys.stdout.flush()
    print("\n" + json.dumps({"status": status, "seconds": seconds, "objective": objective,
                             "iterations": int(r.get("simplex_nit" if method == "simplex" else "ipm_nit", 0))}))


def available(names):
    found = []
    for name in names:
        if name == "clp" and shutil.which("clp"):
            found.append(name)
        elif name == "highs" and importlib.util.find_spec("scipy"):
            found.append(name)
    return found


def table(rows, peers):
    head = ["instance", "rows", "cols", "status", "obj.err", "pinf", "dinf", "iter", "sec",
            "opt.sec", "MiB"]
    for p in peers:
        head += [p + ".iter", p + ".sec", p + ".err", p + ".MiB"]
    lines = [head + ["verdict"]]
    for r in rows:
        z = r["zalvo"]
        line = [r["name"], r["rows"], r["cols"], z["status"],
                show(z.get("error"), "%.1e"), show(z.get("pinf"), "%.1e"),
                show(z.get("dinf"), "%.1e"), show(z.get("iterations"), "%d"),
                show(z["seconds"], "%.3f"), show(z.get("solve"), "%.3f"), "%.0f" % (z["peak"] / 1024)]
        for p in peers:
            q = r[p]
            line += [show(q.get("iterations"), "%d"), show(q["seconds"], "%.3f"),
                     show(q.get("error"), "%.1e") if q["status"] == "optimal" else q["status"],
                     "%.0f" % (q["peak"] / 1024)]
        lines.append(line + [r["fault"] or "ok"])
    return lines


def summary(rows, peers, tol):
    passed = [r for r in rows if not r["fault"]]
    yield "%d of %d instances pass" % (len(passed), len(rows))
    optima = [r for r in passed if r["expected"] == "optimal"]
    if optima:
        yield ("geometric means over the %d optima: %.4f s in all, %.4f s optimizing, %.1f iterations"
               % (len(optima), geometric([r["zalvo"]["seconds"] for r in optima]),
                  geometric([r["zalvo"]["solve"] for r in optima]),
                  geometric([float(r["zalvo"]["iterations"]) for r in optima])))
    for p, own in (("clp", "seconds"), ("highs", "solve")):
        if p not in peers:
            continue
        both = [r for r in optima if r[p]["status"] == "optimal" and r[p]["error"] <= tol]
        if both:
            mine, theirs = (geometric([r["zalvo"][own] for r in both]),
                            geometric([r[p]["seconds"] for r in both]))
            yield ("%s (%s): %d optima by both, zalvo %.4f s, %s %.4f s, ratio %.2f" %
                   (p, "whole process" if own == "seconds" else "optimize call", len(both), mine, p,
                    theirs, mine / theirs))
            counted = [r for r in both if r[p].get("iterations") and r["zalvo"]["iterations"]]
            if counted:
                yield ("  iterations of %d: zalvo %.1f, %s %.1f" %
                       (len(counted), geometric([r["zalvo"]["iterations"] for r in counted]), p,
                        geometric([r[p]["iterations"] for r in counted])))
            if p == "clp":
                yield ("  peak memory: %.2f of clp's in geometric mean" %
                       geometric([r["zalvo"]["peak"] / r[p]["peak"] for r in both]))
    sized = [r for r in optima if r["zalvo"].get("presolved") and r.get("highs", {}).get("presolved")]
    for what in ("rows", "nonzeros") if sized else ():
        yield ("%s left by presolve: %.3f of highs' in geometric mean of %d" %
               (what, math.exp(sum(math.log((r["zalvo"]["presolved"][what] + 1) /
                                            (r["highs"]["presolved"][what] + 1)) for r in sized) /
                               len(sized)), len(sized)))
    phased = [r["zalvo"]["phases"] for r in optima if r["zalvo"].get("phases")]
    if phased:
        yield ("basis identification: %.2f of the interior point's processor time in geometric mean, "
               "%.2f in all" % (geometric([b for _, b in phased]) / geometric([i for i, _ in phased]),
                                sum(b for _, b in phased) / sum(i for i, _ in phased)))
    timed = [r for r in optima if r["zalvo"].get("presolve") is not None]
    if timed:
        yield ("presolve: %.1f %% of the optimizer's time in all" %
               (100 * sum(r["zalvo"]["presolve"] for r in timed) /
                sum(r["zalvo"]["solve"] for r in timed)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--zalvo", default="build/release/apps/zalvo")
    parser.add_argument("--data", default=os.environ.get("ZALVO_DATA"))
    parser.add_argument("--kinds", default="lp,infeas")
    parser.add_argument("--limit", type=float, default=60.0, help="seconds for each run")
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--tol", type=float, default=1e-6)
    parser.add_argument("--basis", action="store_true", help="go on to a basic solution")
    parser.add_argument("--peers", default="clp,highs", help="comma-separated; empty for none")
    parser.add_argument("--tsv", help="also write the table to this file")
    parser.add_argument("-p", action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("--highs-one", help=argparse.SUPPRESS)
    parser.add_argument("names", nargs="*")
    args = parser.parse_args()
    if args.highs_one:
        highs_one(args.highs_one, args.limit, args.basis)
        return 0
    if not args.data:
        print("no instances: set ZALVO_DATA or give --data", file=sys.stderr)
        return 2
    peers = available([p for p in args.peers.split(",") if p])
    kinds = args.kinds.split(",")
    index = common.index_of(args.data, kinds, args.names)
    unknown = set(args.names) - {e["name"] for e in index}
    if unknown or not index:
        print("not in the index: " + (" ".join(sorted(unknown)) or args.kinds), file=sys.stderr)
        return 2
    rows = []
    for e in index:
        path = os.path.join(args.data, e["kind"], e["name"] + ".mps.gz")
        reference = float(e["objective"]) if e["objective"] else None
        row = {"name": e["name"], "rows": e["rows"], "cols": e["cols"], "expected": e["status"],
               "zalvo": run_zalvo(args, path)}
        row["fault"] = passes(row["zalvo"], e, args.tol)
        for p in peers:
            row[p] = run_clp(args, path) if p == "clp" else run_highs(args, path)
            row[p]["error"] = relative(row[p]["objective"], reference)
        rows.append(row)
        if sys.stderr.isatty():
            print("\r%d/%d %-12s" % (len(rows), len(index), e["name"]), end="", file=sys.stderr)
    lines = table(rows, peers)
    print("\n".join(aligned(lines)))
    print("\n".join(summary(rows, peers, args.tol)))
    if args.tsv:
        common.write_tsv(args.tsv, lines)
    return any(r["fault"] for r in rows)


if __name__ == "__main__":
    sys.exit(main())
