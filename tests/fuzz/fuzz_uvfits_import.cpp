// UVFITS files through ImportUVFITS, the function `qvlmodel import` calls: the random-groups
// header, the AIPS AN, FQ and SU tables, every group, and the UVX file written from them.
#include "fuzz_util.h"
#include "uvx/uvfits_import.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string in = fuzz::ScratchFolder().Write("input.uvfits", fuzz::Bytes(data, size));
  const std::string out = fuzz::ScratchFolder().Path("output.uvx");
  std::string error;
  SilentMessages messages;
  ImportUVFITS(in, out, nullptr, nullptr, &messages, error);
  std::remove(out.c_str());
  return 0;
}
