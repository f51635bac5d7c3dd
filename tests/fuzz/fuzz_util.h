#pragma once
// Helpers of the fuzz targets: each target hands the bytes libFuzzer gives it to the reader the
// program calls, through a stream when the reader takes one, through a file otherwise.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

namespace fuzz {

inline std::string_view Bytes(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A folder of this process for the files the path-based readers need; emptied at exit.
class Scratch {
 public:
  Scratch() {
    dir_ = std::filesystem::temp_directory_path() / ("qvl-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir_);
  }
  ~Scratch() {
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  // Writes the bytes to `name` in the folder and returns its path.
  std::string Write(const std::string& name, std::string_view bytes) const {
    const std::string path = Path(name);
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
      if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
      std::fclose(f);
    }
    return path;
  }

 private:
  std::filesystem::path dir_;
};

inline Scratch& ScratchFolder() {
  static Scratch scratch;
  return scratch;
}

// Sends what the program would print to /dev/null, so that a run is not slowed by a terminal.
inline void QuietStdout() {
  static const bool done = [] { return std::freopen("/dev/null", "w", stdout) != nullptr; }();
  (void)done;
}

}  // namespace fuzz
