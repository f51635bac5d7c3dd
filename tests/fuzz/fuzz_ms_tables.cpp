// Measurement Sets through ImportMS, the function `qvlmodel import` calls on a directory. A
// Measurement Set is a folder of casacore tables; what a damaged set damages first is a table's
// descriptor (table.dat: the column descriptions, the row count, the storage managers). The first
// byte of an input chooses one of the set's tables, the rest replaces that table's table.dat in a
// small valid set made at start-up from the UVX file of the corpus; the other tables stay intact.
#include <cstdlib>
#include <string_view>
#include <fstream>
#include <iterator>

#include "fuzz_util.h"
#include "ms/ms_export.h"
#include "ms/ms_import.h"

namespace {

constexpr const char* kTables[] = {"", "ANTENNA", "SPECTRAL_WINDOW", "POLARIZATION", "DATA_DESCRIPTION", "FIELD"};
constexpr std::size_t kTableCount = sizeof(kTables) / sizeof(kTables[0]);

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The valid set every input starts from, exported once from a UVX file of the corpus that task 1
// wrote (its path is compiled in).
const std::string& BaseSet() {
  static const std::string path = [] {
    const std::string ms = fuzz::ScratchFolder().Path("base.ms");
    std::string error;
    SilentMessages messages;
    if (!ExportMS(QVL_FUZZ_MS_UVX, ms, nullptr, nullptr, &messages, error)) {
      std::fprintf(stderr, "fuzz_ms_tables: no base set from %s: %s\n", QVL_FUZZ_MS_UVX, error.c_str());
      std::abort();
    }
    return ms;
  }();
  return path;
}

void WriteAll(const std::string& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), std::streamsize(bytes.size()));
}

std::string DescriptorPath(std::size_t table) {
  const std::string dir = table == 0 ? BaseSet() : BaseSet() + "/" + kTables[table];
  return dir + "/table.dat";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  fuzz::QuietStdout();
  const std::size_t table = data[0] % kTableCount;
  const std::string descriptor = DescriptorPath(table);
  const std::string original = ReadAll(descriptor);
  WriteAll(descriptor, fuzz::Bytes(data + 1, size - 1));
  const std::string out = fuzz::ScratchFolder().Path("output.uvx");
  std::string error;
  SilentMessages messages;
  ImportMS(BaseSet(), out, nullptr, nullptr, &messages, error);
  std::remove(out.c_str());
  // The next input starts from the intact set again.
  WriteAll(descriptor, original);
  return 0;
}
