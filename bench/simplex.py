#!/usr/bin/env python3
"""Simplex methods on whole linear problems: runs every instance of a data folder through the dual and
the primal simplex of `zalvo --json`, holds status, objective and violations against the folder's
index, and sets times beside those of other solvers, one thread each.

    bench/simplex.py [--build DIR] [--data DIR] [--kinds lp,infeas] [--limit S] [--methods dual,primal]
                     [--peers clpdual,clpprimal,highsdual,glpdual,glpprimal] [--hot] [--generated]
                     [--tsv FILE] [-p NAME=VALUE] [NAME...]

DIR (default $ZALVO_DATA) holds KIND/NAME.mps.gz and INDEX.tsv, see lp.py. Times of zalvo, clp and
glpsol are those of the whole process with reading; of HiGHS (as SciPy calls it) of its call alone, and
the optimizer's own seconds of zalvo are compared with them. --hot measures hot starts instead: after
each of several changes of one bound or one cost of the solved problem, iterations of the next solve
relative to the first one's. --generated takes the problems of lpfamilies.py in place of a folder's;
their objective counts as the one that is in the middle of all that were found. METHODS may also name
free, the method that the optimizer chooses.
Exit code 1 when an instance does not pass.
"""
import argparse
import ctypes
import json
import os
import random
import re
import shutil
import statistics
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import common  # noqa: E402
import lp  # noqa: E402
import lpfamilies  # noqa: E402

METHODS = {"dual": "dual_simplex", "primal": "primal_simplex", "free": "free_simplex"}
PEERS = {"clpdual": "dual", "clpprimal": "primal", "highsdual": "dual", "glpdual": "dual",
         "glpprimal": "primal"}
NUMCHANGES = 3  # of bounds, and as many of costs, for each instance of --hot


def run_zalvo(args, path, method):
    row = {"iterations": None, "solve": None, "objective": None}
    row.update(common.run_zalvo(args, path, ("--optimizer", METHODS[method]), "simplex"))
    return row


def run_clp(args, path, method):
    command = ["clp", path, "-seconds", str(args.limit), "-" + method + "simplex"]
    _, out, _, seconds, _ = common.run(command, args.limit)
    found = re.findall(r"^Optimal objective +(\S+) - +(\d+) iterations", out, re.M)
    proven = re.search(r"^(?:Clp0\S* )?(Primal|Dual) ?infeasible", out, re.M | re.I)
    counts = re.findall(r"- (\d+) iterations", out)
    return {"seconds": seconds, "objective": float(found[-1][0]) if found else None,
            "iterations": int(counts[-1]) if counts else None,
            "status": "optimal" if found else proven.group(1) + "Infeasible" if proven else "none"}


def run_glpk(args, path, method):
    command = ["glpsol", "--freemps", path, "--" + method, "--tmlim", str(int(args.limit)), "--nomip"]
    _, out, _, seconds, _ = common.run(command, args.limit)
    if "RROR" in out or "OPTIMAL" not in out and "NO " not in out and "TIME" not in out:
        command[1] = "--mps"
        _, out, _, seconds, _ = common.run(command, args.limit)
    rows = re.findall(r"^[*# ] *(\d+): obj = +(\S+)", out, re.M)
    isopt = re.search(r"OPTIMAL (LP )?SOLUTION FOUND", out)
    status = ("optimal" if isopt else "PrimalInfeasible" if re.search(r"NO PRIMAL|NO FEAS", out) else
              "DualInfeasible" if re.search(r"NO DUAL|UNBOUNDED", out) else "none")
    return {"seconds": seconds, "status": status, "iterations": int(rows[-1][0]) if rows else None,
            "objective": float(rows[-1][1]) if isopt and rows else None}


def run_highs(args, path):
    command = [sys.executable, os.path.abspath(__file__), "--highs-one", path, "--limit",
               str(args.limit)]
    _, out, _, _, _ = common.run(command, args.limit + 30.0)  # reading is Python's, and slow
    try:
        return json.loads(out.strip().splitlines()[-1])
    except (ValueError, IndexError):
        return {"status": "none", "seconds": None, "objective": None, "iterations": None}


def run_peer(args, path, peer):
    if peer.startswith("clp"):
        return run_clp(args, path, PEERS[peer])
    return run_highs(args, path) if peer == "highsdual" else run_glpk(args, path, PEERS[peer])


