// Certificates that presolve finds itself: a ray of the problem as it was at that moment goes through
// the stack and is checked on the original data.
#pragma once

#include "prslv/prslv.h"

// Values of a ray at the end of the stack, by original index; z = -A'y of the problem there.
struct prslv_seed {
  mm_vector<double> x, y, z;
  explicit prslv_seed(mm_place place) : x(place), y(place), z(place) {}
};

// prslv_postseed: the ray after undoing the stack. seed is used up.
void prslv_postseed(const prslv_rec& rec, prslv_seed&& seed, lp_point& out);

// prslv_proves: whether ray.y proves the problem infeasible (ray.x that it has no dual point).
bool prslv_provesinfeas(const lp_view& prob, const lp_point& ray);
bool prslv_provesunbound(const lp_view& prob, const lp_point& ray);
