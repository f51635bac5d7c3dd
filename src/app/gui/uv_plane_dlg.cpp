#include "app/gui/uv_plane_dlg.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <qcustomplot.h>

#include "app/gui/plot_util.h"
#include "core/text.h"
#include "coverage/uv_review.h"

namespace {

constexpr int kLegendRows = 20;          // legend entries per column, at most
constexpr std::int64_t kDotsFrom = 200000;  // from this many points on, single-pixel dots

QString SummaryText(const AMUVReview& r, const AMUVPointTable& table, std::size_t baselines) {
  const double longest_km = r.max_uv_s * kLightKmPerSecond;
  QString text = QString("%1 UV points on %2 baselines, %3 - %4")
                     .arg(r.points)
                     .arg(baselines)
                     .arg(QString::fromStdString(dateTimeToStr(r.first_time_s)))
                     .arg(QString::fromStdString(dateTimeToStr(r.last_time_s)));
  if (r.max_tel1 > 0)
    text += QString("; longest projected baseline %1 km (%2 ED), %3")
                .arg(longest_km, 0, 'f', 1)
                .arg(longest_km / kEarthDiameterKm, 0, 'f', 3)
                .arg(QString::fromStdString(table.BaselineText(r.max_tel1, r.max_tel2)));
  return text;
}

}  // namespace

AMUVPlaneDlg::AMUVPlaneDlg(QWidget* parent) : QDialog(parent) {
  setWindowTitle("UV plane");
  setSizeGripEnabled(true);

  summary_ = new QLabel(this);
  summary_->setWordWrap(true);

  plot_ = new QCustomPlot(this);
  plot_->setMinimumSize(420, 360);
  plot_->xAxis->setLabel("U [km]");
  plot_->yAxis->setLabel("V [km]");
  plot_->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  plot_->setNoAntialiasingOnDrag(true);
  plot_->legend->setVisible(true);
  plot_->legend->setBorderPen(Qt::NoPen);
  plot_->legend->setIconSize(10, 10);
  plot_->legend->setRowSpacing(0);
  plot_->legend->setFillOrder(QCPLegend::foRowsFirst);
  // The legend sits right of the axes, at the top of a column that takes no more width than it.
  auto* side = new QCPLayoutGrid;
  plot_->plotLayout()->addElement(0, 1, side);
  plot_->plotLayout()->setColumnStretchFactor(1, 0.001);
  side->addElement(0, 0, plot_->legend);
  side->addElement(1, 0, new QCPLayoutElement(plot_));
  side->setRowStretchFactor(0, 0.001);
  plot_->legend->setLayer("legend");
  KeepEqualScale(plot_);
  connect(plot_, &QCustomPlot::mouseDoubleClick, this, [this] { ShowAll(); });

  model_ = new AMUVWTable(this);
  view_ = new QTableView(this);
  view_->setModel(model_);

  splitter_ = new QSplitter(Qt::Horizontal, this);
  splitter_->addWidget(plot_);
  splitter_->addWidget(view_);
  splitter_->setStretchFactor(0, 1);
  splitter_->setStretchFactor(1, 0);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  ok_ = buttons->button(QDialogButtonBox::Ok);
  QPushButton* save = buttons->addButton("Save plot...", QDialogButtonBox::ActionRole);
  QPushButton* all = buttons->addButton("Show all", QDialogButtonBox::ActionRole);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(save, &QPushButton::clicked, this, [this] { SavePlotAs(); });
  connect(all, &QPushButton::clicked, this, [this] { ShowAll(); });

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(summary_);
  layout->addWidget(splitter_, 1);
  layout->addWidget(buttons);
  resize(1400, 800);
}

