#include "app/gui/freq_setup_view.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>
#include <cstdlib>

#include "app/gui/input_dialogs.h"
#include "core/text.h"

QString MHzText(double hz) { return Qs(valToStr(hz / 1.0e6)); }

namespace {
// A count accepted by CheckCountText ("16", "1e3").
int CountOf(const std::string& text) { return static_cast<int>(std::strtod(text.c_str(), nullptr)); }
}  // namespace

// ---- AMFreqTable ------------------------------------------------------------------------------

AMFreqTable::AMFreqTable(AMFreqSetup& freq, Kind kind, MessageSink* messages, std::function<void()> edited,
                         QObject* parent)
    : QAbstractTableModel(parent), freq_(freq), kind_(kind), messages_(messages), edited_(std::move(edited)) {}

int AMFreqTable::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : freq_.Rows(); }
int AMFreqTable::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : freq_.Cols() + 1; }

QVariant AMFreqTable::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= freq_.Rows() || index.column() > freq_.Cols()) return {};
  if (role == Qt::TextAlignmentRole) return int(Qt::AlignRight | Qt::AlignVCenter);
  if (role != Qt::DisplayRole && role != Qt::EditRole) return {};
  const int r = index.row();
  if (index.column() == 0) return r < freq_.freq_ids.count ? freq_.freq_ids[r] : r + 1;
  const AUVXFqTblItem& cell = freq_.table(r, index.column() - 1);
  return MHzText(kind_ == kOffsets ? cell.if_offset_hz : cell.ch_width_hz);
}

QVariant AMFreqTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || orientation != Qt::Horizontal) return {};
  if (section == 0) return QString("Freq. ID");
  return QString("IF %1").arg(section);
}

Qt::ItemFlags AMFreqTable::flags(const QModelIndex& index) const {
  Qt::ItemFlags f = QAbstractTableModel::flags(index);
  if (index.column() > 0) f |= Qt::ItemIsEditable;
  return f;
}

bool AMFreqTable::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::EditRole || index.column() == 0) return false;
  double hz = 0;
  if (!ParseFrequencyMHz(Ss(value.toString()), hz)) {
    if (messages_) messages_->Show(kInvalidFrequency);
    return false;
  }
  const int r = index.row(), c = index.column() - 1;
  const int ok = kind_ == kOffsets ? freq_.SetIfOffset(r, c, hz, messages_) : freq_.SetChannelWidth(r, c, hz, messages_);
  if (!ok) return false;
  emit dataChanged(index, index);
  if (edited_) edited_();
  return true;
}

void AMFreqTable::Reset() {
  beginResetModel();
  endResetModel();
}

// ---- AMFreqSetupView --------------------------------------------------------------------------

namespace {

QTableView* MakeView(QAbstractTableModel* model, const QString& name, QWidget* parent) {
  auto* view = new QTableView(parent);
  view->setObjectName(name);
  view->setModel(model);
  view->setSelectionMode(QAbstractItemView::SingleSelection);
  view->verticalHeader()->hide();
  view->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view->horizontalHeader()->setMinimumSectionSize(80);
  return view;
}

QToolButton* MenuButton(const QString& text, QMenu* menu, QWidget* parent) {
  auto* b = new QToolButton(parent);
  b->setText(text);
  b->setMenu(menu);
  b->setPopupMode(QToolButton::InstantPopup);
  b->setToolButtonStyle(Qt::ToolButtonTextOnly);
  return b;
}

}  // namespace

AMFreqSetupView::AMFreqSetupView(AMFreqSetup& freq, const AGuiServices& services, std::function<void()> edited,
                                 QWidget* parent)
    : QWidget(parent), freq_(freq), services_(services), edited_(std::move(edited)) {
  auto changed = [this] { Changed(); };
  offsets_ = new AMFreqTable(freq_, AMFreqTable::kOffsets, services_.messages, changed, this);
  widths_ = new AMFreqTable(freq_, AMFreqTable::kWidths, services_.messages, changed, this);
  offsets_view_ = MakeView(offsets_, "freqOffsetsView", this);
  widths_view_ = MakeView(widths_, "freqWidthsView", this);
  pages_ = new QTabWidget(this);
  pages_->setObjectName("freqPages");
  pages_->addTab(offsets_view_, "IF offset [MHz]");
  pages_->addTab(widths_view_, "Channel width [MHz]");

  if_menu_ = new QMenu("IF", this);
  if_menu_->addAction("Add", this, &AMFreqSetupView::AddIfs);
  if_menu_->addAction("Delete", this, &AMFreqSetupView::DeleteIf);
  if_menu_->addAction("Offset frequency...", this, &AMFreqSetupView::SetOffset);
  if_menu_->addAction("Offset step...", this, &AMFreqSetupView::SetOffsetStep);
  channel_menu_ = new QMenu("Channel", this);
  channel_menu_->addAction("Add", this, &AMFreqSetupView::AddChannels);
  channel_menu_->addAction("Delete", this, &AMFreqSetupView::DeleteChannels);
  channel_menu_->addAction("Width...", this, &AMFreqSetupView::SetWidth);
  channel_menu_->addAction("Auto arrange", this, &AMFreqSetupView::AutoArrange);
  id_menu_ = new QMenu("Freq. ID", this);
  id_menu_->addAction("Add", this, &AMFreqSetupView::AddFreqId);
  id_menu_->addAction("Delete", this, &AMFreqSetupView::DeleteFreqId);

  summary_ = new QLabel(this);
  summary_->setObjectName("freqSummary");
  auto* ref_button = new QPushButton("Set...", this);
  ref_button->setObjectName("refFreqButton");
  connect(ref_button, &QPushButton::clicked, this, &AMFreqSetupView::SetReference);

  auto* top = new QHBoxLayout;
  top->addWidget(summary_);
  top->addWidget(ref_button);
  top->addStretch();
  top->addWidget(MenuButton("IF", if_menu_, this));
  top->addWidget(MenuButton("Channel", channel_menu_, this));
  top->addWidget(MenuButton("Freq. ID", id_menu_, this));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addLayout(top);
  layout->addWidget(pages_);
  Refresh();
}

