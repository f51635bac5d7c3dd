#include "uvx/uvx_table.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "uvx/le_bytes.h"

using uvx_bytes::Get;
using uvx_bytes::Put;

namespace {

void CopyText(char* field, std::size_t size, const char* text) {
  std::memset(field, 0, size);
  if (text) std::strncpy(field, text, size - 1);
}

}  // namespace

long long AUVXKeyword::AsInt() const { return std::strtoll(value, nullptr, 10); }
double AUVXKeyword::AsReal() const { return std::strtod(value, nullptr); }

AUVXTable::AUVXTable() = default;

AUVXTable::AUVXTable(const char* table_name, std::int32_t type_code) : type(type_code) {
  CopyText(name, sizeof name, table_name);
}

AUVXTable::~AUVXTable() = default;

std::int32_t AUVXTable::toHash(const char* table_name, int flag) {
  // FNV-1a over the name, folded to 20 bits; the flag bit sits above them.
  std::uint32_t h = 2166136261u;
  for (const char* p = table_name; p && *p; ++p) {
    h ^= static_cast<unsigned char>(*p);
    h *= 16777619u;
  }
  h = (h ^ (h >> 20)) & 0xFFFFFu;
  return static_cast<std::int32_t>(h | (flag ? 0x200000u : 0x100000u));
}

int AUVXTable::FormatWidth(const char* format, int* repeat, char* letter) {
  if (!format) return -1;
  const std::size_t len = strnlen(format, 8);
  if (len == 0 || len >= 8) return -1;
  std::size_t i = 0;
  long count = 0;
  while (i < len && format[i] >= '0' && format[i] <= '9') {
    count = count * 10 + (format[i] - '0');
    if (count > 1000000) return -1;
    ++i;
  }
  if (i == 0) count = 1;  // "J" alone means one element
  if (i + 1 != len) return -1;
  int size = 0;
  switch (format[i]) {
    case 'A': size = 1; break;
    case 'J': case 'E': size = 4; break;
    case 'D': size = 8; break;
    default: return -1;
  }
  if (repeat) *repeat = static_cast<int>(count);
  if (letter) *letter = format[i];
  return static_cast<int>(count) * size;
}

int AUVXTable::AddColumn(const char* col_name, const char* unit, const char* format) {
  const int width = FormatWidth(format);
  if (width < 0 || n_rows > 0 || !col_name || std::strlen(col_name) > 17 ||
      (unit && std::strlen(unit) > 9))
    return -1;
  if (row_length > std::numeric_limits<std::int32_t>::max() - width) return -1;
  AUVXColumn c;
  CopyText(c.name, sizeof c.name, col_name);
  CopyText(c.unit, sizeof c.unit, unit);
  CopyText(c.format, sizeof c.format, format);
  columns.Add(c);
  n_cols = columns.GetSize();
  row_length += width;
  return n_cols - 1;
}

int AUVXTable::FindColumn(const char* col_name) const {
  for (int i = 0; i < columns.GetSize(); ++i)
    if (std::strncmp(columns[i].name, col_name, sizeof columns[i].name) == 0) return i;
  return -1;
}

int AUVXTable::ColumnOffset(int col) const {
  int off = 0;
  for (int i = 0; i < col && i < columns.GetSize(); ++i) off += FormatWidth(columns[i].format);
  return off;
}

int AUVXTable::ColumnWidth(int col) const {
  return col >= 0 && col < columns.GetSize() ? FormatWidth(columns[col].format) : -1;
}

int AUVXTable::ColumnRepeat(int col) const {
  int rep = 0;
  if (col < 0 || col >= columns.GetSize() || FormatWidth(columns[col].format, &rep) < 0) return 0;
  return rep;
}

char AUVXTable::ColumnType(int col) const {
  char letter = 0;
  if (col < 0 || col >= columns.GetSize() || FormatWidth(columns[col].format, nullptr, &letter) < 0) return 0;
  return letter;
}

int AUVXTable::AddRow() {
  data.resize(data.size() + std::size_t(row_length), 0);
  return n_rows++;
}

int AUVXTable::AppendRow(const void* bytes, int length) {
  if (length != row_length) return -1;
  const auto* b = static_cast<const unsigned char*>(bytes);
  data.insert(data.end(), b, b + length);
  return n_rows++;
}

namespace {

// Byte address of element `element` of a column of letter `want` (0 = any letter), or null.
template <class Table, class Byte>
Byte* FieldAt(Table& t, int row, int col, int element, char want, int size) {
  if (row < 0 || row >= t.n_rows || col < 0 || col >= t.columns.GetSize()) return nullptr;
  int repeat = 0;
  char letter = 0;
  if (Table::FormatWidth(t.columns[col].format, &repeat, &letter) < 0) return nullptr;
  if ((want && letter != want) || element < 0 || element >= repeat) return nullptr;
  const std::size_t at = std::size_t(row) * std::size_t(t.row_length) + std::size_t(t.ColumnOffset(col)) +
                         std::size_t(element) * std::size_t(size);
  if (at + std::size_t(size) > t.data.size()) return nullptr;
  return t.data.data() + at;
}

}  // namespace

