/* A problem without a solution and the proof of it: x + y >= 4, x + 2 y <= 3, 0 <= x <= 2, y >= 0.
 * The duals of the answer are weights: the constraints and bounds, added up with them, say
 * 0 >= something positive. */
#include <stdio.h>
#include <stdlib.h>
#include <zalvo.h>

int main(void) {
  static const int32_t aptrb[] = {0, 2}, aptre[] = {2, 4}, asub[] = {0, 1, 0, 1};
  static const double aval[] = {1.0, 1.0, 1.0, 2.0}, cost[] = {1.0, 1.0};
  static const int32_t bkc[] = {ZLV_BK_LO, ZLV_BK_UP}, bkx[] = {ZLV_BK_RA, ZLV_BK_LO};
  static const double blc[] = {4.0, -1e30}, buc[] = {1e30, 3.0};
  static const double blx[] = {0.0, 0.0}, bux[] = {2.0, 1e30};
  ZLV_env_t env = NULL;
  ZLV_task_t task = NULL;
  double slc[2], suc[2], slx[2], sux[2];
  int32_t r = ZLV_makeenv(&env, NULL, NULL, NULL, NULL), solsta = ZLV_SOL_STA_UNKNOWN;
  if (r == ZLV_RES_OK) r = ZLV_initenv(env);
  if (r == ZLV_RES_OK) r = ZLV_maketask(env, 2, 2, &task);
  if (r == ZLV_RES_OK)
    r = ZLV_inputdata(task, 2, 2, 2, 2, cost, 0.0, aptrb, aptre, asub, aval, bkc, blc, buc, bkx,
                      blx, bux);
  if (r == ZLV_RES_OK) r = ZLV_optimize(task);
  if (r == ZLV_RES_OK)
    r = ZLV_getsolution(task, ZLV_SOL_ITR, NULL, &solsta, NULL, NULL, NULL, NULL, NULL, NULL, slc,
                        suc, slx, sux, NULL);
  if (r == ZLV_RES_OK && solsta == ZLV_SOL_STA_PRIM_INFEAS_CER) {
    printf("infeasible; weights: x + y >= 4: %.4f, x + 2 y <= 3: %.4f, x <= 2: %.4f\n", slc[0],
           suc[1], sux[0]);
    printf("together: 0 >= %.4f\n", 4.0 * slc[0] - 3.0 * suc[1] - 2.0 * sux[0]);
  }
  ZLV_deletetask(&task);
  ZLV_deleteenv(&env);
  return solsta == ZLV_SOL_STA_PRIM_INFEAS_CER ? EXIT_SUCCESS : EXIT_FAILURE;
}
