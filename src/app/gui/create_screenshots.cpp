#include "app/gui/create_screenshots.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QWidget>
#include <functional>
#include <qcustomplot.h>

#include "app/gui/orbit_view.h"
#include "app/gui/uv_plane_dlg.h"
#include "app/task_runner.h"
#include "core/paths.h"
#include "coverage/uv_plane.h"
#include "observation/telescope_catalog.h"

namespace {

constexpr const char* kExample = "examples/ground_space_3c345.json";

// Shows the widget, lets `adjust` change what it shows, and grabs it into `path`.
void Save(QWidget* w, const QString& path, QStringList& written, const std::function<void()>& adjust = {}) {
  w->show();
  QApplication::processEvents();
  if (adjust) {
    adjust();
    QApplication::processEvents();
  }
  if (w->grab().save(path))
    written << path;
  else
    qWarning("Cannot write %s", qPrintable(path));
  w->hide();
}

// What the mouse wheel does: the view around the origin, `half_km` to each side.
void ZoomTo(QCustomPlot* plot, double half_km) {
  plot->xAxis->setRange(-half_km, half_km);
  plot->yAxis->setRange(-half_km, half_km);
  plot->yAxis->setScaleRatio(plot->xAxis, 1.0);
  plot->replot();
}

}  // namespace

QStringList MakeCreateScreenshots(const QString& dir, const QString& data_folder) {
  QStringList written;
  QDir().mkpath(dir);
  const std::string folder = QDir(data_folder).absolutePath().toStdString() + "/";
  AMObservation obs(folder);
  std::string error;
  if (!LoadObservationAny(folder + kExample, folder, obs, error)) {
    qWarning("%s%s: %s", folder.c_str(), kExample, error.c_str());
    return written;
  }
  QTemporaryDir work;
  obs.output_path = work.path().toStdString() + "/" + getfName(obs.output_path);
  if (!CheckForCreate(obs).ok) {
    qWarning("The example observation does not pass the Create checks");
    return written;
  }
  AMUVPlane plane;
  if (!plane.Calculate(obs, nullptr, nullptr, nullptr)) {
    qWarning("The UV plane of the example could not be computed");
    return written;
  }
  {
    AMUVPlaneDlg dlg;
    if (dlg.Load(plane.UVPath(), obs)) {
      Save(&dlg, dir + "/uv_plane_dialog.png", written);
      Save(&dlg, dir + "/uv_plane_dialog_zoom.png", written, [&dlg] { ZoomTo(dlg.Plot(), 5000.0); });
    }
  }
  AMOrbitView view;
  view.resize(1100, 520);
  view.SetObservation(obs, folder);
  Save(&view, dir + "/orbit_view.png", written);

  AMTlscCatalog catalog;
  LoadTelescopeFile(folder + kTelescopesFileName, catalog);
  for (const char* name : {"SpaceLEO", "SpaceMEO"})
    if (const int at = FindTelescope(catalog, name); at >= 0) obs.telescopes.Add(AMTlscItem(catalog[at]));
  view.SetObservation(obs, folder);
  Save(&view, dir + "/orbit_view_leo.png", written, [&view] { ZoomTo(view.SkyPlot(), 30000.0); });
  return written;
}

void AddCreateScreenshots(const QString& dir) {
  QString data = QString::fromStdString(getExePath());
  if (!QFileInfo::exists(data + kExample)) data = QStringLiteral(QVL_SOURCE_DATA);
  MakeCreateScreenshots(dir, data);
}
