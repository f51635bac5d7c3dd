#pragma once
// AMUVPlaneDlg: the review of a computed UV plane before the UVX file is written. A plot of every
// UV point and its mirror (u, v in km, one colour per baseline, legend, wheel zoom, drag pan,
// double click to see everything again, PNG/PDF export) beside the table of points (AMUVWTable).
// OK accepts the UV plane, Cancel refuses it.

#include <QDialog>
#include <string>

#include "app/gui/uvw_table.h"
#include "coverage/uv_point_table.h"
#include "observation/observation.h"

class QCustomPlot;
class QLabel;
class QPushButton;
class QSplitter;
class QTableView;

class AMUVPlaneDlg : public QDialog {
  Q_OBJECT

 public:
  explicit AMUVPlaneDlg(QWidget* parent = nullptr);

  // Reads the UV-point file (the table stays open on it while the dialog lives) and draws the
  // plane. Non-zero on success; on failure the dialog shows nothing and OK is disabled.
  int Load(const std::string& uv_point_file, const AMObservation& obs);

  // The review step of Create: shows the dialog on the file; true when the user pressed OK.
  // A file that cannot be read is reported in a message box and counts as Cancel.
  static bool Review(QWidget* parent, const std::string& uv_point_file, const AMObservation& obs);

  QCustomPlot* Plot() const { return plot_; }
  QTableView* TableView() const { return view_; }
  AMUVWTable* Model() const { return model_; }
  QLabel* Summary() const { return summary_; }
  // Writes the plot as PNG or PDF (by the path's suffix); true on success.
  bool SavePlot(const QString& path);

 private:
  void SavePlotAs();
  void ShowAll();
  void Draw(const std::vector<AMUVBaselinePoints>& baselines);

  AMUVPointTable table_;
  AMUVWTable* model_ = nullptr;
  QCustomPlot* plot_ = nullptr;
  QTableView* view_ = nullptr;
  QSplitter* splitter_ = nullptr;
  QLabel* summary_ = nullptr;
  QPushButton* ok_ = nullptr;
  double extent_km_ = 1.0;  // half-width of the view showing every point
};