int AMUVPlaneDlg::Load(const std::string& uv_point_file, const AMObservation& obs) {
  model_->SetTable(nullptr);
  plot_->clearPlottables();
  ok_->setEnabled(false);
  std::vector<AMUVBaselinePoints> baselines;
  AMUVReview review;
  if (!table_.Open(uv_point_file, obs) || !table_.Baselines(baselines) || !ReviewUVFile(uv_point_file, review)) {
    table_.Close();
    summary_->setText(QString("Cannot read the UV points of %1").arg(QString::fromStdString(uv_point_file)));
    plot_->replot();
    return 0;
  }
  model_->SetTable(&table_);
  const int table_width = model_->ConfigureView(view_);
  splitter_->setSizes({std::max(width() - table_width, plot_->minimumWidth()), table_width});
  summary_->setText(SummaryText(review, table_, baselines.size()));
  Draw(baselines);
  ok_->setEnabled(true);
  return 1;
}

void AMUVPlaneDlg::Draw(const std::vector<AMUVBaselinePoints>& baselines) {
  std::int64_t total = 0;
  for (const auto& b : baselines) total += std::int64_t(b.u_km.size());
  const bool dots = total >= kDotsFrom;
  float extent = 0;
  const int n = int(baselines.size());
  const int columns = (n + kLegendRows - 1) / kLegendRows;  // balanced columns
  plot_->legend->setWrap(std::max(1, (n + std::max(columns, 1) - 1) / std::max(columns, 1)));
  for (int k = 0; k < n; ++k) {
    const AMUVBaselinePoints& b = baselines[std::size_t(k)];
    QCPGraph* g = plot_->addGraph();
    g->setName(QString::fromStdString(b.label));
    g->setLineStyle(QCPGraph::lsNone);
    const QColor color = SeriesColor(k, n);
    g->setPen(QPen(color));
    g->setScatterStyle(dots ? QCPScatterStyle(QCPScatterStyle::ssDot, color, 1)
                            : QCPScatterStyle(QCPScatterStyle::ssDisc, color, 4));
    // Each point and its mirror (-u, -v): the visibility of the reversed baseline.
    QVector<QCPGraphData> data;
    data.reserve(int(2 * b.u_km.size()));
    for (std::size_t i = 0; i < b.u_km.size(); ++i) {
      data.append(QCPGraphData(b.u_km[i], b.v_km[i]));
      data.append(QCPGraphData(-b.u_km[i], -b.v_km[i]));
      extent = std::max({extent, std::fabs(b.u_km[i]), std::fabs(b.v_km[i])});
    }
    g->data()->set(data, false);
  }
  extent_km_ = extent > 0 ? 1.05 * extent : 1.0;
  ShowAll();
}

void AMUVPlaneDlg::ShowAll() {
  QCPAxisRect* rect = plot_->axisRect();
  const double w = std::max(rect->width(), 1), h = std::max(rect->height(), 1);
  const double scale = 2 * extent_km_ / std::min(w, h);  // the whole square fits
  plot_->xAxis->setRange(0, scale * w, Qt::AlignCenter);
  plot_->yAxis->setRange(0, scale * h, Qt::AlignCenter);
  plot_->replot();
}

bool AMUVPlaneDlg::SavePlot(const QString& path) { return SavePlotFile(plot_, path); }

void AMUVPlaneDlg::SavePlotAs() {
  QString filter;
  QString path = QFileDialog::getSaveFileName(this, "Save UV plane", "uv_plane.png",
                                              "PNG image (*.png);;PDF document (*.pdf)", &filter);
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += filter.contains("pdf") ? ".pdf" : ".png";
  if (!SavePlot(path)) QMessageBox::warning(this, windowTitle(), QString("Cannot write %1").arg(path));
}

bool AMUVPlaneDlg::Review(QWidget* parent, const std::string& uv_point_file, const AMObservation& obs) {
  AMUVPlaneDlg dlg(parent);
  if (!dlg.Load(uv_point_file, obs)) {
    QMessageBox::warning(parent, dlg.windowTitle(), dlg.summary_->text());
    return false;
  }
  return dlg.exec() == QDialog::Accepted;
}
