#include "app/gui/vis_viewer.h"

#include <QApplication>
#include <QComboBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <qcustomplot.h>
#include <set>

#include "app/gui/comfort.h"
#include "app/gui/main_window.h"
#include "app/gui/plot_util.h"
#include "app/gui/progress_dialog.h"
#include "app/gui/qt_sinks.h"

namespace {

constexpr const char* kUVXFileFilter = "QVL UVX-file (*.UVX)|*.uvx|All files (*.*)|*.*||";
constexpr const char* kRecentPage = "VIEWER";
// A refine of a file larger than this runs behind a progress dialog with Stop.
constexpr std::int64_t kDialogFromBytes = std::int64_t{256} << 20;

QComboBox* Chooser(const QString& name, const QString& tip, QWidget* parent) {
  auto* c = new QComboBox(parent);
  c->setObjectName(name);
  c->setToolTip(tip);
  c->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  return c;
}

QCustomPlot* MakePlot(const QString& name, QWidget* parent) {
  auto* p = new QCustomPlot(parent);
  p->setObjectName(name);
  p->setMinimumSize(360, 200);
  p->setNoAntialiasingOnDrag(true);
  return p;
}

// The ends of a range of values with a margin, for axes that show every point.
QCPRange Padded(double lo, double hi) {
  if (!(lo <= hi)) return QCPRange(0, 1);
  const double pad = hi > lo ? 0.03 * (hi - lo) : std::max(1.0, std::fabs(lo) * 0.1);
  return QCPRange(lo - pad, hi + pad);
}

}  // namespace

AMVisViewer::AMVisViewer(const AGuiServices& services, QWidget* parent)
    : QWidget(parent), services_(services), loader_(std::make_unique<AMVisLoader>()) {
  setWindowFlag(Qt::Window);
  connect(loader_.get(), &AMVisLoader::arrived, this, [this] { OnArrived(); });
  connect(loader_.get(), &AMVisLoader::finished, this, [this](int ok) { OnLoadFinished(ok); });
  load_redraw_ = new QTimer(this);
  load_redraw_->setSingleShot(true);
  load_redraw_->setInterval(kVisLoadRedrawMs);
  connect(load_redraw_, &QTimer::timeout, this, [this] { RedrawWhileLoading(); });
  setObjectName("visViewer");
  setWindowTitle("Visibilities");

  file_ = new QLabel(this);
  file_->setObjectName("fileLabel");
  file_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* open = new QPushButton("Open...", this);
  open->setObjectName("openButton");
  connect(open, &QPushButton::clicked, this, [this] { OpenWithPicker(); });
  recent_ = MakeRecentButton(services_, kRecentPage, [this](const QString& f) { Open(f); }, this);
  auto* top = new QHBoxLayout;
  top->addWidget(file_, 1);
  top->addWidget(open);
  top->addWidget(recent_);

  amp_ = MakePlot("ampPlot", this);
  phase_ = MakePlot("phasePlot", this);
  uv_ = MakePlot("uvPlot", this);
  for (QCustomPlot* p : {amp_, phase_}) {
    p->setInteractions(QCP::iRangeZoom);
    p->setSelectionRectMode(QCP::srmZoom);  // drag a rectangle to zoom
    p->axisRect()->setRangeZoom(Qt::Horizontal);
    connect(p, &QCustomPlot::mouseDoubleClick, this, [this] { ShowAll(); });
  }
  // The two plots share their horizontal range.
  connect(amp_->xAxis, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), phase_->xAxis,
          qOverload<const QCPRange&>(&QCPAxis::setRange));
  connect(phase_->xAxis, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), amp_->xAxis,
          qOverload<const QCPRange&>(&QCPAxis::setRange));
  zoom_timer_ = new QTimer(this);
  zoom_timer_->setSingleShot(true);
  zoom_timer_->setInterval(400);
  connect(zoom_timer_, &QTimer::timeout, this, [this] { OnRangeChanged(); });
  connect(amp_->xAxis, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), this, [this] {
    if (!updating_) zoom_timer_->start();
  });
  uv_->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  KeepEqualScale(uv_);
  for (QCustomPlot* p : {amp_, phase_, uv_}) InstallPlotExport(p, services_);

  auto* left = new QSplitter(Qt::Vertical, this);
  left->addWidget(amp_);
  left->addWidget(phase_);
  auto* split = new QSplitter(Qt::Horizontal, this);
  split->addWidget(left);
  split->addWidget(uv_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 2);

  status_ = new QLabel(this);
  status_->setObjectName("statusLabel");
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  BuildChoosers();
  layout->addWidget(split, 1);
  layout->addWidget(status_);
  SetUpVisPlots(kUVDistance, amp_, phase_, uv_);
  resize(1400, 820);
}

