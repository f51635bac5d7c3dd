#include "app/gui/tlsc_select_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QVBoxLayout>

#include "app/gui/tlsc_edit_dialog.h"
#include "core/messages.h"
#include "core/text.h"

// ---- AMTlscInfoTbl ----------------------------------------------------------------------------

namespace {
constexpr int kParamColumn = 3;  // first parameter column
const char* const kHeaders[] = {"Name",   "ID",    "Kind",  "Par 1", "Par 2", "Par 3",
                                "Par 4.", "Par 5", "Par 6", "Par 7", "Par 8"};
}  // namespace

AMTlscInfoTbl::AMTlscInfoTbl(const AMTlscCatalog& catalog, QObject* parent)
    : QAbstractTableModel(parent), catalog_(catalog) {}

std::string AMTlscInfoTbl::Key(const AMTlscInfoItem& item) { return toUpper(item.name) + '\x1f' + toUpper(item.id_name); }

int AMTlscInfoTbl::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : catalog_.count; }
int AMTlscInfoTbl::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kParamColumn + tlsc::kParamCount;
}

QVariant AMTlscInfoTbl::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= catalog_.count) return {};
  const AMTlscInfoItem& t = catalog_[index.row()];
  const int c = index.column();
  if (c == 0 && role == Qt::CheckStateRole) return IsMarked(index.row()) ? Qt::Checked : Qt::Unchecked;
  if (c >= kParamColumn) {
    const int p = c - kParamColumn;
    const bool unused = !t.IsGround() && p == tlsc::kUnused;
    if (role == Qt::DisplayRole) return unused ? QString() : Qs(valToStr(t.params[p]));
    if (role == Qt::ToolTipRole) {
      QString label = TlscParamLabel(t.IsGround(), p);
      if (label.endsWith(": ")) label.chop(2);
      return label;
    }
    if (role == Qt::TextAlignmentRole) return int(Qt::AlignRight | Qt::AlignVCenter);
    return {};
  }
  if (role != Qt::DisplayRole) return {};
  if (c == 0) return Qs(t.name);
  if (c == 1) return Qs(t.id_name);
  return t.IsGround() ? QString("Ground") : QString("Orbital");
}

QVariant AMTlscInfoTbl::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Vertical) return section + 1;
  return section >= 0 && section < columnCount() ? QString(kHeaders[section]) : QVariant();
}

Qt::ItemFlags AMTlscInfoTbl::flags(const QModelIndex& index) const {
  Qt::ItemFlags f = QAbstractTableModel::flags(index);
  if (index.column() == 0) f |= Qt::ItemIsUserCheckable;
  return f;
}

bool AMTlscInfoTbl::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || index.column() != 0 || role != Qt::CheckStateRole) return false;
  SetMarked(index.row(), value.toInt() == Qt::Checked);
  return true;
}

bool AMTlscInfoTbl::IsMarked(int row) const {
  return row >= 0 && row < catalog_.count && marked_.count(Key(catalog_[row])) > 0;
}

void AMTlscInfoTbl::SetMarked(int row, bool on) {
  if (row < 0 || row >= catalog_.count) return;
  if (on) marked_.insert(Key(catalog_[row]));
  else marked_.erase(Key(catalog_[row]));
  emit dataChanged(index(row, 0), index(row, 0), {Qt::CheckStateRole});
}

void AMTlscInfoTbl::Reset() {
  beginResetModel();
  // Marks of entries that are gone are dropped.
  std::set<std::string> still;
  for (const AMTlscInfoItem& t : catalog_)
    if (marked_.count(Key(t))) still.insert(Key(t));
  marked_.swap(still);
  endResetModel();
}

// ---- AMTlscSelectDlg --------------------------------------------------------------------------

