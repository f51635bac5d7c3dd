// Shots of the visibility viewer on the example after tasks 1 and 2 (the example's component
// model on the UV points of the ground + space array): amplitude and phase against UV distance and
// against time.
#include <QComboBox>

#include "app/gui/screenshots/shots.h"
#include "app/gui/vis_viewer.h"
#include "app/ini_file.h"
#include "app/task_runner.h"

namespace {

// Runs tasks 1 and 2 of the example's settings once; the model file's path, empty on failure.
const std::string& ModelFile(AShotContext& ctx) {
  static std::string path;
  if (!path.empty()) return path;
  const std::string settings = ctx.base_folder + "examples/QvlModel.ini";
  AIniFile ini;
  ini.Load(settings);
  SilentMessages quiet;
  const auto outcomes = RunTasks(ini, settings, {1, 2}, ctx.base_folder, nullptr, nullptr, quiet);
  if (outcomes.size() == 2 && outcomes[1].ok) path = ctx.base_folder + "examples/3C345_model.uvx";
  return path;
}

std::unique_ptr<QWidget> ViewerOn(AShotContext& ctx, int axis) {
  auto viewer = std::make_unique<AMVisViewer>(ctx.services);
  viewer->Open(QString::fromStdString(ModelFile(ctx)));
  viewer->AxisChooser()->setCurrentIndex(axis);
  viewer->resize(1300, 760);
  return viewer;
}

}  // namespace

void AddViewerShots(AShotList& shots) {
  shots.push_back({"viewer-uv-distance.png", [](AShotContext& ctx) { return ViewerOn(ctx, AMVisViewer::kUVDistance); },
                   [](QWidget& w) { static_cast<AMVisViewer&>(w).ShowAll(); }, {}});
  shots.push_back({"viewer-time.png", [](AShotContext& ctx) { return ViewerOn(ctx, AMVisViewer::kTime); },
                   [](QWidget& w) { static_cast<AMVisViewer&>(w).ShowAll(); }, {}});
}
