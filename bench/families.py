"""Conic problems made to a size, written as MPS files: how cost grows with the number and with the
size of cones. All are feasible and bounded by construction."""
import gzip
import random

FACTORS = 10   # of the risk model
FEATURES = 20  # of the regressions


class Writer:
    """Collects a model by columns; rows are all equations."""

    def __init__(self):
        self.rhs, self.columns, self.cones = [], [], []

    def row(self, rhs=0.0):
        self.rhs.append(rhs)
        return len(self.rhs) - 1

    def column(self, cost=0.0, entries=(), bound="FR"):
        """bound: FR, PL (nonnegative) or a number that fixes it."""
        self.columns.append((cost, list(entries), bound))
        return len(self.columns) - 1

    def write(self, path):
        with gzip.open(path, "wt", compresslevel=1) as f:
            f.write("NAME family\nROWS\n N obj\n")
            f.writelines(" E r%d\n" % i for i in range(len(self.rhs)))
            f.write("COLUMNS\n")
            for j, (cost, entries, _) in enumerate(self.columns):
                if cost != 0.0 or not entries:
                    f.write(" x%d obj %.17g\n" % (j, cost))
                f.writelines(" x%d r%d %.17g\n" % (j, i, v) for i, v in entries)
            f.write("RHS\n")
            f.writelines(" rhs r%d %.17g\n" % (i, v) for i, v in enumerate(self.rhs) if v != 0.0)
            f.write("BOUNDS\n")
            for j, (_, _, bound) in enumerate(self.columns):
                if bound == "FR":
                    f.write(" FR bnd x%d\n" % j)
                elif bound != "PL":
                    f.write(" FX bnd x%d %.17g\n" % (j, bound))
            for k, (kind, members) in enumerate(self.cones):
                f.write("CSECTION k%d 0 %s\n" % (k, kind))
                f.writelines(" x%d\n" % j for j in members)
            f.write("ENDATA\n")


def portfolio(n, gen):
    """n assets at quadratic costs of trading: n rotated cones of size 3, and one for the risk of the
    factors: max mu'x - sum t, sum x = 1, x >= 0, 2 t_j h_j >= (x_j - 1/n)^2, |F'x| <= sigma."""
    w = Writer()
    budget = w.row(1.0)
    factors = [w.row() for _ in range(FACTORS)]
    for j in range(n):
        trade = w.row(1.0 / n)
        entries = [(budget, 1.0), (trade, 1.0)] + [(i, gen.gauss(0.1, 0.2)) for i in factors]
        w.column(-gen.uniform(0.0, 0.2), entries, "PL")
        d = w.column(0.0, [(trade, -1.0)])
        t = w.column(1.0)
        h = w.column(0.0, bound=0.5 / (n * gen.uniform(0.5, 2.0)))
        w.cones.append(("RQUAD", [t, h, d]))
    w.cones.append(("QUAD", [w.column(0.0, bound=0.15)] +
                    [w.column(0.0, [(i, -1.0)]) for i in factors]))
    return w


def regression(n, gen):
    """n observations with outliers: min sum sqrt(1 + r_i^2), r = b - A beta: n cones of size 3."""
    w = Writer()
    truth = [gen.gauss(0.0, 1.0) for _ in range(FEATURES)]
    entries = [[] for _ in range(FEATURES)]
    for i in range(n):
        a = [gen.gauss(0.0, 1.0) for _ in range(FEATURES)]
        noise = gen.gauss(0.0, 10.0 if gen.random() < 0.1 else 0.5)
        w.row(sum(u * v for u, v in zip(a, truth)) + noise)
        for k in range(FEATURES):
            entries[k].append((i, a[k]))
        w.cones.append(("QUAD", [w.column(1.0), w.column(0.0, bound=1.0), w.column(0.0, [(i, 1.0)])]))
    for k in range(FEATURES):
        w.column(0.0, entries[k])
    return w


def norm(n, gen):
    """One cone of size n: min |b - A beta| + sum |beta|."""
    w = Writer()
    head = w.column(1.0)
    entries = [[] for _ in range(FEATURES)]
    tail = []
    for i in range(n - 1):
        w.row(gen.gauss(0.0, 1.0))
        for k in range(FEATURES):
            entries[k].append((i, gen.gauss(0.0, 1.0)))
        tail.append(w.column(0.0, [(i, 1.0)]))
    w.cones.append(("QUAD", [head] + tail))
    for k in range(FEATURES):
        w.column(1.0, entries[k], "PL")
        w.column(1.0, [(i, -v) for i, v in entries[k]], "PL")
    return w


def risk(n, gen):
    """One cone of size about n: max mu'x, sum x = 1, x >= 0, |(F'x, D x)| <= sigma."""
    w = Writer()
    budget = w.row(1.0)
    factors = [w.row() for _ in range(FACTORS)]
    members = [w.column(0.0, bound=0.2)] + [w.column(0.0, [(i, -1.0)]) for i in factors]
    for _ in range(n - FACTORS - 1):
        own = w.row()
        entries = [(budget, 1.0), (own, gen.uniform(0.1, 1.0))]
        entries += [(i, gen.gauss(0.05, 0.1)) for i in factors]
        w.column(-gen.uniform(0.0, 0.2), entries, "PL")
        members.append(w.column(0.0, [(own, -1.0)]))
    w.cones.append(("QUAD", members))
    return w


FAMILIES = {"portfolio": portfolio, "regression": regression, "norm": norm, "risk": risk}


def make(family, size, path):
    """Writes the problem of this family and size; gives its numbers of rows and columns."""
    w = FAMILIES[family](size, random.Random("%s %d" % (family, size)))
    w.write(path)
    return len(w.rhs), len(w.columns)
