#include "app/gui/err_tables.h"

#include "core/text.h"
#include "errors/error_tables.h"
#include "errors/tlsc_rows.h"

namespace {

// Tool tips of the error columns: what each value means and its unit.
const char* const kErrColumnTips[kErrCellColumns] = {
    "Phase error: standard deviation of the random phase step, degrees per second of the phase step",
    "Amplitude error: standard deviation of the gain, dB",
    "Constant phase, degrees",
    "Fringe rate, Hz (turns per second)",
    "Delay, seconds",
    "Fringe acceleration, turns per second squared",
    "Delay acceleration, turns per Hz squared",
};

QString CellText(double v) { return QString::fromStdString(valToStr(v)); }

}  // namespace

void AMTlscErrTbl::Reload() {
  beginResetModel();
  endResetModel();
}

int AMTlscErrTbl::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_.GetSize(); }
int AMTlscErrTbl::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : kErrCellColumns; }

QVariant AMTlscErrTbl::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rows_.GetSize()) return {};
  const AMTlscErrItem& t = rows_[index.row()];
  switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole: return CellText(ErrCell(t, index.column()));
    case Qt::TextAlignmentRole: return int(Qt::AlignRight | Qt::AlignVCenter);
    case Qt::ToolTipRole: return kErrColumnTips[index.column()];
    default: return {};
  }
}

QVariant AMTlscErrTbl::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation == Qt::Horizontal && section >= 0 && section < kErrCellColumns) {
    if (role == Qt::DisplayRole) return kErrColumns[section];
    if (role == Qt::ToolTipRole) return kErrColumnTips[section];
  }
  if (orientation == Qt::Vertical && section >= 0 && section < rows_.GetSize() && role == Qt::DisplayRole)
    return QString::fromStdString(TlscRowLabel(rows_[section].name, rows_[section].id));
  return {};
}

Qt::ItemFlags AMTlscErrTbl::flags(const QModelIndex& index) const {
  return index.isValid() ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable : Qt::NoItemFlags;
}

bool AMTlscErrTbl::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::EditRole || !index.isValid()) return false;
  double v = 0;
  const ATableCellIssue issue =
      CheckErrorCellText(rows_, index.row(), index.column(), value.toString().toStdString(), &v);
  if (issue) {
    emit cellRefused(index.row(), index.column(), QString::fromStdString(issue.message));
    return false;
  }
  SetErrCell(rows_[index.row()], index.column(), v);
  emit dataChanged(index, index);
  emit edited();
  return true;
}

void AMTlscSfdTbl::Reload() {
  beginResetModel();
  endResetModel();
}

int AMTlscSfdTbl::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_.GetSize(); }
int AMTlscSfdTbl::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : n_if_; }

QVariant AMTlscSfdTbl::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rows_.GetSize()) return {};
  const AMSfdItem& t = rows_[index.row()];
  switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole: return CellText(index.column() < t.sefd.GetSize() ? t.sefd[index.column()] : 0.0);
    case Qt::TextAlignmentRole: return int(Qt::AlignRight | Qt::AlignVCenter);
    case Qt::ToolTipRole: return QString("System equivalent flux density in IF %1, Jy").arg(index.column() + 1);
    default: return {};
  }
}

QVariant AMTlscSfdTbl::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation == Qt::Horizontal && section >= 0 && section < n_if_) {
    if (role == Qt::DisplayRole) return QString::fromStdString(SefdColumnTitle(section));
    if (role == Qt::ToolTipRole) return QString("SEFD of each telescope in IF %1, Jy").arg(section + 1);
  }
  if (orientation == Qt::Vertical && section >= 0 && section < rows_.GetSize() && role == Qt::DisplayRole)
    return QString::fromStdString(TlscRowLabel(rows_[section].name, rows_[section].id));
  return {};
}

Qt::ItemFlags AMTlscSfdTbl::flags(const QModelIndex& index) const {
  return index.isValid() ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable : Qt::NoItemFlags;
}

bool AMTlscSfdTbl::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::EditRole || !index.isValid()) return false;
  double v = 0;
  const ATableCellIssue issue =
      CheckSefdCellText(rows_, index.row(), index.column(), value.toString().toStdString(), &v);
  if (issue) {
    emit cellRefused(index.row(), index.column(), QString::fromStdString(issue.message));
    return false;
  }
  AMSfdItem& t = rows_[index.row()];
  while (t.sefd.GetSize() <= index.column()) t.sefd.Add(0.0);
  t.sefd[index.column()] = v;
  emit dataChanged(index, index);
  emit edited();
  return true;
}