def available(names):
    tools = {"clp": shutil.which("clp"), "glp": shutil.which("glpsol"),
             "hig": lp.importlib.util.find_spec("scipy")}
    return [p for p in names if p in PEERS and tools[p[:3]]]


def table(rows, methods, peers):
    head = ["instance", "rows", "cols"]
    for m in methods:
        head += [m, "obj.err", "iter", "sec", "opt.sec"]
    for p in peers:
        head += [p + ".iter", p + ".sec"]
    lines = [head + ["verdict"]]
    for r in rows:
        line = [r["name"], r["rows"], r["cols"]]
        for m in methods:
            z = r[m]
            line += [z["status"].lower()[:26], common.show(z.get("error"), "%.1e"),
                     common.show(z["iterations"], "%d"), common.show(z["seconds"], "%.3f"),
                     common.show(z["solve"], "%.3f")]
        for p in peers:
            q = r[p]
            isright = q["status"] != "none" and not (q["status"] == "optimal" and q["wrong"])
            line += [common.show(q["iterations"], "%d"),
                     common.show(q["seconds"], "%.3f") if isright else q["status"] + "!"]
        faults = [m + ": " + r[m]["fault"] for m in methods if r[m]["fault"]]
        lines.append(line + ["; ".join(faults) or "ok"])
    return lines


def summary(rows, methods, peers, limit):
    """A run without the right answer counts with the limit."""
    for m in methods:
        passed = [r for r in rows if not r[m]["fault"]]
        yield "%s: %d of %d instances pass" % (m, len(passed), len(rows))
        for p in peers:
            if PEERS[p] != m:
                continue
            own = "solve" if p == "highsdual" else "seconds"
            mine = common.geometric([r[m][own] if not r[m]["fault"] else limit for r in rows])
            theirs = common.geometric([limit if r[p]["wrong"] else r[p]["seconds"] for r in rows])
            both = [r for r in rows if not r[m]["fault"] and not r[p]["wrong"]]
            yield ("  %-9s shifted geometric means over all: zalvo %.4f s, %s %.4f s, ratio %.2f"
                   % (p, mine, p, theirs, mine / theirs))
            if both:
                a = common.geometric([r[m][own] for r in both])
                b = common.geometric([r[p]["seconds"] for r in both])
                yield ("  %-9s where both are right (%d): %.4f s, %.4f s, ratio %.2f; iterations %d, %d"
                       % ("", len(both), a, b, a / b, sum(r[m]["iterations"] for r in both),
                          sum(r[p]["iterations"] or 0 for r in both)))


# ---- hot starts, through the library itself


class library:
    """The few functions that --hot needs, with codes turned into exceptions."""

    def __init__(self, build, path, limit, method):
        self.dll = ctypes.CDLL(os.path.join(build, "src", "libzalvo.so"))
        self.env, self.task = ctypes.c_void_p(), ctypes.c_void_p()
        self.call("makeenv", ctypes.byref(self.env), None, None, None, None)
        self.call("initenv", self.env)
        self.call("maketask", self.env, 0, 0, ctypes.byref(self.task))
        self.call("readdata", self.task, path.encode())
        self.put("ZLV_IPAR_OPTIMIZER", "ZLV_OPTIMIZER_" + METHODS[method].upper())
        self.put("ZLV_DPAR_OPTIMIZER_MAX_TIME", str(limit))
        self.numvar = self.count("numvar")

    def call(self, name, *arguments):
        code = getattr(self.dll, "ZLV_" + name)(*arguments)
        if code >= 1000:
            raise RuntimeError("ZLV_%s: %d" % (name, code))

    def put(self, name, value):
        self.call("putparam", self.task, name.encode(), value.encode())

    def value(self, name):
        out = ctypes.c_int32()
        self.dll.ZLV_symnamtovalue(name.encode(), ctypes.byref(out))
        return out.value

    def count(self, what):
        out = ctypes.c_int32()
        self.call("get" + what, self.task, ctypes.byref(out))
        return out.value

    def optimize(self):
        """Iterations, or None when the run did not end with an optimum."""
        self.call("optimize", self.task)
        out = [ctypes.c_int32() for _ in range(4)]
        basic = self.value("ZLV_SOL_BAS")
        self.call("getsolutionstatus", self.task, basic, ctypes.byref(out[0]), ctypes.byref(out[1]))
        for k, item in ((2, "PRIMAL"), (3, "DUAL")):
            self.call("getintinf", self.task, self.value("ZLV_IINF_SIM_%s_ITER" % item),
                      ctypes.byref(out[k]))
        isopt = out[1].value == self.value("ZLV_SOL_STA_OPTIMAL")
        return out[2].value + out[3].value if isopt else None

    def variables(self):
        """(key, value, lower bound's dual, upper bound's dual) of each variable."""
        n = self.numvar
        sk, num = (ctypes.c_int32 * n)(), [(ctypes.c_double * n)() for _ in range(3)]
        self.call("getsolution", self.task, self.value("ZLV_SOL_BAS"), None, None, None, sk, None,
                  None, num[0], None, None, None, num[1], num[2], None)
        return list(zip(sk, num[0], num[1], num[2]))

    def bound(self, j):
        key, low, up = ctypes.c_int32(), ctypes.c_double(), ctypes.c_double()
        self.call("getbound", self.task, self.value("ZLV_ACC_VAR"), j, ctypes.byref(key),
                  ctypes.byref(low), ctypes.byref(up))
        return key.value, low.value, up.value

    def put_bound(self, j, key, low, up):
        self.call("putbound", self.task, self.value("ZLV_ACC_VAR"), j, key, ctypes.c_double(low),
                  ctypes.c_double(up))

    def cost(self, j):
        out = (ctypes.c_double * 1)()
        self.call("getcslice", self.task, j, j + 1, out)
        return out[0]

    def put_cost(self, j, value):
        self.call("putcj", self.task, j, ctypes.c_double(value))