AMVisViewer::~AMVisViewer() { loader_->Stop(); }

void AMVisViewer::BuildChoosers() {
  if_ = Chooser("ifChooser", "The IF shown (its first channel's sky frequency in MHz)", this);
  channel_ = Chooser("channelChooser", "The channel of the IF shown (1 = the IF's first channel)", this);
  stokes_ = Chooser("stokesChooser", "The polarization (Stokes parameter) shown", this);
  baseline_ = Chooser("baselineChooser", "All baselines, or one (telescopes of the AN table)", this);
  axis_ = Chooser("axisChooser", QString::fromUtf8("Horizontal axis: UV distance in M\u03bb or time in hours UT"),
                  this);
  axis_->addItems({QString::fromUtf8("UV distance [M\u03bb]"), "Time [h]"});
  auto* all = new QPushButton("Show all", this);
  all->setObjectName("showAllButton");
  stop_ = new QPushButton("Stop", this);
  stop_->setObjectName("stopButton");
  stop_->setToolTip("Stop reading the rest of the sample; the points read so far stay");
  stop_->setEnabled(false);
  connect(stop_, &QPushButton::clicked, this, [this] { StopLoading(); });
  auto* row = new QHBoxLayout;
  const std::pair<const char*, QComboBox*> items[] = {
      {"IF: ", if_}, {"Channel: ", channel_}, {"Stokes: ", stokes_}, {"Baseline: ", baseline_}, {"Against: ", axis_}};
  for (const auto& [label, box] : items) {
    row->addWidget(new QLabel(label, this));
    row->addWidget(box);
    row->addSpacing(8);
  }
  row->addStretch();
  row->addWidget(stop_);
  row->addWidget(all);
  static_cast<QVBoxLayout*>(layout())->addLayout(row);
  for (QComboBox* c : {if_, channel_, stokes_})
    connect(c, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
      if (!updating_) Resample();
    });
  connect(baseline_, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
    if (!updating_) OnBaselineChanged();
  });
  connect(axis_, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
    if (!updating_) OnAxisChanged();
  });
  connect(all, &QPushButton::clicked, this, [this] { ShowAll(); });
}

int AMVisViewer::Open(const QString& path) {
  EndLoading();
  path_ = path;
  error_.clear();
  base_ = current_ = AUVXVisSample();
  shown_.clear();
  zoomed_ = false;
  file_->setText(QDir::toNativeSeparators(path));
  setWindowTitle("Visibilities - " + QFileInfo(path).fileName());
  if (!sampler_.Open(Ss(path))) {
    error_ = QString("Cannot open %1: %2").arg(path, Qs(sampler_.Error()));
    FillChoosers();
    Redraw(true);
    UpdateStatus();
    return 0;
  }
  AddRecentFile(services_, kRecentPage, path);
  FillChoosers();
  Resample();
  return error_.isEmpty();
}

void AMVisViewer::FillChoosers() {
  updating_ = true;
  for (QComboBox* c : {if_, channel_, stokes_, baseline_}) c->clear();
  if (sampler_.IsOpen()) {
    const AUVXFqTbl& fq = sampler_.Fq();
    for (int i = 0; i < sampler_.NIF(); ++i) {
      const double mhz = (fq.GetFreqSels() > 0 ? fq.GetFreq(0, i, 0) : sampler_.Header().ref_freq_hz) * 1e-6;
      if_->addItem(QString("IF %1 (%2 MHz)").arg(i + 1).arg(mhz, 0, 'f', 2));
    }
    for (int c = 0; c < sampler_.NChannels(); ++c) channel_->addItem(QString::number(c + 1));
    for (int s = 0; s < sampler_.NStokes(); ++s) stokes_->addItem(Qs(sampler_.StokesName(s)));
  }
  updating_ = false;
}

void AMVisViewer::FillBaselines() {
  const int keep = baseline_->currentData().toInt();
  std::set<int> keys;
  for (const AUVXVisPoint& p : base_.points) keys.insert(256 * p.tel1 + p.tel2);
  updating_ = true;
  baseline_->clear();
  baseline_->addItem("All baselines", 0);
  for (int key : keys)
    baseline_->addItem(Qs(sampler_.TelescopeName(key / 256) + " - " + sampler_.TelescopeName(key % 256)), key);
  const int at = baseline_->findData(keep);
  baseline_->setCurrentIndex(at >= 0 ? at : 0);
  updating_ = false;
}

AUVXVisChoice AMVisViewer::Choice() const {
  return AUVXVisChoice{std::max(if_->currentIndex(), 0), std::max(channel_->currentIndex(), 0),
                       std::max(stokes_->currentIndex(), 0)};
}

