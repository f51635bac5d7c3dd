// The UVFITS import refuses what it cannot read or a UVX file cannot hold: one clear message,
// no output file.
#include <gtest/gtest.h>

#include "uvfits_mini.h"
#include "uvx/fits_header_check.h"

using namespace uvfits_mini;

TEST(UVFitsImportRefusals, BadFilesGiveOneClearErrorAndNoOutput) {
  TempDir dir;
  const std::string fits = dir.File("bad.uvfits"), uvx = dir.File("out.uvx");
  ExpectRefused(dir.File("missing.uvfits"), uvx, "cannot open");
  WriteAllBytes(fits, "SIMPLE  = not really a FITS file\n");
  ExpectRefused(fits, uvx, "not a FITS file");
  {  // a FITS image
    std::remove(fits.c_str());
    fitsfile* f = nullptr;
    int st = 0;
    long naxes[2] = {4, 4};
    fits_create_diskfile(&f, fits.c_str(), &st);
    fits_create_img(f, FLOAT_IMG, 2, naxes, &st);
    float zero[16] = {};
    fits_write_img_flt(f, 1, 1, 16, zero, &st);
    fits_close_file(f, &st);
    ASSERT_EQ(st, 0);
  }
  ExpectRefused(fits, uvx, "not a random-groups UVFITS file");

  // Missing parameters.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.params = {"VV", "WW", "DATE", "BASELINE"}; }, "no UU parameter");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.params = {"UU", "VV", "WW", "DATE", "ANTENNA1"}; },
                    "no BASELINE parameter");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.params = {"UU", "VV", "WW", "BASELINE"}; }, "no DATE parameter");
  // Inconsistent axes and missing tables.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.axes[4].length = 2; }, "axis 6 (RA) has length 2 (1 expected)");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.axes[0].length = 4; },
                    "axis 2 (COMPLEX) has length 4 (2 or 3 expected)");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.axes[1].crval = 1.0; }, "is not a polarization code");  // 1, 0
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.axes[1].type = "POLAR"; },
                    "axis 3 (POLAR) of length 2 cannot be represented");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.axes[3].length = 2; }, "2 IFs but no AIPS FQ table");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.telescopes = 0; }, "no AIPS AN table");
  // A DATE far from any day (found by fuzzing: the frame rotation was asked for a time no integer
  // holds).
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) {
    m.param = [](int g, const std::string& name, int occurrence) {
      return name == "DATE" && occurrence == 0 && g == 3 ? 1e30 : MiniParam(g, name, occurrence);
    };
  }, "group 4: DATE is not a Julian day of 0 .. 10^7");

  // Truncated: in the groups, and in a table after them.
  Mini().Write(fits);
  const std::string whole = ReadAll(fits);
  const std::size_t data = whole.find("END     ") / 2880 * 2880 + 2880;
  WriteAllBytes(fits, whole.substr(0, data + 100));
  ExpectRefused(fits, uvx, "truncated: 5 groups");
  WriteAllBytes(fits, whole.substr(0, whole.size() - 2880));
  ExpectRefused(fits, uvx, "truncated: extension 1 (AIPS AN)");

  // A header card damaged by hand: GROUPS = F.
  std::string patched = whole;
  ASSERT_TRUE(PatchCard(patched, "GROUPS", "GROUPS  =                    F"));
  WriteAllBytes(fits, patched);
  ExpectRefused(fits, uvx, "not a random-groups UVFITS file");
  // An integer card holding 70 characters of text: cfitsio's own conversion would abort the
  // program on it (found by fuzzing); it is refused as not an integer.
  for (const char* key : {"GCOUNT", "NAXIS", "BITPIX", "NAXIS3"}) {
    patched = whole;
    ASSERT_TRUE(PatchCard(patched, key, std::string(key) + std::string(8 - std::string(key).size(), ' ') + "= " +
                                            std::string(70, 'z')));
    WriteAllBytes(fits, patched);
    ExpectRefused(fits, uvx, "");
  }
}

