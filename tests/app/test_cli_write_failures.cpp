// Every command that writes a file (or a Measurement Set folder), made to fail midway: under a file-size limit smaller than its
// output (RLIMIT_FSIZE with SIGXFSZ ignored, so that a write fails with EFBIG) and into a folder it
// may not write. Each must fail with a message naming its output (not a temporary name) and leave neither the output nor
// a temporary file; a file it would replace stays as it was.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "uvx/uvx_test_util.h"

namespace {

namespace fs = std::filesystem;

struct RunResult {
  int status = -1;  // exit status, or 128 + signal
  std::string out;  // stdout, or stderr alone when only the messages are wanted
};

// Drops every capability, also from the bounding set so that an exec as root does not get them
// back: root is then refused a folder without write permission like any user.
void DropCapabilities() {
  for (int cap = 0; cap < 64; ++cap) ::prctl(PR_CAPBSET_DROP, cap, 0, 0, 0);
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  ::syscall(SYS_capset, &header, data);
}

// Whether a folder of mode 0555 refuses a new file to a process without capabilities (it does
// not when the test runs without the right to drop them).
bool ReadOnlyFolderRefuses(const std::string& dir) {
  ::chmod(dir.c_str(), 0555);
  const pid_t pid = ::fork();
  if (pid == 0) {
    DropCapabilities();
    std::FILE* f = std::fopen((dir + "/probe").c_str(), "w");
    ::_exit(f ? 1 : 0);
  }
  int st = 0;
  ::waitpid(pid, &st, 0);
  ::chmod(dir.c_str(), 0755);
  std::remove((dir + "/probe").c_str());
  return WIFEXITED(st) && WEXITSTATUS(st) == 0;
}

// Runs qvlmodel with `args`. `fsize_limit` > 0 limits the size of every file it writes; `no_caps`
// drops every capability first, so that root too is refused a folder without write permission.
// The messages of a limited run are taken from stderr alone (stdout shows the output's name in
// its progress text), as with `messages`.
RunResult Qvl(const std::vector<std::string>& args, rlim_t fsize_limit = 0, bool no_caps = false,
              bool messages = false) {
  int pipe_fd[2];
  if (::pipe(pipe_fd) != 0) return {};
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (messages || fsize_limit > 0 || no_caps) {
      const int null_fd = ::open("/dev/null", O_WRONLY);
      ::dup2(null_fd, 1);
      ::dup2(pipe_fd[1], 2);
    } else {
      ::dup2(pipe_fd[1], 1);
    }
    ::close(pipe_fd[0]);
    ::close(pipe_fd[1]);
    ::signal(SIGXFSZ, SIG_IGN);
    if (fsize_limit > 0) {
      const rlimit lim{fsize_limit, fsize_limit};
      ::setrlimit(RLIMIT_FSIZE, &lim);
    }
    if (no_caps) DropCapabilities();
    std::vector<char*> argv;
    std::string exe = QVLMODEL_EXE;
    argv.push_back(exe.data());
    std::vector<std::string> copy = args;
    for (std::string& a : copy) argv.push_back(a.data());
    argv.push_back(nullptr);
    ::execv(exe.c_str(), argv.data());
    ::_exit(127);
  }
  ::close(pipe_fd[1]);
  RunResult r;
  char buf[4096];
  ssize_t n;
  while ((n = ::read(pipe_fd[0], buf, sizeof buf)) > 0) r.out.append(buf, std::size_t(n));
  ::close(pipe_fd[0]);
  int st = 0;
  ::waitpid(pid, &st, 0);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  return r;
}

// Names and sizes of the files in a folder (a folder inside it counts with size 0).
std::map<std::string, std::uintmax_t> Listing(const fs::path& dir) {
  std::map<std::string, std::uintmax_t> out;
  for (const auto& e : fs::directory_iterator(dir))
    out[e.path().filename().string()] = e.is_directory() ? 0 : e.file_size();
  return out;
}

