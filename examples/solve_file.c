/* Reads a model file, solves it and prints the log, the summary and the values of the variables. */
#include <stdio.h>
#include <stdlib.h>
#include <zalvo.h>

static void print(void* handle, const char* text) {
  fputs(text, (FILE*)handle);
}

int main(int argc, char** argv) {
  ZLV_env_t env = NULL;
  ZLV_task_t task = NULL;
  int32_t r = ZLV_makeenv(&env, NULL, NULL, NULL, NULL), numvar = 0, solsta = ZLV_SOL_STA_UNKNOWN;
  if (r == ZLV_RES_OK) r = ZLV_initenv(env);
  if (r == ZLV_RES_OK) r = ZLV_makeemptytask(env, &task);
  if (r == ZLV_RES_OK) r = ZLV_linkfunctotaskstream(task, ZLV_STREAM_LOG, stdout, print);
  if (r == ZLV_RES_OK) r = ZLV_readdata(task, argc > 1 ? argv[1] : "diet.mps");
  if (r == ZLV_RES_OK) r = ZLV_optimize(task);
  if (r == ZLV_RES_OK) r = ZLV_solutionsummary(task, ZLV_STREAM_LOG);
  if (r == ZLV_RES_OK) r = ZLV_getsolutionstatus(task, ZLV_SOL_ITR, NULL, &solsta);
  if (r == ZLV_RES_OK && solsta == ZLV_SOL_STA_OPTIMAL) {
    ZLV_getnumvar(task, &numvar);
    double* x = malloc((size_t)(numvar + 1) * sizeof *x);
    if (x == NULL) return EXIT_FAILURE;
    r = ZLV_getsolutionslice(task, ZLV_SOL_ITR, ZLV_SOL_ITEM_XX, 0, numvar, x);
    for (int32_t j = 0; r == ZLV_RES_OK && j < numvar; ++j) printf("x[%d] = %.6f\n", (int)j, x[j]);
    free(x);
  }
  ZLV_deletetask(&task);
  ZLV_deleteenv(&env);
  return r == ZLV_RES_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
