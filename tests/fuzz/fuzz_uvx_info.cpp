// UVX files through the reading path of `qvlmodel info --json --groups`: the header, every table,
// the antenna, source and frequency tables, one pass over all groups and a listing of groups.
// The command itself is run, as main() runs it.
#include <CLI/CLI.hpp>
#include <exception>

#include "app/cli/commands.h"
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::QuietStdout();
  const std::string path = fuzz::ScratchFolder().Write("input.uvx", fuzz::Bytes(data, size));
  for (const char* format : {"--json", ""}) {
    CLI::App app{"fuzz", "qvlmodel"};
    CliContext ctx;
    AddInfoCommand(app, ctx);
    std::vector<std::string> args = {"info", path, "--groups", "0:3"};
    if (*format) args.push_back(format);
    std::vector<const char*> argv = {"qvlmodel"};
    for (const auto& a : args) argv.push_back(a.c_str());
    try {
      app.parse(int(argv.size()), argv.data());
    } catch (const std::exception&) {
      // main() reports these as one line and exit code 1
    }
  }
  return 0;
}
