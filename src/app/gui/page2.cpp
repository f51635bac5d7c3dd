#include "app/gui/page2.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSplitter>
#include <QStyle>
#include <QTableView>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/gui/comfort.h"
#include "app/gui/model_file_dialog.h"
#include "app/gui/comps_table_model.h"
#include "app/gui/fov_dialog.h"
#include "app/gui/model_view.h"
#include "core/text.h"
#include "model/model_run.h"
#include "observation/observation.h"

namespace {

QPushButton* Button(const QString& text, const QString& name, const QString& tip, QWidget* parent) {
  auto* b = new QPushButton(text, parent);
  b->setObjectName(name);
  if (!tip.isEmpty()) b->setToolTip(tip);
  return b;
}

QLineEdit* Field(const QString& name, const QString& tip, QWidget* parent) {
  auto* e = new QLineEdit(parent);
  e->setObjectName(name);
  e->setToolTip(tip);
  return e;
}

// The page's list of recent model files in the settings file.
constexpr const char* kRecentPage = "PROCESS2";

void MarkField(QLineEdit* field, bool valid) { field->setStyleSheet(valid ? QString() : "color: #c00000;"); }

}  // namespace

AMPage2* MakePage2(AMModelDocument& doc, AMSettings& settings, const std::string& settings_path,
                   const AGuiServices& services, QWidget* parent) {
  return new AMPage2(doc, settings, settings_path, services, parent);
}

AMPage2::AMPage2(AMModelDocument& doc, AMSettings& settings, const std::string& settings_path,
                 const AGuiServices& services, QWidget* parent)
    : QWidget(parent), doc_(doc), settings_(settings), settings_path_(settings_path), services_(services) {
  setObjectName("page2");
  pick_folder_ = [](QWidget* parent, const QString& title, const QString& initial) {
    return QFileDialog::getExistingDirectory(parent, title, initial);
  };

  auto* tools = new QToolBar(this);
  tools->setObjectName("modelToolBar");
  tools->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  const struct {
    const char* text;  // the command's prompt and its short name, "prompt\nname"
    const char* name;
    QStyle::StandardPixmap icon;
    void (AMPage2::*slot)();
  } commands[] = {{"New QVL source model file\nNew", "newModelAction", QStyle::SP_FileIcon, &AMPage2::OnNew},
                  {"Open QVL source model file\nOpen", "openModelAction", QStyle::SP_DialogOpenButton, &AMPage2::OnOpen},
                  {"Save QVL source model file\nSave", "saveModelAction", QStyle::SP_DialogSaveButton, &AMPage2::OnSave}};
  for (const auto& c : commands) {
    const QStringList parts = QString(c.text).split('\n');
    QAction* a = tools->addAction(style()->standardIcon(c.icon), parts[1], this, c.slot);
    a->setObjectName(c.name);
    a->setToolTip(parts[0]);
    a->setStatusTip(parts[0]);
  }
  QAction* save_as = tools->addAction("Save As...", this, &AMPage2::OnSaveAs);
  save_as->setObjectName("saveModelAsAction");
  save_as->setToolTip("Save the QVL source model file under a new name");
  tools->addWidget(MakeRecentButton(services_, kRecentPage, [this](const QString& f) { OpenRecent(f); }, this));

  auto* left = new QWidget(this);
  auto* left_layout = new QVBoxLayout(left);
  left_layout->setContentsMargins(0, 0, 0, 0);
  left_layout->addWidget(BuildModelBox(), 1);
  left_layout->addWidget(BuildRunBox());

  auto* view_box = new QGroupBox("Model view", this);
  view_ = new AMModelView(services_, view_box);
  fov_ = new QLabel(view_box);
  fov_->setObjectName("fovLabel");
  auto* set_fov = Button("Field of view...", "fovButton", "Field of view of the model view [arcseconds]", view_box);
  connect(set_fov, &QPushButton::clicked, this, &AMPage2::OnFieldOfView);
  auto* fov_row = new QHBoxLayout;
  fov_row->addWidget(fov_, 1);
  fov_row->addWidget(set_fov);
  auto* view_layout = new QVBoxLayout(view_box);
  view_layout->addLayout(fov_row);
  view_layout->addWidget(view_, 1);

  auto* splitter = new QSplitter(Qt::Horizontal, this);
  splitter->addWidget(left);
  splitter->addWidget(view_box);
  splitter->setStretchFactor(0, 3);
  splitter->setStretchFactor(1, 2);
  splitter->setSizes({800, 440});  // the table's eight columns side by side

  status_ = new QLabel(this);
  status_->setObjectName("statusLabel");
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  status_->setWordWrap(true);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(tools);
  layout->addWidget(splitter, 1);
  layout->addWidget(status_);
  ConnectFields();
  InstallComfortOnPage();
  Refresh();
}

