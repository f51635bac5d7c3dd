#pragma once
// AMUVWTable: the table of UV points of the UV-plane dialog, a model over AMUVPointTable. Rows
// are served from the UV-point file as the view asks for them (nothing is copied), so a million
// points scroll like ten. Columns "Time", "Baseline", "Projection [ED]", "U [km]", "V [km]",
// "W [km]"; the vertical header numbers the points from 1.

#include <QAbstractTableModel>

#include "coverage/uv_point_table.h"

class QTableView;

class AMUVWTable : public QAbstractTableModel {
  Q_OBJECT

 public:
  explicit AMUVWTable(QObject* parent = nullptr);

  // Shows the rows of `table` (not owned; it must stay open while it is shown). nullptr empties
  // the model.
  void SetTable(const AMUVPointTable* table);
  const AMUVPointTable* Table() const { return table_; }

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

  // Sets a view up for this model: uniform row heights (no per-row measuring), every column as
  // wide as the widest text it can hold in this file. Returns the width the view needs to show
  // every column without scrolling sideways.
  int ConfigureView(QTableView* view) const;

 private:
  const AMUVPointTable* table_ = nullptr;
};
