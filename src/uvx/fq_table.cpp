#include "uvx/fq_table.h"

#include <algorithm>
#include <string>

#include "uvx/uvx_file.h"

AUVXTable* MakeFqTable(const AMatrix<AUVXFqTblItem>& matrix, const AArray<int>& freq_ids, int n_if,
                       int n_channels) {
  const int n = std::max(n_if, 1);
  const std::string rep = std::to_string(n);
  auto* t = new AUVXTable("FQ", AUVXTable::toHash("FQ", 1));
  const int c_sel = t->AddColumn("FRQSEL", "      ", "1J");
  const int c_freq = t->AddColumn("IF FREQ", "HZ     ", (rep + "D").c_str());
  const int c_width = t->AddColumn("CH WIDTH", "HZ     ", (rep + "E").c_str());
  const int c_total = t->AddColumn("TOTAL BANDWIDTH", "HZ     ", (rep + "E").c_str());
  const int c_side = t->AddColumn("SIDEBAND", "       ", (rep + "J").c_str());
  for (std::uint32_t r = 0; r < matrix.rows; ++r) {
    const int row = t->AddRow();
    const int id = int(r) < freq_ids.GetSize() ? freq_ids[int(r)] : int(r) + 1;
    t->SetInt(row, c_sel, id);
    for (int i = 0; i < n; ++i) {
      const bool have = std::uint32_t(i) < matrix.cols;
      const double offset = have ? matrix(r, std::uint32_t(i)).if_offset_hz : 0.0;
      const double width = have ? matrix(r, std::uint32_t(i)).ch_width_hz : 0.0;
      t->SetDouble(row, c_freq, offset, i);
      t->SetFloat(row, c_width, static_cast<float>(width), i);
      t->SetFloat(row, c_total, static_cast<float>(n_channels * width), i);
      t->SetInt(row, c_side, 1, i);
    }
  }
  return t;
}

AUVXFqTbl::AUVXFqTbl(AUVXFile& file) { Init(file, -1); }

AUVXFqTbl::AUVXFqTbl(AUVXFile& file, int freqSel) { Init(file, freqSel); }

int AUVXFqTbl::Init(AUVXFile& file, int freqSel) {
  const AUVXTable* fq = file.GetTable("FQ");
  if (!fq) {
    sels_.SetSize(0);
    cells_.SetSize(0);
    n_if_ = 0;
    return 0;
  }
  return FromTable(*fq, file.Header().ref_freq_hz, file.Header().n_channels, freqSel);
}

int AUVXFqTbl::FromTable(const AUVXTable& fq, double ref_freq_hz, int n_channels, int freqSel) {
  sels_.SetSize(0);
  cells_.SetSize(0);
  n_if_ = 0;
  ref_freq_hz_ = ref_freq_hz;
  n_channels_ = n_channels;
  const int c_sel = fq.FindColumn("FRQSEL");
  const int c_freq = fq.FindColumn("IF FREQ");
  const int c_width = fq.FindColumn("CH WIDTH");
  const int c_total = fq.FindColumn("TOTAL BANDWIDTH");
  const int c_side = fq.FindColumn("SIDEBAND");
  if (c_sel < 0 || c_freq < 0 || c_width < 0 || fq.ColumnType(c_sel) != 'J' || fq.ColumnType(c_freq) != 'D')
    return 0;
  const int nif = fq.ColumnRepeat(c_freq);
  if (fq.ColumnRepeat(c_width) != nif) return 0;
  n_if_ = nif;
  for (int r = 0; r < fq.n_rows; ++r) {
    const int id = fq.GetInt(r, c_sel);
    if (freqSel >= 0 && id != freqSel) continue;
    sels_.Add(id);
    for (int i = 0; i < nif; ++i) {
      IfCell cell;
      cell.offset_hz = fq.GetDouble(r, c_freq, i);
      cell.width_hz = fq.GetNumber(r, c_width, i);
      cell.total_hz = c_total >= 0 ? fq.GetNumber(r, c_total, i) : cell.width_hz * n_channels;
      cell.sideband = c_side >= 0 ? int(fq.GetNumber(r, c_side, i)) : 1;
      cells_.Add(cell);
    }
  }
  return sels_.GetSize() > 0;
}

int AUVXFqTbl::GetFreqSelID(int i) const { return i >= 0 && i < sels_.GetSize() ? sels_[i] : 0; }

int AUVXFqTbl::GetFreqSelNum(int id) const {
  for (int i = 0; i < sels_.GetSize(); ++i)
    if (sels_[i] == id) return i;
  return -1;
}

double AUVXFqTbl::GetStartIFFq(int sel, int if_index) const {
  return InRange(sel, if_index) ? ref_freq_hz_ + Cell(sel, if_index).offset_hz : 0.0;
}

double AUVXFqTbl::GetDeltaIFFq(int sel, int if_index) const {
  return InRange(sel, if_index) ? Cell(sel, if_index).width_hz : 0.0;
}

double AUVXFqTbl::GetFreq(int sel, int if_index, int channel) const {
  if (!InRange(sel, if_index)) return 0.0;
  const IfCell& c = Cell(sel, if_index);
  return ref_freq_hz_ + c.offset_hz + channel * c.width_hz * (c.sideband < 0 ? -1.0 : 1.0);
}

double AUVXFqTbl::GetTotalBandwidth(int sel, int if_index) const {
  return InRange(sel, if_index) ? Cell(sel, if_index).total_hz : 0.0;
}

int AUVXFqTbl::GetSideband(int sel, int if_index) const {
  return InRange(sel, if_index) ? Cell(sel, if_index).sideband : 0;
}
