#include "app/gui/src_select_dialog.h"

#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QVBoxLayout>

#include "app/gui/gui_services.h"
#include "core/text.h"

AMSrcInfoTbl::AMSrcInfoTbl(const AMSourceCatalog& catalog, QObject* parent)
    : QAbstractTableModel(parent), catalog_(catalog) {}

int AMSrcInfoTbl::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : catalog_.count; }
int AMSrcInfoTbl::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : 4; }

QVariant AMSrcInfoTbl::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= catalog_.count) return {};
  const AMSourceInfoItem& s = catalog_[index.row()];
  if (role == Qt::TextAlignmentRole)
    return int((index.column() >= 2 ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
  if (role != Qt::DisplayRole) return {};
  switch (index.column()) {
    case 0: return Qs(s.name);
    case 1: return Qs(s.other_name);
    case 2: return Qs(timeToStr(s.ra_time_s));
    default: return Qs(angleToStr(s.dec_arcsec));
  }
}

QVariant AMSrcInfoTbl::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Vertical) return section + 1;
  static const char* names[] = {"Name", "Other name", "Right ascension", "Declination"};
  return section >= 0 && section < 4 ? QString(names[section]) : QVariant();
}

AMSrcSelectDlg::AMSrcSelectDlg(const AMSourceCatalog& catalog, const std::string& current_name, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle("Select source");
  model_ = new AMSrcInfoTbl(catalog, this);
  view_ = new QTableView(this);
  view_->setObjectName("sourceView");
  view_->setModel(model_);
  view_->setSelectionBehavior(QAbstractItemView::SelectRows);
  view_->setSelectionMode(QAbstractItemView::SingleSelection);
  view_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->horizontalHeader()->setStretchLastSection(true);
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->setMinimumSize(520, 360);

  auto* names = new QGroupBox("Source name taken", this);
  first_name_ = new QRadioButton("Name", names);
  other_name_ = new QRadioButton("Other name", names);
  first_name_->setObjectName("useFirstName");
  other_name_->setObjectName("useOtherName");
  first_name_->setChecked(true);
  auto* names_layout = new QHBoxLayout(names);
  names_layout->addWidget(first_name_);
  names_layout->addWidget(other_name_);
  names_layout->addStretch();

  auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(view_, &QTableView::doubleClicked, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(view_);
  layout->addWidget(names);
  layout->addWidget(box);

  const int row = FindSource(catalog, current_name);
  if (row >= 0) {
    SelectRow(row);
    SetUseOtherName(catalog[row].other_name == current_name && catalog[row].name != current_name);
  }
}

int AMSrcSelectDlg::ChosenRow() const {
  const QModelIndexList rows = view_->selectionModel()->selectedRows();
  return rows.isEmpty() ? -1 : rows.first().row();
}

bool AMSrcSelectDlg::UseOtherName() const { return other_name_->isChecked(); }

void AMSrcSelectDlg::SelectRow(int row) {
  view_->selectRow(row);
  view_->scrollTo(model_->index(row, 0));
}

void AMSrcSelectDlg::SetUseOtherName(bool on) { (on ? other_name_ : first_name_)->setChecked(true); }