void AMFreqSetupView::Refresh() {
  const int row = CurrentRow(), if_index = CurrentIf();
  offsets_->Reset();
  widths_->Reset();
  summary_->setText(QString("Reference frequency: %1 MHz    IFs: %2    Channels per IF: %3")
                        .arg(MHzText(freq_.ref_freq_hz))
                        .arg(freq_.n_if)
                        .arg(freq_.n_channels));
  SetCurrent(std::min(row, freq_.Rows() - 1), std::min(if_index, freq_.Cols() - 1));
}

void AMFreqSetupView::Changed() {
  Refresh();
  if (edited_) edited_();
}

QTableView* AMFreqSetupView::CurrentView() const {
  return pages_->currentIndex() == 1 ? widths_view_ : offsets_view_;
}

int AMFreqSetupView::CurrentRow() const {
  const QModelIndex i = CurrentView()->currentIndex();
  return i.isValid() ? i.row() : (freq_.Rows() > 0 ? 0 : -1);
}

int AMFreqSetupView::CurrentIf() const {
  const QModelIndex i = CurrentView()->currentIndex();
  if (i.isValid()) return i.column() - 1;
  return freq_.Cols() > 0 ? 0 : -1;
}

void AMFreqSetupView::SetCurrent(int row, int if_index) {
  for (QTableView* v : {offsets_view_, widths_view_}) {
    if (row < 0) continue;
    v->setCurrentIndex(v->model()->index(row, std::max(if_index, -1) + 1));
  }
}

bool AMFreqSetupView::AskValue(const QString& title, const QString& prompt, const QString& initial,
                               std::string (*check)(const std::string&), std::string& text) {
  AMValueDlg dialog(title, prompt, initial, check, services_.messages, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return false;
  text = Ss(dialog.Text());
  return true;
}

void AMFreqSetupView::AddIfs() {
  std::string text;
  if (!AskValue("Number of IFs", "Enter number of IFs: ", "1", CheckCountText, text)) return;
  if (freq_.AddIfs(CountOf(text), services_.messages)) Changed();
}

void AMFreqSetupView::DeleteIf() {
  if (freq_.DeleteIf(CurrentIf())) Changed();
}

void AMFreqSetupView::SetOffset() {
  const int r = CurrentRow(), c = CurrentIf();
  if (r < 0 || c < 0) return;
  std::string text;
  if (!AskValue("Offset IF frequency", "Enter offset IF frequency [MHz]: ", MHzText(freq_.table(r, c).if_offset_hz),
                CheckFrequencyText, text))
    return;
  double hz = 0;
  ParseFrequencyMHz(text, hz);
  if (freq_.SetIfOffset(r, c, hz, services_.messages)) Changed();
}

void AMFreqSetupView::SetOffsetStep() {
  const int r = CurrentRow();
  if (r < 0) return;
  std::string text;
  if (!AskValue("Offset step", "Enter offset step [MHz]: ", MHzText(freq_.DefaultOffsetStepHz(r)), CheckFrequencyText,
                text))
    return;
  double hz = 0;
  ParseFrequencyMHz(text, hz);
  if (freq_.SetOffsetStep(r, hz, services_.messages)) Changed();
}

void AMFreqSetupView::AddChannels() {
  std::string text;
  if (!AskValue("Number of channels", "Enter number of channels: ", "1", CheckCountText, text)) return;
  if (freq_.AddChannels(CountOf(text), services_.messages)) Changed();
}

void AMFreqSetupView::DeleteChannels() {
  std::string text;
  if (!AskValue("Number of channels", "Enter number of channels: ", "1", CheckCountText, text)) return;
  if (freq_.DeleteChannels(CountOf(text), services_.messages)) Changed();
}

void AMFreqSetupView::SetWidth() {
  const int r = CurrentRow(), c = CurrentIf();
  if (r < 0 || c < 0) return;
  std::string text;
  if (!AskValue("Channel width", "Enter channel width [MHz]: ", MHzText(freq_.table(r, c).ch_width_hz), CheckWidthText,
                text))
    return;
  double hz = 0;
  ParseFrequencyMHz(text, hz);
  if (freq_.SetChannelWidth(r, c, hz, services_.messages)) Changed();
}

void AMFreqSetupView::AutoArrange() {
  freq_.AutoArrange();
  Changed();
}

void AMFreqSetupView::SetReference() {
  std::string text;
  if (!AskValue("Reference frequency", "Enter reference frequency [MHz]: ", MHzText(freq_.ref_freq_hz), CheckWidthText,
                text))
    return;
  double hz = 0;
  ParseFrequencyMHz(text, hz);
  if (freq_.SetReferenceFrequency(hz, services_.messages)) Changed();
}

void AMFreqSetupView::AddFreqId() {
  if (freq_.AddFreqId()) Changed();
}

void AMFreqSetupView::DeleteFreqId() {
  if (freq_.Rows() > 1 && freq_.DeleteFreqId(CurrentRow())) Changed();
}
