/* Builds the model of plan.mps in memory, solves it as a maximum and prints what each machine hour
 * is worth: y is the change of the optimal profit per hour more. */
#include <stdio.h>
#include <stdlib.h>
#include <zalvo.h>

enum { NUMCON = 3, NUMVAR = 3 };

int main(void) {
  /* A by columns: column j has the entries aptrb[j] .. aptre[j]-1 of asub and aval */
  static const int32_t aptrb[] = {0, 3, 6}, aptre[] = {3, 6, 8};
  static const int32_t asub[] = {0, 1, 2, 0, 1, 2, 1, 2};
  static const double aval[] = {1.5, 0.5, 0.8, 2.0, 2.5, 1.2, 1.0, 0.6};
  static const double profit[] = {45.0, 80.0, 30.0};
  static const int32_t bkc[] = {ZLV_BK_UP, ZLV_BK_UP, ZLV_BK_UP};
  static const double blc[] = {-1e30, -1e30, -1e30}, buc[] = {80.0, 70.0, 48.0};
  static const int32_t bkx[] = {ZLV_BK_LO, ZLV_BK_LO, ZLV_BK_RA};
  static const double blx[] = {0.0, 10.0, 0.0}, bux[] = {1e30, 1e30, 25.0};
  static const char* const product[] = {"chairs", "tables", "shelves"};
  static const char* const machine[] = {"turning", "milling", "painting"};
  ZLV_env_t env = NULL;
  ZLV_task_t task = NULL;
  double x[NUMVAR], y[NUMCON], objective = 0.0;
  int32_t r = ZLV_makeenv(&env, NULL, NULL, NULL, NULL), solsta = ZLV_SOL_STA_UNKNOWN;
  if (r == ZLV_RES_OK) r = ZLV_initenv(env);
  if (r == ZLV_RES_OK) r = ZLV_maketask(env, NUMCON, NUMVAR, &task);
  if (r == ZLV_RES_OK)
    r = ZLV_inputdata(task, NUMCON, NUMVAR, NUMCON, NUMVAR, profit, 0.0, aptrb, aptre, asub, aval,
                      bkc, blc, buc, bkx, blx, bux);
  if (r == ZLV_RES_OK) r = ZLV_putintparam(task, ZLV_IPAR_OBJECTIVE_SENSE, ZLV_OBJECTIVE_SENSE_MAX);
  if (r == ZLV_RES_OK) r = ZLV_optimize(task);
  if (r == ZLV_RES_OK)
    r = ZLV_getsolution(task, ZLV_SOL_ITR, NULL, &solsta, NULL, NULL, NULL, NULL, x, y, NULL, NULL,
                        NULL, NULL, NULL);
  if (r == ZLV_RES_OK) r = ZLV_getprimalobj(task, ZLV_SOL_ITR, &objective);
  if (r == ZLV_RES_OK && solsta == ZLV_SOL_STA_OPTIMAL) {
    printf("objective %.4f\n", objective);
    for (int j = 0; j < NUMVAR; ++j) printf("%-8s %9.4f\n", product[j], x[j]);
    for (int i = 0; i < NUMCON; ++i) printf("an hour of %-8s %9.4f\n", machine[i], y[i]);
  }
  ZLV_deletetask(&task);
  ZLV_deleteenv(&env);
  return r == ZLV_RES_OK && solsta == ZLV_SOL_STA_OPTIMAL ? EXIT_SUCCESS : EXIT_FAILURE;
}
