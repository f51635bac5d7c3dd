#pragma once
// "Set Spectral Index Map": the spectral-index map of the model run, one row per (frequency
// set-up, IF) pair of the input UVX file (IF fastest; the row header names the set-up, the IF and
// the IF's first-channel frequency) and one column per component. The dialog works on a copy,
// shaped to the file and the model when it opens (values kept where the shapes overlap, new
// cells 0); OK hands the copy back.
//
// Menu "Spectral index": "Set spectral index..." (the prompt "Enter Spectral Index: " sets every
// selected cell, or every cell when none is selected), "Initialize" (every value 0), "Load from
// file..." and "Save to file..." (the text form of docs/maps.md). Cells can be typed into as well.

#include <QAbstractTableModel>
#include <QDialog>
#include <functional>
#include <vector>

#include "app/gui/gui_services.h"
#include "model/simap_rows.h"

class QMenuBar;
class QTableView;

class AMSIMapTable final : public QAbstractTableModel {
  Q_OBJECT
 public:
  AMSIMapTable(AMSIMap& map, const std::vector<ASIMapRow>& rows, MessageSink* messages, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  // Runs `change` on the map between the begin and end of a model reset.
  void Change(const std::function<void()>& change);

 private:
  AMSIMap& map_;
  const std::vector<ASIMapRow>& rows_;
  MessageSink* messages_;
};

class AMSIMapDlg final : public QDialog {
  Q_OBJECT
 public:
  // `rows` from the input file (empty when it could not be read: the map keeps its rows);
  // `components` = the number of columns.
  AMSIMapDlg(const AMSIMap& map, std::vector<ASIMapRow> rows, int components, const AGuiServices& services,
             QWidget* parent = nullptr);

  const AMSIMap& Map() const { return map_; }
  QTableView* View() const { return view_; }
  AMSIMapTable* Table() const { return table_; }
  QMenuBar* Menu() const { return menu_; }

 public slots:
  void OnSetIndex();
  void OnInitialize();
  void OnLoad();
  void OnSave();

 private:
  std::uint32_t Rows() const;

  AGuiServices services_;
  AMSIMap map_;
  std::vector<ASIMapRow> rows_;
  std::uint32_t components_;
  AMSIMapTable* table_ = nullptr;
  QTableView* view_ = nullptr;
  QMenuBar* menu_ = nullptr;
};
