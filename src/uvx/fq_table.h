#pragma once
// The frequency description of a UVX file (its "FQ" table) and the writer of that table from a
// frequency set-up.
//
// FQ table: one row per frequency selection, n = max(nIF, 1), row length 4 + 20 n:
//   FRQSEL 1J | IF FREQ nD (Hz offset from the reference) | CH WIDTH nE | TOTAL BANDWIDTH nE | SIDEBAND nJ

#include <string>

#include "core/containers.h"
#include "core/fq_item.h"
#include "uvx/uvx_table.h"

class AUVXFile;

// A new "FQ" table (the caller adds it to the file and deletes it). Row r has the identifier
// freq_ids[r] (r + 1 when the list is shorter than the matrix), the offsets and widths of matrix
// row r (0 for IFs beyond the matrix), channel count x width as total bandwidth, sideband 1.
AUVXTable* MakeFqTable(const AMatrix<AUVXFqTblItem>& matrix, const AArray<int>& freq_ids, int n_if,
                       int n_channels);

class AUVXFqTbl {
 public:
  AUVXFqTbl() = default;
  explicit AUVXFqTbl(AUVXFile& file);           // every selection
  AUVXFqTbl(AUVXFile& file, int freqSel);       // only the selection with identifier freqSel
  AUVXFqTbl(const AUVXFqTbl&) = default;
  AUVXFqTbl& operator=(const AUVXFqTbl&) = default;
  virtual ~AUVXFqTbl() = default;

  // freqSel < 0 keeps every selection; otherwise only the one with that identifier. Reads the
  // reference frequency and channel count from the file's header. Non-zero on success.
  int Init(AUVXFile& file, int freqSel);
  // The same from a table and the header values (used by Init and by tests).
  int FromTable(const AUVXTable& fq, double ref_freq_hz, int n_channels, int freqSel = -1);

  int GetFreqSels() const { return sels_.GetSize(); }
  int GetFreqSelID(int i) const;             // 0 when i is out of range
  int GetFreqSelNum(int id) const;           // -1 when no selection has that identifier
  double GetFreq(int sel, int if_index, int channel) const;  // sky frequency of a channel, Hz
  double GetStartIFFq(int sel, int if_index) const;          // frequency of the IF's first channel
  double GetDeltaIFFq(int sel, int if_index) const;          // channel width
  double GetTotalBandwidth(int sel, int if_index) const;
  int GetSideband(int sel, int if_index) const;
  int NIF() const { return n_if_; }
  int NChannels() const { return n_channels_; }
  double RefFreq() const { return ref_freq_hz_; }

 private:
  struct IfCell {
    double offset_hz;
    double width_hz;
    double total_hz;
    int sideband;
  };
  bool InRange(int sel, int if_index) const {
    return sel >= 0 && sel < sels_.GetSize() && if_index >= 0 && if_index < n_if_;
  }
  const IfCell& Cell(int sel, int if_index) const { return cells_[sel * n_if_ + if_index]; }

  double ref_freq_hz_ = 0;
  int n_if_ = 0;
  int n_channels_ = 0;
  AArray<int> sels_;
  AArray<IfCell> cells_;
};
