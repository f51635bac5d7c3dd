#pragma once
// AMFreqSetup: the frequency set-up of an observation.
//
//  table        AMatrix<AUVXFqTblItem>, one row per frequency identifier, one column per IF;
//               cell (r, c) holds the IF offset from the reference frequency and the channel
//               width, both in Hz.
//  freq_ids     the identifier of each row (shown as "Freq. ID"), normally 1, 2, ...
//  n_if         number of IFs (the same for every row)
//  n_channels   channels per IF
//  ref_freq_hz  reference frequency
// Sky frequency of channel ch of IF c in row r: ref_freq_hz + table(r, c).if_offset_hz +
// ch * table(r, c).ch_width_hz.
//
// Binary block inside the .obs file (little-endian):
//   int32 rows, int32 cols, [rows*cols x (double offset, double width)] only when rows*cols != 0,
//   int32 id count, [count x int32] only when count > 0, int32 n_if, int32 n_channels,
//   double ref_freq_hz.
//
// The editing operations return non-zero on success; a value that is not a valid frequency is
// refused with "Invalid frequency." through the message sink and changes nothing.

#include <cstdint>
#include <string_view>

#include "core/containers.h"
#include "core/fq_item.h"
#include "core/runtime.h"

inline constexpr const char* kInvalidFrequency = "Invalid frequency.";
// Most frequency IDs (rows) and IFs (columns) a set-up read from a file may have.
inline constexpr std::int32_t kMaxFreqSetupAxis = 65536;

class AMFreqSetup {
 public:
  // One frequency identifier (1) with one IF at offset 0 of 16 channels of 1 MHz, at 1.6 GHz.
  AMFreqSetup();
  AMFreqSetup(const AMFreqSetup&) = default;
  AMFreqSetup& operator=(const AMFreqSetup&) = default;

  // Reads or writes the binary block; 1 on success, 0 at the first failed read or write. Load
  // refuses negative or impossible counts (checked against the bytes left in the stream) and
  // more than kMaxFreqSetupAxis rows or columns.
  template <class Stream>
  int Load(Stream& s);
  template <class Stream>
  int Store(Stream& s) const;

  int Rows() const { return static_cast<int>(table.rows); }
  int Cols() const { return static_cast<int>(table.cols); }
  // Sky frequency of a channel, Hz.
  double ChannelFreqHz(int row, int if_index, int channel) const;

  // --- Editing (the page's menu) ------------------------------------------------------------
  // "IF" / "Add": appends `count` IFs to every row, each contiguous with the IF before it and
  // with its channel width (an empty row gets offset 0 and 1 MHz).
  int AddIfs(int count, MessageSink* messages = nullptr);
  // "IF" / "Delete": removes IF column `if_index` from every row.
  int DeleteIf(int if_index);
  // "IF" / "Offset frequency...": sets the offset of one IF (one row, or every row when row < 0).
  int SetIfOffset(int row, int if_index, double offset_hz, MessageSink* messages = nullptr);
  // "IF" / "Offset step...": offset_k = offset_0 + k * step_hz for every IF k of the row (every
  // row when row < 0). DefaultOffsetStepHz gives the contiguous step n_channels * width of IF 0.
  int SetOffsetStep(int row, double step_hz, MessageSink* messages = nullptr);
  double DefaultOffsetStepHz(int row) const;
  // "Channel" / "Add" and "Delete": changes the number of channels per IF (at least 1 remains).
  int AddChannels(int count, MessageSink* messages = nullptr);
  int DeleteChannels(int count, MessageSink* messages = nullptr);
  // "Channel" / "Width...": channel width of one IF (row < 0: every row; if_index < 0: every IF).
  int SetChannelWidth(int row, int if_index, double width_hz, MessageSink* messages = nullptr);
  // "Channel" / "Auto arrange": makes the IFs of every row contiguous, each IF starting where
  // the previous one ends: offset_k = offset_(k-1) + n_channels * width_(k-1), which is
  // offset_0 + k * n_channels * width when all widths are equal.
  void AutoArrange();
  // Reference frequency (must be positive and finite).
  int SetReferenceFrequency(double freq_hz, MessageSink* messages = nullptr);
  // Frequency identifiers: appends a row copying the last one (or one IF row when empty) with
  // the next identifier; removes a row and its identifier.
  int AddFreqId();
  int DeleteFreqId(int row);