const char* kTinyObservation = R"({
  "source": {"name": "3C273", "ra": "12:29:06.7", "dec": "+02:03:08.6"},
  "date": "2024-03-15",
  "frequency": {"reference_mhz": 4990, "channels": 4,
                "setups": [{"ifs": [{"offset_mhz": 0, "channel_width_mhz": 4}, {"offset_mhz": 16, "channel_width_mhz": 4}]}]},
  "time_step_s": 10,
  "intervals": [{"start": "12:00:00", "stop": "12:10:00"}],
  "polarizations": ["RR", "LL"],
  "telescopes": [
    {"name": "SC", "id": "SC", "x_m": 2607848.6, "y_m": 5488069.6, "z_m": 1932739.7, "diameter_m": 25,
     "az_min_deg": 0, "az_max_deg": 360, "zenith_min_deg": 0, "zenith_max_deg": 180},
    {"name": "HN", "id": "HN", "x_m": 1446374.9, "y_m": 4447939.7, "z_m": 4322306.2, "diameter_m": 25,
     "az_min_deg": 0, "az_max_deg": 360, "zenith_min_deg": 0, "zenith_max_deg": 180},
    {"name": "HEO", "id": "HE", "kind": "orbital", "semimajor_axis_km": 20000, "eccentricity": 0.3,
     "inclination_deg": 51, "ascending_node_deg": 10, "perigee_argument_deg": 20, "epoch_jd": 2460384.5,
     "mean_anomaly_deg": 0}
  ],
  "output": "tiny.uvx"
})";

class WriteFailures : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(QVLMODEL_EXE)) GTEST_SKIP() << "qvlmodel not built";
    in_ = dir_.File("in");
    fs::create_directories(in_);
    std::ofstream(In("tiny.json")) << kTinyObservation;
    fs::copy_file(std::string(QVL_SOURCE_DATA) + "/examples/core_jet.mdl", In("core_jet.mdl"));
    fs::copy_file(std::string(QVL_SOURCE_DATA) + "/Telescopes.dat", In("Telescopes.dat"));
    ASSERT_EQ(Qvl({"configure", In("tiny.json"), "-o", In("tiny.uvx")}).status, 0);
    ASSERT_EQ(Qvl({"model", In("tiny.uvx"), "-m", In("core_jet.mdl"), "-o", In("model.uvx")}).status, 0);
    ASSERT_EQ(Qvl({"export", In("model.uvx"), "-o", In("model.uvfits")}).status, 0);
    std::ofstream(In("errors.tsv")) << Qvl({"errors", "--template", In("tiny.uvx")}).out;
    std::ofstream(In("sefd.tsv")) << Qvl({"noise", "--template", In("tiny.uvx")}).out;
  }
  std::string In(const std::string& name) const { return in_ + "/" + name; }

  TempDir dir_;
  std::string in_;
};

// One command: its arguments for an output folder, the output's name there, and a file the
// folder holds beforehand (catalog add rewrites Telescopes.dat in place).
struct Command {
  const char* what;
  std::function<std::vector<std::string>(const std::string& out)> args;
  std::string output;
  std::string existing;
};

