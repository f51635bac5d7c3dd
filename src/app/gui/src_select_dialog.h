#pragma once
// "Select source": the source catalogue "Sources.dat" in a table (AMSrcInfoTbl: "Name",
// "Other name", "Right ascension", "Declination", J2000) with the choice of which of the two names
// the observation takes, OK and Cancel.

#include <QAbstractTableModel>
#include <QDialog>

#include "observation/source_catalog.h"

class QRadioButton;
class QTableView;

class AMSrcInfoTbl final : public QAbstractTableModel {
  Q_OBJECT
 public:
  explicit AMSrcInfoTbl(const AMSourceCatalog& catalog, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  const AMSourceCatalog& catalog_;
};

class AMSrcSelectDlg final : public QDialog {
  Q_OBJECT
 public:
  // `current_name` selects the row of that name (or other name) when the catalogue has one.
  AMSrcSelectDlg(const AMSourceCatalog& catalog, const std::string& current_name, QWidget* parent = nullptr);
  // The chosen row (-1 when none) and whether the other name is taken.
  int ChosenRow() const;
  bool UseOtherName() const;
  void SelectRow(int row);
  void SetUseOtherName(bool on);
  QTableView* View() const { return view_; }

 private:
  AMSrcInfoTbl* model_;
  QTableView* view_;
  QRadioButton* first_name_;
  QRadioButton* other_name_;
};
