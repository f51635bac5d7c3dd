#pragma once
// AMVisViewer: a window that shows the visibilities of any UVX file. Amplitude (top) and phase
// (below) against UV distance in megawavelengths or against time in hours, for one IF, channel and
// Stokes parameter, all baselines or one; the UV plane of the same points (and their mirrors)
// beside them. One colour per baseline in all three plots.
//
// The file is read through AUVXVisSampler: every k-th group (at most MaxPoints() of them). A first
// look of at most FirstPoints() of those, spread over the whole file, is read and drawn at once, so
// that a file of several gigabytes opens in a moment even from a cold disk; the rest of the sample
// is read on a worker thread (AMVisLoader) and drawn as it arrives, until "Stop", a zoom, another
// choice or closing the window ends it. Zooming the amplitude or phase
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
#include "app/gui/vis_loader.h"
#include "uvx/vis_sampler.h"

class QCloseEvent;
class QComboBox;
class QPushButton;
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
  void SetFirstPoints(std::int64_t n) { first_points_ = std::max<std::int64_t>(1, n); }
  std::int64_t FirstPoints() const { return first_points_; }

  // Whether the rest of the sample is being read; StopLoading ends it (as "Stop" does), keeping
  // the points read so far; WaitForLoading waits until it has ended by itself (tests).
  bool Loading() const { return loader_->Running(); }
  void StopLoading();
  void WaitForLoading();

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
  QPushButton* StopButton() const { return stop_; }

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildChoosers();
  void FillChoosers();
  void FillBaselines();
  AUVXVisChoice Choice() const;
  void Resample();
  // Ends the loading and takes its points into the first look; true when it was running.
  bool EndLoading();
  void OnArrived();
  void OnLoadFinished(int ok);
  void RedrawWhileLoading();
  // Back to the whole file (not zoomed, all baselines) after its loading ended early: reads it
  // again. True when it did.
  bool ReadWholeAgain();
  void OnBaselineChanged();
  void OnAxisChanged();
  void OnRangeChanged();
  // Runs a refine (behind a progress dialog when the file is large); true on success.
  bool RunRefine(const AUVXVisWindow& window);
  AUVXVisWindow XWindow(double lo, double hi) const;
  void SelectShown();
  void Redraw(bool rescale);
  void ShowFullXRange(bool uv_too = true);
  void UpdateStatus();
  void OpenWithPicker();

  AGuiServices services_;
  AUVXVisSampler sampler_;
  QString path_;
  QString error_;
  std::int64_t max_points_ = AUVXVisSampler::kDefaultMaxPoints;
  std::int64_t first_points_ = AUVXVisSampler::kDefaultFirstPoints;
  std::unique_ptr<AMVisLoader> loader_;  // declared after sampler_: it stops before the sampler goes
  AUVXVisSample base_;     // the sample over the whole file (a first look while loading)
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
  QPushButton* stop_ = nullptr;
  QTimer* zoom_timer_ = nullptr;
  QTimer* load_redraw_ = nullptr;  // batches arriving are drawn a few times a second
};

// The rest of a sample is handed over in batches of this many groups and drawn every so often.
inline constexpr std::int64_t kVisLoadBatch = 8192;
inline constexpr int kVisLoadRedrawMs = 250;

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
