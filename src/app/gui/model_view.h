#pragma once
// AMModelView: the source model seen as a brightness map. The components are rendered over the
// field of view (AComponents::ToMap, square pixels, 256 along the longer axis), or a map model's
// map is shown as it stands, as a colour map with the axes "Right ascent [%sas]" (east on the
// left, as on the sky) and "Declination [%sas]" (the prefix chosen from each axis's extent) and a
// colour scale "[%sJy]" (Jy per pixel, the prefix from the brightest pixel). The pixel under the
// cursor is shown below the plot with its value formatted "%.5E" (Jy per pixel). "Save as map..."
// writes the shown map as .exm/.amap or FITS (view_scale.h: SaveViewMap).

#include <QSize>
#include <QWidget>
#include <functional>

#include "app/gui/gui_services.h"
#include "core/containers.h"
#include "model/components.h"
#include "model/map_range.h"

class QCustomPlot;
class QCPColorMap;
class QCPColorScale;
class QLabel;
class QPushButton;

class AMModelView final : public QWidget {
  Q_OBJECT
 public:
  static constexpr int kLongSide = 256;
  static constexpr double kDynamicRange = 1e4;  // of the logarithmic colour scale

  AMModelView(const AGuiServices& services, QWidget* parent = nullptr);

  // Renders the components over the field of view (arcseconds) and shows them.
  void ShowComponents(const AComponents& model, double fov_ra_arcsec, double fov_dec_arcsec);
  // Shows a map with its axis ranges (a map model); `title` names it.
  void ShowMap(const AMatrix<float>& map, const TMinMax& range, const QString& title);
  // Shows nothing but `why` (a map that cannot be read, no model).
  void ShowNothing(const QString& why);

  // The text for the pixel at the sky position (x east, y north, arcseconds); empty outside.
  QString ValueText(double x_arcsec, double y_arcsec) const;
  // Writes the shown map; the extension chooses the format. Non-zero on success.
  int SaveMap(const std::string& path, std::string* error) const;

  QCustomPlot* Plot() const { return plot_; }
  QLabel* CursorLabel() const { return cursor_; }
  QPushButton* SaveButton() const { return save_; }
  const AMatrix<float>& Map() const { return map_; }
  const TMinMax& Range() const { return range_; }
  QString XLabel() const;
  QString YLabel() const;
  QString ScaleLabel() const;

 public slots:
  void OnSaveAsMap();

 private:
  void Draw(const QString& title);
  void OnMouseMove(QMouseEvent* event);
  // Shows the whole map with equal scales on both axes (square pixels).
  void FitEqual();

  AGuiServices services_;
  AMatrix<float> map_;
  TMinMax range_;
  double x_scale_ = 1, y_scale_ = 1, value_scale_ = 1;  // arcsec -> axis unit, Jy -> scale unit
  QCustomPlot* plot_ = nullptr;
  QCPColorMap* colors_ = nullptr;
  QCPColorScale* scale_ = nullptr;
  QLabel* title_ = nullptr;
  QLabel* cursor_ = nullptr;
  QPushButton* save_ = nullptr;
  QSize fitted_size_;
};