TEST(UVFitsImportRefusals, WhatAUVXFileCannotHoldIsRefused) {
  TempDir dir;
  const std::string fits = dir.File("m.uvfits"), uvx = dir.File("m.uvx");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.telescopes = 256; },
                    "256 telescopes in the AIPS AN table: a UVX file holds at most 255");
  // The 2048-based encoding of large telescope numbers.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) {
    m.param = [](int g, const std::string& name, int occ) {
      return name == "BASELINE" && g == 3 ? 65536.0 + 2048 * 1 + 300 : MiniParam(g, name, occ);
    };
  }, "group 4: telescope number 300 does not fit a UVX group (1..255)");
  // Subarray 2 in the fraction of BASELINE.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) {
    m.param = [](int g, const std::string& name, int occ) {
      return name == "BASELINE" && g == 2 ? 256 * 2 + 3 + 0.01 : MiniParam(g, name, occ);
    };
  }, "group 3: subarray 2: a UVX file holds one array");
  // A SOURCE parameter that changes.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) {
    m.params.push_back("SOURCE");
    m.param = [](int g, const std::string& name, int occ) {
      return name == "SOURCE" ? 1 + g / 4 : MiniParam(g, name, occ);
    };
  }, "group 5: source 2 after source 1: a UVX file holds one source");
  // Two sources in the SU table.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) {
    m.su = AUVXTable("SU", 0);
    const int c_id = m.su.AddColumn("ID. NO.", "", "1J"), c_name = m.su.AddColumn("SOURCE", "", "16A");
    for (int i = 0; i < 2; ++i) {
      const int r = m.su.AddRow();
      m.su.SetInt(r, c_id, i + 1);
      m.su.SetChars(r, c_name, i ? "3C279" : "3C273");
    }
  }, "2 sources in the AIPS SU table: a UVX file holds one source");
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) { m.an_tables = 2; }, "several AIPS AN tables (subarrays)");
  // FREQSEL beyond what a group's byte holds.
  ExpectMiniRefused(fits, uvx, [](MiniUVFits& m) {
    m.params.push_back("FREQSEL");
    m.param = [](int g, const std::string& name, int occ) {
      return name == "FREQSEL" ? 200.0 : MiniParam(g, name, occ);
    };
  }, "FREQSEL 200 does not fit a UVX group");
}

// Header cards cfitsio would copy into its fixed buffers unchecked (found by fuzzing: the program
// aborted inside cfitsio) are refused before cfitsio reads the file.
TEST(UVFitsImportRefusals, DamagedHeaderCardsAreRefusedFirst) {
  TempDir dir;
  const std::string fits = dir.File("bad.uvfits"), uvx = dir.File("out.uvx");
  Mini().Write(fits);
  const std::string whole = ReadAll(fits);
  EXPECT_EQ(FitsHeaderProblem(fits), "");
  const std::size_t an = whole.rfind("XTENSION", whole.find("AIPS AN"));
  const struct {
    const char* key;
    std::string card;
    std::size_t from;
    const char* why;
  } cases[] = {
      {"TTYPE1", "TTYPE1  = " + std::string(68, '\x8b') + "'P", an, "bytes that are not text"},
      {"TTYPE1", "TTYPE1  = 'NOSTA", an, "a string value without its closing quote"},
      {"GCOUNT", "GCOUNT  = 123456789012345678901234567890", 0, "a number too long to be read"},
      {"BSCALE", "BSCALE  = 1.0.0.0E", 0, "a value that is not a string, a logical or a number"},
      {"BSCALE", "BSCALE  = 1.0 2.0", 0, "text after the value"},
  };
  for (const auto& c : cases) {
    std::string bytes = whole;
    std::string head = bytes.substr(c.from);
    ASSERT_TRUE(PatchCard(head, c.key, c.card)) << c.key;
    bytes.replace(c.from, head.size(), head);
    WriteAllBytes(fits, bytes);
    EXPECT_NE(FitsHeaderProblem(fits).find(c.why), std::string::npos) << c.card << ": " << FitsHeaderProblem(fits);
    ExpectRefused(fits, uvx, "damaged FITS header: HDU ");
  }
}
