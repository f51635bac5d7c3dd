#pragma once
// AFile: the program's file object (binary or text), a memory stream with the same operations
// for tests and in-memory round trips, and a guard that removes an unfinished output file.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

class AFile {
 public:
  // Open flags; combine one access mode with binary or text.
  enum : unsigned {
    modeRead = 1u << 0,
    modeWrite = 1u << 1,       // truncates or creates
    modeReadWrite = 1u << 2,   // existing file, updated in place
    modeBinary = 1u << 3,
    modeText = 1u << 4,
  };

  AFile() = default;
  AFile(const AFile&) = delete;
  AFile& operator=(const AFile&) = delete;
  ~AFile() { Close(); }

  // Non-zero on success.
  int Open(const std::string& path, unsigned mode);
  void Close();
  bool IsOpen() const { return fp_ != nullptr; }

  // Each returns non-zero when all bytes were transferred.
  int Read(void* buffer, std::size_t bytes);
  int Write(const void* buffer, std::size_t bytes);
  int WriteText(std::string_view text) { return Write(text.data(), text.size()); }

  // Reads one line into `line` without its line feed (and, in text mode, without a carriage
  // return before it). At most bufferBytes - 1 bytes are kept, like a C buffer of that size with
  // its terminating NUL; the rest of a longer line is skipped, so the next read starts on the next
  // line. Returns non-zero when a line (possibly empty) was read, 0 at end of file.
  int ReadLine(std::string& line, std::size_t bufferBytes);

  std::int64_t GetPos() const;
  int Seek(std::int64_t position);
  std::int64_t Length() const;
  // Bytes between the position and the end (for a file open for reading).
  std::int64_t Remaining() const { return Length() - GetPos(); }
  int Flush();

  const std::string& Path() const { return path_; }

 private:
  std::FILE* fp_ = nullptr;
  bool text_ = false;
  std::string path_;
};

// A growable byte buffer with the stream operations of AFile.
class AMemoryFile {
 public:
  AMemoryFile() = default;
  explicit AMemoryFile(std::string bytes) : bytes_(std::move(bytes)) {}

  int Read(void* buffer, std::size_t bytes);
  int Write(const void* buffer, std::size_t bytes);
  int ReadLine(std::string& line, std::size_t bufferBytes);
  std::int64_t GetPos() const { return static_cast<std::int64_t>(pos_); }
  int Seek(std::int64_t position);
  std::int64_t Length() const { return static_cast<std::int64_t>(bytes_.size()); }
  std::int64_t Remaining() const { return Length() - GetPos(); }

  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::size_t pos_ = 0;
};

// Deletes `path` when destroyed unless Keep() was called: the output of a stopped or failed run
// never stays behind half-written.
class AFileRemover {
 public:
  explicit AFileRemover(std::string path) : path_(std::move(path)) {}
  AFileRemover(const AFileRemover&) = delete;
  AFileRemover& operator=(const AFileRemover&) = delete;
  ~AFileRemover();
  void Keep() { keep_ = true; }

 private:
  std::string path_;
  bool keep_ = false;
};

// Removes a file; true when it existed and is gone, false otherwise.
bool RemoveFile(const std::string& path);

// What a file is, told from its first bytes, for messages that refuse a file of the wrong kind:
// "a UVX file", "a FITS file", "a JSON document"; empty when not recognised
// or unreadable. (An .obs file has no signature.)
std::string FileKindName(const std::string& path);

