// The "Source modeling" page: the map model's files, the run parameters' files, the field of
// view, the spectral-index map, the model view and Run.
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>

#include "app/gui/comps_table_model.h"
#include "app/gui/fov_dialog.h"
#include "app/gui/model_view.h"
#include "app/gui/page2.h"
#include "app/gui/progress_dialog.h"
#include "app/gui/simap_dialog.h"
#include "app/recent_files.h"
#include "app/task_runner.h"
#include "core/text.h"
#include "model/comp_table.h"
#include "model/map_model.h"
#include "model/model_messages.h"
#include "model/model_run.h"

namespace {
const char* const kUvxFilter = "UVX file (*.uvx)|*.uvx|All files (*.*)|*.*||";
const char* const kMapFilter =
    "QVL map files (*.exm *.amap *.EXM *.AMAP);;FITS images (*.fits *.fit *.fts *.FITS);;All files (*)";
// The kind under which the last folder of maps is remembered ("DIR MAPS").
constexpr const char* kMapFolderKind = "MAPS";
}  // namespace

void AMPage2::OnBrowseMap() {
  AMModelPageSettings& page = settings_.model_page;
  if (page.use_ext == 2) {
    // Without a folder of its own, the picker starts in the map folder chosen last.
    const std::string initial = page.ext_mdl_path.empty() && !settings_path_.empty()
                                    ? LoadLastDir(settings_path_, kMapFolderKind)
                                    : Resolved(page.ext_mdl_path);
    const QString folder = pick_folder_(this, "Select folder with map(s)", Qs(initial));
    if (folder.isEmpty()) return;
    if (!settings_path_.empty()) StoreLastDir(settings_path_, kMapFolderKind, Ss(folder));
    std::vector<std::string> maps;
    if (!ListMapFolder(Ss(folder), maps) || maps.empty()) {
      services_.messages->Show(std::string("Not found .exm map file(s) in folder:") + " " + Ss(folder));
      return;
    }
    map_path_->setText(folder);
  } else if (page.use_ext == 1) {
    const QString chosen = services_.open_file(this, "Map file as model",
                                               Qs(page.ext_mdl.empty() ? "*.exm" : Resolved(page.ext_mdl)), kMapFilter);
    if (!chosen.isEmpty()) map_path_->setText(chosen);
  }
}

void AMPage2::OnBrowseInput() {
  const QString chosen = services_.open_file(this, "Input UVX-File", Qs(Resolved(settings_.work_item.in_path)),
                                             QtFileFilter(kUvxFilter));
  if (chosen.isEmpty()) return;
  input_->setText(chosen);
  if (settings_.work_item.out_path.empty()) output_->setText(Qs(DefaultModelOutput(Ss(chosen))));
}

void AMPage2::OnBrowseOutput() {
  const AMUVXWorkItem& item = settings_.work_item;
  const std::string initial = !item.out_path.empty() ? Resolved(item.out_path)
                              : item.in_path.empty() ? std::string("*.uvx")
                                                     : DefaultModelOutput(Resolved(item.in_path));
  const QString chosen = services_.save_file(this, "Output UVX-File", Qs(initial), QtFileFilter(kUvxFilter));
  if (!chosen.isEmpty()) output_->setText(chosen);
}

void AMPage2::OnFieldOfView() {
  AMModelPageSettings& page = settings_.model_page;
  AMFovDlg dialog(page.fov_ra, page.fov_dec, services_.messages, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  page.fov_ra = dialog.Ra();
  page.fov_dec = dialog.Dec();
  RedrawView();
}

void AMPage2::OnSetSpectralIndex() {
  AMUVXWorkItem& item = settings_.work_item;
  std::vector<ASIMapRow> rows;
  std::string error;
  if (item.in_path.empty()) {
    services_.messages->Show("Choose the input UVX-File first: it gives the rows of the map.");
  } else if (!SIMapRowsOfFile(Resolved(item.in_path), rows, &error)) {
    services_.messages->Show(error);
  }
  AMSIMapDlg dialog(item.si_map, rows, doc_.Model().GetSize(), services_, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  item.si_map = dialog.Map();
}

void AMPage2::RedrawView() {
  const AMModelPageSettings& page = settings_.model_page;
  fov_->setText(QString("Field of view: %1\" (RA) x %2\" (DEC)").arg(page.fov_ra).arg(page.fov_dec));
  if (page.use_ext == 0) {
    view_->ShowComponents(doc_.Model(), page.fov_ra, page.fov_dec);
    return;
  }
  std::string path = page.use_ext == 1 ? Resolved(page.ext_mdl) : std::string();
  QString title;
  if (page.use_ext == 2) {
    std::vector<std::string> maps;
    if (page.ext_mdl_path.empty() || !ListMapFolder(Resolved(page.ext_mdl_path), maps) || maps.empty()) {
      view_->ShowNothing(page.ext_mdl_path.empty() ? "No folder of maps chosen." : "No .exm maps in the folder.");
      return;
    }
    path = maps.front();
    title = QString("Map 1 of %1: %2").arg(maps.size()).arg(QFileInfo(Qs(path)).fileName());
  }
  if (path.empty()) {
    view_->ShowNothing("No map file chosen.");
    return;
  }
  AMatrix<float> map;
  TMinMax range;
  std::string unit, error;
  if (!LoadMapAny(path, map, range, unit, &error)) {
    view_->ShowNothing(Qs(error));
    return;
  }
  if (title.isEmpty()) title = QFileInfo(Qs(path)).fileName();
  view_->ShowMap(map, range, QString("%1 (%2 x %3 pixels, %4)").arg(title).arg(map.cols).arg(map.rows).arg(Qs(unit)));
}

void AMPage2::OnRun() {
  if (settings_.model_page.use_ext == 0 &&
      !ValidateComponents(doc_.Model(), *services_.messages, &comps_->Core())) {
    ShowTableSelection();
    comps_view_->setFocus();
    return;
  }
  if (settings_.work_item.in_path.empty()) {
    services_.messages->Show("Choose the input UVX-File first.");
    input_->setFocus();
    return;
  }
  AMSettings run = settings_;
  ResolveSettingsPaths(run, settings_path_);
  const AComponents model = doc_.Model();  // the worker reads its own copy
  ATaskOutcome outcome;
  bool stopped = false;
  RunWithProgress(
      services_, this, msg::kTaskSourceModeling,
      [&](ProgressSink& progress, StopFlag& stop, MessageSink& messages) {
        outcome = RunTask2(run, &progress, &stop, messages, &model);
        return outcome.ok ? 1 : 0;
      },
      &stopped);
  if (outcome.ok) {
    status_->setText(QString("Written %1: %2").arg(Qs(outcome.output), Qs(outcome.summary)));
  } else if (stopped || outcome.stopped) {
    // A run into its own input has changed part of it: the summary says how much.
    status_->setText(outcome.summary.empty() ? QString("Stopped; nothing written.")
                                             : QString("Stopped: %1").arg(Qs(outcome.summary)));
  } else {
    services_.messages->Show(outcome.error.empty() ? std::string("No UVX file written.") : outcome.error);
    status_->setText("No UVX file written.");
  }
}
