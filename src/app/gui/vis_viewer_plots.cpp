// The drawing half of the visibility viewer: points into QCustomPlot graphs, one per baseline.
#include <cmath>
#include <map>
#include <qcustomplot.h>

#include "app/gui/plot_util.h"
#include "app/gui/vis_viewer.h"

namespace {

constexpr std::size_t kDotsFrom = 20000;  // from this many points on, single-pixel dots
constexpr double kDegPerRad = 57.29577951308232;

struct BaselineData {
  QVector<QCPGraphData> amp, phase, uv;
};

QCPGraph* AddGraph(QCustomPlot* plot, const QColor& color, bool dots) {
  QCPGraph* g = plot->addGraph();
  g->setLineStyle(QCPGraph::lsNone);
  g->setPen(QPen(color));
  g->setScatterStyle(dots ? QCPScatterStyle(QCPScatterStyle::ssDot, color, 1)
                          : QCPScatterStyle(QCPScatterStyle::ssDisc, color, 3));
  return g;
}

}  // namespace

double VisAxisValue(const AUVXVisPoint& p, int axis) {
  return axis == AMVisViewer::kTime ? p.time_s / 3600.0 : p.UVDistance();
}

void SetUpVisPlots(int axis, QCustomPlot* amp, QCustomPlot* phase, QCustomPlot* uv) {
  const QString x = axis == AMVisViewer::kTime ? "Time [h]" : QString::fromUtf8("UV distance [M\u03bb]");
  amp->xAxis->setLabel(x);
  phase->xAxis->setLabel(x);
  amp->yAxis->setLabel("Amplitude [Jy]");
  phase->yAxis->setLabel(QString::fromUtf8("Phase [\u00b0]"));
  uv->xAxis->setLabel(QString::fromUtf8("U [M\u03bb]"));
  uv->yAxis->setLabel(QString::fromUtf8("V [M\u03bb]"));
}

void DrawVisPoints(const std::vector<AUVXVisPoint>& points, int axis, QCustomPlot* amp, QCustomPlot* phase,
                   QCustomPlot* uv) {
  for (QCustomPlot* p : {amp, phase, uv}) p->clearGraphs();
  std::map<int, BaselineData> by_baseline;
  for (const AUVXVisPoint& p : points) {
    BaselineData& b = by_baseline[256 * p.tel1 + p.tel2];
    const double x = VisAxisValue(p, axis);
    b.amp.append(QCPGraphData(x, p.amp));
    b.phase.append(QCPGraphData(x, p.phase_rad * kDegPerRad));
    // Each point and its mirror (-u, -v): the visibility of the reversed baseline.
    b.uv.append(QCPGraphData(p.u_mlambda, p.v_mlambda));
    b.uv.append(QCPGraphData(-p.u_mlambda, -p.v_mlambda));
  }
  const bool dots = points.size() >= kDotsFrom;
  const int n = int(by_baseline.size());
  int k = 0;
  for (auto& [key, b] : by_baseline) {
    const QColor color = SeriesColor(k++, n);
    const QString name = QString("%1-%2").arg(key / 256).arg(key % 256);
    QCPGraph* g = AddGraph(amp, color, dots);
    g->setName(name);
    g->data()->set(b.amp, false);
    g = AddGraph(phase, color, dots);
    g->setName(name);
    g->data()->set(b.phase, false);
    g = AddGraph(uv, color, dots);
    g->setName(name);
    g->data()->set(b.uv, false);
  }
}
