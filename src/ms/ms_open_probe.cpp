// Opening a Measurement Set once in a child process, so that a damaged table descriptor that
// makes the table library end the process ends only the child.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "ms/ms_plain.h"

namespace ms {

namespace {

constexpr int kRefused = 3;  // the child's exit status when `open` refused the set

// What the child wrote before it ended (its refusal), at most 4 KB.
std::string ReadMessage(int fd) {
  std::string text;
  char buf[512];
  for (ssize_t n; text.size() < 4096 && (n = ::read(fd, buf, sizeof buf)) > 0;) text.append(buf, std::size_t(n));
  return text;
}

}  // namespace

int OpensInChild(const std::string&, const std::function<int(std::string&)>& open, std::string& error,
                 double timeout_s) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return 1;
  const pid_t pid = ::fork();
  if (pid < 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    return 1;
  }
  if (pid == 0) {
    // The child dies of what kills it, whatever handlers the process installed (a sanitizer's
    // or a fuzzer's would turn the signal into an ordinary exit).
    for (int sig : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) ::signal(sig, SIG_DFL);
    ::close(fds[0]);
    std::string why;
    const int ok = open(why);
    if (!ok && ::write(fds[1], why.data(), why.size()) < 0) why.clear();
    ::_exit(ok ? 0 : kRefused);  // no exit handlers, no flushing of the parent's buffers
  }
  ::close(fds[1]);
  int status = 0;
  const timespec pause{0, 2000000};  // 2 ms
  for (double waited = 0;; waited += 0.002) {
    const pid_t done = ::waitpid(pid, &status, WNOHANG);
    if (done == pid) break;
    if (done < 0) {  // the child is not ours to wait for (SIGCHLD ignored): open directly
      ::close(fds[0]);
      return 1;
    }
    if (waited > timeout_s) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      ::close(fds[0]);
      error = "damaged tables: casacore did not finish reading them within " + std::to_string(int(timeout_s)) + " s";
      return 0;
    }
    ::nanosleep(&pause, nullptr);
  }
  const std::string message = ReadMessage(fds[0]);
  ::close(fds[0]);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return 1;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kRefused) {
    error = message;  // the same refusal the set gets here, without reading it a second time
    return 0;
  }
  // Any other end came from a fatal signal or from a handler of a fatal error.
  error = "damaged tables: casacore ended while reading them";
  if (WIFSIGNALED(status)) error += std::string(": ") + ::strsignal(WTERMSIG(status));
  return 0;
}

}  // namespace ms
