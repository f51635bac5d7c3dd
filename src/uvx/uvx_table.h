#pragma once
// AUVXTable: a named table of a UVX file (AN, SU, FQ, baselines, positions...). A writer fills it
// in memory: columns (36-byte descriptors), packed rows without padding, keywords; the file stores
// it and gives it back byte for byte.
//
// Building one:
//   AUVXTable t("FQ", AUVXTable::toHash("FQ", 1));
//   int c = t.AddColumn("FRQSEL", "      ", "1J");
//   int r = t.AddRow();                  // zeroed row
//   t.SetInt(r, c, 1);                   // or t.PutInt(r, c, 0, value) for element 0
//   t.AddKeywordInt("NO_IF", 4);
// Reading back: t.FindColumn("IF FREQ"), t.GetDouble(row, col, element), t.FindKeyword("NO_IF").

#include <cstdint>
#include <string>
#include <vector>

#include "core/containers.h"

// 36 bytes on disk and in memory: name (18), unit (10), format (8), each NUL-terminated.
struct AUVXColumn {
  char name[18];
  char unit[10];
  char format[8];
};
static_assert(sizeof(AUVXColumn) == 36);

// Keyword kinds.
enum : int {
  kKeyChar = 0,   // 8 characters, blank-padded
  kKeyInt = 1,    // "%d"
  kKeyReal = 2,   // "%24.17E"
  kKeyDate = 3,   // "%Y-%m-%d"
};

struct AUVXKeyword {
  char name[9];    // up to 8 characters, NUL-terminated
  std::int32_t kind;
  char value[33];  // the value as text, up to 32 characters
  std::string Name() const { return name; }
  std::string Value() const { return value; }
  long long AsInt() const;
  double AsReal() const;
};

class AUVXTable {
 public:
  static constexpr int kMaxNameChars = 8;

  AUVXTable();
  AUVXTable(const char* name, std::int32_t type);
  AUVXTable(const AUVXTable&) = default;
  AUVXTable& operator=(const AUVXTable&) = default;
  virtual ~AUVXTable();

  // A 20-bit hash of the name with bit 0x100000 (flag 0) or 0x200000 (flag 1) set.
  static std::int32_t toHash(const char* name, int flag);

  // Width in bytes of a column format "<repeat><letter>" (A 1, J 4, E 4, D 8); -1 when invalid.
  static int FormatWidth(const char* format, int* repeat = nullptr, char* letter = nullptr);

  // Appends a column; returns its index, or -1 for a bad format or a table that already has rows.
  int AddColumn(const char* name, const char* unit, const char* format);
  int FindColumn(const char* name) const;  // -1 when missing
  int ColumnOffset(int col) const;         // byte offset of the column inside a row
  int ColumnWidth(int col) const;
  int ColumnRepeat(int col) const;
  char ColumnType(int col) const;

  // Appends a zeroed row; returns its index.
  int AddRow();
  // Appends a row of exactly row_length bytes; returns its index or -1.
  int AppendRow(const void* bytes, int length);
  unsigned char* Row(int row) { return data.data() + std::size_t(row) * std::size_t(row_length); }
  const unsigned char* Row(int row) const { return data.data() + std::size_t(row) * std::size_t(row_length); }

  // Typed field access: element `element` of column `col` in row `row`. Setters return 0 when the
  // column type or indices do not fit.
  int SetInt(int row, int col, std::int32_t value, int element = 0);
  int SetFloat(int row, int col, float value, int element = 0);
  int SetDouble(int row, int col, double value, int element = 0);
  int SetChars(int row, int col, const std::string& text);  // blank-padded to the repeat count
  std::int32_t GetInt(int row, int col, int element = 0) const;
  float GetFloat(int row, int col, int element = 0) const;
  double GetDouble(int row, int col, int element = 0) const;
  std::string GetChars(int row, int col) const;  // trailing blanks and NULs removed
  // Any numeric column as double (J, E or D).
  double GetNumber(int row, int col, int element = 0) const;

  // Keywords, in the order added. Return 0 for a name over 8 characters or a value over 32.
  int AddKeywordInt(const char* name, long long value);
  int AddKeywordReal(const char* name, double value);
  int AddKeywordChar(const char* name, const std::string& value);  // blank-padded to 8
  int AddKeywordDate(const char* name, int year, int month, int day);
  int AddKeyword(const char* name, int kind, const std::string& text);  // text kept as given
  const AUVXKeyword* FindKeyword(const char* name) const;

  // Non-zero when the counts, descriptors and data agree.
  int IsConsistent() const;
  std::string Name() const { return name; }

  char name[kMaxNameChars + 1] = {};
  std::int32_t type = 0;
  std::int32_t n_rows = 0;
  std::int32_t n_cols = 0;
  std::int32_t row_length = 0;
  AArray<AUVXColumn> columns;
  std::vector<unsigned char> data;  // n_rows * row_length bytes
  AArray<AUVXKeyword> keywords;
};
