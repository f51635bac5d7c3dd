#pragma once
// The table views of the "VLBI configuration" page, as adapters over the observation's own
// containers: the time intervals, the polarization/Stokes choice and the selected telescopes.
// Each model reads and edits the observation in place and calls `edited` after every change, so
// the page can set its modified flag.

#include <QAbstractTableModel>
#include <functional>

#include "core/runtime.h"
#include "observation/observation.h"

// "Start", "Stop", "Freq. ID": one row per interval. Times are typed and shown as "HH:MM:SS"
// (hours may pass 24 for an interval running past midnight); a text that is not a time is refused
// with "Invalid time.".
class AMTimeTable final : public QAbstractTableModel {
  Q_OBJECT
 public:
  AMTimeTable(AMObservation& obs, MessageSink* messages, std::function<void()> edited, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

  // A new interval after the last one (or 00:00:00 - 01:00:00), one hour long, Freq. ID of the
  // last; returns its row.
  int AddInterval();
  void DeleteInterval(int row);
  // After the observation was replaced or its intervals reordered.
  void Reset();

 private:
  AMObservation& obs_;
  MessageSink* messages_;
  std::function<void()> edited_;
};

// The polarization/Stokes codes offered, in this order, each with a check box: RR LL RL LR,
// I Q U V, XX YY XY YX. The observation's list holds the checked codes in the table's order;
// a code the table does not offer (from a file) stays at the end of the list.
class AMPolTable final : public QAbstractTableModel {
  Q_OBJECT
 public:
  static const std::int16_t kCodes[12];
  AMPolTable(AMObservation& obs, std::function<void()> edited, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  bool IsChecked(int row) const;
  void SetChecked(int row, bool on);
  void Reset();

 private:
  AMObservation& obs_;
  std::function<void()> edited_;
};

// "Name", "ID", "Kind", "Orbit file": the telescopes of the observation (read only here; the
// page edits the orbit-file choice of the current row).
class AMTlscTable final : public QAbstractTableModel {
  Q_OBJECT
 public:
  explicit AMTlscTable(AMObservation& obs, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  void Reset();
  void RowChanged(int row);

 private:
  AMObservation& obs_;
};

// Interval times as the table shows them: whole seconds without decimals, otherwise milliseconds.
std::string IntervalTimeText(double seconds);