// Dropped files and table copy: a .uvx file lands in the input or output field it is dropped on,
// a map file in the map path, and a model file dropped anywhere else on the page opens.
void AMPage2::InstallComfortOnPage() {
  InstallFileDrop(input_, {".uvx"});
  InstallFileDrop(output_, {".uvx"});
  InstallFileDrop(map_path_, {".exm", ".amap", ".fits", ".fit", ".fts"});
  InstallDropTarget(this, {".mdl"}, [this](const QString& f) { OpenRecent(f); });
  InstallTableCopy(comps_view_);
}

void AMPage2::OpenRecent(const QString& path) {
  if (CanClose()) OpenFile(Ss(path));
}

void AMPage2::OnViewInput() { ViewUvxFile(services_, this, Qs(Resolved(Ss(input_->text().trimmed())))); }
void AMPage2::OnViewOutput() { ViewUvxFile(services_, this, Qs(Resolved(Ss(output_->text().trimmed())))); }

QWidget* AMPage2::BuildModelBox() {
  auto* box = new QGroupBox("Source model", this);
  kind_ = new QComboBox(box);
  kind_->setObjectName("modelKindCombo");
  kind_->addItems({"Components", "Map file as model", "Maps of a folder (one per time step)"});
  kind_->setToolTip("Components of the table, one map file (.exm, .amap, FITS), or the .exm maps of a folder");
  map_path_ = Field("mapPathEdit", "Map file (.exm, .amap, FITS; Jy per pixel), or the folder of .exm maps", box);
  browse_map_ = Button("...", "mapBrowseButton", "Choose the map file or the folder of maps", box);
  browse_map_->setMaximumWidth(36);
  time_step_ = Field("timeStepEdit", "Time each map of a folder serves, in name order [s]", box);
  auto* grid = new QGridLayout;
  grid->addWidget(new QLabel("Model as: ", box), 0, 0);
  grid->addWidget(kind_, 0, 1, 1, 2);
  grid->addWidget(new QLabel("Map path:", box), 1, 0);
  grid->addWidget(map_path_, 1, 1);
  grid->addWidget(browse_map_, 1, 2);
  grid->addWidget(new QLabel("Time step [s]:", box), 2, 0);
  grid->addWidget(time_step_, 2, 1);
  grid->setColumnStretch(1, 1);

  comps_ = new AMCompsTableModel(doc_, [this] {
    UpdateTitle();
    RedrawView();
  }, this);
  comps_view_ = new QTableView(box);
  comps_view_->setObjectName("componentsView");
  comps_view_->setModel(comps_);
  comps_view_->setItemDelegate(new AMCompTypeDelegate(comps_view_));
  comps_view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  comps_view_->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                               QAbstractItemView::AnyKeyPressed | QAbstractItemView::SelectedClicked);
  comps_view_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  comps_view_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  connect(comps_view_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex& current) { comps_->Select(current); });
  auto* insert = Button("Insert", "insertButton", "Insert a component after the selected row", box);
  auto* remove = Button("Delete", "deleteButton", "Delete the component of the selected row", box);
  connect(insert, &QPushButton::clicked, this, &AMPage2::OnInsert);
  connect(remove, &QPushButton::clicked, this, &AMPage2::OnDelete);
  auto* row = new QHBoxLayout;
  row->addWidget(insert);
  row->addWidget(remove);
  row->addStretch();

  auto* layout = new QVBoxLayout(box);
  layout->addLayout(grid);
  layout->addWidget(comps_view_, 1);
  layout->addLayout(row);
  return box;
}