AMTlscSelectDlg::AMTlscSelectDlg(const std::string& catalog_path, const AGuiServices& services, QWidget* parent)
    : QDialog(parent), path_(catalog_path), services_(services) {
  setWindowTitle("Select telescopes");
  LoadTelescopeFile(path_, catalog_);
  model_ = new AMTlscInfoTbl(catalog_, this);
  view_ = new QTableView(this);
  view_->setObjectName("catalogView");
  view_->setModel(model_);
  view_->setSelectionBehavior(QAbstractItemView::SelectRows);
  view_->setSelectionMode(QAbstractItemView::SingleSelection);
  view_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->setCurrentIndex(QModelIndex());  // no row is current after loading
  // Wide enough for every column: the table is sized to its content.
  view_->resizeColumnsToContents();
  int width = view_->verticalHeader()->sizeHint().width() + view_->verticalScrollBar()->sizeHint().width() + 4;
  for (int c = 0; c < model_->columnCount(); ++c) width += view_->columnWidth(c);
  view_->setMinimumSize(width, 420);

  search_ = new QLineEdit(this);
  search_->setObjectName("searchEdit");
  connect(search_, &QLineEdit::textChanged, this, &AMTlscSelectDlg::Search);
  auto* search_row = new QFormLayout;
  search_row->addRow("Search string: ", search_);

  auto* add = new QPushButton("Add...", this);
  auto* edit = new QPushButton("Edit...", this);
  auto* del = new QPushButton("Delete", this);
  add->setObjectName("catalogAdd");
  edit->setObjectName("catalogEdit");
  del->setObjectName("catalogDelete");
  connect(add, &QPushButton::clicked, this, &AMTlscSelectDlg::AddEntry);
  connect(edit, &QPushButton::clicked, this, &AMTlscSelectDlg::EditEntry);
  connect(del, &QPushButton::clicked, this, &AMTlscSelectDlg::DeleteEntry);
  connect(view_, &QTableView::doubleClicked, this, &AMTlscSelectDlg::EditEntry);
  auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(add);
  buttons->addWidget(edit);
  buttons->addWidget(del);
  buttons->addStretch();
  buttons->addWidget(box);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(search_row);
  layout->addWidget(view_);
  layout->addLayout(buttons);
}

std::vector<AMTlscInfoItem> AMTlscSelectDlg::Marked() const {
  std::vector<AMTlscInfoItem> out;
  for (int r = 0; r < catalog_.count; ++r)
    if (model_->IsMarked(r)) out.push_back(catalog_[r]);
  return out;
}

int AMTlscSelectDlg::CurrentRow() const {
  const QModelIndex i = view_->currentIndex();
  return i.isValid() ? i.row() : -1;
}

void AMTlscSelectDlg::SetCurrentRow(int row) {
  if (row < 0 || row >= catalog_.count) return;
  view_->selectRow(row);
  view_->scrollTo(model_->index(row, 0));
}

void AMTlscSelectDlg::accept() {
  if (Marked().empty()) {
    if (services_.messages) services_.messages->Show(msg::kNoTelescopesSelected);
    return;
  }
  QDialog::accept();
}

void AMTlscSelectDlg::Search(const QString& text) {
  const QString needle = text.trimmed();
  if (needle.isEmpty()) return;
  for (int r = 0; r < catalog_.count; ++r) {
    if (Qs(catalog_[r].name).contains(needle, Qt::CaseInsensitive) ||
        Qs(catalog_[r].id_name).contains(needle, Qt::CaseInsensitive)) {
      SetCurrentRow(r);
      return;
    }
  }
}

void AMTlscSelectDlg::Rewrite() { SaveTelescopeFile(path_, catalog_, services_.messages); }

void AMTlscSelectDlg::Insert(const AMTlscInfoItem& item) {
  const AMInsertOutcome outcome = InsertTelescope(catalog_, item, services_.messages);
  if (outcome.result == AMInsertResult::Declined) return;
  model_->Reset();
  SetCurrentRow(outcome.row);
  Rewrite();
}

void AMTlscSelectDlg::AddEntry() {
  AMTlscInfoItem fresh;
  const int row = CurrentRow();
  if (row >= 0) fresh.ground = catalog_[row].ground;  // a new entry starts as the current kind
  AMTlscEditDlg dialog("Add telescope", fresh, services_.messages, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  Insert(dialog.Item());
}

void AMTlscSelectDlg::EditEntry() {
  const int row = CurrentRow();
  if (row < 0) return;
  AMTlscEditDlg dialog("Edit telescope", catalog_[row], services_.messages, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  const AMTlscInfoItem& edited = dialog.Item();
  if (CompareTlscInfo(edited, catalog_[row]) == 0) {
    // Same name and ID name: replaced in place.
    const bool marked = model_->IsMarked(row);
    catalog_[row] = edited;
    model_->Reset();
    model_->SetMarked(row, marked);
    SetCurrentRow(row);
    Rewrite();
    return;
  }
  // Renamed: the entry moves to its new place in the order (message 520 if that name exists).
  const AMTlscInfoItem old = catalog_[row];
  catalog_.RemoveAt(row);
  const AMInsertOutcome outcome = InsertTelescope(catalog_, edited, services_.messages);
  if (outcome.result == AMInsertResult::Declined) {  // nothing changes
    bool found = false;
    catalog_.InsertAt(FindTlscInsertPosition(catalog_, old, found), old);
    model_->Reset();
    SetCurrentRow(FindTelescope(catalog_, old.name, old.id_name));
    return;
  }
  model_->Reset();
  SetCurrentRow(outcome.row);
  Rewrite();
}

void AMTlscSelectDlg::DeleteEntry() {
  const int row = CurrentRow();
  if (row < 0) return;
  catalog_.RemoveAt(row);
  model_->Reset();
  SetCurrentRow(std::min(row, catalog_.count - 1));
  Rewrite();
}
