#include "app/gui/comps_table_model.h"

#include <QComboBox>
#include <algorithm>

#include "app/gui/gui_services.h"

namespace {
// The unit of each column, for the tool tips.
const char* const kColumnTips[kCompTableColumns] = {
    "Component type",
    "Total flux density [Jy]",
    "Size along the major axis [arcseconds]",
    "Minor axis / major axis, ]0, 1] (no unit)",
    "Direction of the major axis from north through east [degrees]",
    "Direction of the offset from the phase centre, north through east [degrees]",
    "Offset from the phase centre [arcseconds]",
    "Relative width of a thick ring, ]0, 1[ (no unit)",
};
}  // namespace

AMCompsTableModel::AMCompsTableModel(AMModelDocument& doc, std::function<void()> edited, QObject* parent)
    : QAbstractTableModel(parent), doc_(doc), core_(&doc.Model(), &doc.Modified()), edited_(std::move(edited)) {}

int AMCompsTableModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : core_.RowCount(); }
int AMCompsTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : kCompTableColumns; }

QVariant AMCompsTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= core_.RowCount()) return {};
  const int row = index.row() + 1, column = index.column() + 1;
  switch (role) {
    case Qt::DisplayRole: return Qs(core_.CellText(row, column));
    case Qt::EditRole:
      return column == 1 ? QVariant(doc_.Model()[index.row()].type - 1) : QVariant(Qs(core_.ValueText(row, column)));
    case Qt::ToolTipRole: return QString(kColumnTips[index.column()]);
    case Qt::TextAlignmentRole:
      return column == 1 ? int(Qt::AlignLeft | Qt::AlignVCenter) : int(Qt::AlignRight | Qt::AlignVCenter);
    default: return {};
  }
}

QVariant AMCompsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  // The angle headers carry the degree sign as byte 0xB0 (Latin-1).
  if (orientation == Qt::Horizontal) return QString::fromLatin1(CompColumnHeader(section + 1));
  return Qs(core_.RowHeader(section + 1));
}

Qt::ItemFlags AMCompsTableModel::flags(const QModelIndex& index) const {
  return QAbstractTableModel::flags(index) | Qt::ItemIsEditable;
}

bool AMCompsTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::EditRole || index.row() >= core_.RowCount()) return false;
  const int row = index.row() + 1;
  if (index.column() == 0) {
    bool ok = false;
    const int entry = value.toInt(&ok);
    if (!ok) return false;
    if (core_.ChooseType(row, entry))
      emit dataChanged(this->index(0, 0), this->index(core_.RowCount() - 1, kCompTableColumns - 1));
    else
      emit dataChanged(index, index);
  } else {
    core_.EditCell(row, index.column() + 1, Ss(value.toString()));
    emit dataChanged(index, index);
  }
  if (edited_) edited_();
  return true;
}

void AMCompsTableModel::Insert() {
  beginResetModel();
  core_.Insert();
  endResetModel();
  if (edited_) edited_();
}

void AMCompsTableModel::Delete() {
  if (core_.RowCount() == 0) return;
  beginResetModel();
  core_.Delete();
  endResetModel();
  if (edited_) edited_();
}

void AMCompsTableModel::Select(const QModelIndex& index) {
  if (index.isValid())
    core_.Select(index.row() + 1, index.column() + 1);
  else
    core_.Select(0, 0);
}

QModelIndex AMCompsTableModel::SelectedIndex() const {
  const int row = core_.SelectedRow(), column = core_.SelectedColumn();
  if (row < 1 || row > core_.RowCount()) return {};
  return index(row - 1, std::max(column, 1) - 1);
}

void AMCompsTableModel::Reset() {
  beginResetModel();
  core_.Select(core_.RowCount() > 0 ? 1 : 0, 1);
  endResetModel();
}

QWidget* AMCompTypeDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                          const QModelIndex& index) const {
  if (index.column() != 0) return QStyledItemDelegate::createEditor(parent, option, index);
  auto* combo = new QComboBox(parent);
  combo->setObjectName("compTypeCombo");
  for (int type = 1; type <= kCompTypeCount; ++type) combo->addItem(CompTypeName(type));
  // The choice is stored at once, as a drop-down list does.
  connect(combo, &QComboBox::activated, this, [this, combo] {
    auto* self = const_cast<AMCompTypeDelegate*>(this);
    emit self->commitData(combo);
  });
  return combo;
}

void AMCompTypeDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
  if (auto* combo = qobject_cast<QComboBox*>(editor)) {
    combo->setCurrentIndex(index.data(Qt::EditRole).toInt());
    return;
  }
  QStyledItemDelegate::setEditorData(editor, index);
}

void AMCompTypeDelegate::setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const {
  if (auto* combo = qobject_cast<QComboBox*>(editor)) {
    model->setData(index, combo->currentIndex(), Qt::EditRole);
    return;
  }
  QStyledItemDelegate::setModelData(editor, model, index);
}