QWidget* AMPage2::BuildRunBox() {
  auto* box = new QGroupBox("Model onto the UV points", this);
  input_ = Field("inputEdit", "UVX file with the UV points, made by task 1 (path of a .uvx file)", box);
  output_ = Field("outputEdit", "UVX file written (path of a .uvx file; default: the input's name with \"_mdl.uvx\"); the "
                                "input itself is updated in place",
                  box);
  auto* browse_in = Button("...", "inputBrowseButton", "Choose the input UVX file", box);
  auto* browse_out = Button("...", "outputBrowseButton", "Choose the output UVX file", box);
  browse_in->setMaximumWidth(36);
  browse_out->setMaximumWidth(36);
  auto* view_in = Button("View...", "inputViewButton", "Show the visibilities of the input UVX file", box);
  auto* view_out = Button("View...", "outputViewButton", "Show the visibilities of the output UVX file", box);
  connect(view_in, &QPushButton::clicked, this, &AMPage2::OnViewInput);
  connect(view_out, &QPushButton::clicked, this, &AMPage2::OnViewOutput);
  add_type_ = new QComboBox(box);
  add_type_->setObjectName("addTypeCombo");
  add_type_->addItems({"Add to the data", "Replace the data"});
  add_type_->setToolTip("Add the model's visibilities [Jy] to those in the file, or replace them (weights kept)");
  fast_ = new QCheckBox("Fast", box);
  fast_->setObjectName("fastCheck");
  fast_->setToolTip("Evaluate the model once per IF at its first channel's frequency [Hz] instead of per channel");
  use_mfs_ = new QCheckBox("Use MFS", box);
  use_mfs_->setObjectName("useMfsCheck");
  use_mfs_->setToolTip("Scale each component's flux [Jy] between the IFs by the spectral-index map (no unit)");
  set_mfs_ = Button("Set...", "setMfsButton", "Edit the spectral-index map: one row per (set-up, IF), one column "
                                              "per component (no unit)",
                    box);
  auto* run = Button("Run", "runButton", "Put the model's visibilities onto the UV points of the input file", box);
  connect(browse_in, &QPushButton::clicked, this, &AMPage2::OnBrowseInput);
  connect(browse_out, &QPushButton::clicked, this, &AMPage2::OnBrowseOutput);
  connect(set_mfs_, &QPushButton::clicked, this, &AMPage2::OnSetSpectralIndex);
  connect(run, &QPushButton::clicked, this, &AMPage2::OnRun);

  auto* grid = new QGridLayout(box);
  grid->addWidget(new QLabel("Input UVX-File: ", box), 0, 0);
  grid->addWidget(input_, 0, 1, 1, 3);
  grid->addWidget(browse_in, 0, 4);
  grid->addWidget(view_in, 0, 5);
  grid->addWidget(new QLabel("Output UVX-File: ", box), 1, 0);
  grid->addWidget(output_, 1, 1, 1, 3);
  grid->addWidget(browse_out, 1, 4);
  grid->addWidget(view_out, 1, 5);
  grid->addWidget(new QLabel("To add the model on the UV-Plane as: ", box), 2, 0);
  grid->addWidget(add_type_, 2, 1, 1, 3);
  auto* options = new QHBoxLayout;
  options->addWidget(fast_);
  options->addSpacing(16);
  options->addWidget(use_mfs_);
  options->addWidget(set_mfs_);
  options->addStretch();
  options->addWidget(run);
  grid->addLayout(options, 3, 0, 1, 6);
  grid->setColumnStretch(1, 1);
  return box;
}

// Every field writes its key as it changes (not while Refresh fills the fields).
void AMPage2::ConnectFields() {
  AMModelPageSettings& page = settings_.model_page;
  AMUVXWorkItem& item = settings_.work_item;
  connect(kind_, &QComboBox::currentIndexChanged, this, &AMPage2::OnModelKind);
  connect(map_path_, &QLineEdit::textChanged, this, [this, &page](const QString& text) {
    if (refreshing_) return;
    (page.use_ext == 2 ? page.ext_mdl_path : page.ext_mdl) = Ss(text.trimmed());
    RedrawView();
  });
  connect(time_step_, &QLineEdit::textChanged, this, [this, &page](const QString& text) {
    double step = 0;
    const bool ok = ParsePositive(text, step);
    MarkField(time_step_, ok);
    if (!refreshing_ && ok) page.ext_mdl_tstep = step;
  });
  connect(input_, &QLineEdit::textChanged, this, [this, &item](const QString& text) {
    if (!refreshing_) item.in_path = Ss(text.trimmed());
  });
  connect(output_, &QLineEdit::textChanged, this, [this, &item](const QString& text) {
    if (!refreshing_) item.out_path = Ss(text.trimmed());
  });
  connect(add_type_, &QComboBox::currentIndexChanged, this, [this, &item](int index) {
    if (!refreshing_) item.add_type = index == 0 ? 0 : 1;
  });
  connect(fast_, &QCheckBox::toggled, this, [this, &item](bool on) {
    if (!refreshing_) item.fast = on ? 1 : 0;
  });
  connect(use_mfs_, &QCheckBox::toggled, this, [this, &item](bool on) {
    if (!refreshing_) item.use_mfs = on ? 1 : 0;
  });
}

