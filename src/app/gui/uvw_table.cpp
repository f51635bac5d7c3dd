#include "app/gui/uvw_table.h"

#include <QFontMetrics>
#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>
#include <algorithm>
#include <limits>

AMUVWTable::AMUVWTable(QObject* parent) : QAbstractTableModel(parent) {}

void AMUVWTable::SetTable(const AMUVPointTable* table) {
  beginResetModel();
  table_ = table;
  endResetModel();
}

int AMUVWTable::rowCount(const QModelIndex& parent) const {
  if (parent.isValid() || !table_) return 0;
  return static_cast<int>(std::min<std::int64_t>(table_->Rows(), std::numeric_limits<int>::max()));
}

int AMUVWTable::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : AMUVPointTable::kColumnCount;
}

QVariant AMUVWTable::data(const QModelIndex& index, int role) const {
  if (!table_ || !index.isValid()) return {};
  if (role == Qt::DisplayRole) return QString::fromStdString(table_->Text(index.row(), index.column()));
  if (role == Qt::TextAlignmentRole) {
    const bool number = index.column() >= AMUVPointTable::kProjection;
    return QVariant::fromValue(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft));
  }
  return {};
}

QVariant AMUVWTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Horizontal) return QString::fromLatin1(AMUVPointTable::ColumnTitle(section));
  return section + 1;
}

int AMUVWTable::ConfigureView(QTableView* view) const {
  const QFontMetrics fm(view->font());
  QHeaderView* rows = view->verticalHeader();
  rows->setSectionResizeMode(QHeaderView::Fixed);
  rows->setDefaultSectionSize(fm.height() + 6);
  rows->setDefaultAlignment(Qt::AlignRight | Qt::AlignVCenter);
  rows->setMinimumWidth(fm.horizontalAdvance(QString::number(std::max(rowCount(), 1))) + 12);
  QHeaderView* columns = view->horizontalHeader();
  columns->setSectionResizeMode(QHeaderView::Interactive);
  columns->setStretchLastSection(false);
  const QFontMetrics header_fm(columns->font());
  int total = std::max(rows->minimumWidth(), rows->sizeHint().width()) + view->verticalScrollBar()->sizeHint().width() + 2 * view->frameWidth() + 4;
  for (int c = 0; c < AMUVPointTable::kColumnCount; ++c) {
    const QString widest = table_ ? QString::fromStdString(table_->WidestText(c)) : QString();
    const int text = fm.horizontalAdvance(widest) + 16;
    const int title = header_fm.horizontalAdvance(QString::fromLatin1(AMUVPointTable::ColumnTitle(c))) + 20;
    view->setColumnWidth(c, std::max(text, title));
    total += std::max(text, title);
  }
  view->setWordWrap(false);
  view->setAlternatingRowColors(true);
  view->setSelectionBehavior(QAbstractItemView::SelectRows);
  return total;
}