void AMVisViewer::Resample() {
  EndLoading();
  if (!sampler_.IsOpen()) return;
  error_.clear();
  QApplication::setOverrideCursor(Qt::WaitCursor);
  const int ok = sampler_.SampleFirstLook(Choice(), max_points_, first_points_, base_);
  if (!ok) error_ = QString("Cannot read %1: %2").arg(path_, Qs(sampler_.Error()));
  QApplication::restoreOverrideCursor();
  current_ = base_;
  zoomed_ = false;
  FillBaselines();
  if (ok && !base_.complete) loader_->Start(sampler_, base_, kVisLoadBatch);
  if (baseline_->currentIndex() > 0)
    OnBaselineChanged();
  else {
    SelectShown();
    Redraw(true);
  }
}

AUVXVisWindow AMVisViewer::XWindow(double lo, double hi) const {
  AUVXVisWindow w;
  if (axis_->currentIndex() == kTime) {
    w.time_min_s = lo * 3600.0;
    w.time_max_s = hi * 3600.0;
  } else {
    w.uv_min_mlambda = std::max(lo, 0.0);
    w.uv_max_mlambda = hi;
  }
  return w;
}

bool AMVisViewer::RunRefine(const AUVXVisWindow& window) {
  const int key = baseline_->currentData().toInt();
  AUVXVisWindow w = window;
  if (key > 0) w.tel1 = key / 256, w.tel2 = key % 256;
  if (!w.HasTime() && !w.HasUV() && !w.HasBaseline()) {
    current_ = base_;
    return true;
  }
  // The whole file is in the first look: the window is cut out of it without reading.
  if (base_.complete && base_.stride == 1) {
    current_ = base_;
    current_.points.clear();
    for (const AUVXVisPoint& p : base_.points)
      if (w.Holds(p)) current_.points.push_back(p);
    return true;
  }
  EndLoading();  // the sampler reads one pass at a time
  AUVXVisSample result;
  const AUVXVisChoice choice = Choice();
  const std::int64_t bytes = sampler_.Groups() * (24 + 12 * std::int64_t{sampler_.NIF()} * sampler_.NChannels() *
                                                           sampler_.NStokes());
  int ok = 0;
  bool stopped = false;
  if (bytes > kDialogFromBytes && services_.run_dialog && services_.messages) {
    ok = RunWithProgress(
        services_, this, "Reading visibilities",
        [&](ProgressSink& progress, StopFlag& stop, MessageSink&) {
          progress.SetText("Reading the groups inside the window...");
          return sampler_.Refine(choice, w, max_points_, result, &stop, &progress);
        },
        &stopped);
  } else {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    ok = sampler_.Refine(choice, w, max_points_, result);
    QApplication::restoreOverrideCursor();
  }
  if (!ok) {
    error_ = stopped ? QString("Stopped: the previous points are kept")
                     : QString("Cannot read %1: %2").arg(path_, Qs(sampler_.Error()));
    return false;
  }
  error_.clear();
  current_ = std::move(result);
  return true;
}

void AMVisViewer::RefineTo(double lo, double hi) {
  if (!sampler_.IsOpen() || !(lo < hi)) return;
  zoomed_ = true;
  RunRefine(XWindow(lo, hi));
  SelectShown();
  Redraw(false);
  updating_ = true;
  amp_->xAxis->setRange(lo, hi);
  amp_->replot();
  phase_->replot();
  updating_ = false;
  UpdateStatus();
}

void AMVisViewer::ShowAll() {
  zoom_timer_->stop();
  zoomed_ = false;
  if (ReadWholeAgain()) return;
  if (sampler_.IsOpen()) RunRefine(AUVXVisWindow());
  SelectShown();
  Redraw(true);
}

void AMVisViewer::OnRangeChanged() {
  if (!sampler_.IsOpen()) return;
  const QCPRange r = amp_->xAxis->range();
  RefineTo(r.lower, r.upper);
}

void AMVisViewer::OnBaselineChanged() {
  if (ReadWholeAgain()) return;
  const QCPRange r = amp_->xAxis->range();
  RunRefine(zoomed_ ? XWindow(r.lower, r.upper) : AUVXVisWindow());
  SelectShown();
  Redraw(!zoomed_);
}

void AMVisViewer::OnAxisChanged() {
  SetUpVisPlots(axis_->currentIndex(), amp_, phase_, uv_);
  ShowAll();
}

void AMVisViewer::SelectShown() {
  const int key = baseline_->currentData().toInt();
  shown_.clear();
  for (const AUVXVisPoint& p : current_.points)
    if (key <= 0 || 256 * p.tel1 + p.tel2 == key) shown_.push_back(p);
}

