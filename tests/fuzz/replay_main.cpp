// Runs a fuzz target over files and folders of inputs, without libFuzzer: how the test suite
// (any compiler, with or without the sanitizers) replays the corpus and the cases that once
// failed. Exit status 0 when every input ran through.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto& e : std::filesystem::recursive_directory_iterator(p))
        if (e.is_regular_file()) inputs.push_back(e.path());
    } else if (std::filesystem::exists(p)) {
      inputs.push_back(p);
    }
  }
  for (const auto& p : inputs) {
    std::ifstream in(p, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::fprintf(stderr, "replayed %zu inputs\n", inputs.size());
  return 0;
}
