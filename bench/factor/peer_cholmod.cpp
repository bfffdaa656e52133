#include <cblas.h>
#include <cholmod.h>
#include <omp.h>

#include <algorithm>

#include "clock.h"
#include "peer.h"

extern "C" void openblas_set_num_threads(int num);

namespace {

cholmod_sparse look(const peer_matrix& a) {
  cholmod_sparse s{};
  s.nrow = size_t(a.m);
  s.ncol = size_t(a.n);
  s.nzmax = a.sub.size();
  s.p = const_cast<int32_t*>(a.ptr.data());
  s.i = const_cast<int32_t*>(a.sub.data());
  s.x = const_cast<double*>(a.val.data());
  s.itype = CHOLMOD_INT;
  s.xtype = CHOLMOD_REAL;
  s.dtype = CHOLMOD_DOUBLE;
  s.sorted = s.packed = 1;
  return s;
}

// A A' without the part above the diagonal.
cholmod_sparse* form(cholmod_sparse& a, cholmod_common& c) {
  cholmod_sparse* full = cholmod_aat(&a, nullptr, 0, 1, &c);
  cholmod_sparse* lower = cholmod_copy(full, -1, 1, &c);
  cholmod_free_sparse(&full, &c);
  return lower;
}

// CHOLMOD asks for a fixed number of threads besides those of its BLAS.
struct team {
  int levels = omp_get_max_active_levels(), dynamic = omp_get_dynamic();
  explicit team(int threads) {
    openblas_set_num_threads(threads);
    omp_set_max_active_levels(threads > 1 ? 1 : 0);
    omp_set_dynamic(1);
  }
  team(const team&) = delete;
  team& operator=(const team&) = delete;
  ~team() {
    omp_set_max_active_levels(levels);
    omp_set_dynamic(dynamic);
  }
};

void choose(int method, cholmod_common& c) {
  if (method == 0) return;  // minimum degree, and METIS when that fills much
  c.nmethods = 1;
  c.method[0].ordering = method == 1 ? CHOLMOD_AMD : CHOLMOD_METIS;
}

}  // namespace

bool peer_present() {
  return true;
}

peer_result peer_run(const peer_matrix& mat, int method, int threads, double seconds) {
  const team sized(threads);
  cholmod_common c;
  cholmod_start(&c);
  c.print = 0;
  choose(method, c);
  c.postorder = 1;
  peer_result out;
  cholmod_sparse a = look(mat);
  const auto now = [&] { return bench_clock(threads); };
  double start = now();
  cholmod_sparse* s = form(a, c);
  out.forming = now() - start;
  start = now();
  cholmod_factor* l = cholmod_analyze(s, &c);
  out.order = now() - start;
  out.numnz = c.lnz;
  out.flops = c.fl;
  out.issuper = l->is_super != 0;
  if (seconds > 0) {
    // The same analysis with the order given tells what of it was the order.
    cholmod_common c2;
    cholmod_start(&c2);
    c2.print = 0;
    c2.nmethods = 1;
    c2.method[0].ordering = CHOLMOD_GIVEN;
    start = now();
    cholmod_factor* again = cholmod_analyze_p(s, static_cast<int32_t*>(l->Perm), nullptr, 0, &c2);
    out.analysis = now() - start;
    cholmod_free_factor(&again, &c2);
    cholmod_finish(&c2);
    out.order = std::max(0.0, out.order - out.analysis);
    cholmod_dense* b = cholmod_ones(s->nrow, 1, CHOLMOD_REAL, &c);
    out.factor = out.solve = 1e30;
    double beta[2] = {mat.shift, 0};
    const double end = now() + seconds;
    for (int k = 0; k < 3 || now() < end; ++k) {
      start = now();
      cholmod_factorize_p(s, beta, nullptr, 0, l, &c);
      out.factor = std::min(out.factor, now() - start);
      start = now();
      cholmod_dense* x = cholmod_solve(CHOLMOD_A, l, b, &c);
      out.solve = std::min(out.solve, now() - start);
      cholmod_free_dense(&x, &c);
    }
    cholmod_free_dense(&b, &c);
  }
  cholmod_free_factor(&l, &c);
  cholmod_free_sparse(&s, &c);
  cholmod_finish(&c);
  return out;
}

double peer_gemm(int32_t n, int threads) {
  const team sized(threads);
  const size_t size = size_t(n) * size_t(n);
  const std::vector<double> a(size, 0.5), b(size, 0.25);
  std::vector<double> c(size, 0.0);
  double best = 1e30;
  for (int k = 0; k < 5; ++k) {
    const double start = bench_clock(threads);
    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasTrans, n, n, n, -1, a.data(), n, b.data(), n, 1,
                c.data(), n);
    best = std::min(best, bench_clock(threads) - start);
  }
  return 2.0 * double(n) * n * n / best;
}
