#pragma once
// The two per-telescope tables of tasks 3 and 4 as table models over the pages' lists:
//
//   AMTlscErrTbl: one row per telescope of the errors list, labelled "NAME (#id)", columns
//                 "Ph. err [Deg]", "Ampl. err [dB]", "Phase 0 [deg]", "Fringe rate", "Delay",
//                 "Fringe Acc.", "Delay Acc.";
//   AMTlscSfdTbl: one row per telescope of the SEFD list, one column per IF, "SEFD IF1" ...
//
// Cells show valToStr of the value and are edited as text. A text the core refuses
// (errors/tlsc_rows.h) leaves the value as it was and is reported by `cellRefused` with the
// message naming the cell; an accepted edit emits `edited`.

#include <QAbstractTableModel>

#include "errors/errors_model.h"
#include "errors/noise_model.h"

class AMTlscErrTbl final : public QAbstractTableModel {
  Q_OBJECT
 public:
  explicit AMTlscErrTbl(AMTlscErrors& rows, QObject* parent = nullptr) : QAbstractTableModel(parent), rows_(rows) {}

  // The list was replaced or changed from outside.
  void Reload();

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

 signals:
  void cellRefused(int row, int column, const QString& message);
  void edited();

 private:
  AMTlscErrors& rows_;
};

class AMTlscSfdTbl final : public QAbstractTableModel {
  Q_OBJECT
 public:
  AMTlscSfdTbl(AObjArray<AMSfdItem>& rows, int& n_if, QObject* parent = nullptr)
      : QAbstractTableModel(parent), rows_(rows), n_if_(n_if) {}

  void Reload();

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

 signals:
  void cellRefused(int row, int column, const QString& message);
  void edited();

 private:
  AObjArray<AMSfdItem>& rows_;
  int& n_if_;
};
