#pragma once
// AMOrbitView: the orbits of an observation's orbital telescopes over its time intervals, so the
// user sees before Create when a space telescope can observe the source. Left, each orbit
// projected on the plane of the sky (km, east and north, the source straight ahead) with the
// Earth's disc: where the track crosses the disc the Earth blocks the source. Right, a time line
// per telescope: source visible, Earth in the way, no orbit data. Above them, per telescope the
// share of the samples in which it sees the source and the blocked stretches.

#include <QWidget>
#include <string>
#include <vector>

#include "coverage/orbit_track.h"
#include "observation/observation.h"

class QCustomPlot;
class QLabel;

class AMOrbitView : public QWidget {
  Q_OBJECT

 public:
  explicit AMOrbitView(QWidget* parent = nullptr);

  // Samples the orbits of `obs` (orbit files with relative paths are taken relative to
  // `base_folder`) and redraws. Without orbital telescopes the view says so and hides the plots.
  void SetObservation(const AMObservation& obs, const std::string& base_folder);

  const std::vector<AMOrbitTrack>& Tracks() const { return tracks_; }
  QCustomPlot* SkyPlot() const { return sky_; }
  QCustomPlot* TimePlot() const { return time_; }
  QLabel* Summary() const { return summary_; }

  // The summary line of one track, as the view shows it.
  static QString TrackSummary(const AMOrbitTrack& track);

 private:
  void DrawSky();
  void DrawTimeLine();

  std::vector<AMOrbitTrack> tracks_;
  QLabel* summary_ = nullptr;
  QCustomPlot* sky_ = nullptr;
  QCustomPlot* time_ = nullptr;
};
