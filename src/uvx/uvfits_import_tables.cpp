#include "uvx/uvfits_import_tables.h"

#include <cmath>
#include <memory>

#include "core/fq_item.h"
#include "uvx/fq_table.h"
#include "uvx/uvfits_common.h"
#include "uvx/uvfits_tables.h"

namespace uvfits {

namespace {

int Fail(std::string& error, const std::string& what) {
  error = what;
  return 0;
}

// Station = ARRAYXYZ + STABXYZ, Y negated for a left-handed table; the array centre becomes 0.
int ShapeAntennas(AUVXTable& an, ImportTables& out, std::string& error) {
  const int c_no = an.FindColumn("NOSTA"), c_name = an.FindColumn("ANNAME"), c_xyz = an.FindColumn("STABXYZ");
  if (c_no < 0 || c_name < 0 || c_xyz < 0) return Fail(error, "the AIPS AN table lacks NOSTA, ANNAME or STABXYZ");
  if (an.ColumnType(c_xyz) != 'D' || an.ColumnRepeat(c_xyz) != 3) return Fail(error, "STABXYZ of the AIPS AN table is not 3D");
  if (an.n_rows > kMaxTelescope)
    return Fail(error, std::to_string(an.n_rows) + " telescopes in the AIPS AN table: a UVX file holds at most 255");
  const double centre[3] = {KeywordReal(an, "ARRAYX", 0), KeywordReal(an, "ARRAYY", 0), KeywordReal(an, "ARRAYZ", 0)};
  const bool left = KeywordText(an, "XYZHAND") == "LEFT";
  for (int r = 0; r < an.n_rows; ++r) {
    const double no = an.GetNumber(r, c_no);
    if (no < 1 || no > kMaxTelescope)
      return Fail(error, "telescope number " + std::to_string(std::int64_t(no)) + " in the AIPS AN table: a UVX file numbers telescopes 1..255");
    for (int k = 0; k < 3; ++k) {
      const double x = an.GetDouble(r, c_xyz, k) + centre[k];
      an.SetDouble(r, c_xyz, k == 1 && left ? -x : x, k);
    }
  }
  for (const char* k : {"ARRAYX", "ARRAYY", "ARRAYZ"}) SetKeywordReal(an, k, 0.0);
  if (an.FindKeyword("XYZHAND")) SetKeywordChar(an, "XYZHAND", "RIGHT");

  out.time_system = KeywordText(an, "TIMSYS");
  if (out.time_system == "IAT" || out.time_system == "TAI") {
    const AUVXKeyword* iat = an.FindKeyword("IATUTC");
    const AUVXKeyword* dat = an.FindKeyword("DATUTC");
    out.time_shift_s = iat && iat->AsReal() != 0 ? iat->AsReal() : dat ? dat->AsReal() : 0;
    if (!iat && !dat)
      return Fail(error, "TIMSYS '" + out.time_system + "' without IATUTC or DATUTC: the times cannot be put on UTC");
    SetKeywordReal(an, "DATUTC", 0.0);
  } else if (!out.time_system.empty() && out.time_system != "UTC") {
    return Fail(error, "TIMSYS '" + out.time_system + "' in the AIPS AN table: only UTC and IAT are understood");
  }
  SetKeywordChar(an, "TIMSYS", "UTC");
  return 1;
}

// IF offsets from the reference frequency refer to channel 0 (FREQ CRPIX folded in).
int ShapeFrequencies(AUVXTable& fq, const UVFitsLayout& l, ImportTables& out, std::string& error) {
  const int c_sel = fq.FindColumn("FRQSEL"), c_freq = fq.FindColumn("IF FREQ"), c_width = fq.FindColumn("CH WIDTH");
  if (c_sel < 0 || c_freq < 0 || c_width < 0) return Fail(error, "the AIPS FQ table lacks FRQSEL, IF FREQ or CH WIDTH");
  if (fq.ColumnType(c_freq) != 'D') return Fail(error, "IF FREQ of the AIPS FQ table is not double precision");
  if (fq.ColumnRepeat(c_freq) != l.n_if || fq.ColumnRepeat(c_width) != l.n_if)
    return Fail(error, "the AIPS FQ table describes " + std::to_string(fq.ColumnRepeat(c_freq)) + " IFs, the IF axis " +
                           std::to_string(l.n_if));
  if (fq.n_rows < 1) return Fail(error, "the AIPS FQ table has no row");
  for (int r = 0; r < fq.n_rows; ++r) {
    const int id = fq.GetInt(r, c_sel);
    if (id < 1 || id > 127) return Fail(error, "FRQSEL " + std::to_string(id) + " does not fit a UVX group (1..127)");
    for (int i = 0; i < l.n_if; ++i)
      fq.SetDouble(r, c_freq, fq.GetDouble(r, c_freq, i) + (1.0 - l.freq_crpix) * fq.GetNumber(r, c_width, i), i);
  }
  out.default_freq_id = fq.GetInt(0, c_sel);
  return 1;
}

void BuildSourceTable(const UVFitsLayout& l, double epoch, ImportTables& out) {
  AUVXTable empty("SU", AUVXTable::toHash("SU", 0));
  out.su = WithColumns(empty, SourceColumns(l.n_if));
  const int r = out.su.AddRow();
  out.su.SetInt(r, out.su.FindColumn("ID. NO."), 1);
  out.su.SetChars(r, out.su.FindColumn("SOURCE"), out.object.substr(0, 16));
  out.su.SetChars(r, out.su.FindColumn("CALCODE"), "    ");
  for (const char* c : {"RAEPO", "RAAPP"}) out.su.SetDouble(r, out.su.FindColumn(c), l.ra_deg);
  for (const char* c : {"DECEPO", "DECAPP"}) out.su.SetDouble(r, out.su.FindColumn(c), l.dec_deg);
  out.su.SetDouble(r, out.su.FindColumn("EPOCH"), epoch);
  for (int i = 0; i < l.n_if; ++i) out.su.SetDouble(r, out.su.FindColumn("RESTFREQ"), l.ref_freq_hz, i);
  out.su.AddKeywordInt("NO_IF", l.n_if);
}

}  // namespace

std::int64_t HduDataBytes(fitsfile* f, int* status) {
  int bitpix = 8, naxis = 0, groups = 0;
  long long pcount = 0, gcount = 1;
  FitsReadKey(f, TINT, "BITPIX", &bitpix, status);
  FitsReadKey(f, TINT, "NAXIS", &naxis, status);
  if (*status) return -1;
  int st = 0;
  FitsReadKey(f, TLONGLONG, "PCOUNT", &pcount, &st), st = 0;
  FitsReadKey(f, TLONGLONG, "GCOUNT", &gcount, &st), st = 0;
  FitsReadKey(f, TLOGICAL, "GROUPS", &groups, &st);
  fits_clear_errmsg();
  if (naxis == 0) return 0;
  std::int64_t product = 1;
  for (int a = groups ? 2 : 1; a <= naxis; ++a) {
    long long len = 0;
    if (FitsReadKey(f, TLONGLONG, ("NAXIS" + std::to_string(a)).c_str(), &len, status)) return -1;
    if (len < 0 || len > (std::int64_t{1} << 40) || (product > 0 && len > (std::int64_t{1} << 50) / product)) return -1;
    product *= len;
  }
  const std::int64_t bytes = (bitpix < 0 ? -bitpix : bitpix) / 8;
  if (pcount < 0 || gcount < 0 || gcount > (std::int64_t{1} << 40)) return -1;
  return bytes * gcount * (pcount + product);
}

int ReadImportTables(fitsfile* f, const UVFitsLayout& l, std::int64_t file_bytes, ImportTables& out,
                     std::string& error) {
  int status = 0, n_an = 0;
  bool have_fq = false, have_su = false;
  out.an = AUVXTable("AN", AUVXTable::toHash("AN", 0));
  out.fq = AUVXTable("FQ", AUVXTable::toHash("FQ", 1));
  out.su = AUVXTable("SU", AUVXTable::toHash("SU", 0));
  for (int hdu = 2;; ++hdu) {
    int type = 0;
    if (fits_movabs_hdu(f, hdu, &type, &status)) {
      if (status == END_OF_FILE) {
        status = 0;
        fits_clear_errmsg();
        break;
      }
      return Fail(error, "extension " + std::to_string(hdu - 1) + " cannot be read (" + FitsError(status) + ")");
    }
    char name[FLEN_VALUE] = {};
    int st = 0;
    FitsReadKey(f, TSTRING, "EXTNAME", name, &st);
    fits_clear_errmsg();
    const std::string ext = Normalized(name);
    LONGLONG head = 0, data = 0, end = 0;
    const std::int64_t bytes = HduDataBytes(f, &status);
    if (fits_get_hduaddrll(f, &head, &data, &end, &status) || bytes < 0)
      return Fail(error, "extension " + std::to_string(hdu - 1) + " (" + ext + ") has an unreadable header");
    if (data + bytes > file_bytes)
      return Fail(error, "truncated: extension " + std::to_string(hdu - 1) + " (" + ext + ") needs " + std::to_string(bytes) +
                             " bytes of data, the file ends " + std::to_string(file_bytes - data) + " bytes after its header");
    AUVXTable* target = nullptr;
    if (ext == kAntennaExt) {
      if (++n_an > 1) return Fail(error, "several AIPS AN tables (subarrays): a UVX file holds one array");
      target = &out.an;
    } else if (ext == kFrequencyExt && !have_fq) {
      have_fq = true, target = &out.fq;
    } else if (ext == kSourceExt && !have_su) {
      have_su = true, target = &out.su;
    }
    if (!target) continue;
    if (type != BINARY_TBL) return Fail(error, "the " + ext + " extension is not a binary table");
    std::string why;
    if (!ReadFitsTable(f, *target, 1 << 20, why)) return Fail(error, "the " + ext + " table: " + why);
  }
  if (n_an == 0) return Fail(error, "no AIPS AN table: the telescopes are unknown");
  if (!ShapeAntennas(out.an, out, error)) return 0;

  if (have_fq) {
    if (!ShapeFrequencies(out.fq, l, out, error)) return 0;
  } else {
    if (l.n_if > 1) return Fail(error, std::to_string(l.n_if) + " IFs but no AIPS FQ table: the IF frequencies are unknown");
    AMatrix<AUVXFqTblItem> m(1, 1);
    m(0, 0) = {(1.0 - l.freq_crpix) * l.ch_width_hz, l.ch_width_hz};
    AArray<int> ids;
    ids.Add(1);
    std::unique_ptr<AUVXTable> made(MakeFqTable(m, ids, 1, l.n_channels));
    out.fq = *made;
    out.default_freq_id = 1;
  }

  char object[FLEN_VALUE] = {};
  double& epoch = out.epoch;
  fits_movabs_hdu(f, 1, nullptr, &status);
  int st = 0;
  FitsReadKey(f, TSTRING, "OBJECT", object, &st), st = 0;
  if (FitsReadKey(f, TDOUBLE, "EPOCH", &epoch, &st)) st = 0, FitsReadKey(f, TDOUBLE, "EQUINOX", &epoch, &st);
  fits_clear_errmsg();
  if (status) return Fail(error, FitsError(status));
  out.object = Normalized(object).empty() ? std::string() : std::string(object);
  while (!out.object.empty() && out.object.back() == ' ') out.object.pop_back();
  if (have_su && out.su.n_rows > 1)
    return Fail(error, std::to_string(out.su.n_rows) + " sources in the AIPS SU table: a UVX file holds one source");
  if (have_su && out.su.n_rows == 1) {
    if (out.object.empty()) out.object = out.su.GetChars(0, out.su.FindColumn("SOURCE"));
  } else {
    BuildSourceTable(l, epoch, out);
  }
  return 1;
}

}  // namespace uvfits
