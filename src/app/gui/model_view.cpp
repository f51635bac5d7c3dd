#include "app/gui/model_view.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <qcustomplot.h>

#include "app/gui/comfort.h"
#include "model/view_scale.h"

namespace {
AUnitPrefix AxisPrefix(const TMinMax& r) {
  return ChoosePrefix(std::max(std::abs(r.xmax - r.xmin), std::abs(r.ymax - r.ymin)));
}
const char* const kMapFilter =
    "QVL map files (*.exm *.amap *.EXM *.AMAP);;FITS images, east on the left (*.fits *.fit *.fts *.FITS)";
}

AMModelView::AMModelView(const AGuiServices& services, QWidget* parent) : QWidget(parent), services_(services) {
  setObjectName("modelView");
  title_ = new QLabel(this);
  title_->setObjectName("modelViewTitle");
  plot_ = new QCustomPlot(this);
  plot_->setObjectName("modelViewPlot");
  plot_->setMinimumSize(160, 160);
  plot_->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  plot_->xAxis->setRangeReversed(true);  // east on the left, as the sky is seen
  InstallPlotExport(plot_, services_);  // context menu: PNG, PDF, print
  colors_ = new QCPColorMap(plot_->xAxis, plot_->yAxis);
  scale_ = new QCPColorScale(plot_);
  plot_->plotLayout()->addElement(0, 1, scale_);
  scale_->setType(QCPAxis::atRight);
  colors_->setColorScale(scale_);
  QCPColorGradient gradient(QCPColorGradient::gpHot);
  gradient.setNanHandling(QCPColorGradient::nhLowestColor);  // zero pixels on a logarithmic scale
  colors_->setGradient(gradient);
  colors_->setInterpolate(false);
  auto* margins = new QCPMarginGroup(plot_);
  plot_->axisRect()->setMarginGroup(QCP::msBottom | QCP::msTop, margins);
  scale_->setMarginGroup(QCP::msBottom | QCP::msTop, margins);
  connect(plot_, &QCustomPlot::mouseMove, this, &AMModelView::OnMouseMove);
  connect(plot_, &QCustomPlot::mouseDoubleClick, this, [this] {
    FitEqual();
    plot_->replot();
  });
  // Square pixels whatever the shape of the plot: the whole map again when the plot changes size.
  connect(plot_, &QCustomPlot::afterLayout, this, [this] {
    const QSize size = plot_->axisRect()->size();
    if (size == fitted_size_) return;
    FitEqual();
  });

  cursor_ = new QLabel(this);
  cursor_->setObjectName("modelViewCursor");
  cursor_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  save_ = new QPushButton("Save as map...", this);
  save_->setObjectName("saveMapButton");
  save_->setToolTip("Writes the shown map: .exm or .amap (QVL map), or FITS (Jy per pixel, axes in degrees)");
  connect(save_, &QPushButton::clicked, this, &AMModelView::OnSaveAsMap);

  auto* bottom = new QHBoxLayout;
  bottom->addWidget(cursor_, 1);
  bottom->addWidget(save_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(title_);
  layout->addWidget(plot_, 1);
  layout->addLayout(bottom);
}

void AMModelView::ShowComponents(const AComponents& model, double fov_ra, double fov_dec) {
  std::uint32_t rows = 0, cols = 0;
  ViewMapSize(fov_ra, fov_dec, kLongSide, rows, cols);
  map_.Resize(rows, cols);
  std::fill(map_.data, map_.data + map_.Elements(), 0.0f);
  range_ = FieldOfViewRange(fov_ra, fov_dec);
  if (fov_ra > 0 && fov_dec > 0 && model.GetSize() > 0) model.ToMap(map_, range_);
  Draw(QString("%1 components").arg(model.GetSize()));
}

void AMModelView::ShowMap(const AMatrix<float>& map, const TMinMax& range, const QString& title) {
  map_ = map;
  range_ = range;
  NormalizeMapAxes(map_, range_);
  Draw(title);
}

void AMModelView::ShowNothing(const QString& why) {
  map_.Resize(0, 0);
  range_ = {};
  colors_->data()->clear();
  plot_->replot();
  title_->setText(why);
  cursor_->clear();
  save_->setEnabled(false);
}

QString AMModelView::XLabel() const { return plot_->xAxis->label(); }
QString AMModelView::YLabel() const { return plot_->yAxis->label(); }
QString AMModelView::ScaleLabel() const { return scale_->axis()->label(); }

void AMModelView::Draw(const QString& title) {
  title_->setText(title);
  cursor_->clear();
  save_->setEnabled(map_.rows >= 2 && map_.cols >= 2);
  if (map_.rows < 2 || map_.cols < 2) {
    colors_->data()->clear();
    plot_->replot();
    return;
  }
  // One prefix for both axes (from the longer one), so that the pixels stay square on screen.
  const AUnitPrefix px = AxisPrefix(range_), py = px;
  float lo = map_.data[0], hi = map_.data[0];
  for (std::uint64_t i = 0; i < map_.Elements(); ++i) {
    lo = std::min(lo, map_.data[i]);
    hi = std::max(hi, map_.data[i]);
  }
  const AUnitPrefix pv = ChoosePrefix(std::max(std::abs(double(lo)), std::abs(double(hi))));
  x_scale_ = px.scale;
  y_scale_ = py.scale;
  value_scale_ = pv.scale;
  plot_->xAxis->setLabel(QString::asprintf("Right ascent [%sas]", px.text));
  plot_->yAxis->setLabel(QString::asprintf("Declination [%sas]", py.text));
  scale_->axis()->setLabel(QString::asprintf("[%sJy]", pv.text));

  QCPColorMapData* data = colors_->data();
  data->setSize(int(map_.cols), int(map_.rows));
  data->setRange(QCPRange(range_.xmin * x_scale_, range_.xmax * x_scale_),
                 QCPRange(range_.ymin * y_scale_, range_.ymax * y_scale_));
  for (std::uint32_t r = 0; r < map_.rows; ++r)
    for (std::uint32_t c = 0; c < map_.cols; ++c) data->setCell(int(c), int(r), double(map_(r, c)) * value_scale_);
  // A map without negative pixels is shown on a logarithmic scale over kDynamicRange, so that a
  // faint jet shows beside a bright core; any other map linearly from its minimum to its maximum.
  if (lo >= 0 && hi > 0) {
    scale_->setDataScaleType(QCPAxis::stLogarithmic);
    scale_->axis()->setTicker(QSharedPointer<QCPAxisTickerLog>(new QCPAxisTickerLog));
    colors_->setDataRange(QCPRange(double(hi) * value_scale_ / kDynamicRange, double(hi) * value_scale_));
  } else {
    scale_->setDataScaleType(QCPAxis::stLinear);
    scale_->axis()->setTicker(QSharedPointer<QCPAxisTicker>(new QCPAxisTicker));
    colors_->setDataRange(
        QCPRange(double(lo) * value_scale_, hi > lo ? double(hi) * value_scale_ : double(lo) * value_scale_ + 1));
  }
  FitEqual();
  plot_->replot();
}

void AMModelView::FitEqual() {
  const QSize size = plot_->axisRect()->size();
  fitted_size_ = size;
  if (map_.rows < 2 || size.width() <= 0 || size.height() <= 0) return;
  const double w = std::abs(range_.xmax - range_.xmin) * x_scale_, h = std::abs(range_.ymax - range_.ymin) * y_scale_;
  const double cx = (range_.xmin + range_.xmax) / 2 * x_scale_, cy = (range_.ymin + range_.ymax) / 2 * y_scale_;
  const double per_pixel = std::max(w / size.width(), h / size.height());
  plot_->xAxis->setRange(cx, per_pixel * size.width(), Qt::AlignCenter);
  plot_->yAxis->setRange(cy, per_pixel * size.height(), Qt::AlignCenter);
}

QString AMModelView::ValueText(double x, double y) const {
  std::uint32_t r = 0, c = 0;
  if (!MapPixelAt(map_, range_, x, y, r, c)) return {};
  const AUnitPrefix px = AxisPrefix(range_), py = px;
  return QString("RA %1 %2as, Dec %3 %4as: %5 Jy/pixel")
      .arg(x * px.scale, 0, 'g', 5)
      .arg(QString::fromUtf8(px.text))
      .arg(y * py.scale, 0, 'g', 5)
      .arg(QString::fromUtf8(py.text))
      .arg(QString::asprintf("%.5E", double(map_(r, c))));
}

void AMModelView::OnMouseMove(QMouseEvent* event) {
  if (map_.rows < 2) return;
  const double x = plot_->xAxis->pixelToCoord(event->position().x()) / x_scale_;
  const double y = plot_->yAxis->pixelToCoord(event->position().y()) / y_scale_;
  cursor_->setText(ValueText(x, y));
}

int AMModelView::SaveMap(const std::string& path, std::string* error) const {
  return SaveViewMap(path, map_, range_, error);
}

void AMModelView::OnSaveAsMap() {
  if (!services_.save_file) return;
  QString path = services_.save_file(this, "Save as map", "*.exm", kMapFilter);
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += ".exm";
  std::string error;
  if (!SaveMap(Ss(path), &error) && services_.messages) services_.messages->Show(error);
}
