// The SEFD table of task 4 (`qvlmodel noise --sefd`), read and written back.
#include <sstream>

#include "errors/error_tables.h"
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in{std::string(fuzz::Bytes(data, size))};
  AObjArray<AMSfdItem> items;
  int n_if = 0;
  std::string error;
  if (!ReadSefdTable(in, items, &n_if, &error)) return 0;
  std::ostringstream out;
  WriteSefdTable(out, items, n_if);
  std::istringstream again(out.str());
  AObjArray<AMSfdItem> back;
  ReadSefdTable(again, back, &n_if, &error);
  return 0;
}
