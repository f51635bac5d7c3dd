// Shots of the "Errors" and "Sensitivity modeling" pages with their tables filled from the UVX
// file that task 1 makes of the shipped example, and the example settings' error terms and SEFDs.
#include <QStackedWidget>
#include <fstream>
#include <sstream>

#include "app/gui/main_window.h"
#include "app/gui/page_errors.h"
#include "app/gui/page_noise.h"
#include "app/gui/screenshots/shots.h"
#include "app/task_runner.h"

namespace {

// The example's settings with both inputs pointed at task 1's file of the example (made once).
// Empty when task 1 failed.
std::string ShotSettings(AShotContext& ctx, std::string* uvx) {
  static std::string settings, file;
  if (settings.empty()) {
    const std::string folder = ctx.base_folder + "examples/";
    file = folder + "3C345_task1.uvx";
    const ATaskOutcome o = RunTask1(ctx.example_obs, file, ctx.base_folder, nullptr, nullptr, ctx.messages);
    if (!o.ok) return {};
    std::ifstream in(folder + "QvlModel.ini");
    std::stringstream text;
    text << in.rdbuf();
    std::string s = text.str();
    for (const char* name : {"IN UVX-FILE=3C345_model.uvx", "IN UVX-FILE=3C345_err.uvx"}) {
      const std::size_t at = s.find(name);
      if (at != std::string::npos) s.replace(at, std::string(name).size(), "IN UVX-FILE=3C345_task1.uvx");
    }
    settings = folder + "shots.ini";
    std::ofstream(settings) << s;
  }
  *uvx = file;
  return settings;
}

std::unique_ptr<QWidget> MainOn(AShotContext& ctx, int task) {
  std::string uvx;
  const std::string settings = ShotSettings(ctx, &uvx);
  auto frame = std::make_unique<AMMainFrame>(ctx.base_folder, settings, ctx.services);
  frame->resize(1180, 780);
  frame->SelectTask(task);
  // Chosen again as a user would: the rows come from the file's telescopes, keeping the values.
  if (auto* p3 = qobject_cast<AMPage3*>(frame->Pages()->widget(2))) p3->SetInput(uvx);
  if (auto* p4 = qobject_cast<AMPage4*>(frame->Pages()->widget(3))) p4->SetInput(uvx);
  return frame;
}

}  // namespace

void AddErrorsShots(AShotList& shots) {
  shots.push_back({"page-errors.png", [](AShotContext& ctx) { return MainOn(ctx, 3); }, {}, {}});
  shots.push_back({"page-sensitivity-modeling.png", [](AShotContext& ctx) { return MainOn(ctx, 4); }, {}, {}});
}
