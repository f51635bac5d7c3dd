// Shots of the main window on the observation page (each of its tabs) and of the dialogs of
// the observation page, all with the shipped example observation loaded.
#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <thread>

#include "app/gui/freq_setup_view.h"
#include "app/gui/input_dialogs.h"
#include "app/gui/main_window.h"
#include "app/gui/page1.h"
#include "app/gui/progress_dialog.h"
#include "app/gui/screenshots/shots.h"
#include "app/gui/src_select_dialog.h"
#include "app/gui/tlsc_edit_dialog.h"
#include "app/gui/tlsc_select_dialog.h"
#include "observation/source_catalog.h"
#include "observation/telescope_catalog.h"

namespace {

std::unique_ptr<QWidget> MainOn(AShotContext& ctx, int task, int tab) {
  auto frame = std::make_unique<AMMainFrame>(ctx.base_folder, ctx.base_folder + "QvlModel.ini", ctx.services);
  frame->Page1()->OpenFile(ctx.example_obs);
  frame->resize(1180, 780);
  frame->SelectTask(task);
  frame->Page1()->Tabs()->setCurrentIndex(tab);
  return frame;
}

void AddMain(AShotList& shots, const std::string& file, int task, int tab) {
  shots.push_back({file, [task, tab](AShotContext& ctx) { return MainOn(ctx, task, tab); }, {}, {}});
}

// The example's source catalogue, kept alive for the source dialog.
AMSourceCatalog& Sources(AShotContext& ctx) {
  static AMSourceCatalog catalog;
  if (catalog.count == 0) LoadSourceFile(ctx.base_folder + kSourcesFileName, catalog, nullptr);
  return catalog;
}

AMTlscInfoItem CatalogEntry(AShotContext& ctx, const char* name) {
  AMTlscCatalog catalog;
  LoadTelescopeFile(ctx.base_folder + kTelescopesFileName, catalog);
  const int row = FindTelescope(catalog, name);
  return row >= 0 ? catalog[row] : AMTlscInfoItem{};
}

}  // namespace

void AddShellShots(AShotList& shots) {
  AddMain(shots, "main-vlbi-configuration.png", 1, 0);
  AddMain(shots, "main-vlbi-configuration-telescopes.png", 1, 1);
  AddMain(shots, "main-vlbi-configuration-frequency.png", 1, 2);
  // The other three pages are photographed with real data by AddModelShots ("model-page.png") and
  // AddErrorsShots ("page-errors.png", "page-sensitivity-modeling.png").

  shots.push_back({"dialog-select-telescopes.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     auto d = std::make_unique<AMTlscSelectDlg>(ctx.base_folder + kTelescopesFileName, ctx.services);
                     for (int r = 0; r < d->Catalog().count; ++r)
                       if (d->Catalog()[r].name.rfind("VLBA_", 0) == 0 && r % 2 == 0) d->Model()->SetMarked(r, true);
                     d->SearchEdit()->setText("heo");
                     return d;
                   },
                   {},
                   {}});
  shots.push_back({"dialog-edit-telescope-ground.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMTlscEditDlg>("Edit telescope", CatalogEntry(ctx, "VLBA_PT"), nullptr);
                   },
                   {},
                   {}});
  shots.push_back({"dialog-edit-telescope-orbital.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMTlscEditDlg>("Edit telescope", CatalogEntry(ctx, "SpaceHEO"), nullptr);
                   },
                   {},
                   {}});
  shots.push_back({"dialog-select-source.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMSrcSelectDlg>(Sources(ctx), "3C345");
                   },
                   {},
                   {}});
  shots.push_back({"dialog-observation-date.png",
                   [](AShotContext&) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMDateDlg>(QDate(2025, 1, 15));
                   },
                   {},
                   {}});
  shots.push_back({"dialog-time-step.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMValueDlg>("Time step", "Enter time step [s]: ", "60", CheckTimeStepText,
                                                         &ctx.messages);
                   },
                   {},
                   {}});
  shots.push_back({"dialog-reference-frequency.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMValueDlg>("Reference frequency", "Enter reference frequency [MHz]: ",
                                                         "1658", CheckWidthText, &ctx.messages);
                   },
                   {},
                   {}});
  shots.push_back({"dialog-number-of-ifs.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMValueDlg>("Number of IFs", "Enter number of IFs: ", "1", CheckCountText,
                                                         &ctx.messages);
                   },
                   {},
                   {}});
  // The progress dialog while a UV plane is being computed: a stand-in work that shows the texts
  // of the computation and waits for Stop.
  shots.push_back({"dialog-progress.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     auto work = [](ProgressSink& p, StopFlag& stop, MessageSink&) {
                       p.SetText("Calculate UV-Plane...");
                       p.SetRange(0, 14400);
                       p.SetPos(6120);
                       while (!StopRequested(&stop)) std::this_thread::yield();
                       return 0;
                     };
                     return std::make_unique<AThreadPrcDlg>("VLBI configuration", work, ctx.messages);
                   },
                   [](QWidget& w) {
                     auto& d = static_cast<AThreadPrcDlg&>(w);  // until the queued updates have arrived
                     while (d.BarValue() == 0 || d.StatusText().isEmpty())
                       QApplication::processEvents(QEventLoop::AllEvents, 20);
                   },
                   [](QWidget& w) {
                     auto& d = static_cast<AThreadPrcDlg&>(w);
                     d.RequestStop();
                     while (!d.Finished()) QApplication::processEvents(QEventLoop::AllEvents, 20);
                   }});
}
