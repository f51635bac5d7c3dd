#include "app/gui/simap_dialog.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMenuBar>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <charconv>
#include <cmath>

#include "app/gui/comfort.h"
#include "app/gui/fov_dialog.h"
#include "app/gui/input_dialogs.h"
#include "core/text.h"

namespace {
const char* const kSIMapFilter = "Spectral-index map (*.simap)|*.simap|All files (*.*)|*.*||";
constexpr const char* kInvalidIndex = "Invalid spectral index.";

bool ParseIndex(const QString& text, float& value) {
  bool ok = false;
  const double v = text.trimmed().toDouble(&ok);
  if (!ok || !std::isfinite(v) || std::abs(v) > 1e30) return false;
  value = float(v);
  return true;
}
}  // namespace

// ---- AMSIMapTable ------------------------------------------------------------------------------

AMSIMapTable::AMSIMapTable(AMSIMap& map, const std::vector<ASIMapRow>& rows, MessageSink* messages, QObject* parent)
    : QAbstractTableModel(parent), map_(map), rows_(rows), messages_(messages) {}

int AMSIMapTable::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(map_.rows); }
int AMSIMapTable::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(map_.cols); }

QVariant AMSIMapTable::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= int(map_.rows) || index.column() >= int(map_.cols)) return {};
  if (role == Qt::DisplayRole || role == Qt::EditRole) {
    // The shortest text that reads back to the same float (-0.7, not -0.699999988079071).
    char text[32];
    const auto end = std::to_chars(text, text + sizeof(text), map_(index.row(), index.column())).ptr;
    return QString::fromLatin1(text, int(end - text));
  }
  if (role == Qt::ToolTipRole)
    return QString("Spectral index of component %1 from the previous row's frequency to this row's (no unit)")
        .arg(index.column() + 1);
  if (role == Qt::TextAlignmentRole) return int(Qt::AlignRight | Qt::AlignVCenter);
  return {};
}

QVariant AMSIMapTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Horizontal) return QString("Comp. %1").arg(section + 1);
  if (section < int(rows_.size())) {
    const ASIMapRow& r = rows_[section];
    return QString("FQ %1, IF %2 (%3 MHz)").arg(r.freq_id).arg(r.if_index + 1).arg(r.freq_hz / 1e6, 0, 'f', 3);
  }
  return QString("Row %1").arg(section + 1);
}

Qt::ItemFlags AMSIMapTable::flags(const QModelIndex& index) const {
  return QAbstractTableModel::flags(index) | Qt::ItemIsEditable;
}

bool AMSIMapTable::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::EditRole) return false;
  float v = 0;
  if (!ParseIndex(value.toString(), v)) {
    if (messages_) messages_->Show(kInvalidIndex);
    return false;
  }
  map_(index.row(), index.column()) = v;
  emit dataChanged(index, index);
  return true;
}

void AMSIMapTable::Change(const std::function<void()>& change) {
  beginResetModel();
  change();
  endResetModel();
}

// ---- AMSIMapDlg --------------------------------------------------------------------------------

AMSIMapDlg::AMSIMapDlg(const AMSIMap& map, std::vector<ASIMapRow> rows, int components, const AGuiServices& services,
                       QWidget* parent)
    : QDialog(parent), services_(services), map_(map), rows_(std::move(rows)),
      components_(std::uint32_t(std::max(components, 0))) {
  setWindowTitle("Set Spectral Index Map");
  setSizeGripEnabled(true);
  ReshapeSIMap(map_, Rows(), components_);

  menu_ = new QMenuBar(this);
  QMenu* menu = menu_->addMenu("&Spectral index");
  menu->addAction("Set spectral index...", this, &AMSIMapDlg::OnSetIndex)->setObjectName("setIndexAction");
  menu->addAction("Initialize", this, &AMSIMapDlg::OnInitialize)->setObjectName("initializeAction");
  menu->addSeparator();
  menu->addAction("Load from file...", this, &AMSIMapDlg::OnLoad)->setObjectName("loadAction");
  menu->addAction("Save to file...", this, &AMSIMapDlg::OnSave)->setObjectName("saveAction");

  table_ = new AMSIMapTable(map_, rows_, services_.messages, this);
  view_ = new QTableView(this);
  view_->setObjectName("simapView");
  view_->setModel(table_);
  view_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->setMinimumSize(480, 200);
  InstallTableCopy(view_);

  auto* note = new QLabel(
      rows_.empty() ? QString("The input UVX file could not be read: the map keeps its %1 rows.").arg(map_.rows)
                    : QString("%1 rows: one per (frequency set-up, IF) of the input file; %2 columns: one per "
                              "component. Row 1 keeps every flux; row r scales from row r-1's frequency.")
                          .arg(map_.rows)
                          .arg(map_.cols),
      this);
  note->setWordWrap(true);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->setMenuBar(menu_);
  layout->addWidget(note);
  layout->addWidget(view_, 1);
  layout->addWidget(buttons);
}

std::uint32_t AMSIMapDlg::Rows() const { return rows_.empty() ? map_.rows : std::uint32_t(rows_.size()); }

void AMSIMapDlg::OnSetIndex() {
  if (map_.Elements() == 0) return;
  const QModelIndexList selected = view_->selectionModel()->selectedIndexes();
  const QModelIndex first = selected.isEmpty() ? table_->index(0, 0) : selected.front();
  AMValueDlg dialog("Spectral index", "Enter Spectral Index: ", first.data().toString(),
                    [](const std::string& text) {
                      float v = 0;
                      return ParseIndex(Qs(text), v) ? std::string() : std::string(kInvalidIndex);
                    },
                    services_.messages, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  float v = 0;
  ParseIndex(dialog.Text(), v);
  table_->Change([&] {
    if (selected.isEmpty()) {
      for (std::uint64_t i = 0; i < map_.Elements(); ++i) map_.data[i] = v;
    } else {
      for (const QModelIndex& i : selected) map_(i.row(), i.column()) = v;
    }
  });
}

void AMSIMapDlg::OnInitialize() {
  table_->Change([this] { map_.Initialize(Rows(), components_, 0.0f); });
}

void AMSIMapDlg::OnLoad() {
  const QString path = services_.open_file(this, "Load spectral index map", "*.simap", QtFileFilter(kSIMapFilter));
  if (path.isEmpty()) return;
  AMSIMap loaded;
  std::string error;
  if (!loaded.LoadFile(Ss(path), &error)) {
    services_.messages->Show(Ss(path) + ": " + error);
    return;
  }
  const std::uint32_t rows = loaded.rows, cols = loaded.cols;
  ReshapeSIMap(loaded, Rows(), components_);
  table_->Change([&] { map_ = loaded; });
  if (rows != map_.rows || cols != map_.cols)
    services_.messages->Show(QString("The file holds %1 x %2 values; the map needs %3 x %4: the values that fit "
                                     "were taken, the others are 0.")
                                 .arg(rows).arg(cols).arg(map_.rows).arg(map_.cols).toStdString());
}

void AMSIMapDlg::OnSave() {
  QString path = services_.save_file(this, "Save spectral index map", "*.simap", QtFileFilter(kSIMapFilter));
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += ".simap";
  std::string error;
  if (!map_.SaveFile(Ss(path), &error)) services_.messages->Show(Ss(path) + ": " + error);
}
