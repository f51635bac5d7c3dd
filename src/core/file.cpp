#include "core/file.h"

#include <fstream>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>

int AFile::Open(const std::string& path, unsigned mode) {
  Close();
  const char* how = nullptr;
  if (mode & modeReadWrite) how = "r+b";
  else if (mode & modeWrite) how = "wb";
  else if (mode & modeRead) how = "rb";
  if (!how) return 0;
  fp_ = std::fopen(path.c_str(), how);
  if (!fp_) return 0;
  // A directory opens for reading on Linux but cannot be read: refuse it here.
  struct stat st {};
  if (fstat(fileno(fp_), &st) != 0 || S_ISDIR(st.st_mode)) {
    Close();
    return 0;
  }
  text_ = (mode & modeText) != 0;
  path_ = path;
  return 1;
}

void AFile::Close() {
  if (fp_) std::fclose(fp_);
  fp_ = nullptr;
}

int AFile::Read(void* buffer, std::size_t bytes) {
  if (!fp_) return 0;
  return std::fread(buffer, 1, bytes, fp_) == bytes ? 1 : 0;
}

int AFile::Write(const void* buffer, std::size_t bytes) {
  if (!fp_) return 0;
  return std::fwrite(buffer, 1, bytes, fp_) == bytes ? 1 : 0;
}

int AFile::ReadLine(std::string& line, std::size_t bufferBytes) {
  line.clear();
  if (!fp_) return 0;
  const std::size_t keep = bufferBytes > 0 ? bufferBytes - 1 : 0;
  int c = 0;
  bool any = false;
  while ((c = std::fgetc(fp_)) != EOF) {
    any = true;
    if (c == '\n') break;
    if (line.size() < keep) line.push_back(static_cast<char>(c));
  }
  if (text_ && !line.empty() && line.back() == '\r') line.pop_back();
  return any ? 1 : 0;
}

std::int64_t AFile::GetPos() const { return fp_ ? static_cast<std::int64_t>(ftello(fp_)) : -1; }

int AFile::Seek(std::int64_t position) {
  if (!fp_ || position < 0) return 0;
  return fseeko(fp_, static_cast<off_t>(position), SEEK_SET) == 0 ? 1 : 0;
}

std::int64_t AFile::Length() const {
  if (!fp_) return 0;
  std::fflush(fp_);
  struct stat st {};
  if (fstat(fileno(fp_), &st) != 0) return 0;
  return static_cast<std::int64_t>(st.st_size);
}

int AFile::Flush() { return fp_ && std::fflush(fp_) == 0 ? 1 : 0; }

int AMemoryFile::Read(void* buffer, std::size_t bytes) {
  if (bytes > bytes_.size() - std::min(pos_, bytes_.size())) {
    pos_ = bytes_.size();
    return 0;
  }
  std::memcpy(buffer, bytes_.data() + pos_, bytes);
  pos_ += bytes;
  return 1;
}

int AMemoryFile::Write(const void* buffer, std::size_t bytes) {
  if (pos_ + bytes > bytes_.size()) bytes_.resize(pos_ + bytes);
  std::memcpy(bytes_.data() + pos_, buffer, bytes);
  pos_ += bytes;
  return 1;
}

int AMemoryFile::ReadLine(std::string& line, std::size_t bufferBytes) {
  line.clear();
  if (pos_ >= bytes_.size()) return 0;
  const std::size_t keep = bufferBytes > 0 ? bufferBytes - 1 : 0;
  std::size_t end = bytes_.find('\n', pos_);
  const std::size_t stop = end == std::string::npos ? bytes_.size() : end;
  line.assign(bytes_, pos_, std::min(stop - pos_, keep));
  pos_ = end == std::string::npos ? bytes_.size() : end + 1;
  return 1;
}

int AMemoryFile::Seek(std::int64_t position) {
  if (position < 0 || position > Length()) return 0;
  pos_ = static_cast<std::size_t>(position);
  return 1;
}

AFileRemover::~AFileRemover() {
  if (!keep_ && !path_.empty()) RemoveFile(path_);
}

bool RemoveFile(const std::string& path) {
  std::error_code ec;
  return std::filesystem::remove(path, ec);
}

std::string FileKindName(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  char head[16] = {};
  in.read(head, sizeof head);
  const std::string h(head, std::size_t(in.gcount()));
  if (h.rfind("QVLUVX", 0) == 0) return "a UVX file";
  if (h.rfind("SIMPLE  =", 0) == 0) return "a FITS file";
  const auto first = h.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && (h[first] == '{' || h[first] == '[')) return "a JSON document";
  return {};
}

