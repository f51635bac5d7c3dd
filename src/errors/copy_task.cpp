#include "errors/copy_task.h"

#include <filesystem>
#include <system_error>

#include "core/text.h"

namespace fs = std::filesystem;

namespace {

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  if (fs::exists(b, ec) && fs::equivalent(a, b, ec)) return true;
  const fs::path ca = fs::weakly_canonical(a, ec);
  if (ec) return false;
  const fs::path cb = fs::weakly_canonical(b, ec);
  return !ec && ca == cb;
}

}  // namespace

AMCopyTaskFiles::~AMCopyTaskFiles() {
  if (out_.IsOpen()) out_.Discard();
}

int AMCopyTaskFiles::OpenInput(const std::string& in_path, std::string* error) {
  in_path_ = in_path;
  if (in_.Open(in_path, AUVXFile::modeRead)) return 1;
  if (error) *error = in_path + ": " + in_.Error();
  return 0;
}

int AMCopyTaskFiles::OpenOutput(const std::string& out_path, std::string* error) {
  out_path_ = out_path;
  if (SameFile(in_path_, out_path) || SameFile(in_path_, TempPath(out_path))) {
    if (error) *error = out_path + ": the output file would overwrite the input file";
    return 0;
  }
  if (out_.Open(TempPath(out_path), AUVXFile::modeCreate)) return 1;
  if (error) *error = out_path + ": " + out_.Error();
  out_.Discard();
  return 0;
}

int AMCopyTaskFiles::Run(AWork2UVX& work, StopFlag* stop, std::string* error) {
  if (!RunOrRemoveOutput(work)) {
    if (error) {
      if (StopRequested(stop))
        *error = "stopped; nothing written";
      else if (!in_.Error().empty())
        *error = in_path_ + ": " + in_.Error();
      else if (!out_.Error().empty())
        *error = out_path_ + ": " + out_.Error();
      else
        *error = out_path_ + ": the copy failed";
    }
    return 0;
  }
  const std::string temp = TempPath(out_path_);
  if (!out_.Close()) {
    if (error) *error = out_path_ + ": " + (out_.Error().empty() ? std::string("cannot finish the file") : out_.Error());
    std::error_code ec;
    fs::remove(temp, ec);
    return 0;
  }
  std::error_code ec;
  fs::rename(temp, out_path_, ec);
  if (ec) {
    if (error) *error = out_path_ + ": cannot rename the finished file (" + ec.message() + ")";
    fs::remove(temp, ec);
    return 0;
  }
  return 1;
}

std::string InsertBeforeUvx(const std::string& in, const std::string& suffix) {
  const std::size_t slash = in.find_last_of('/');
  const std::size_t name_start = slash == std::string::npos ? 0 : slash + 1;
  if (in.size() >= name_start + 4 && toUpper(in.substr(in.size() - 4)) == ".UVX")
    return in.substr(0, in.size() - 4) + suffix + in.substr(in.size() - 4);
  return in + suffix + ".uvx";
}
