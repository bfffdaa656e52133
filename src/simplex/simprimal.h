// Primal simplex: from any factored basis to an optimal one or a certificate.
#pragma once

#include "simplex/simcore.h"

// sim_primal: the method on st, whose basis was set up and may be of any kind: logical, crashed, the
// last one of the dual simplex, or one identified from an interior point. A first phase lowers the
// sum of infeasibilities while there are any.
// Returns optimal (all bounds kept to st.tolx, reduced costs to st.tols), a certificate, undecided
// (dual feasible but for little, primal infeasible after bounds were restored; or a certificate that
// could not be proved) or stopped. Bounds and costs are the true ones again afterwards, and the
// basis is factored with its values.
//   mayperturb  bounds may be widened on the way; one that a variable leaves at may always move
sim_end sim_primal(sim_state& st, bool mayperturb);
