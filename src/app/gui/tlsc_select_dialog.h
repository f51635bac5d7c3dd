#pragma once
// "Select telescopes": the telescope catalogue "Telescopes.dat" in a table (AMTlscInfoTbl), a
// "Search string: " field that moves to the first telescope whose name or ID name contains the
// text (ignoring case), the catalogue commands Add..., Edit... and Delete (each rewrites the whole
// file), and OK / Cancel. Telescopes are marked with the check box of their row; OK with none
// marked shows message 521 and keeps the dialog open.

#include <QAbstractTableModel>
#include <QDialog>
#include <set>
#include <string>
#include <vector>

#include "app/gui/gui_services.h"
#include "observation/telescope_catalog.h"

class QLineEdit;
class QTableView;

// "Name" (with the mark), "ID", "Kind", "Par 1" .. "Par 7" ("Par 4." as it has always read) and
// "Par 8": the catalogue entries with their eight parameters. A parameter cell's tool tip names
// the parameter for the entry's kind.
class AMTlscInfoTbl final : public QAbstractTableModel {
  Q_OBJECT
 public:
  explicit AMTlscInfoTbl(const AMTlscCatalog& catalog, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

  bool IsMarked(int row) const;
  void SetMarked(int row, bool on);
  void Reset();

 private:
  static std::string Key(const AMTlscInfoItem& item);
  const AMTlscCatalog& catalog_;
  std::set<std::string> marked_;  // upper-case name and ID name of the marked entries
};

class AMTlscSelectDlg final : public QDialog {
  Q_OBJECT
 public:
  // Loads `catalog_path` (a missing file is an empty catalogue).
  AMTlscSelectDlg(const std::string& catalog_path, const AGuiServices& services, QWidget* parent = nullptr);

  // The marked entries in catalogue order (valid after OK).
  std::vector<AMTlscInfoItem> Marked() const;
  const AMTlscCatalog& Catalog() const { return catalog_; }
  AMTlscInfoTbl* Model() const { return model_; }
  QTableView* View() const { return view_; }
  QLineEdit* SearchEdit() const { return search_; }
  int CurrentRow() const;
  void SetCurrentRow(int row);

  void accept() override;

 public slots:
  void AddEntry();
  void EditEntry();
  void DeleteEntry();
  void Search(const QString& text);

 private:
  // Inserts in order (message 520 on a duplicate), rewrites the file and selects the row.
  void Insert(const AMTlscInfoItem& item);
  void Rewrite();

  std::string path_;
  AGuiServices services_;
  AMTlscCatalog catalog_;
  AMTlscInfoTbl* model_;
  QTableView* view_;
  QLineEdit* search_;
};
