#include "app/gui/main_window.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QListWidget>
#include <QMenuBar>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>

#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QTabWidget>

#include "app/gui/model_file_dialog.h"
#include "app/gui/orbit_view.h"
#include "app/gui/page1.h"
#include "app/gui/page2.h"
#include "app/gui/page_errors.h"
#include "app/gui/page_noise.h"
#include "app/gui/uv_plane_dlg.h"
#include "core/messages.h"
#include "errors/errors_messages.h"
#include "model/model_messages.h"
#include "observation/observation.h"

namespace {

// A settings path that is not absolute is taken relative to the settings file's folder.
std::string Resolved(const std::string& settings_path, const std::string& p) {
  return p.empty() ? p : ResolveOutputPath(settings_path, p);
}

}  // namespace

QString TaskName(int task) {
  switch (task) {
    case 1: return msg::kTaskVlbiConfiguration;
    case 2: return msg::kTaskSourceModeling;
    case 3: return msg::kTaskErrors;
    case 4: return msg::kTaskSensitivity;
    default: return QString();
  }
}

AMMainFrame::AMMainFrame(const std::string& base_folder, const std::string& settings_path, const AGuiServices& services,
                         QWidget* parent)
    : QMainWindow(parent), base_folder_(base_folder), settings_path_(settings_path), services_(services) {
  setObjectName("mainFrame");
  RestorePosition();

  QMenu* file = menuBar()->addMenu("&File");
  file->addAction("E&xit", this, &QWidget::close);

  tasks_ = new QListWidget(this);
  tasks_->setObjectName("taskList");
  for (int t = 1; t <= 4; ++t) tasks_->addItem(TaskName(t));
  tasks_->setMinimumWidth(170);
  tasks_->setStyleSheet("QListWidget::item { padding: 6px 4px; }");
  pages_ = new QStackedWidget(this);
  page1_ = new AMPage1(base_folder_, services_, pages_);
  pages_->addWidget(page1_);
  pages_->addWidget(MakePage2(model_doc_, settings_, settings_path_, services_, pages_));
  pages_->addWidget(MakePage3(settings_path_, settings_, services_, pages_));
  pages_->addWidget(MakePage4(settings_path_, settings_, services_, pages_));
  splitter_ = new QSplitter(this);
  splitter_->addWidget(tasks_);
  splitter_->addWidget(pages_);
  splitter_->setStretchFactor(1, 1);
  splitter_->setSizes({190, 1000});
  setCentralWidget(splitter_);
  connect(page1_, &AMPage1::titleChanged, this, [this] { UpdateTitle(); });
  connect(findChild<AMPage2*>(), &AMPage2::titleChanged, this, [this] { UpdateTitle(); });
  ConnectReviewAndOrbits();
  connect(tasks_, &QListWidget::currentRowChanged, this, [this](int row) {
    if (row < 0) return;
    cur_task_ = row + 1;
    pages_->setCurrentIndex(row);
    UpdateTitle();
  });

  LoadTaskSettings();
}

void AMMainFrame::RestorePosition() {
  AIniFile ini;
  ini.Load(settings_path_);
  AMWindowPos pos;
  LoadWindowPos(ini, pos);
  position_restored_ = pos.valid != 0;
  if (!position_restored_) {
    // Shown in the ordinary way: a comfortable size in the middle of the screen.
    resize(1180, 780);
    if (const QScreen* screen = QGuiApplication::primaryScreen())
      move(screen->availableGeometry().center() - rect().center());
    return;
  }
  setGeometry(pos.x, pos.y, pos.width, pos.height);
  if (pos.maximized) setWindowState(windowState() | Qt::WindowMaximized);
}

void AMMainFrame::LoadTaskSettings() {
  AIniFile ini;
  ini.Load(settings_path_);
  LoadSettings(ini, settings_, [this](const std::string& p) { return UVXFileOpens(Resolved(settings_path_, p)); });
  if (!settings_.obs_file.empty()) page1_->OpenFile(Resolved(settings_path_, settings_.obs_file));
  if (!settings_.model_page.model_file.empty())
    model_doc_.Open(Resolved(settings_path_, settings_.model_page.model_file), *services_.messages);
  findChild<AMPage2*>()->Refresh();  // the model and the task-2 settings just read
  cur_task_ = settings_.cur_task;
  SelectTask(cur_task_);
  UpdateTitle();
}

void AMMainFrame::SelectTask(int task) {
  if (task < 1 || task > 4) return;  // kept as read; the first page shows
  if (tasks_->currentRow() != task - 1) tasks_->setCurrentRow(task - 1);
}

void AMMainFrame::UpdateTitle() {
  const int index = pages_->currentIndex();
  if (index == 0) {
    setWindowTitle(page1_->Title());
  } else if (auto* page2 = qobject_cast<AMPage2*>(pages_->widget(index))) {
    setWindowTitle(page2->Title());
  } else if (const QWidget* other = pages_->widget(index); other && !other->windowTitle().isEmpty()) {
    setWindowTitle(other->windowTitle());  // a page names the window through its own title
  }
}

AMWindowPos AMMainFrame::CurrentPosition() const {
  AMWindowPos pos;
  const QRect r = isMaximized() ? normalGeometry() : geometry();
  pos.valid = r.width() > 0 && r.height() > 0;
  pos.x = r.x();
  pos.y = r.y();
  pos.width = r.width();
  pos.height = r.height();
  pos.maximized = isMaximized() ? 1 : 0;
  return pos;
}

bool AMMainFrame::SaveOnClose() {
  if (!page1_->CanClose()) return false;
  AServicesModelDialog model_dialog(services_, this);
  if (!model_doc_.AskSaveChanges(model_dialog, *services_.messages)) return false;

  settings_.window = CurrentPosition();
  // A file that is still the one read from the settings keeps its text there (a relative path
  // stays relative); another is stored as the program knows it.
  const std::string& obs = page1_->Document().Path();
  if (obs != Resolved(settings_path_, settings_.obs_file)) settings_.obs_file = obs;
  const std::string& model = model_doc_.Path();
  if (model != Resolved(settings_path_, settings_.model_page.model_file)) settings_.model_page.model_file = model;
  settings_.cur_task = cur_task_;
  if (!SaveSettingsFile(settings_path_, settings_))
    services_.messages->Show("Can't write settings file: " + settings_path_);
  return true;
}

void AMMainFrame::closeEvent(QCloseEvent* event) {
  if (SaveOnClose()) event->accept();
  else event->ignore();
}

// Create's review step shows the UV-plane dialog (through the services, so tests can answer it);
// the Telescopes tab shows the orbits of the orbital telescopes, redrawn when the observation
// changes or the tab is shown.
void AMMainFrame::ConnectReviewAndOrbits() {
  page1_->SetReview([this](const std::string& uv_file, const AMObservation& obs) {
    AMUVPlaneDlg dlg(this);
    if (!dlg.Load(uv_file, obs)) {
      if (services_.messages) services_.messages->Show(dlg.Summary()->text().toStdString());
      return false;
    }
    return services_.run_dialog(dlg) == QDialog::Accepted;
  });
  orbits_ = new AMOrbitView(page1_->OrbitViewHost());
  page1_->OrbitViewHost()->layout()->addWidget(orbits_);
  auto redraw = [this] {
    if (page1_->Tabs()->currentWidget() && page1_->Tabs()->currentWidget()->isAncestorOf(orbits_))
      orbits_->SetObservation(page1_->Document().Obs(), base_folder_);
  };
  connect(page1_, &AMPage1::titleChanged, this, redraw);
  connect(page1_->Tabs(), &QTabWidget::currentChanged, this, redraw);
}

