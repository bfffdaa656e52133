#!/usr/bin/env python3
"""Whole conic problems: runs every instance of a data folder, or of generated families, through
`zalvo --json`, judges its solution on the original data, and sets times beside those of CVXOPT, ECOS
and SCS, as far as Python has them.

    bench/conic.py [--zalvo PROGRAM] [--data DIR] [--limit S] [--threads N] [--tol T] [--tight]
                   [--peers cvxopt,ecos,scs] [--tsv FILE] [-p NAME=VALUE] [NAME...]
    bench/conic.py --family FAMILY[=SIZE,SIZE...] [--family ...] [the same options]

DIR (default $ZALVO_DATA) holds socp/NAME.mps.gz and INDEX.tsv, as bench/lp.py wants them. An instance
passes when it is optimal with a relative error of the objective of at most --tol. Every "optimal" whose
primal or dual residual (rows, bounds, cones and dual cones), gap or complementarity, recomputed from the
model file and the solution file, is above the tolerance asked is listed; --tight asks for 1e-9.
Families (sizes 1000, 10000 and 100000 unless given): portfolio and regression have as many cones of size
3 as their size says, norm and risk one cone of that size; "all" stands for every one. Their growth is
told in seconds for a thousand. Peers get the families' problems up to --peer-size.
Exit code 1 when an instance does not pass.
"""
import os
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import common  # noqa: E402
import convex  # noqa: E402
import families  # noqa: E402

SIZES = (1000, 10000, 100000)
NOPEER = {"status": "not run", "seconds": None, "objective": None, "iterations": None, "error": None}


def chosen(texts):
    """(family, size) pairs of the --family options."""
    for text in texts:
        name, _, sizes = text.partition("=")
        for family in families.FAMILIES if name == "all" else [name]:
            for size in [int(s) for s in sizes.split(",")] if sizes else SIZES:
                yield family, size


def run_family(args, family, size, peers):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "%s.mps.gz" % family)
        numrow, numcol = families.make(family, size, path)
        row = {"name": "%s=%d" % (family, size), "rows": numrow, "cols": numcol, "size": size,
               "family": family, "zalvo": convex.run_judged(args, "socp", path)}
        row["fault"] = convex.fault_of(row["zalvo"], None, args.tol)
        for p in peers:
            row[p] = dict(NOPEER) if size > args.peer_size else convex.run_peer(args, p, path)
            row[p]["error"] = common.relative(row[p]["objective"], row["zalvo"].get("objective"))
    return row


def growth(rows):
    for family in dict.fromkeys(r["family"] for r in rows):
        solved = [r for r in rows if r["family"] == family and not r["fault"]]
        parts = ["%.4f s at %d" % (1000.0 * r["zalvo"]["solve"] / r["size"], r["size"]) for r in solved]
        yield "%s, optimizing, for a thousand: %s" % (family, ", ".join(parts) or "none solved")


def main():
    parser = convex.arguments(__doc__, "cvxopt,ecos,scs")
    parser.add_argument("--family", action="append", default=[], metavar="FAMILY[=SIZE,...]")
    parser.add_argument("--peer-size", type=int, default=1000)
    args = parser.parse_args()
    peers = convex.available(args)
    if args.family:
        pairs = list(chosen(args.family))
        unknown = {f for f, _ in pairs} - set(families.FAMILIES)
        if unknown:
            parser.error("no such family: " + " ".join(sorted(unknown)))
        rows = []
        for family, size in pairs:
            rows.append(run_family(args, family, size, peers))
            convex.progress(len(rows), len(pairs), rows[-1]["name"])
    elif args.data:
        rows = convex.run_index(args, "socp", peers)
    else:
        print("no instances: set ZALVO_DATA or give --data or --family", file=sys.stderr)
        return 2
    convex.report(args, rows, peers)
    if args.family:
        print("\n".join(growth(rows)))
    return any(r["fault"] for r in rows)


if __name__ == "__main__":
    sys.exit(main())