QString AMPage2::MapPathText() const {
  const AMModelPageSettings& page = settings_.model_page;
  return Qs(page.use_ext == 2 ? page.ext_mdl_path : page.ext_mdl);
}

void AMPage2::Refresh() {
  refreshing_ = true;
  const AMModelPageSettings& page = settings_.model_page;
  const AMUVXWorkItem& item = settings_.work_item;
  kind_->setCurrentIndex(page.use_ext >= 0 && page.use_ext <= 2 ? page.use_ext : 0);
  map_path_->setText(MapPathText());
  time_step_->setText(Qs(valToStr(page.ext_mdl_tstep)));
  input_->setText(Qs(item.in_path));
  output_->setText(Qs(item.out_path));
  add_type_->setCurrentIndex(item.add_type == 0 ? 0 : 1);
  fast_->setChecked(item.fast != 0);
  use_mfs_->setChecked(item.use_mfs != 0);
  refreshing_ = false;
  comps_->Reset();
  ShowTableSelection();
  UpdateKindControls();
  RedrawView();
  UpdateTitle();
}

void AMPage2::UpdateKindControls() {
  const int kind = settings_.model_page.use_ext;
  map_path_->setEnabled(kind != 0);
  browse_map_->setEnabled(kind != 0);
  time_step_->setEnabled(kind == 2);
  comps_view_->setEnabled(kind == 0);
}

void AMPage2::OnModelKind(int kind) {
  if (refreshing_) return;
  settings_.model_page.use_ext = kind;
  refreshing_ = true;
  map_path_->setText(MapPathText());
  refreshing_ = false;
  UpdateKindControls();
  RedrawView();
}

QString AMPage2::Status() const { return status_->text(); }

std::string AMPage2::Resolved(const std::string& path) const {
  return path.empty() || settings_path_.empty() ? path : ResolveOutputPath(settings_path_, path);
}

void AMPage2::ShowTableSelection() {
  const QModelIndex cell = comps_->SelectedIndex();
  if (!cell.isValid()) return;
  comps_view_->setCurrentIndex(cell);
  comps_view_->scrollTo(cell);
}

int AMPage2::OpenFile(const std::string& path) {
  const int ok = doc_.Open(path, *services_.messages);
  if (ok) AddRecentFile(services_, kRecentPage, Qs(path));
  Refresh();
  return ok;
}

bool AMPage2::CanClose() {
  AServicesModelDialog dialog(services_, this);
  return doc_.AskSaveChanges(dialog, *services_.messages) != 0;
}

void AMPage2::OnNew() {
  if (!CanClose()) return;
  doc_.New();
  Refresh();
}

void AMPage2::OnOpen() {
  if (!CanClose()) return;
  const QString chosen = services_.open_file(this, "Open", Qs(doc_.SaveDialogInitialName()),
                                             QtFileFilter(kModelFileFilter));
  if (chosen.isEmpty()) return;
  OpenFile(Ss(chosen));
}

void AMPage2::OnSave() {
  AServicesModelDialog dialog(services_, this);
  if (!doc_.Save(dialog, *services_.messages)) return;
  AddRecentFile(services_, kRecentPage, Qs(doc_.Path()));
  UpdateTitle();
}

void AMPage2::OnSaveAs() {
  AServicesModelDialog dialog(services_, this);
  if (!doc_.SaveAs(dialog, *services_.messages)) return;
  AddRecentFile(services_, kRecentPage, Qs(doc_.Path()));
  UpdateTitle();
}

void AMPage2::OnInsert() {
  comps_->Select(comps_view_->currentIndex());
  comps_->Insert();
  ShowTableSelection();
}

void AMPage2::OnDelete() {
  comps_->Select(comps_view_->currentIndex());
  comps_->Delete();
  ShowTableSelection();
}
