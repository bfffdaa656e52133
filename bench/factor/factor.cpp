// Orders and factorizes A D A' of the linear problems of a folder, with D = 10^(-3..3) at random, and
// prints what each phase takes beside CHOLMOD over OpenBLAS:
//     zalvo_bench_factor [--data DIR] [--count N] [--seconds S] [NAME...]
// DIR (default $ZALVO_DATA) holds lp/NAME.mps.gz. Without names the N (20) problems of most flops.
// Times are in milliseconds, the fastest of the factorizations of S (0.3) seconds: processor time for
// one thread, wall-clock time for two.
#include <zalvo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "clock.h"
#include "kfac/kktfac.h"
#include "lalib/parblas.h"
#include "peer.h"

namespace {

constexpr double shiftsize = 1e-9;  // of the diagonal

struct problem {
  std::string name;
  int32_t m = 0, n = 0;
  std::vector<ptrdiff_t> ptr{0};
  std::vector<int32_t> sub;
  std::vector<double> val, d;
  double flops = 0, shift = 0;
  spmat_view view() const { return {m, n, ptr, sub, val}; }
};

// A with a column for the slack of each inequality.
problem read(const std::filesystem::path& file, std::string name) {
  problem p;
  p.name = std::move(name);
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr);
  ZLV_initenv(env);
  ZLV_maketask(env, 0, 0, &task);
  int32_t numvar = 0, numanz = 0;
  if (ZLV_readdata(task, file.c_str()) != ZLV_RES_OK) std::exit(2);
  ZLV_getnumcon(task, &p.m);
  ZLV_getnumvar(task, &numvar);
  ZLV_getnumanz(task, &numanz);
  std::vector<int32_t> ptrb(size_t(numvar), 0), ptre(size_t(numvar), 0);
  p.sub.resize(size_t(numanz));
  p.val.resize(size_t(numanz));
  ZLV_getaslice(task, ZLV_ACC_VAR, 0, numvar, numanz, ptrb.data(), ptre.data(), p.sub.data(),
                p.val.data());
  std::vector<std::pair<int32_t, double>> col;
  for (int32_t j = 0; j < numvar; ++j) {
    col.clear();
    for (int32_t k = ptrb[j]; k < ptre[j]; ++k) col.emplace_back(p.sub[k], p.val[k]);
    std::sort(col.begin(), col.end());
    for (size_t k = 0; k < col.size(); ++k) {
      p.sub[size_t(ptrb[j]) + k] = col[k].first;
      p.val[size_t(ptrb[j]) + k] = col[k].second;
    }
    p.ptr.push_back(ptre[j]);
  }
  for (int32_t i = 0; i < p.m; ++i) {
    int32_t bk = 0;
    double bl = 0, bu = 0;
    ZLV_getbound(task, ZLV_ACC_CON, i, &bk, &bl, &bu);
    if (bk == ZLV_BK_FX) continue;
    p.sub.push_back(i);
    p.val.push_back(1);
    p.ptr.push_back(ptrdiff_t(p.sub.size()));
  }
  p.n = int32_t(p.ptr.size()) - 1;
  ZLV_deletetask(&task);
  ZLV_deleteenv(&env);
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> exponent(-3, 3);
  p.d.resize(size_t(p.n));
  for (double& v : p.d) v = std::pow(10.0, exponent(gen));
  for (int32_t j = 0; j < p.n; ++j) {  // dependent rows are no matter of speed
    for (ptrdiff_t k = p.ptr[j]; k < p.ptr[j + 1]; ++k) {
      p.shift = std::max(p.shift, shiftsize * p.val[k] * p.val[k] * p.d[j]);
    }
  }
  return p;
}

struct times {
  double order = 0, analysis = 0, forming = 0, factor = 1e30, solve = 1e30;
  kktfac_stats stats;
};

