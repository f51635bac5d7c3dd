#include "app/gui/orbit_view.h"

#include <QLabel>
#include <QSplitter>
#include <QVBoxLayout>
#include <algorithm>
#include <iterator>
#include <cmath>
#include <limits>
#include <qcustomplot.h>

#include "app/gui/plot_util.h"
#include "core/text.h"

namespace {

constexpr double kEarthRadiusKm = 6378.0;  // the radius of the blocking test
constexpr int kSpansListed = 3;
const QColor kVisibleColor(60, 170, 75);
const QColor kBlockedColor(215, 50, 40);
const QColor kNoDataColor(170, 170, 170);

// Track colours that stay apart from the green and red of the time line.
QColor TrackColor(int k) {
  static const QColor palette[] = {QColor(31, 119, 180), QColor(255, 127, 14), QColor(148, 103, 189),
                                   QColor(140, 86, 75),  QColor(227, 119, 194), QColor(23, 190, 207),
                                   QColor(188, 189, 34), QColor(90, 90, 90)};
  return palette[k % int(std::size(palette))];
}

enum class State { kVisible, kBlocked, kNoData };

State StateOf(const AMOrbitSample& s) {
  if (!s.has_position) return State::kNoData;
  return s.blocked ? State::kBlocked : State::kVisible;
}

QString TimeText(double t_s) { return QString::fromStdString(dateTimeToStr(t_s, 0)); }

// Smallest spacing of consecutive samples: the width each sample stands for on the time line.
double SampleSpacing(const std::vector<AMOrbitTrack>& tracks) {
  double spacing = std::numeric_limits<double>::infinity();
  for (const AMOrbitTrack& t : tracks)
    for (std::size_t k = 1; k < t.samples.size(); ++k)
      spacing = std::min(spacing, t.samples[k].t_s - t.samples[k - 1].t_s);
  return std::isfinite(spacing) && spacing > 0 ? spacing : 60.0;
}

// A curve through the samples in the given state, broken where the state changes.
QCPCurve* AddTrackCurve(QCustomPlot* plot, const AMOrbitTrack& t, State state, const QPen& pen, const QString& name) {
  auto* curve = new QCPCurve(plot->xAxis, plot->yAxis);
  QVector<QCPCurveData> data;
  data.reserve(int(t.samples.size()));
  const double gap = std::numeric_limits<double>::quiet_NaN();
  for (std::size_t k = 0; k < t.samples.size(); ++k) {
    const AMOrbitSample& s = t.samples[k];
    // Each stretch reaches one sample into the next one, so the two colours join up.
    const bool in = StateOf(s) == state || (k > 0 && StateOf(t.samples[k - 1]) == state && s.has_position);
    data.append(QCPCurveData(double(k), in ? s.east_km : gap, in ? s.north_km : gap));
  }
  curve->data()->set(data, true);
  curve->setPen(pen);
  curve->setName(name);
  return curve;
}

}  // namespace

AMOrbitView::AMOrbitView(QWidget* parent) : QWidget(parent) {
  summary_ = new QLabel(this);
  summary_->setWordWrap(true);
  summary_->setTextInteractionFlags(Qt::TextSelectableByMouse);

  sky_ = new QCustomPlot(this);
  sky_->setMinimumSize(360, 340);
  sky_->xAxis->setLabel("East [km]");
  sky_->yAxis->setLabel("North [km]");
  sky_->plotLayout()->insertRow(0);
  sky_->plotLayout()->addElement(0, 0, new QCPTextElement(sky_, "Orbit on the plane of the sky (source ahead)"));
  sky_->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  sky_->legend->setVisible(true);
  sky_->legend->setBorderPen(Qt::NoPen);
  sky_->legend->setFillOrder(QCPLegend::foColumnsFirst);
  sky_->legend->setWrap(2);
  sky_->plotLayout()->addElement(2, 0, sky_->legend);
  sky_->plotLayout()->setRowStretchFactor(2, 0.001);
  KeepEqualScale(sky_);

  time_ = new QCustomPlot(this);
  time_->setMinimumSize(420, 200);
  time_->xAxis->setLabel("UTC from 0h of the observation date [hh:mm]");
  QSharedPointer<QCPAxisTickerTime> ticker(new QCPAxisTickerTime);
  ticker->setTimeFormat("%h:%m");
  time_->xAxis->setTicker(ticker);
  time_->plotLayout()->insertRow(0);
  time_->plotLayout()->addElement(0, 0, new QCPTextElement(time_, "Can the telescope see the source?"));
  time_->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  time_->axisRect()->setRangeDrag(Qt::Horizontal);
  time_->axisRect()->setRangeZoom(Qt::Horizontal);
  time_->legend->setVisible(true);
  time_->legend->setBorderPen(Qt::NoPen);
  time_->legend->setFillOrder(QCPLegend::foColumnsFirst);
  time_->legend->setWrap(3);
  time_->plotLayout()->addElement(2, 0, time_->legend);
  time_->plotLayout()->setRowStretchFactor(2, 0.001);

  auto* splitter = new QSplitter(Qt::Horizontal, this);
  splitter->addWidget(sky_);
  splitter->addWidget(time_);
  splitter->setStretchFactor(0, 1);
  splitter->setStretchFactor(1, 1);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(summary_);
  layout->addWidget(splitter, 1);
}

