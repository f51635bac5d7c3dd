#pragma once
// Runs part of a test in a child process whose address space is limited, so that a reader that
// asks for more memory than a small hostile file justifies fails there (std::bad_alloc, abort)
// instead of passing on a machine with plenty of memory.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <new>

// The address sanitizer reserves terabytes of address space: a limit cannot be set under it.
#if defined(__SANITIZE_ADDRESS__)
#define QVL_TEST_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QVL_TEST_ADDRESS_SANITIZER 1
#endif
#endif

// Bytes of address space the process uses now.
inline std::size_t AddressSpaceInUse() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0;
  statm >> pages;
  return pages * std::size_t(::sysconf(_SC_PAGESIZE));
}

// Runs `body` in a child allowed `extra_bytes` of address space beyond what is in use now. Returns
// the child's return value of `body`, 98 when it ran out of memory (std::bad_alloc), 128 + the
// signal when it died of one.
inline int RunWithMemoryLimit(std::size_t extra_bytes, const std::function<int()>& body) {
  std::fflush(nullptr);
  const std::size_t limit = AddressSpaceInUse() + extra_bytes;
  const pid_t pid = ::fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    const rlimit lim{limit, limit};
    ::setrlimit(RLIMIT_AS, &lim);
    int rc = 0;
    try {
      rc = body();
    } catch (const std::bad_alloc&) {
      rc = 98;
    }
    std::fflush(nullptr);
    ::_exit(rc);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