// method is a ZLV_ORDER_METHOD_*; seconds of factorizing, none for zero.
times own_run(const problem& p, int32_t method, int32_t threads, double seconds) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  times out;
  {
    const monitor mon;
    const kktfac_settings set{.ordermethod = method, .offcoltrh = 0, .numthreads = threads};
    const kktfac_ptr fac = kktfac_make(kktfac_kind::ada, p.m, p.n, *mman);
    kktfac_inaij(*fac, p.view());
    const auto now = [&] { return bench_clock(threads); };
    double start = now();
    if (kktfac_adasetup(*fac, set, mon, mon) != rescode::ok) std::exit(2);
    const double setup = now() - start;
    const kktfac_stats& st = kktfac_getstats(*fac);
    out.order = setup * st.torder / std::max(1e-9, st.tsetup);
    out.analysis = setup - out.order;
    out.forming = 1e30;
    std::vector<double> x(size_t(p.m));
    double spent = 0;
    for (int k = 0; seconds > 0 && (k < 3 || spent < seconds); ++k) {
      const kktfac_stats before = st;
      start = now();
      if (kktfac_numfac(*fac, p.d, {.shift = p.shift}, mon) != rescode::ok) std::exit(2);
      const double all = now() - start;
      std::ranges::fill(x, 1.0);
      start = now();
      kktfac_adasolve(*fac, x, 1);
      out.solve = std::min(out.solve, now() - start);
      out.forming = std::min(out.forming, st.tada - before.tada);
      out.factor = std::min(out.factor, all);
      spent += all;
    }
    out.factor -= out.forming;
    out.stats = st;
  }
  memman_delete(mman);
  return out;
}

peer_matrix peer_of(const problem& p) {
  peer_matrix a;
  a.m = p.m;
  a.n = p.n;
  a.ptr.assign(p.ptr.begin(), p.ptr.end());
  a.sub = p.sub;
  a.val = p.val;
  a.shift = p.shift;
  for (int32_t j = 0; j < p.n; ++j) {
    for (int32_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) a.val[k] *= std::sqrt(p.d[j]);
  }
  return a;
}

struct mean {  // geometric
  double sum = 0;
  int32_t num = 0;
  void add(double x) {
    sum += std::log(x);
    ++num;
  }
  double get() const { return num > 0 ? std::exp(sum / num) : 0; }
};

struct summary {
  mean nnz, ordertime, speed[2], speedsmall[2], rate, team, share;
};

void print_orders(const problem& p, const peer_matrix& a, summary& sum) {
  double own = 1e30, amdtime = 0, loctime = 0, peer = 1e30;
  static constexpr const char* names[] = {"free", "loc1", "loc2", "gp1", "gp2"};
  for (int32_t method = 0; method < 5; ++method) {
    const times t = own_run(p, method, 1, 0);
    std::printf("  %-5s nnz(L) %9lld  flops %9.3e  order %8.2f\n", names[method],
                static_cast<long long>(t.stats.numnz), t.stats.flops, t.order * 1e3);
    own = std::min(own, double(t.stats.numnz));
    if (method == 1) loctime = t.order;
  }
  for (int method = 1; method < 3 && peer_present(); ++method) {
    const peer_result r = peer_run(a, method, 1, 1e-9);
    std::printf("  %-5s nnz(L) %9.0f  flops %9.3e  order %8.2f\n", method == 1 ? "AMD" : "METIS",
                r.numnz, r.flops, r.order * 1e3);
    peer = std::min(peer, r.numnz);
    if (method == 1) amdtime = r.order;
  }
  if (!peer_present()) return;
  sum.nnz.add(own / peer);
  sum.ordertime.add(loctime / std::max(1e-6, amdtime));
}

