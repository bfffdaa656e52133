// Plan of the quasi-definite ("big") system
//     [ -(H + D)   A' ]
//     [    A       E  ]
// : which columns are eliminated before any row, the graph of what is left, and its order. A column
// whose only entry of H is its diagonal goes into the rows while the matrix is formed and has no
// node; the others are nodes of the factor, followed by the rows.
//
// Form 1 eliminates columns first wherever that is cheap: single ones while forming, those of small
// blocks of H as the first pivots. So the pivots of the rows are those of normal equations and none
// rests on the regularization alone. Dense columns and large blocks are ordered with the rows. Form 2
// orders everything freely but for columns that make no fill.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"
#include "kfac/kktfac.h"
#include "kfac/sorder1.h"

struct sqdplan {
  int32_t form = 0;
  int32_t numcolnode = 0;    // columns that are nodes; the rows come behind them
  int32_t numoffcol = 0;     // dense columns that form 1 left to the order
  mm_vector<int32_t> node;   // for each column its node, or -1
  spmat graph;               // of the nodes: each pair in both columns, no diagonal
  mm_vector<int32_t> order;  // order[k] is the node eliminated k-th
  sorder1_result part;
  double torder = 0;   // seconds of ordering
  double cliques = 0;  // entries that the columns eliminated first join, over all of them
  double flops = 0;    // of forming and factorizing
  explicit sqdplan(mm_place at) : node(at), graph(at), order(at) {}
};

// sqdplan_make: the plan for form 1 or 2.
//   a            m x n by columns
//   h            n x n, lower triangle by columns, diagonal entries optional
//   ordermethod  ZLV_ORDER_METHOD_*
//   offcoltrh    threshold of the dense-column rule
//   border       columns that are nodes, and rows that wait for them
// Returns ok or a termination code of the monitor.
struct sqdplan_settings {
  int32_t ordermethod = 0, offcoltrh = 40;
  std::span<const kktfac_border> border = {};
};
rescode sqdplan_make(const spmat_view& a, const spmat_view& h, int32_t form,
                     const sqdplan_settings& set, const monitor& orderlog, sqdplan& plan);
