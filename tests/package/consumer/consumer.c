/* A stranger's program: strict C11, the installed header and library only. */
#include <stdio.h>
#include <zalvo.h>

int main(void) {
  ZLV_env_t env = NULL;
  ZLV_task_t task = NULL;
  int32_t r = ZLV_makeenv(&env, NULL, NULL, NULL, NULL);
  if (r == ZLV_RES_OK) r = ZLV_initenv(env);
  if (r == ZLV_RES_OK) r = ZLV_maketask(env, 0, 0, &task);
  if (r == ZLV_RES_OK) r = ZLV_deletetask(&task);
  if (r == ZLV_RES_OK) r = ZLV_deleteenv(&env);
  printf("response %d\n", (int)r);
  return r != ZLV_RES_OK;
}
