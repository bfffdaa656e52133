"""Families of linear problems to measure simplex methods on, made from seeds: networks, coverings,
plans over time, two-stage recourse, fits, lot sizes, random sparse ones and infeasible or unbounded
changes of them. `write_all(folder)` leaves folder/gen/NAME.mps.gz and folder/INDEX.tsv, whose
objectives are empty: they are not known.
"""
import gzip
import os
import random

INF = float("inf")


class model:
    """Rows (lower, upper) and columns (cost, lower, upper, [(row, value)])."""

    def __init__(self):
        self.rows, self.cols = [], []

    def row(self, lo=-INF, up=INF):
        self.rows.append((lo, up))
        return len(self.rows) - 1

    def eq(self, v):
        return self.row(v, v)

    def le(self, v):
        return self.row(-INF, v)

    def ge(self, v):
        return self.row(v, INF)

    def col(self, cost, entries, lo=0.0, up=INF):
        self.cols.append((cost, lo, up, [(i, v) for i, v in entries if v != 0]))

    def write(self, path):
        with gzip.open(path, "wt", compresslevel=1) as f:
            f.writelines(self.lines())

    def lines(self):
        def line(kind, a, b, v=0.0):  # in the columns of the fixed form
            return " %-2s %-8s  %-8s  %12.12g\n" % (kind, a, b, v)

        yield "NAME          GENERATED\nROWS\n N  OBJ\n"
        for i, (lo, up) in enumerate(self.rows):
            yield " %s  R%d\n" % ("E" if lo == up else "G" if lo > -INF else "L", i)
        yield "COLUMNS\n"
        for j, (cost, _, _, entries) in enumerate(self.cols):
            if cost or not entries:
                yield line("", "C%d" % j, "OBJ", cost)
            for i, v in entries:
                yield line("", "C%d" % j, "R%d" % i, v)
        yield "RHS\n"
        for i, (lo, up) in enumerate(self.rows):
            if (lo if lo > -INF else up) != 0:
                yield line("", "RHS", "R%d" % i, lo if lo > -INF else up)
        yield "BOUNDS\n"
        for j, (_, lo, up, _) in enumerate(self.cols):
            if lo == -INF:
                yield line("MI" if up < INF else "FR", "BND", "C%d" % j)
            elif lo != 0:
                yield line("LO", "BND", "C%d" % j, lo)
            if up < INF:
                yield line("UP", "BND", "C%d" % j, up)
        yield "ENDATA\n"


def transport(g, ns, nd, density=1.0):
    """Sources and sinks; what is missing is bought."""
    m = model()
    sup = [g.randint(20, 60) for _ in range(ns)]
    dem = [g.randint(5, 20) for _ in range(nd)]
    f = sum(sup) / (1.1 * sum(dem))
    S = [m.le(s) for s in sup]
    D = [m.ge(int(d * f)) for d in dem]
    for i in S:
        for j in D:
            if density >= 1 or g.random() < density:
                m.col(g.randint(1, 100), [(i, 1), (j, 1)])
    for j in D:
        m.col(1000, [(j, 1)])
    return m


def assign(g, n, k):
    """Sparse assignment."""
    m = model()
    R = [m.eq(1) for _ in range(n)]
    C = [m.eq(1) for _ in range(n)]
    for i in range(n):
        for j in {i} | {g.randrange(n) for _ in range(k)}:
            m.col(g.randint(1, 100), [(R[i], 1), (C[j], 1)])
    return m


def multicom(g, nodes, arcs, K, slack=1.0):
    """Commodities of a network whose arcs they share."""
    m = model()
    A = set()
    for i in range(nodes):
        A.add((i, (i + 1) % nodes))
    while len(A) < arcs:
        a, b = g.randrange(nodes), g.randrange(nodes)
        if a != b:
            A.add((a, b))
    A = sorted(A)
    cost = [g.randint(1, 20) for _ in A]
    cap = [m.le(g.randint(10, 40) * slack) for _ in A]
    for k in range(K):
        s = g.randrange(nodes)
        t = (s + 1 + g.randrange(nodes - 1)) % nodes
        d = g.randint(2, 12)
        N = [m.eq(d if i == s else -d if i == t else 0) for i in range(nodes)]
        for (a, b), c, u in zip(A, cost, cap):
            m.col(c * g.choice([1, 1, 1, 2]), [(u, 1), (N[a], 1), (N[b], -1)])
        m.col(500, [(N[s], 1), (N[t], -1)])
    return m


