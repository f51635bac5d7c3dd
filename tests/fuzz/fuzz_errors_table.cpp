// The telescope errors table of task 3 (`qvlmodel errors --table`), read and written back.
#include <sstream>

#include "errors/error_tables.h"
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AMTlscErrors tlscs;
  std::string error;
  if (!ReadErrorsTable(in, tlscs, &error)) return 0;
  std::ostringstream out;
  WriteErrorsTable(out, tlscs);
  std::istringstream again(out.str());
  AMTlscErrors back;
  ReadErrorsTable(again, back, &error);
  return 0;
}
