// The other solver of the comparison, CHOLMOD over OpenBLAS, behind plain arrays. It is linked by this
// benchmark only, and only where it is installed.
#pragma once

#include <cstdint>
#include <vector>

struct peer_result {
  double order = 0, analysis = 0, forming = 0;  // seconds; forming is of A D A'
  double factor = 0, solve = 0;                 // fastest of several
  double numnz = 0, flops = 0;
  bool issuper = false;
};

// The matrix A D^(1/2) by columns.
struct peer_matrix {
  int32_t m = 0, n = 0;
  std::vector<int32_t> ptr, sub;
  std::vector<double> val;
  double shift = 0;  // added to the diagonal of A D A'
};

bool peer_present();
// peer_run: factorizes A D A' with the solver's own choice of order (method 0), minimum degree (1) or
// METIS (2) and of simplicial or supernodal; orders and analyses only when repeat is zero.
peer_result peer_run(const peer_matrix& a, int method, int threads, double seconds);
// peer_gemm: flops a second of a product of two square matrices; zero without a peer.
double peer_gemm(int32_t n, int threads);
