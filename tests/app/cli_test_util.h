#pragma once
// Running the qvlmodel program of this build from a test: exit status and everything it printed.
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

struct Result {
  int status = -1;
  std::string out;
};

inline Result Qvl(const std::string& args) {
  Result r;
  FILE* p = ::popen((std::string(QVLMODEL_EXE) + " " + args + " 2>&1").c_str(), "r");
  if (!p) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  const int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return r;
}

inline nlohmann::json LastJson(const std::string& out) {
  const auto open = out.find("{\n");
  return nlohmann::json::parse(out.substr(open, out.rfind('}') - open + 1));
}

inline std::string Q(const std::string& s) { return "'" + s + "'"; }