def change_bound(box, gen, point):
    """Cuts off the present value of a basic variable; gives the undoing, None when none can be."""
    basic = box.value("ZLV_SK_BAS")
    free, lower, upper, ranged = (box.value("ZLV_BK_" + k) for k in ("FR", "LO", "UP", "RA"))
    inside = [j for j in range(box.numvar) if point[j][0] == basic and abs(point[j][1]) > 1e-3]
    if not inside:
        return None
    j = gen.choice(inside)
    key, low, up = box.bound(j)
    haslow = key not in (free, upper)
    new = low + 0.9 * (point[j][1] - low) if haslow else point[j][1] - 0.1 * abs(point[j][1])
    box.put_bound(j, ranged if haslow else upper, low, new)
    return lambda: box.put_bound(j, key, low, up)


def change_cost(box, gen, point):
    """Makes a nonbasic variable attractive."""
    priced = [j for j in range(box.numvar) if abs(point[j][2] - point[j][3]) > 1e-6]
    if not priced:
        return None
    j = gen.choice(priced)
    old = box.cost(j)
    box.put_cost(j, old - 1.5 * (point[j][2] - point[j][3]))
    return lambda: box.put_cost(j, old)


def hot_one(args, path, method):
    """In a process of its own: ratios of hot to cold iterations; prints a JSON object."""
    box = library(args.build, path, args.limit, method)
    for setting in args.p:
        box.put(*setting.split("=", 1))
    cold = box.optimize()
    ratios = {"bound": [], "cost": []}
    gen = random.Random(1)
    for kind, change in (("bound", change_bound), ("cost", change_cost)):
        for _ in range(NUMCHANGES if cold else 0):
            undo = change(box, gen, box.variables())
            if undo is None:
                break
            hot = box.optimize()
            if hot is not None:  # a cut may leave nothing feasible
                ratios[kind].append(hot / cold)
            undo()
            if box.optimize() is None:
                break
    print(json.dumps({"cold": cold, **ratios}))


def hot_all(args, index):
    every = {(m, k): [] for m in args.methods for k in ("bound", "cost")}
    lines = [["instance"] + [m + "." + k for m in args.methods for k in ("cold", "bound", "cost")] + [""]]
    isbad = False
    for e in index:
        path = os.path.join(args.data, e["kind"], e["name"] + ".mps.gz")
        line = [e["name"]]
        for m in args.methods:
            command = [sys.executable, os.path.abspath(__file__), "--hot-one", path, "--methods", m,
                       "--build", args.build, "--limit", str(args.limit)]
            for setting in args.p:
                command += ["-p", setting]
            _, out, err, _, _ = common.run(command, 10 * args.limit)
            try:
                answer = json.loads(out)
            except ValueError:
                answer = {"cold": None, "bound": [], "cost": []}
                print(e["name"] + ": " + (err.strip().splitlines() or ["ended"])[-1], file=sys.stderr)
            isbad = isbad or answer["cold"] is None
            line.append(common.show(answer["cold"], "%d"))
            for k in ("bound", "cost"):
                every[m, k] += answer[k]
                line.append(" ".join("%.1f%%" % (100 * r) for r in answer[k]) or "-")
        lines.append(line + [""])
    print("\n".join(common.aligned(lines)))
    for (m, k), ratios in every.items():
        if ratios:
            print("%s, %s changed: %d hot starts, median %.2f %% of the cold iterations" %
                  (m, k, len(ratios), 100 * statistics.median(ratios)))
    return isbad