def timespace(g, places, periods, K):
    """pds-like: commodities move between places over time, with capacities on flights."""
    m = model()
    routes = set()
    for i in range(places):
        routes.add((i, (i + 1) % places))
        routes.add(((i + 1) % places, i))
        routes.add((i, g.randrange(places)))
    routes = sorted(r for r in routes if r[0] != r[1])
    cap = {}
    for t in range(periods):
        for r in routes:
            cap[t, r] = m.le(g.randint(3, 15))
    for k in range(K):
        N = [[None] * places for _ in range(periods + 1)]
        bal = {}
        for _ in range(3):
            s, d = g.randrange(places), g.randrange(places)
            q, t = g.randint(1, 8), g.randrange(max(1, periods // 2))
            bal[t, s] = bal.get((t, s), 0) + q
            bal[periods, d] = bal.get((periods, d), 0) - q
        for t in range(periods + 1):
            for i in range(places):
                N[t][i] = m.eq(bal.get((t, i), 0))
        for t in range(periods):
            for i in range(places):
                m.col(1, [(N[t][i], 1), (N[t + 1][i], -1)], 0, 40)
            for (a, b) in routes:
                m.col(5 + g.randint(0, 4), [(cap[t, (a, b)], 1), (N[t][a], 1), (N[t + 1][b], -1)])
        for (t, i), q in bal.items():
            if q > 0:
                m.col(1000, [(N[t][i], 1)])
            elif q < 0:
                m.col(1000, [(N[t][i], -1)])
    return m


def cover(g, rows, cols, per, kind="cover", unit=False):
    """Covering, partitioning (with planted partitions) or packing."""
    m = model()
    R = [m.ge(1) if kind == "cover" else m.eq(1) if kind == "part" else m.le(1) for _ in range(rows)]
    if kind == "part":  # two planted solutions, and wildcards
        for _ in range(4):
            perm = list(range(rows))
            g.shuffle(perm)
            k = 0
            while k < rows:
                w = g.randint(1, 2 * per)
                part = perm[k:k + w]
                m.col(len(part) * g.uniform(10, 30), [(R[i], 1) for i in part])
                k += w
    if kind == "cover":
        for i in range(rows):
            m.col(500, [(R[i], 1)])
    for _ in range(cols):
        w = max(1, min(rows, int(g.gauss(per, per / 3))))
        c = 1 if unit else round(w ** 0.8 * g.uniform(5, 15))
        m.col(-c if kind == "pack" else c, [(R[i], 1) for i in g.sample(range(rows), w)])
    return m


def planning(g, periods, products, machines):
    """Production, inventory, overtime and backlog over periods: a staircase."""
    m = model()
    use = [[g.uniform(0.2, 3) if g.random() < 0.4 else 0 for _ in range(machines)] for _ in range(products)]
    bom = [[(q, g.randint(1, 3)) for q in range(p) if g.random() < 3.0 / products] for p in range(products)]
    bal = [[m.eq(g.randint(0, 50) if g.random() < 0.6 else 0) for p in range(products)]
           for t in range(periods)]
    cap = [[m.le(products * 12 * g.uniform(0.7, 1.2)) for k in range(machines)] for t in range(periods)]
    for t in range(periods):
        for p in range(products):
            e = [(bal[t][p], 1)] + [(cap[t][k], use[p][k]) for k in range(machines)]
            e += [(bal[t][q], -n) for q, n in bom[p]]
            m.col(g.uniform(1, 5), e)
            if t + 1 < periods:
                m.col(g.uniform(0.1, 1), [(bal[t][p], -1), (bal[t + 1][p], 1)], 0, 300)
                m.col(g.uniform(4, 9), [(bal[t][p], 1), (bal[t + 1][p], -1)], 0, 60)
            m.col(g.uniform(40, 80), [(bal[t][p], 1)])
        for k in range(machines):
            m.col(g.uniform(3, 6), [(cap[t][k], -1)], 0, 200)
    return m


def stochastic(g, first, second, scenarios):
    """Two stages: decisions, then recourse in each scenario."""
    m = model()
    A = [m.le(g.uniform(50, 100)) for _ in range(first // 2)]
    base = [[(i, g.uniform(0.1, 2)) for i in range(second) if g.random() < 4.0 / second]
            for _ in range(first)]
    rec = [[(i, g.choice([-1, 1]) * g.uniform(0.5, 2)) for i in g.sample(range(second), 3)]
           for _ in range(2 * second)]
    qc = [g.uniform(5, 20) for _ in range(2 * second)]
    X = [[(a, g.uniform(0.5, 2)) for a in g.sample(A, min(3, len(A)))] for _ in range(first)]
    for s in range(scenarios):
        R = [m.ge(g.uniform(5, 40)) for _ in range(second)]
        for j in range(first):
            X[j] += [(R[i], v * g.choice([1, 1, g.uniform(0.8, 1.2)])) for i, v in base[j]]
        for j in range(2 * second):
            m.col(qc[j] / scenarios, [(R[i], v) for i, v in rec[j]])
        for i in R:
            m.col(60 / scenarios, [(i, 1)])
    for j in range(first):
        m.col(g.uniform(1, 10), X[j], 0, g.choice([INF, 50]))
    return m


def l1fit(g, points, dim, chebyshev=False):
    m = model()
    beta = [g.gauss(0, 1) for _ in range(dim)]
    cols = [[] for _ in range(dim)]
    if chebyshev:
        top = []
        for _ in range(points):
            x = [g.gauss(0, 1) for _ in range(dim)]
            y = sum(a * b for a, b in zip(x, beta)) + g.gauss(0, 0.3)
            r, s = m.le(y), m.ge(y)
            for j in range(dim):
                cols[j] += [(r, x[j]), (s, x[j])]
            top += [(r, -1), (s, 1)]
        m.col(1, top)
    else:
        for _ in range(points):
            x = [g.gauss(0, 1) for _ in range(dim)]
            y = sum(a * b for a, b in zip(x, beta)) + g.choice([g.gauss(0, 0.1), g.gauss(0, 5)])
            r = m.eq(y)
            for j in range(dim):
                cols[j].append((r, x[j]))
            m.col(1, [(r, 1)])
            m.col(1, [(r, -1)])
    for j in range(dim):
        m.col(0, cols[j], -INF, INF)
    return m


def facility(g, sites, clients, k):
    """Clients served by open sites."""
    m = model()
    C = [m.eq(1) for _ in range(clients)]
    xs = [(g.random(), g.random()) for _ in range(sites)]
    Y = [[] for _ in range(sites)]
    for c in C:
        x, y = g.random(), g.random()
        near = sorted(range(sites), key=lambda s: (xs[s][0] - x) ** 2 + (xs[s][1] - y) ** 2)[:k]
        for s in near:
            r = m.ge(0)
            m.col(round(1000 * ((xs[s][0] - x) ** 2 + (xs[s][1] - y) ** 2) ** .5), [(c, 1), (r, -1)])
            Y[s].append((r, 1))
    for s in range(sites):
        m.col(g.randint(300, 900), Y[s], 0, 1)
    return m


def network(g, nodes, arcs):
    """Minimum cost flow."""
    m = model()
    b = [0] * nodes
    for _ in range(nodes // 3):
        s, t, q = g.randrange(nodes), g.randrange(nodes), g.randint(1, 20)
        b[s] += q
        b[t] -= q
    N = [m.eq(v) for v in b]
    for i in range(nodes):
        m.col(2000, [(N[i], 1), (N[(i + 1) % nodes], -1)])
    for _ in range(arcs):
        a, c = g.randrange(nodes), g.randrange(nodes)
        if a != c:
            m.col(g.randint(1, 100), [(N[a], 1), (N[c], -1)], 0, g.choice([INF, g.randint(5, 40)]))
    return m


def lotsize(g, items, periods):
    """Facility-location form of lot sizing with shared capacity."""
    m = model()
    cap = [m.le(items * 8.0) for _ in range(periods)]
    for p in range(items):
        dem = [g.randint(0, 15) for _ in range(periods)]
        h, s = g.uniform(0.1, 1), g.uniform(20, 80)
        D = [m.eq(1 if q else 0) for q in dem]
        Y = [[(cap[t], 2.0)] for t in range(periods)]
        for t in range(periods):
            for u in range(t, periods):
                if not dem[u]:
                    continue
                r = m.le(0)
                Y[t].append((r, -1))
                m.col(h * (u - t) * dem[u], [(D[u], 1), (cap[t], dem[u]), (r, 1)])
            m.col(s, Y[t], 0, 1)
        for u in range(periods):
            if dem[u]:
                m.col(60 * dem[u], [(D[u], 1)])
    return m


def random_sparse(g, rows, cols, per, eqshare=0.5, free=0.05):
    """Feasible and bounded by a planted pair of solutions."""
    m = model()
    y = [g.gauss(0, 1) if g.random() < 0.7 else 0 for _ in range(rows)]
    act = [0.0] * rows
    cols_ = []
    for _ in range(cols):
        length = max(1, min(rows, int(g.expovariate(1 / per)) + 1))
        e = [(i, g.choice([1, -1, 2, round(g.gauss(0, 3), 2)])) for i in g.sample(range(rows), length)]
        e = [(i, v) for i, v in e if v]
        z = sum(v * y[i] for i, v in e)
        k = g.random()
        lo, up = (-INF, INF) if k < free else (0, INF) if k < 0.75 else (0, g.randint(1, 20))
        if lo == -INF:
            x, d = g.gauss(0, 5), 0
        elif g.random() < 0.4:
            x, d = (g.uniform(0, 5) if up == INF else g.uniform(0, up)), 0
        elif up < INF and g.random() < 0.4:
            x, d = up, -g.random()
        else:
            x, d = lo, g.choice([0, g.random()])
        for i, v in e:
            act[i] += v * x
        cols_.append((z + d, e, lo, up))
    for i in range(rows):
        if g.random() < eqshare:
            m.eq(act[i])
        elif y[i] > 0:
            m.ge(act[i])
        elif y[i] < 0:
            m.le(act[i])
        else:
            m.le(act[i] + g.choice([0, g.random()]))
    for c, e, lo, up in cols_:
        m.col(c, e, lo, up)
    return m


def make_infeasible(g, m):
    """A combination of some rows asks for too much."""
    picks = g.sample(range(len(m.cols)), len(m.cols) // 2)
    r = m.ge(0)
    s = m.le(0)
    for k, j in enumerate(picks):
        c, lo, u, e = m.cols[j]
        v = g.uniform(0.5, 2)
        m.cols[j] = (c, lo, u, e + [(r, v), (s, v * (1 + 0.001 * g.random()))])
    m.rows[r] = (1000, INF)
    m.rows[s] = (-INF, 999)
    return m


def make_unbounded(g, m):
    """Adds a column that undoes others at a profit."""
    """Adds two columns whose sum is a ray, only together."""
    e = {}
    for j in g.sample(range(len(m.cols)), 5):
        if m.cols[j][1] == 0 and m.cols[j][2] == INF:
            for i, v in m.cols[j][3]:
                e[i] = e.get(i, 0) - v
    m.col(-1e4, list(e.items()))
    return m


FAMILIES = {  # name: (status, builder)
    "transport": ("optimal", lambda g: transport(g, 600, 1200, 0.05)),
    "assign": ("optimal", lambda g: assign(g, 1000, 30)),
    "multicom1": ("optimal", lambda g: multicom(g, 100, 600, 60, 2)),
    "multicom2": ("optimal", lambda g: multicom(g, 30, 120, 200, 3)),
    "timespace": ("optimal", lambda g: timespace(g, 20, 25, 20)),
    "cover1": ("optimal", lambda g: cover(g, 1000, 4000, 15)),
    "cover2": ("optimal", lambda g: cover(g, 300, 20000, 6, unit=True)),
    "part": ("optimal", lambda g: cover(g, 400, 6000, 6, "part")),
    "pack": ("optimal", lambda g: cover(g, 800, 5000, 6, "pack")),
    "planning": ("optimal", lambda g: planning(g, 60, 60, 10)),
    "stochastic": ("optimal", lambda g: stochastic(g, 80, 20, 400)),
    "l1fit": ("optimal", lambda g: l1fit(g, 3000, 15)),
    "cheby": ("optimal", lambda g: l1fit(g, 1000, 20, True)),
    "facility": ("optimal", lambda g: facility(g, 100, 500, 20)),
    "network": ("optimal", lambda g: network(g, 3000, 20000)),
    "lotsize": ("optimal", lambda g: lotsize(g, 40, 25)),
    "sparse1": ("optimal", lambda g: random_sparse(g, 1000, 2000, 5)),
    "sparse2": ("optimal", lambda g: random_sparse(g, 3000, 5000, 4)),
    "coverinf": ("primal infeasible", lambda g: make_infeasible(g, cover(g, 500, 3000, 8))),
    "planinf": ("primal infeasible", lambda g: make_infeasible(g, planning(g, 24, 30, 8))),
    "netinf": ("primal infeasible", lambda g: make_infeasible(g, network(g, 1000, 5000))),
    "multiunb": ("dual infeasible", lambda g: make_unbounded(g, multicom(g, 40, 200, 30))),
    "stochunb": ("dual infeasible", lambda g: make_unbounded(g, stochastic(g, 40, 30, 60))),
}


def write_all(folder, names=()):
    """The families named, or all; the same ones whenever it is called."""
    os.makedirs(os.path.join(folder, "gen"))
    with open(os.path.join(folder, "INDEX.tsv"), "w") as index:
        index.write("kind\tname\trows\tcols\tstatus\tobjective\n")
        for name, (status, build) in FAMILIES.items():
            if names and name not in names:
                continue
            m = build(random.Random(name))
            m.write(os.path.join(folder, "gen", name + ".mps.gz"))
            index.write("gen\t%s\t%d\t%d\t%s\t\n" % (name, len(m.rows), len(m.cols), status))