QString AMOrbitView::TrackSummary(const AMOrbitTrack& t) {
  const QString name = QString::fromStdString(t.name);
  if (!t.error.empty()) return name + ": " + QString::fromStdString(t.error);
  QString text = QString("%1 (%2): source visible in %3 of %4 samples (%5 %)")
                     .arg(name, t.from_file ? "orbit file" : "elements")
                     .arg(t.visible)
                     .arg(t.samples.size())
                     .arg(100.0 * t.VisibleFraction(), 0, 'f', 1);
  const std::vector<AMTimeSpan> spans = BlockedSpans(t);
  if (!spans.empty()) {
    QStringList listed;
    for (std::size_t k = 0; k < spans.size() && k < kSpansListed; ++k)
      listed << TimeText(spans[k].start_s) + " - " + TimeText(spans[k].stop_s);
    if (spans.size() > kSpansListed) listed << QString("%1 more").arg(spans.size() - kSpansListed);
    text += "; Earth in the way " + listed.join(", ");
  }
  if (t.no_position > 0) text += QString("; no orbit data in %1 samples").arg(t.no_position);
  return text;
}

void AMOrbitView::SetObservation(const AMObservation& obs, const std::string& base_folder) {
  tracks_ = SampleOrbits(obs, base_folder);
  QStringList lines;
  for (const AMOrbitTrack& t : tracks_) lines << TrackSummary(t);
  summary_->setText(tracks_.empty() ? QString("No orbital telescopes in this observation.") : lines.join("\n"));
  sky_->setVisible(!tracks_.empty());
  time_->setVisible(!tracks_.empty());
  DrawSky();
  DrawTimeLine();
}

void AMOrbitView::DrawSky() {
  sky_->clearPlottables();
  sky_->clearItems();
  auto* earth = new QCPItemEllipse(sky_);
  earth->topLeft->setCoords(-kEarthRadiusKm, kEarthRadiusKm);
  earth->bottomRight->setCoords(kEarthRadiusKm, -kEarthRadiusKm);
  earth->setPen(QPen(QColor(60, 90, 160)));
  earth->setBrush(QColor(120, 160, 220, 140));
  auto* label = new QCPItemText(sky_);
  label->setText("Earth");
  label->setColor(QColor(30, 50, 110));
  label->setPositionAlignment(Qt::AlignHCenter | Qt::AlignTop);
  label->position->setType(QCPItemPosition::ptPlotCoords);
  label->position->setCoords(0, -kEarthRadiusKm);

  double extent = kEarthRadiusKm;
  const int n = int(tracks_.size());
  for (int k = 0; k < n; ++k) {
    const AMOrbitTrack& t = tracks_[std::size_t(k)];
    if (t.samples.empty()) continue;
    for (const AMOrbitSample& s : t.samples)
      if (s.has_position) extent = std::max({extent, std::fabs(s.east_km), std::fabs(s.north_km)});
    const QString name = QString::fromStdString(t.name);
    AddTrackCurve(sky_, t, State::kVisible, QPen(TrackColor(k), 2), name);
    if (t.blocked > 0) {
      QCPCurve* blocked = AddTrackCurve(sky_, t, State::kBlocked, QPen(kBlockedColor, 3), name + ": Earth in the way");
      blocked->setObjectName("blocked");
    }
    // The start of the track.
    auto* start = new QCPCurve(sky_->xAxis, sky_->yAxis);
    for (const AMOrbitSample& s : t.samples)
      if (s.has_position) {
        start->addData(s.east_km, s.north_km);
        break;
      }
    start->setLineStyle(QCPCurve::lsNone);
    start->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssCircle, TrackColor(k), 8));
    start->removeFromLegend();
  }
  extent *= 1.1;
  sky_->xAxis->setRange(-extent, extent);
  sky_->yAxis->setRange(-extent, extent);
  sky_->replot();
}

void AMOrbitView::DrawTimeLine() {
  time_->clearPlottables();
  time_->clearItems();
  const int n = int(tracks_.size());
  const double half = SampleSpacing(tracks_) / 2;
  QSharedPointer<QCPAxisTickerText> names(new QCPAxisTickerText);
  double t_min = std::numeric_limits<double>::infinity(), t_max = -t_min;
  for (int k = 0; k < n; ++k) {
    const AMOrbitTrack& t = tracks_[std::size_t(k)];
    const double y = n - 1 - k;  // the first telescope on top
    names->addTick(y, QString::fromStdString(t.name));
    for (std::size_t a = 0; a < t.samples.size();) {
      std::size_t b = a;
      const State state = StateOf(t.samples[a]);
      while (b + 1 < t.samples.size() && StateOf(t.samples[b + 1]) == state) ++b;
      auto* bar = new QCPItemRect(time_);
      bar->topLeft->setCoords(t.samples[a].t_s - half, y + 0.3);
      bar->bottomRight->setCoords(t.samples[b].t_s + half, y - 0.3);
      const QColor color = state == State::kVisible ? kVisibleColor : state == State::kBlocked ? kBlockedColor : kNoDataColor;
      bar->setPen(Qt::NoPen);
      bar->setBrush(color);
      bar->setObjectName(state == State::kVisible ? "visible" : state == State::kBlocked ? "blocked" : "no data");
      t_min = std::min(t_min, t.samples[a].t_s - half);
      t_max = std::max(t_max, t.samples[b].t_s + half);
      a = b + 1;
    }
  }
  // Legend entries for the three colours.
  const std::pair<const char*, QColor> keys[] = {
      {"source visible", kVisibleColor}, {"Earth in the way", kBlockedColor}, {"no orbit data", kNoDataColor}};
  for (const auto& [text, color] : keys) {
    QCPGraph* g = time_->addGraph();
    g->setName(text);
    g->setPen(QPen(color, 8));
  }
  time_->yAxis->setTicker(names);
  const double pad = 0.6 + std::max(0, 3 - n) / 2.0;  // one or two telescopes keep slim bars
  time_->yAxis->setRange(-pad, n - 1 + pad);
  if (std::isfinite(t_min))
    time_->xAxis->setRange(t_min - 2 * half, t_max + 2 * half);
  time_->replot();
}
