// Exported functions that tell which library this is, and the introduction.
#include <array>
#include <cstdio>
#include <cstdlib>

#include "zalvo/frame.h"

namespace {

constexpr std::array<int32_t, 4> version = {4, 0, 0, 47};  // major, minor, build, revision
constexpr const char* product = "ZALVO";
constexpr const char* builddate = "Oct 10 2006";
constexpr const char* buildtime = "20:06:05";

// Read on the library's behalf by the loader and by the run-time library of its threads.
constexpr std::array<const char*, 3> variables = {"LD_LIBRARY_PATH", "OMP_NUM_THREADS",
                                                  "OMP_THREAD_LIMIT"};

void put(int32_t* out, int32_t value) {
  if (out != nullptr) *out = value;
}

}  // namespace

int32_t ZLV_getversion(int32_t* major, int32_t* minor, int32_t* build, int32_t* revision) {
  put(major, version[0]);
  put(minor, version[1]);
  put(build, version[2]);
  put(revision, version[3]);
  return int32_t(rescode::ok);
}

int32_t ZLV_checkversion(ZLV_env_t env, int32_t major, int32_t minor, int32_t build,
                         int32_t revision) {
  return env_call(env, [=](env_rec& e) {
    const std::array<int32_t, 4> wanted = {major, minor, build, revision};
    if (version == wanted) return rescode::ok;
    // The first number that differs decides.
    const rescode r = version < wanted ? rescode::err_older_dll : rescode::err_newer_dll;
    return env_fail(e, r, version[0], version[1], version[2], version[3], major, minor, build,
                    revision);
  });
}

int32_t ZLV_getbuildinfo(char* buildstate, char* date, char* buildtool) {
  if (buildstate != nullptr) *buildstate = '\0';
  if (date != nullptr) std::snprintf(date, ZLV_MAX_STR_LEN, "%s %s", builddate, buildtime);
  if (buildtool != nullptr) *buildtool = '\0';
  return int32_t(rescode::ok);
}

int32_t ZLV_echointro(ZLV_env_t env, int32_t longver) {
  if (env == nullptr) return int32_t(rescode::err_null_env);
  constexpr const char* nostate = "";  // of a released build
  env_echo(*env, msg_kind::msg, "\n%s Version %d.%d.%d.%d%s%s%s (Build date: %s)\n", product,
           version[0], version[1], version[2], version[3], nostate, nostate, nostate, builddate);
  if (longver == 0) return int32_t(rescode::ok);
  env_echo(*env, msg_kind::msg, "\nOperating system variables\n");
  for (const char* name : variables) {
    const char* value = std::getenv(name);
    env_echo(*env, msg_kind::msg, "%-25s: %s\n", name, value != nullptr ? value : "");
  }
  return int32_t(rescode::ok);
}
