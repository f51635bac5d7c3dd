#pragma once
// The component table of the "Source modeling" page as a Qt table model over the core's
// AMCompsTable (model/comp_table.h), which holds every rule: cell texts ("------" where a column
// does not apply), the type choice, atof edits, the thick-ring width, insert after the selection,
// delete moving the selection, and the modified flag of the model document.
//
// Redraw rule: a type change to or from "Delta function" redraws the whole table (columns 3-5
// change between value and "------"); any other edit redraws its own cell only. Column 1 is edited
// with a drop-down of the seven type names (AMCompTypeDelegate).

#include <QAbstractTableModel>
#include <QStyledItemDelegate>
#include <functional>

#include "model/comp_table.h"
#include "model/model_document.h"

class AMCompsTableModel final : public QAbstractTableModel {
  Q_OBJECT
 public:
  // `edited` runs after every change the table makes (the page redraws its model view).
  AMCompsTableModel(AMModelDocument& doc, std::function<void()> edited, QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  // Column 0 takes the drop-down entry (0-based, int); the others take the typed text.
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

  // Insert and Delete at the core's selected cell (set by Select); the selection moves as the
  // core says. Both reset the model; read the new selection with SelectedIndex().
  void Insert();
  void Delete();
  // The view's current cell (0-based; invalid for none) handed to the core.
  void Select(const QModelIndex& index);
  // The core's selected cell as an index of this model (invalid when none).
  QModelIndex SelectedIndex() const;
  // After the document's model was replaced (New, Open).
  void Reset();

  AMCompsTable& Core() { return core_; }

 private:
  AMModelDocument& doc_;
  AMCompsTable core_;
  std::function<void()> edited_;
};

// The drop-down of column 1: the seven type names in table order; the choice is stored as soon
// as it is made.
class AMCompTypeDelegate final : public QStyledItemDelegate {
  Q_OBJECT
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  void setEditorData(QWidget* editor, const QModelIndex& index) const override;
  void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
};
