#pragma once
// The extension tables of a UVFITS file turned into the AN, FQ and SU tables of a UVX file.

#include <fitsio.h>

#include <cstdint>
#include <string>

#include "uvx/uvfits_layout.h"
#include "uvx/uvx_table.h"

namespace uvfits {

struct ImportTables {
  AUVXTable an, fq, su;
  double time_shift_s = 0;  // subtracted from every group time (IAT -> UTC)
  int default_freq_id = 1;  // the groups' set-up when the file has no FREQSEL parameter
  std::string object;       // OBJECT, else the SU table's source name
  double epoch = 2000.0;    // EPOCH, else EQUINOX
  std::string time_system;  // TIMSYS as found ("" when absent)
};

// Reads every extension HDU after the primary one: "AIPS AN" (required, one only, at most 255
// telescopes numbered 1..255), "AIPS FQ" (required when there are several IFs), "AIPS SU" (at most
// one source); others are passed over. Station positions become absolute and right-handed, IF
// offsets refer to channel 0, missing FQ/SU tables are built from the primary header.
// `file_bytes` is the size of the file: a table that would run past it is refused.
// Non-zero on success; otherwise `error` names what is wrong.
int ReadImportTables(fitsfile* f, const UVFitsLayout& l, std::int64_t file_bytes, ImportTables& out,
                     std::string& error);

// The size in bytes of the current HDU's data (NAXIS1 x NAXIS2 + PCOUNT for a table).
std::int64_t HduDataBytes(fitsfile* f, int* status);

}  // namespace uvfits
