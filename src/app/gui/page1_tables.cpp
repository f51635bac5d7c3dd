#include "app/gui/page1_tables.h"

#include <cmath>

#include "app/gui/gui_services.h"
#include "core/text.h"
#include "observation/polarization.h"

std::string IntervalTimeText(double seconds) {
  return timeToStr(seconds, seconds == std::floor(seconds) ? 0 : 3);
}

// ---- AMTimeTable ------------------------------------------------------------------------------

AMTimeTable::AMTimeTable(AMObservation& obs, MessageSink* messages, std::function<void()> edited, QObject* parent)
    : QAbstractTableModel(parent), obs_(obs), messages_(messages), edited_(std::move(edited)) {}

int AMTimeTable::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : obs_.intervals.count; }
int AMTimeTable::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : 3; }

QVariant AMTimeTable::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= obs_.intervals.count) return {};
  const AMTimeItem& t = obs_.intervals[index.row()];
  if (role == Qt::DisplayRole || role == Qt::EditRole) {
    switch (index.column()) {
      case 0: return Qs(IntervalTimeText(t.start));
      case 1: return Qs(IntervalTimeText(t.stop));
      default: return t.freq_id;
    }
  }
  if (role == Qt::TextAlignmentRole) return int(Qt::AlignRight | Qt::AlignVCenter);
  return {};
}

QVariant AMTimeTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Vertical) return section + 1;
  static const char* names[] = {"Start", "Stop", "Freq. ID"};
  return section >= 0 && section < 3 ? QString(names[section]) : QVariant();
}

Qt::ItemFlags AMTimeTable::flags(const QModelIndex& index) const {
  return QAbstractTableModel::flags(index) | Qt::ItemIsEditable;
}

bool AMTimeTable::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::EditRole || index.row() >= obs_.intervals.count) return false;
  AMTimeItem& t = obs_.intervals[index.row()];
  if (index.column() == 2) {
    bool ok = false;
    const int id = value.toString().trimmed().toInt(&ok);
    if (!ok) {
      if (messages_) messages_->Show("Invalid Freq. ID.");
      return false;
    }
    if (id == t.freq_id) return true;
    t.freq_id = id;
  } else {
    double seconds = 0;
    if (!strToTime(Ss(value.toString()), seconds)) {
      if (messages_) messages_->Show("Invalid time.");
      return false;
    }
    double& field = index.column() == 0 ? t.start : t.stop;
    if (field == seconds) return true;
    field = seconds;
  }
  emit dataChanged(index, index);
  if (edited_) edited_();
  return true;
}

int AMTimeTable::AddInterval() {
  AMTimeItem t{0.0, 3600.0, 1, 0};
  if (obs_.intervals.count > 0) {
    const AMTimeItem& last = obs_.intervals[obs_.intervals.count - 1];
    t = AMTimeItem{last.stop, last.stop + 3600.0, last.freq_id, 0};
  }
  const int row = obs_.intervals.count;
  beginInsertRows({}, row, row);
  obs_.intervals.Add(t);
  endInsertRows();
  if (edited_) edited_();
  return row;
}

void AMTimeTable::DeleteInterval(int row) {
  if (row < 0 || row >= obs_.intervals.count) return;
  beginRemoveRows({}, row, row);
  obs_.intervals.RemoveAt(row);
  endRemoveRows();
  if (edited_) edited_();
}

void AMTimeTable::Reset() {
  beginResetModel();
  endResetModel();
}

// ---- AMPolTable -------------------------------------------------------------------------------

const std::int16_t AMPolTable::kCodes[12] = {-1, -2, -3, -4, 1, 2, 3, 4, -5, -6, -7, -8};

AMPolTable::AMPolTable(AMObservation& obs, std::function<void()> edited, QObject* parent)
    : QAbstractTableModel(parent), obs_(obs), edited_(std::move(edited)) {}

int AMPolTable::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : 12; }
int AMPolTable::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : 2; }

bool AMPolTable::IsChecked(int row) const {
  for (std::int16_t c : obs_.polarizations)
    if (c == kCodes[row]) return true;
  return false;
}

void AMPolTable::SetChecked(int row, bool on) {
  if (row < 0 || row >= 12 || IsChecked(row) == on) return;
  AArray<std::int16_t> list;
  for (int r = 0; r < 12; ++r)
    if (r == row ? on : IsChecked(r)) list.Add(kCodes[r]);
  for (std::int16_t c : obs_.polarizations) {  // codes the table does not offer stay
    bool offered = false;
    for (std::int16_t k : kCodes) offered = offered || k == c;
    if (!offered) list.Add(c);
  }
  obs_.polarizations = list;
  emit dataChanged(index(row, 0), index(row, 1));
  if (edited_) edited_();
}

QVariant AMPolTable::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const std::int16_t code = kCodes[index.row()];
  if (index.column() == 0) {
    if (role == Qt::DisplayRole) return Qs(PolarizationName(code).value_or("?"));
    if (role == Qt::CheckStateRole) return IsChecked(index.row()) ? Qt::Checked : Qt::Unchecked;
  } else if (role == Qt::DisplayRole) {
    return int(code);
  } else if (role == Qt::TextAlignmentRole) {
    return int(Qt::AlignRight | Qt::AlignVCenter);
  }
  return {};
}

QVariant AMPolTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || orientation != Qt::Horizontal) return {};
  return section == 0 ? QString("Polarization/Stokes") : QString("Code");
}

Qt::ItemFlags AMPolTable::flags(const QModelIndex& index) const {
  Qt::ItemFlags f = QAbstractTableModel::flags(index);
  if (index.column() == 0) f |= Qt::ItemIsUserCheckable;
  return f;
}

bool AMPolTable::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || index.column() != 0 || role != Qt::CheckStateRole) return false;
  SetChecked(index.row(), value.toInt() == Qt::Checked);
  return true;
}

void AMPolTable::Reset() {
  beginResetModel();
  endResetModel();
}

// ---- AMTlscTable ------------------------------------------------------------------------------

AMTlscTable::AMTlscTable(AMObservation& obs, QObject* parent) : QAbstractTableModel(parent), obs_(obs) {}

int AMTlscTable::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : obs_.telescopes.count; }
int AMTlscTable::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : 4; }

QVariant AMTlscTable::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= obs_.telescopes.count || role != Qt::DisplayRole) return {};
  const AMTlscItem& t = obs_.telescopes[index.row()];
  switch (index.column()) {
    case 0: return Qs(t.name);
    case 1: return Qs(t.id_name);
    case 2: return t.IsGround() ? QString("Ground") : QString("Orbital");
    default:
      if (t.IsGround()) return QString();
      return t.use_orbit_file ? Qs(t.orbit_file) : QString("(elements)");
  }
}

QVariant AMTlscTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Vertical) return section + 1;
  static const char* names[] = {"Name", "ID", "Kind", "Orbit file"};
  return section >= 0 && section < 4 ? QString(names[section]) : QVariant();
}

void AMTlscTable::Reset() {
  beginResetModel();
  endResetModel();
}

void AMTlscTable::RowChanged(int row) { emit dataChanged(index(row, 0), index(row, 3)); }
