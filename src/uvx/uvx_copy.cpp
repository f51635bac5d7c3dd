#include "uvx/uvx_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace {

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  int release_close() {
    const int r = ::close(fd_);
    fd_ = -1;
    return r;
  }

 private:
  int fd_;
};

bool WriteAll(int fd, const unsigned char* p, std::size_t n) {
  while (n > 0) {
    const ssize_t put = ::write(fd, p, n);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    p += put;
    n -= std::size_t(put);
  }
  return true;
}

}  // namespace

int CopyUVXFile(const std::string& from, const std::string& to, ProgressSink* progress, StopFlag* stop) {
  Fd in(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) return 0;
  struct stat st {};
  if (::fstat(in.get(), &st) != 0 || !S_ISREG(st.st_mode)) return 0;
  Fd out(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (out.get() < 0) return 0;
  auto fail = [&] {
    out.release_close();
    ::unlink(to.c_str());
    return 0;
  };
  if (progress) progress->SetRange(0, st.st_size);
  std::vector<unsigned char> buf(std::size_t{8} << 20);
  std::int64_t done = 0;
  for (;;) {
    if (StopRequested(stop)) return fail();
    const ssize_t got = ::read(in.get(), buf.data(), buf.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fail();
    if (got == 0) break;
    if (!WriteAll(out.get(), buf.data(), std::size_t(got))) return fail();
    done += got;
    if (progress) progress->SetPos(done);
  }
  if (out.release_close() != 0) {
    ::unlink(to.c_str());
    return 0;
  }
  return 1;
}
