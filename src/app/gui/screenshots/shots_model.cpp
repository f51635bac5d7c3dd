// Shots of the "Source modeling" page and its views and dialogs: the example's component model
// (examples/core_jet.mdl through examples/QvlModel.ini) on the example's file of task 1.
#include <QLabel>
#include <QLineEdit>
#include <filesystem>

#include "app/gui/fov_dialog.h"
#include "app/gui/main_window.h"
#include "app/gui/model_view.h"
#include "app/gui/page2.h"
#include "app/gui/screenshots/shots.h"
#include "app/gui/simap_dialog.h"
#include "app/task_runner.h"

namespace {

// The example's file of task 1, made once (RunTask1 on the example observation).
std::string Task1File(AShotContext& ctx) {
  const std::string out = ctx.base_folder + "examples/3C345_mdl.uvx";
  if (!std::filesystem::exists(out)) {
    StopFlag stop{0};
    RunTask1(ctx.example_obs, out, ctx.base_folder, nullptr, &stop, ctx.messages);
  }
  return out;
}

AComponents ExampleModel(AShotContext& ctx) {
  AMModelDocument doc;
  doc.Open(ctx.base_folder + "examples/core_jet.mdl", ctx.messages);
  return doc.Model();
}

}  // namespace

void AddModelShots(AShotList& shots) {
  shots.push_back({"model-page.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     const std::string input = Task1File(ctx);
                     auto frame = std::make_unique<AMMainFrame>(ctx.base_folder,
                                                                ctx.base_folder + "examples/QvlModel.ini", ctx.services);
                     frame->resize(1440, 860);
                     frame->SelectTask(2);
                     auto* page = frame->findChild<AMPage2*>();
                     page->findChild<QLineEdit*>("inputEdit")->setText(QString::fromStdString(input));
                     return frame;
                   },
                   {},
                   {}});
  shots.push_back({"model-view.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     auto view = std::make_unique<AMModelView>(ctx.services);
                     view->resize(640, 560);
                     view->ShowComponents(ExampleModel(ctx), 0.016, 0.016);
                     return view;
                   },
                   [](QWidget& w) {
                     auto& view = static_cast<AMModelView&>(w);
                     view.CursorLabel()->setText(view.ValueText(-0.0024, 0.0005));
                   },
                   {}});
  shots.push_back({"dialog-field-of-view.png",
                   [](AShotContext&) -> std::unique_ptr<QWidget> {
                     return std::make_unique<AMFovDlg>(0.016, 0.016, nullptr);
                   },
                   {},
                   {}});
  shots.push_back({"dialog-spectral-index.png",
                   [](AShotContext& ctx) -> std::unique_ptr<QWidget> {
                     std::vector<ASIMapRow> rows;
                     SIMapRowsOfFile(Task1File(ctx), rows, nullptr);
                     AMSIMap map;
                     map.Initialize(std::uint32_t(rows.size()), 4, 0.0f);
                     for (std::uint32_t r = 1; r < map.rows; ++r) {
                       map(r, 1) = -0.3f;  // the inner jet
                       map(r, 2) = -0.7f;  // optically thin knots
                       map(r, 3) = -0.9f;
                     }
                     auto d = std::make_unique<AMSIMapDlg>(map, rows, 4, ctx.services);
                     d->resize(760, 260);
                     return d;
                   },
                   {},
                   {}});
}