int AUVXTable::SetInt(int row, int col, std::int32_t value, int element) {
  auto* p = FieldAt<AUVXTable, unsigned char>(*this, row, col, element, 'J', 4);
  if (!p) return 0;
  Put(p, value);
  return 1;
}

int AUVXTable::SetFloat(int row, int col, float value, int element) {
  auto* p = FieldAt<AUVXTable, unsigned char>(*this, row, col, element, 'E', 4);
  if (!p) return 0;
  Put(p, value);
  return 1;
}

int AUVXTable::SetDouble(int row, int col, double value, int element) {
  auto* p = FieldAt<AUVXTable, unsigned char>(*this, row, col, element, 'D', 8);
  if (!p) return 0;
  Put(p, value);
  return 1;
}

int AUVXTable::SetChars(int row, int col, const std::string& text) {
  const int repeat = ColumnRepeat(col);
  if (ColumnType(col) != 'A' || repeat <= 0) return repeat == 0 && ColumnType(col) == 'A';
  auto* p = FieldAt<AUVXTable, unsigned char>(*this, row, col, 0, 'A', 1);
  if (!p) return 0;
  for (int i = 0; i < repeat; ++i) p[i] = i < int(text.size()) ? static_cast<unsigned char>(text[std::size_t(i)]) : ' ';
  return 1;
}

std::int32_t AUVXTable::GetInt(int row, int col, int element) const {
  const auto* p = FieldAt<const AUVXTable, const unsigned char>(*this, row, col, element, 'J', 4);
  return p ? Get<std::int32_t>(p) : 0;
}

float AUVXTable::GetFloat(int row, int col, int element) const {
  const auto* p = FieldAt<const AUVXTable, const unsigned char>(*this, row, col, element, 'E', 4);
  return p ? Get<float>(p) : 0.0f;
}

double AUVXTable::GetDouble(int row, int col, int element) const {
  const auto* p = FieldAt<const AUVXTable, const unsigned char>(*this, row, col, element, 'D', 8);
  return p ? Get<double>(p) : 0.0;
}

double AUVXTable::GetNumber(int row, int col, int element) const {
  switch (ColumnType(col)) {
    case 'J': return GetInt(row, col, element);
    case 'E': return GetFloat(row, col, element);
    case 'D': return GetDouble(row, col, element);
    default: return 0;
  }
}

std::string AUVXTable::GetChars(int row, int col) const {
  const int repeat = ColumnRepeat(col);
  if (ColumnType(col) != 'A' || repeat <= 0) return {};
  const auto* p = FieldAt<const AUVXTable, const unsigned char>(*this, row, col, 0, 'A', 1);
  if (!p) return {};
  std::string s(reinterpret_cast<const char*>(p), std::size_t(repeat));
  while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
  return s;
}

int AUVXTable::AddKeyword(const char* key, int kind, const std::string& text) {
  if (!key || std::strlen(key) > 8 || text.size() > 32) return 0;
  AUVXKeyword k;
  std::memset(&k, 0, sizeof k);
  std::strncpy(k.name, key, 8);
  k.kind = kind;
  std::memcpy(k.value, text.data(), text.size());
  keywords.Add(k);
  return 1;
}

int AUVXTable::AddKeywordInt(const char* key, long long value) {
  char text[40];
  std::snprintf(text, sizeof text, "%lld", value);
  return AddKeyword(key, kKeyInt, text);
}

int AUVXTable::AddKeywordReal(const char* key, double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%24.17E", value);
  return AddKeyword(key, kKeyReal, text);
}

int AUVXTable::AddKeywordChar(const char* key, const std::string& value) {
  std::string text = value;
  if (text.size() < 8) text.resize(8, ' ');
  return AddKeyword(key, kKeyChar, text);
}

int AUVXTable::AddKeywordDate(const char* key, int year, int month, int day) {
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
  return AddKeyword(key, kKeyDate, text);
}

const AUVXKeyword* AUVXTable::FindKeyword(const char* key) const {
  for (int i = 0; i < keywords.GetSize(); ++i)
    if (std::strncmp(keywords[i].name, key, 9) == 0) return &keywords[i];
  return nullptr;
}

int AUVXTable::IsConsistent() const {
  if (n_rows < 0 || n_cols != columns.GetSize() || row_length < 0) return 0;
  std::int64_t width = 0;
  for (int i = 0; i < columns.GetSize(); ++i) {
    const int w = FormatWidth(columns[i].format);
    if (w < 0) return 0;
    width += w;
  }
  return width == row_length && data.size() == std::size_t(n_rows) * std::size_t(row_length);
}
