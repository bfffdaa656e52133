// The quotient graph of a symmetric pattern under elimination, in one integer workspace, and the
// phases of an ordering on it: setup, preprocessing, activation of nodes set aside, pivots.
//
// Every node owns a list in the workspace. The list of an active node holds first the elements it
// touches (nnoe of them) and then plain nodes; the list of an element holds its clique, first the
// active nodes and then, nnoe of them, the nodes that are set aside. A node set aside keeps out of
// the queue and has in its list only the other nodes set aside; its edges to active nodes stand in
// the lists of these, from which symord_activate rebuilds its list when its time has come. So a
// node with very many neighbours costs nothing until then, and is still counted in every degree.
//
// Amestoy, Davis, Duff, "An approximate minimum degree ordering algorithm", SIAM J. Matrix Anal.
// Appl. 17 (1996); Ashcraft, "Compressed graphs and the minimum degree algorithm", SIAM J. Sci.
// Comput. 16 (1995); Rothberg, Eisenstat, "Node selection strategies for bottom-up sparse matrix
// ordering", SIAM J. Matrix Anal. Appl. 19 (1998).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"
#include "misc/prique.h"
#include "order/symord.h"

enum class symord_status : int8_t {
  absorbed = 0,    // stands in the chain of another node, or an element swallowed by another
  active = 1,      // plain node in the queue
  dense = 3,       // set aside
  eliminated = 4,  // element
};

struct symord_graph {
  int32_t n = 0;
  symord_scoretype score = symord_scoretype::degree;
  // The workspace and its lists.
  mm_vector<int32_t> iw;
  ptrdiff_t ifree = 0;            // first unused place of the workspace
  mm_vector<ptrdiff_t> ifir;      // first place of a list
  mm_vector<int32_t> iuse, isze;  // used and allotted length; only nodes set aside use less
  mm_vector<int32_t> nnoe;
  // Nodes.
  mm_vector<symord_status> status;
  mm_vector<int32_t> gsize;   // nodes of the group (weight + 1); 0 when absorbed or eliminated;
                              // negated while the node is in the clique of the current pivot
  mm_vector<int32_t> deg;     // approximate external degree; of an element: its active members
  mm_vector<int32_t> clique;  // of an element: all its members at its birth; of an active node:
                              // the largest of its elements
  mm_vector<int32_t> stage;   // empty, or the stage of each node: a later one is eliminated later
  mm_vector<int32_t> chain;   // next node of the same group or -1
  mm_vector<int32_t> chainlast;
  prique queue;
  // Scratch of a pivot.
  mm_vector<int32_t> ndiff;  // of an element: its members outside the current clique, plus tag;
                             // 0 when swallowed, below tag when not touched in this step
  int32_t tag = 1;
  mm_vector<int32_t> hashhead, hashnext;  // buckets of the supervariable search, -1 when empty
  mm_vector<uint32_t> hash;
  mm_vector<int32_t> outside;  // members of the current clique that are set aside
  mm_vector<int32_t> batch;    // nodes being compressed or activated
  // The state of the run.
  int32_t nleft = 0;     // nodes (not groups) that are not eliminated
  int32_t numaside = 0;  // nodes of status dense
  int32_t curstage = 0;
  int32_t cutoff = 0;  // smallest degree among the nodes set aside in this stage, or n
  // Results.
  mm_vector<int32_t> perm;  // representatives in order of elimination
  symord_result result;
  // Accounting of the poll.
  int64_t work = 0;  // list entries touched since the last poll

  symord_graph(int32_t numnode, symord_scoretype type, mm_place at);
};

// How an ordering on a graph ends.
enum class symord_end { done, nospace, nonodes, stopped, fault };

// List entries touched between two polls: some milliseconds of work.
constexpr int64_t symord_pollwork = 1 << 20;
inline rescode symord_poll(symord_graph& g, const monitor& mon) {
  if (g.work < symord_pollwork) return rescode::ok;
  g.work = 0;
  return mon.poll();
}

// symord_setup: takes the graph into a workspace of its entries plus `elbow` integers (repeated
// entries and the diagonal are dropped), marks the dense nodes and fills the queue; logs the shape.
//   stage  empty, or n entries >= 0; nodes of a stage above 0 are set aside until it is reached
// Returns ok, err_internal for a pattern that is not symmetric, or a termination code.
rescode symord_setup(symord_graph& g, const spmat_view& graph, std::span<const int32_t> stage,
                     ptrdiff_t elbow, const monitor& mon);

// symord_prepro: merges indistinguishable active nodes and gives every group its key; logs.
rescode symord_prepro(symord_graph& g, const monitor& mon);

// symord_compress: merges nodes of g.batch that cannot be told apart: with equal lists when each is
// counted in its own list (closed), or, for nodes that share an element, with equal lists (open).
void symord_compress(symord_graph& g, bool closed);

// symord_chain: puts the chain of j behind that of i. Weights are the caller's affair.
inline void symord_chain(symord_graph& g, int32_t i, int32_t j) {
  g.chain[g.chainlast[i]] = j;
  g.chainlast[i] = g.chainlast[j];
}

// symord_cleartag: makes the tag larger than every mark, after a step that added up to `add`.
void symord_cleartag(symord_graph& g, int32_t add);

// symord_score: the key of an active node of external degree deg.
int64_t symord_score(const symord_graph& g, int32_t i, int32_t deg);

// symord_activate: gives lists, degrees and keys to the nodes set aside whose time has come: those
// of up to four times the cutoff, and when there is none left in this stage, the next stage.
void symord_activate(symord_graph& g);

// symord_garcol: slides all lists to the front of the workspace. O(used part of it).
void symord_garcol(symord_graph& g);

// symord_x1pivot: eliminates the active node x. False, with the graph as it was, when the clique of
// x does not fit even after a garbage collection.
bool symord_x1pivot(symord_graph& g, int32_t x);

// symord_minlocf, symord_priord: order all nodes, by approximate local fill (scores 1 and 2) or by
// approximate degree (score 0). After nospace the graph is lost: begin again with more elbow room.
//   code  out, the monitor's code when the end is `stopped`
symord_end symord_minlocf(symord_graph& g, const monitor& mon, rescode& code);
symord_end symord_priord(symord_graph& g, const monitor& mon, rescode& code);

// symord_check: looks for the first broken invariant; false, with its text logged, when there is
// one. O(workspace); for tests and debug builds, between pivots.
bool symord_check(const symord_graph& g, const monitor& mon);

// symord_staged: symord_order for nodes with stages: no node of a later stage comes before one of
// an earlier stage. Arguments as in symord_order and symord_setup.
rescode symord_staged(const spmat_view& graph, std::span<const int32_t> stage,
                      symord_scoretype score, const monitor& mon, memman& mman,
                      std::span<int32_t> perm, symord_result& result);