  AMatrix<AUVXFqTblItem> table;
  AArray<int> freq_ids;
  std::int32_t n_if = 1;
  std::int32_t n_channels = 16;
  double ref_freq_hz = 1.6e9;
};

// Reads a frequency typed in MHz ("1658", "0.5", "-16"); non-zero when the whole text is one
// finite number. The result is in Hz.
int ParseFrequencyMHz(std::string_view text, double& freq_hz);
// A valid offset is finite; a valid channel width or reference frequency is finite and > 0.
bool IsValidOffset(double hz);
bool IsValidWidth(double hz);

// ---- template definitions ---------------------------------------------------------------------
namespace obs_detail {
template <class S>
bool Fits(S& s, std::uint64_t bytes) {
  if constexpr (qvl::detail::SizedStream<S>) {
    const std::int64_t left = s.Remaining();
    return left >= 0 && bytes <= static_cast<std::uint64_t>(left);
  } else {
    return true;
  }
}
}  // namespace obs_detail

template <class Stream>
int AMFreqSetup::Load(Stream& s) {
  table.Resize(0, 0);
  std::int32_t rows = 0, cols = 0;
  if (!s.Read(&rows, 4) || !s.Read(&cols, 4)) return 0;
  // A table without cells still has to stay within the axis limit: its rows are looped over.
  if (rows < 0 || cols < 0 || rows > kMaxFreqSetupAxis || cols > kMaxFreqSetupAxis) return 0;
  const std::uint64_t cells = std::uint64_t(rows) * std::uint64_t(cols);
  if (!obs_detail::Fits(s, cells * 16)) return 0;
  table.Resize(static_cast<std::uint32_t>(rows), static_cast<std::uint32_t>(cols));
  if (cells != 0) {
    for (std::uint64_t i = 0; i < cells; ++i) {
      if (!s.Read(&table.data[i].if_offset_hz, 8) || !s.Read(&table.data[i].ch_width_hz, 8)) return 0;
    }
  }
  std::int32_t ids = 0;
  if (!s.Read(&ids, 4) || ids < 0) return 0;
  if (!obs_detail::Fits(s, std::uint64_t(ids) * 4)) return 0;
  freq_ids.SetSize(ids);
  if (ids > 0 && !s.Read(freq_ids.data, 4 * static_cast<std::size_t>(ids))) return 0;
  if (!s.Read(&n_if, 4) || !s.Read(&n_channels, 4) || !s.Read(&ref_freq_hz, 8)) return 0;
  return 1;
}

template <class Stream>
int AMFreqSetup::Store(Stream& s) const {
  const std::int32_t rows = static_cast<std::int32_t>(table.rows), cols = static_cast<std::int32_t>(table.cols);
  if (!s.Write(&rows, 4) || !s.Write(&cols, 4)) return 0;
  const std::uint64_t cells = table.Elements();
  for (std::uint64_t i = 0; i < cells; ++i)
    if (!s.Write(&table.data[i].if_offset_hz, 8) || !s.Write(&table.data[i].ch_width_hz, 8)) return 0;
  const std::int32_t ids = freq_ids.count;
  if (!s.Write(&ids, 4)) return 0;
  if (ids > 0 && !s.Write(freq_ids.data, 4 * static_cast<std::size_t>(ids))) return 0;
  if (!s.Write(&n_if, 4) || !s.Write(&n_channels, 4) || !s.Write(&ref_freq_hz, 8)) return 0;
  return 1;
}
