#include "app/gui/plot_util.h"

#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <memory>
#include <qcustomplot.h>

QColor SeriesColor(int k, int n) {
  // Golden-angle steps around the hue circle: neighbours in the list differ strongly, and the
  // first n colours stay spread for any n.
  (void)n;
  const int hue = static_cast<int>(std::fmod(137.508 * k, 360.0));
  const int value = (k / 3) % 2 ? 165 : 215;
  return QColor::fromHsv(hue, 220, value);
}

void KeepEqualScale(QCustomPlot* plot) {
  auto last = std::make_shared<QSize>();
  QObject::connect(plot, &QCustomPlot::afterLayout, plot, [plot, last] {
    QCPAxisRect* rect = plot->axisRect();
    const QSize size = rect->size();
    if (size == *last || size.width() <= 0 || size.height() <= 0) return;
    *last = size;
    QCPAxis* x = rect->axis(QCPAxis::atBottom);
    QCPAxis* y = rect->axis(QCPAxis::atLeft);
    const double scale = std::max(x->range().size() / size.width(), y->range().size() / size.height());
    x->setRange(x->range().center(), scale * size.width(), Qt::AlignCenter);
    y->setRange(y->range().center(), scale * size.height(), Qt::AlignCenter);
  });
}

bool SavePlotFile(QCustomPlot* plot, QString path) {
  const QString suffix = QFileInfo(path).suffix().toLower();
  if (suffix == "pdf") return plot->savePdf(path);
  if (suffix.isEmpty()) path += ".png";
  return plot->savePng(path);
}
