#include "observation/freq_setup.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <string>

#include "core/text.h"

namespace {

constexpr double kDefaultWidthHz = 1.0e6;

bool Refuse(MessageSink* messages) {
  if (messages) messages->Show(kInvalidFrequency);
  return false;
}

// Copies the common block of `from` into a matrix of the new shape.
AMatrix<AUVXFqTblItem> Reshaped(const AMatrix<AUVXFqTblItem>& from, std::uint32_t rows, std::uint32_t cols) {
  AMatrix<AUVXFqTblItem> to(rows, cols);
  for (std::uint32_t r = 0; r < rows; ++r)
    for (std::uint32_t c = 0; c < cols; ++c)
      to(r, c) = (r < from.rows && c < from.cols) ? from(r, c) : AUVXFqTblItem{};
  return to;
}

// Gives cells [first, cols) of row r offsets contiguous with the IF before each and its width.
void FillContiguous(AMatrix<AUVXFqTblItem>& t, std::uint32_t r, std::uint32_t first, int n_channels) {
  for (std::uint32_t c = first; c < t.cols; ++c) {
    if (c == 0) {
      t(r, c) = {0.0, kDefaultWidthHz};
    } else {
      const AUVXFqTblItem prev = t(r, c - 1);
      t(r, c) = {prev.if_offset_hz + n_channels * prev.ch_width_hz, prev.ch_width_hz};
    }
  }
}

}  // namespace

bool IsValidOffset(double hz) { return std::isfinite(hz); }
bool IsValidWidth(double hz) { return std::isfinite(hz) && hz > 0; }

int ParseFrequencyMHz(std::string_view text, double& freq_hz) {
  const std::string s(trim(text));
  if (s.empty()) return 0;
  char* end = nullptr;
  errno = 0;
  const double mhz = std::strtod(s.c_str(), &end);
  if (end != s.c_str() + s.size() || errno == ERANGE || !std::isfinite(mhz)) return 0;
  const double hz = mhz * 1.0e6;
  if (!std::isfinite(hz)) return 0;
  freq_hz = hz;
  return 1;
}

AMFreqSetup::AMFreqSetup() : table(1, 1) {
  table(0, 0) = {0.0, kDefaultWidthHz};
  freq_ids.Add(1);
}

double AMFreqSetup::ChannelFreqHz(int row, int if_index, int channel) const {
  const AUVXFqTblItem& cell = table(static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(if_index));
  return ref_freq_hz + cell.if_offset_hz + channel * cell.ch_width_hz;
}

int AMFreqSetup::AddIfs(int count, MessageSink*) {
  if (count < 1 || count > INT32_MAX - Cols()) return 0;
  const std::uint32_t old_cols = table.cols;
  table = Reshaped(table, table.rows, old_cols + static_cast<std::uint32_t>(count));
  for (std::uint32_t r = 0; r < table.rows; ++r) FillContiguous(table, r, old_cols, n_channels);
  n_if = Cols();
  return 1;
}

int AMFreqSetup::DeleteIf(int if_index) {
  if (if_index < 0 || if_index >= Cols()) return 0;
  AMatrix<AUVXFqTblItem> to(table.rows, table.cols - 1);
  for (std::uint32_t r = 0; r < table.rows; ++r)
    for (std::uint32_t c = 0, k = 0; c < table.cols; ++c)
      if (static_cast<int>(c) != if_index) to(r, k++) = table(r, c);
  table = to;
  n_if = Cols();
  return 1;
}

int AMFreqSetup::SetIfOffset(int row, int if_index, double offset_hz, MessageSink* messages) {
  if (!IsValidOffset(offset_hz)) return Refuse(messages);
  if (if_index < 0 || if_index >= Cols() || row >= Rows()) return 0;
  for (int r = 0; r < Rows(); ++r)
    if (row < 0 || r == row) table(r, if_index).if_offset_hz = offset_hz;
  return 1;
}