void run(const problem& p, double seconds, const double (&gemm)[2], summary& sum) {
  const peer_matrix a = peer_of(p);
  double first = 0;
  for (int32_t threads = 1; threads <= 2; ++threads) {
    const times t = own_run(p, 0, threads, seconds);
    const double flops = t.stats.flops, rate = flops / t.factor;
    if (threads == 1) {
      std::printf("%s: rows %d  nnz(ADA') %lld\n", p.name.c_str(), p.m,
                  static_cast<long long>(t.stats.matnumnz));
      print_orders(p, a, sum);
      first = t.factor;
    }
    const auto row = [&](const char* who, const times& x, double numnz, double own) {
      std::printf(
          "  %-7s %d  nnz(L) %9.0f  analysis %8.3f  forming %8.3f  factor %9.3f  solve %7.3f  "
          "GFLOP/s %6.2f\n",
          who, threads, numnz, x.analysis * 1e3, x.forming * 1e3, x.factor * 1e3, x.solve * 1e3,
          own / x.factor * 1e-9);
    };
    row("zalvo", t, double(t.stats.numnz), flops);
    if (peer_present()) {
      const peer_result r = peer_run(a, 0, threads, seconds);
      row(r.issuper ? "CHOLMOD" : "cholmod", {0, r.analysis, r.forming, r.factor, r.solve, {}},
          r.numnz, r.flops);
      sum.speed[threads - 1].add(r.factor / t.factor);
      if (flops < 1e6) sum.speedsmall[threads - 1].add(r.factor / t.factor);
    }
    if (flops < 1e9) continue;
    if (threads == 1) {
      sum.share.add((t.analysis + t.forming) / t.factor);
      if (gemm[0] > 0) sum.rate.add(rate / gemm[0]);
    } else {
      sum.team.add(first / t.factor);
    }
  }
  std::fflush(stdout);
}

void print_summary(const summary& s) {
  std::printf(
      "\ngeometric means\n"
      "  nnz(L), best order over the better of AMD and METIS  %6.3f\n"
      "  time of the local-fill order over AMD's              %6.2f\n"
      "  CHOLMOD's time over ours, 1 thread, 2 threads        %6.2f %6.2f\n"
      "  the same below 1 MFLOP                               %6.2f %6.2f\n"
      "  from 1 GFLOP: rate over OpenBLAS' dgemm              %6.2f\n"
      "                1 thread over 2 threads                %6.2f\n"
      "                analysis and forming over factor       %6.2f\n",
      s.nnz.get(), s.ordertime.get(), s.speed[0].get(), s.speed[1].get(), s.speedsmall[0].get(),
      s.speedsmall[1].get(), s.rate.get(), s.team.get(), s.share.get());
}

}  // namespace

int main(int argc, char** argv) {
  const char* env = std::getenv("ZALVO_DATA");
  std::filesystem::path data = env != nullptr ? env : ".";
  size_t count = 20;
  double seconds = 0.3;
  std::vector<std::string> names;
  for (int k = 1; k < argc; ++k) {
    const bool hasvalue = k + 1 < argc;
    if (std::strcmp(argv[k], "--data") == 0 && hasvalue) {
      data = argv[++k];
    } else if (std::strcmp(argv[k], "--count") == 0 && hasvalue) {
      count = size_t(std::atoi(argv[++k]));
    } else if (std::strcmp(argv[k], "--seconds") == 0 && hasvalue) {
      seconds = std::atof(argv[++k]);
    } else {
      names.emplace_back(argv[k]);
    }
  }
  std::vector<problem> problems;
  for (const auto& file : std::filesystem::directory_iterator(data / "lp")) {
    const std::string name = file.path().stem().stem();
    if (!names.empty() && std::ranges::find(names, name) == names.end()) continue;
    problems.push_back(read(file.path(), name));
    problems.back().flops = own_run(problems.back(), 1, 1, 0).stats.flops;
  }
  std::ranges::sort(problems, [](const problem& x, const problem& y) { return x.flops > y.flops; });
  if (names.empty() && problems.size() > count) problems.resize(count);
  const double gemm[2] = {peer_gemm(1200, 1), peer_gemm(1200, 2)};
  std::printf("dgemm: %.1f GFLOP/s at 1 thread, %.1f at 2; kernels: %s %s\n", gemm[0] * 1e-9,
              gemm[1] * 1e-9, parblas_name(parblas_choose(0).kind), parblas_choose(0).instructions);
  summary sum;
  for (const problem& p : problems) run(p, seconds, gemm, sum);
  print_summary(sum);
}