def solve_all(args, e, peers):
    """The row of one instance: every method and peer, judged."""
    path = os.path.join(args.data, e["kind"], e["name"] + ".mps.gz")
    row = {"name": e["name"], "rows": e["rows"], "cols": e["cols"]}
    for m in args.methods:
        row[m] = run_zalvo(args, path, m)
    for p in peers:
        row[p] = run_peer(args, path, p)
    if not e["objective"] and e["status"] == "optimal":
        found = [row[k]["objective"] for k in args.methods + peers
                 if row[k]["status"].lower() == "optimal" and row[k]["objective"] is not None]
        e = dict(e, objective=statistics.median_low(found) if found else "nan")
    reference = float(e["objective"]) if e["objective"] != "" else None
    for m in args.methods:
        row[m]["fault"] = lp.passes(row[m], e, args.tol)
    for p in peers:
        # other codes tell the two kinds of infeasibility apart less carefully
        error = common.relative(row[p]["objective"], reference)
        row[p]["wrong"] = (row[p]["status"] == "none" or row[p]["seconds"] is None or
                           (row[p]["status"] == "optimal") != (reference is not None) or
                           (reference is not None and
                            (error is None or not error <= args.tol)))
    return row


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--data", default=os.environ.get("ZALVO_DATA"))
    parser.add_argument("--kinds", default="lp,infeas")
    parser.add_argument("--limit", type=float, default=60.0, help="seconds for each run")
    parser.add_argument("--tol", type=float, default=1e-6)
    parser.add_argument("--methods", default="dual,primal")
    parser.add_argument("--peers", default=",".join(PEERS), help="comma-separated; empty for none")
    parser.add_argument("--hot", action="store_true")
    parser.add_argument("--generated", action="store_true")
    parser.add_argument("--tsv", help="also write the table to this file")
    parser.add_argument("-p", action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("--highs-one", help=argparse.SUPPRESS)
    parser.add_argument("--hot-one", help=argparse.SUPPRESS)
    parser.add_argument("names", nargs="*")
    args = parser.parse_args()
    args.zalvo, args.threads = os.path.join(args.build, "apps", "zalvo"), 1
    args.methods = [m for m in args.methods.split(",") if m in METHODS]
    if args.highs_one:
        lp.highs_one(args.highs_one, args.limit, False, "simplex")
        return 0
    if args.hot_one:
        hot_one(args, args.hot_one, args.methods[0])
        return 0
    if args.generated:
        with tempfile.TemporaryDirectory() as folder:
            lpfamilies.write_all(folder, args.names)
            args.data, args.kinds = folder, "gen"
            return bench(args)
    return bench(args)


def bench(args):
    if not args.data:
        print("no instances: set ZALVO_DATA or give --data", file=sys.stderr)
        return 2
    kinds = ["lp"] if args.hot and not args.generated else args.kinds.split(",")
    index = common.index_of(args.data, kinds, args.names)
    unknown = set(args.names) - {e["name"] for e in index}
    if unknown or not index:
        print("not in the index: " + (" ".join(sorted(unknown)) or args.kinds), file=sys.stderr)
        return 2
    if args.hot:
        return hot_all(args, index)
    peers = [p for p in available(args.peers.split(",")) if PEERS[p] in args.methods]
    rows = []
    for e in index:
        rows.append(solve_all(args, e, peers))
        if sys.stderr.isatty():
            print("\r%d/%d %-12s" % (len(rows), len(index), e["name"]), end="", file=sys.stderr)
    lines = table(rows, args.methods, peers)
    print("\n".join(common.aligned(lines)))
    print("\n".join(summary(rows, args.methods, peers, args.limit)))
    if args.tsv:
        common.write_tsv(args.tsv, lines)
    return any(r[m]["fault"] for r in rows for m in args.methods)


if __name__ == "__main__":
    sys.exit(main())