TEST_F(WriteFailures, EveryWriterLeavesNothingWhenAWriteFailsMidway) {
  const std::vector<Command> commands = {
      {"configure", [&](const std::string& o) { return std::vector<std::string>{"configure", In("tiny.json"), "-o", o + "/t.uvx"}; }, "t.uvx", ""},
      {"model", [&](const std::string& o) { return std::vector<std::string>{"model", In("tiny.uvx"), "-m", In("core_jet.mdl"), "-o", o + "/m.uvx"}; }, "m.uvx", ""},
      {"errors", [&](const std::string& o) { return std::vector<std::string>{"errors", In("model.uvx"), "--table", In("errors.tsv"), "--random-start", "1", "-o", o + "/e.uvx"}; }, "e.uvx", ""},
      {"noise", [&](const std::string& o) { return std::vector<std::string>{"noise", In("model.uvx"), "--sefd", In("sefd.tsv"), "--duration", "10", "--bandwidth", "8e6", "--random-start", "1", "-o", o + "/n.uvx"}; }, "n.uvx", ""},
      {"export", [&](const std::string& o) { return std::vector<std::string>{"export", In("model.uvx"), "-o", o + "/x.uvfits"}; }, "x.uvfits", ""},
      {"export ms", [&](const std::string& o) { return std::vector<std::string>{"export", In("model.uvx"), "-o", o + "/x.ms"}; }, "x.ms", ""},
      {"import", [&](const std::string& o) { return std::vector<std::string>{"import", In("model.uvfits"), "-o", o + "/i.uvx"}; }, "i.uvx", ""},
      {"render exm", [&](const std::string& o) { return std::vector<std::string>{"model", "--render", In("core_jet.mdl"), "--fov", "0.02", "0.02", "--size", "64", "-o", o + "/r.exm"}; }, "r.exm", ""},
      {"render fits", [&](const std::string& o) { return std::vector<std::string>{"model", "--render", In("core_jet.mdl"), "--fov", "0.02", "0.02", "--size", "64", "-o", o + "/r.fits"}; }, "r.fits", ""},
      {"catalog add", [&](const std::string& o) { return std::vector<std::string>{"catalog", "--base", o, "add", "--name", "New", "--id", "NW", "--params", "4033947", "486991", "4900430", "25", "0", "360", "0", "85"}; }, "Telescopes.dat", "Telescopes.dat"},
      {"obs convert json", [&](const std::string& o) { return std::vector<std::string>{"obs", "convert", In("tiny.json"), o + "/c.json"}; }, "c.json", ""},
      {"obs convert obs", [&](const std::string& o) { return std::vector<std::string>{"obs", "convert", In("tiny.json"), o + "/c.obs"}; }, "c.obs", ""},
  };
  fs::create_directories(dir_.File("probe"));
  const bool can_lock = ReadOnlyFolderRefuses(dir_.File("probe"));
  if (!can_lock) std::printf("read-only folders are not checked: capabilities cannot be dropped here\n");
  for (const Command& c : commands) {
    SCOPED_TRACE(c.what);
    const auto fresh = [&](const std::string& name) {
      const std::string o = dir_.File(name);
      fs::remove_all(o);
      fs::create_directories(o);
      if (!c.existing.empty()) fs::copy_file(In(c.existing), o + "/" + c.existing);
      return o;
    };
    // Unlimited, the command writes its output; its size sets the limit of the next run.
    const std::string ok = fresh("ok");
    const RunResult done = Qvl(c.args(ok));
    ASSERT_EQ(done.status, 0) << done.out;
    // A Measurement Set is a folder: its largest file sets the limit.
    const fs::path written = ok + "/" + c.output;
    std::uintmax_t size = 0;
    if (fs::is_directory(written)) {
      for (const auto& e : fs::recursive_directory_iterator(written))
        if (e.is_regular_file()) size = std::max(size, e.file_size());
    } else {
      size = fs::file_size(written);
    }
    ASSERT_GT(size, 100u);

    const std::string limited = fresh("limited");
    const auto before = Listing(limited);
    const RunResult cut = Qvl(c.args(limited), size / 2);
    EXPECT_NE(cut.status, 0) << cut.out;
    EXPECT_LT(cut.status, 128) << "ended by a signal: " << cut.out;
    EXPECT_NE(cut.out.find(c.output), std::string::npos) << "the message names the output: " << cut.out;
    EXPECT_EQ(cut.out.find(".part"), std::string::npos) << "not its temporary name: " << cut.out;
    EXPECT_EQ(Listing(limited), before) << cut.out;

    if (!can_lock) continue;
    const std::string locked = fresh("locked");
    ::chmod(locked.c_str(), 0555);
    const auto kept = Listing(locked);
    const RunResult refused = Qvl(c.args(locked), 0, true);
    ::chmod(locked.c_str(), 0755);
    EXPECT_NE(refused.status, 0) << refused.out;
    EXPECT_NE(refused.out.find(locked), std::string::npos) << "the message names the output: " << refused.out;
    EXPECT_EQ(refused.out.find(".part"), std::string::npos) << "not its temporary name: " << refused.out;
    EXPECT_EQ(Listing(locked), kept) << refused.out;
  }
}

// Task 1 refuses what would make it run for ever or write a date it cannot, before writing
// anything, naming the observation file; obs check says so too.
TEST_F(WriteFailures, ConfigureRefusesEndlessSamplingAndOldDatesBeforeWriting) {
  const struct {
    const char* from;
    const char* to;
    const char* reason;
  } cases[] = {
      {R"("stop": "12:10:00")", R"("stop": 1e12)", "lies more than 31622400 s"},
      {R"("time_step_s": 10)", R"("time_step_s": 1e-9)", "time step 1e-09 s is below"},
      {R"("2024-03-15")", R"("1899-12-31")", "before 1900"},
      {R"("zenith_min_deg": 0)", R"("zenith_min_deg": 180)", "telescope 1 (SC SC): Zmin must be less than Zmax"},
  };
  for (const auto& c : cases) {
    std::string text = kTinyObservation;
    text.replace(text.find(c.from), std::string(c.from).size(), c.to);
    const std::string obs = In("bad.json"), out = dir_.File("cfg");
    std::ofstream(obs) << text;
    fs::remove_all(out);
    fs::create_directories(out);
    const RunResult r = Qvl({"configure", obs, "-o", out + "/t.uvx"}, 0, false, true);
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find(obs), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(c.reason), std::string::npos) << r.out;
    EXPECT_TRUE(fs::is_empty(out)) << c.to;
    // obs check applies the same limits before its plausibility checks.
    const RunResult check = Qvl({"obs", "check", obs}, 0, false, true);
    EXPECT_EQ(check.status, 1) << check.out;
    EXPECT_NE(check.out.find(c.reason), std::string::npos) << check.out;
  }
}

}  // namespace
