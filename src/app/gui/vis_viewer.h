#pragma once
// AMVisViewer: a window that shows the visibilities of any UVX file. Amplitude (top) and phase
// (below) against UV distance in megawavelengths or against time in hours, for one IF, channel and
// Stokes parameter, all baselines or one; the UV plane of the same points (and their mirrors)
// beside them. One colour per baseline in all three plots.
//
// The file is read through AUVXVisSampler: at first every k-th group (at most MaxPoints() of
// them), so that a file of several gigabytes opens in a moment. Zooming the amplitude or phase
// plot (drag a rectangle, or the mouse wheel) reads every group inside the new range of the
// horizontal axis (and of the chosen baseline) again, up to MaxPoints(); "Show all" or a double
// click goes back to the first look. Choosing one baseline of a thinned look reads that
// baseline's groups. A large refine runs behind a progress dialog with Stop.
//
// Plots have the comfort context menu (PNG, PDF, print); nothing here shows a message box: a
// file that cannot be read is named in the status line.

#include <QWidget>
#include <memory>

#include "app/gui/gui_services.h"
#include "uvx/vis_sampler.h"

class QComboBox;
class QCustomPlot;
class QLabel;
class QTimer;
class QToolButton;

class AMVisViewer final : public QWidget {
  Q_OBJECT
 public:
  enum Axis { kUVDistance = 0, kTime = 1 };

  explicit AMVisViewer(const AGuiServices& services, QWidget* parent = nullptr);
  ~AMVisViewer() override;

  // Opens the file and shows its first look. Non-zero on success; otherwise the status line says
  // why and the plots are empty.
  int Open(const QString& path);
  QString Path() const { return path_; }

  void SetMaxPoints(std::int64_t n) { max_points_ = std::max<std::int64_t>(1, n); }
  std::int64_t MaxPoints() const { return max_points_; }

  // The points drawn now (after the baseline choice), and the look they come from.
  int PointCount() const { return int(shown_.size()); }
  const std::vector<AUVXVisPoint>& Shown() const { return shown_; }
  const AUVXVisSample& Current() const { return current_; }
  bool Zoomed() const { return zoomed_; }
  QString Status() const;

  // Reads every group whose horizontal-axis value lies in [lo, hi] (Mλ or hours), as a zoom does.
  void RefineTo(double lo, double hi);
  // Back to the first look over the whole file.
  void ShowAll();

  const AUVXVisSampler& Sampler() const { return sampler_; }
  QComboBox* IfChooser() const { return if_; }
  QComboBox* ChannelChooser() const { return channel_; }
  QComboBox* StokesChooser() const { return stokes_; }
  QComboBox* BaselineChooser() const { return baseline_; }
  QComboBox* AxisChooser() const { return axis_; }
  QCustomPlot* AmpPlot() const { return amp_; }
  QCustomPlot* PhasePlot() const { return phase_; }
  QCustomPlot* UVPlot() const { return uv_; }

 private:
  void BuildChoosers();
  void FillChoosers();
  void FillBaselines();
  AUVXVisChoice Choice() const;
  void Resample();
  void OnBaselineChanged();
  void OnAxisChanged();
  void OnRangeChanged();
  // Runs a refine (behind a progress dialog when the file is large); true on success.
  bool RunRefine(const AUVXVisWindow& window);
  AUVXVisWindow XWindow(double lo, double hi) const;
  void SelectShown();
  void Redraw(bool rescale);
  void ShowFullXRange();
  void UpdateStatus();
  void OpenWithPicker();

  AGuiServices services_;
  AUVXVisSampler sampler_;
  QString path_;
  QString error_;
  std::int64_t max_points_ = AUVXVisSampler::kDefaultMaxPoints;
  AUVXVisSample base_;     // the first look
  AUVXVisSample current_;  // what is drawn from (the first look or a refine)
  std::vector<AUVXVisPoint> shown_;
  bool zoomed_ = false;
  bool updating_ = false;  // set while the program itself changes choosers or ranges

  QLabel* file_ = nullptr;
  QComboBox* if_ = nullptr;
  QComboBox* channel_ = nullptr;
  QComboBox* stokes_ = nullptr;
  QComboBox* baseline_ = nullptr;
  QComboBox* axis_ = nullptr;
  QToolButton* recent_ = nullptr;
  QCustomPlot* amp_ = nullptr;
  QCustomPlot* phase_ = nullptr;
  QCustomPlot* uv_ = nullptr;
  QLabel* status_ = nullptr;
  QTimer* zoom_timer_ = nullptr;
};

// Draws the points into the three plots, one graph per baseline (vis_viewer_plots.cpp).
// `axis` is AMVisViewer::Axis.
void DrawVisPoints(const std::vector<AUVXVisPoint>& points, int axis, QCustomPlot* amp, QCustomPlot* phase,
                   QCustomPlot* uv);
// Sets up the axes of the three plots for the given horizontal axis.
void SetUpVisPlots(int axis, QCustomPlot* amp, QCustomPlot* phase, QCustomPlot* uv);
// The horizontal-axis value of a point: UV distance in Mλ or time in hours from 0h of the date.
double VisAxisValue(const AUVXVisPoint& p, int axis);

// Opens a viewer window on the file (deleted when closed). The window uses the services of the
// main window that `parent` belongs to, or the desktop's own when there is none.
void OpenVisViewer(QWidget* parent, const QString& uvx_path);
AMVisViewer* OpenVisViewer(QWidget* parent, const QString& uvx_path, const AGuiServices& services);