void AMVisViewer::Redraw(bool rescale) {
  updating_ = true;
  DrawVisPoints(shown_, axis_->currentIndex(), amp_, phase_, uv_);
  if (rescale) ShowFullXRange();
  updating_ = false;
  for (QCustomPlot* p : {amp_, phase_, uv_}) p->replot();
  UpdateStatus();
}

void AMVisViewer::ShowFullXRange(bool uv_too) {
  double x_lo = HUGE_VAL, x_hi = -HUGE_VAL, a_hi = 0, extent = 0;
  const int axis = axis_->currentIndex();
  for (const AUVXVisPoint& p : shown_) {
    const double x = VisAxisValue(p, axis);
    x_lo = std::min(x_lo, x), x_hi = std::max(x_hi, x);
    a_hi = std::max(a_hi, double{p.amp});
    extent = std::max({extent, std::fabs(double{p.u_mlambda}), std::fabs(double{p.v_mlambda})});
  }
  if (axis == kUVDistance && x_lo <= x_hi) x_lo = 0;
  amp_->xAxis->setRange(Padded(x_lo, x_hi));
  phase_->xAxis->setRange(amp_->xAxis->range());
  amp_->yAxis->setRange(0, a_hi > 0 ? 1.08 * a_hi : 1.0);
  phase_->yAxis->setRange(-190, 190);
  phase_->yAxis->ticker()->setTickCount(8);
  if (!uv_too) return;
  extent = extent > 0 ? 1.05 * extent : 1.0;
  QCPAxisRect* rect = uv_->axisRect();
  const double w = std::max(rect->width(), 1), h = std::max(rect->height(), 1);
  const double scale = 2 * extent / std::min(w, h);  // the whole square fits
  uv_->xAxis->setRange(0, scale * w, Qt::AlignCenter);
  uv_->yAxis->setRange(0, scale * h, Qt::AlignCenter);
}

QString AMVisViewer::Status() const { return status_->text(); }

void AMVisViewer::UpdateStatus() {
  QString text;
  if (sampler_.IsOpen()) {
    const std::int64_t groups = sampler_.Groups();
    const AUVXVisSample& c = current_;
    if (!zoomed_ && baseline_->currentIndex() <= 0 && c.spread > 1)
      text = QString("%1 of %2 points: every %3th of %4 groups; %5")
                 .arg(shown_.size())
                 .arg(c.blocks)
                 .arg(c.stride)
                 .arg(groups)
                 .arg(Loading() ? "reading the rest..." : "stopped (\"Show all\" reads them again)");
    else if (!zoomed_ && baseline_->currentIndex() <= 0)
      text = c.stride > 1 ? QString("%1 points: every %2th of %3 groups").arg(shown_.size()).arg(c.stride).arg(groups)
                          : QString("%1 points: all %2 groups").arg(shown_.size()).arg(groups);
    else
      text = QString("%1 points shown; %2 of %3 groups read").arg(shown_.size()).arg(c.groups_read).arg(groups);
    if (c.stride > 1 && (zoomed_ || baseline_->currentIndex() > 0))
      text += QString(" (every %1th group of the range)").arg(c.stride);
    if (c.keep_every > 1) text += QString(" (one in %1 of the points inside kept)").arg(c.keep_every);
    if (c.skipped > 0) text += QString("; %1 damaged records left out").arg(c.skipped);
  }
  if (!error_.isEmpty()) text = text.isEmpty() ? error_ : text + "; " + error_;
  status_->setText(text);
  stop_->setEnabled(Loading());
}

void AMVisViewer::OpenWithPicker() {
  const QString filter = QtFileFilter(kUVXFileFilter);
  const QString path = services_.open_file ? services_.open_file(this, "Open UVX file", path_, filter) : QString();
  if (!path.isEmpty()) Open(path);
}

AMVisViewer* OpenVisViewer(QWidget* parent, const QString& uvx_path, const AGuiServices& services) {
  auto* viewer = new AMVisViewer(services, parent);
  viewer->setAttribute(Qt::WA_DeleteOnClose);
  viewer->Open(uvx_path);
  viewer->show();
  return viewer;
}

void OpenVisViewer(QWidget* parent, const QString& uvx_path) {
  auto* frame = parent ? qobject_cast<AMMainFrame*>(parent->window()) : nullptr;
  if (frame) {
    OpenVisViewer(parent, uvx_path, frame->Services());
    return;
  }
  // No main window: the desktop's own dialogs. The sink keeps no state (parentless boxes).
  static AQtMessages messages;
  OpenVisViewer(parent, uvx_path, DesktopServices(messages));
}
