// Dual simplex: from any factored basis to an optimal one or a certificate.
#pragma once

#include "simplex/simcore.h"

// sim_dual: the method on st, whose basis may be of any kind. A first phase solves the problem with
// bounds of 0 and 1 in place of infinite and finite ones when duals have the wrong sign.
// Returns optimal (st.tolx, st.tols kept), a certificate, undecided (as a rule primal feasible, and
// dual infeasible by what perturbation and shifts hid; or a certificate that could not be proved) or
// stopped. Bounds and costs are the true ones afterwards, and the basis is factored with its values.
//   mayperturb  costs may be perturbed on the way; they may be shifted in any case
sim_end sim_dual(sim_state& st, bool mayperturb);
