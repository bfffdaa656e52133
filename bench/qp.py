#!/usr/bin/env python3
"""Whole convex quadratic problems: runs every instance of a data folder through `zalvo --json`, judges
its solution on the original data, and sets times beside those of CVXOPT.

    bench/qp.py [--zalvo PROGRAM] [--data DIR] [--limit S] [--threads N] [--tol T] [--tight]
                [--peers cvxopt] [--tsv FILE] [-p NAME=VALUE] [NAME...]

DIR (default $ZALVO_DATA) holds qp/NAME.mps.gz and INDEX.tsv, as bench/lp.py wants them. An instance
passes when it is optimal with a relative error of the objective of at most --tol. Every "optimal" whose
primal or dual residual, gap or complementarity, recomputed from the model file and the solution file,
is above the tolerance asked is listed; --tight asks for 1e-9. Exit code 1 when an instance does not pass.
Where the index says that a strict convexity check refuses a problem, refusing it passes.
"""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import convex  # noqa: E402

NONCONVEX = 1291  # the response code


def refused(row, expected):
    if row.get("response") == NONCONVEX and "convexity check refuses" in (expected["notes"] or ""):
        row["status"] = "refused"
        return True
    return False


def main():
    args = convex.arguments(__doc__, "cvxopt").parse_args()
    if not args.data:
        print("no instances: set ZALVO_DATA or give --data", file=sys.stderr)
        return 2
    peers = convex.available(args)
    rows = convex.run_index(args, "qp", peers, refused)
    convex.report(args, rows, peers)
    return any(r["fault"] for r in rows)


if __name__ == "__main__":
    sys.exit(main())