double AMFreqSetup::DefaultOffsetStepHz(int row) const {
  if (Cols() == 0 || Rows() == 0) return n_channels * kDefaultWidthHz;
  return n_channels * table(static_cast<std::uint32_t>(std::max(row, 0)), 0).ch_width_hz;
}

int AMFreqSetup::SetOffsetStep(int row, double step_hz, MessageSink* messages) {
  if (!IsValidOffset(step_hz)) return Refuse(messages);
  if (row >= Rows()) return 0;
  for (int r = 0; r < Rows(); ++r) {
    if (row >= 0 && r != row) continue;
    for (int c = 1; c < Cols(); ++c) {
      const double offset = table(r, 0).if_offset_hz + c * step_hz;
      if (!IsValidOffset(offset)) return Refuse(messages);
    }
  }
  for (int r = 0; r < Rows(); ++r) {
    if (row >= 0 && r != row) continue;
    for (int c = 1; c < Cols(); ++c) table(r, c).if_offset_hz = table(r, 0).if_offset_hz + c * step_hz;
  }
  return 1;
}

int AMFreqSetup::AddChannels(int count, MessageSink*) {
  if (count < 1 || n_channels > INT32_MAX - count) return 0;
  n_channels += count;
  return 1;
}

int AMFreqSetup::DeleteChannels(int count, MessageSink*) {
  if (count < 1 || n_channels - count < 1) return 0;
  n_channels -= count;
  return 1;
}

int AMFreqSetup::SetChannelWidth(int row, int if_index, double width_hz, MessageSink* messages) {
  if (!IsValidWidth(width_hz)) return Refuse(messages);
  if (row >= Rows() || if_index >= Cols()) return 0;
  for (int r = 0; r < Rows(); ++r)
    for (int c = 0; c < Cols(); ++c)
      if ((row < 0 || r == row) && (if_index < 0 || c == if_index)) table(r, c).ch_width_hz = width_hz;
  return 1;
}

void AMFreqSetup::AutoArrange() {
  for (std::uint32_t r = 0; r < table.rows; ++r)
    for (std::uint32_t c = 1; c < table.cols; ++c)
      table(r, c).if_offset_hz = table(r, c - 1).if_offset_hz + n_channels * table(r, c - 1).ch_width_hz;
}

int AMFreqSetup::SetReferenceFrequency(double freq_hz, MessageSink* messages) {
  if (!IsValidWidth(freq_hz)) return Refuse(messages);
  ref_freq_hz = freq_hz;
  return 1;
}

int AMFreqSetup::AddFreqId() {
  int next = 1;
  for (int id : freq_ids) next = std::max(next, id + 1);
  if (table.cols == 0) {
    table = Reshaped(table, table.rows, static_cast<std::uint32_t>(std::max(n_if, 1)));
    for (std::uint32_t r = 0; r < table.rows; ++r) FillContiguous(table, r, 0, n_channels);
  }
  const std::uint32_t old_rows = table.rows;
  table = Reshaped(table, old_rows + 1, table.cols);
  if (old_rows > 0) {
    for (std::uint32_t c = 0; c < table.cols; ++c) table(old_rows, c) = table(old_rows - 1, c);
  } else {
    FillContiguous(table, 0, 0, n_channels);
  }
  // Keep one identifier per row.
  while (freq_ids.count > static_cast<int>(old_rows)) freq_ids.RemoveAt(freq_ids.count - 1);
  while (freq_ids.count < static_cast<int>(old_rows)) freq_ids.Add(freq_ids.count + 1);
  freq_ids.Add(next);
  n_if = Cols();
  return 1;
}

int AMFreqSetup::DeleteFreqId(int row) {
  if (row < 0 || row >= Rows()) return 0;
  AMatrix<AUVXFqTblItem> to(table.rows - 1, table.cols);
  for (std::uint32_t r = 0, k = 0; r < table.rows; ++r) {
    if (static_cast<int>(r) == row) continue;
    for (std::uint32_t c = 0; c < table.cols; ++c) to(k, c) = table(r, c);
    ++k;
  }
  table = to;
  if (row < freq_ids.count) freq_ids.RemoveAt(row);
  return 1;
}
