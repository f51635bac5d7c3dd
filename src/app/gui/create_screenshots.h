#pragma once
// Pictures of the UV-plane dialog and the orbit view for the documentation, made on the
// offscreen platform with QWidget::grab().

#include <QString>
#include <QStringList>

// Computes the UV plane of the shipped example observation (examples/ground_space_3c345.json
// with the catalogue Telescopes.dat of `data_folder`), shows it in the UV-plane dialog and the
// orbit view and writes into `dir`:
//   uv_plane_dialog.png        the dialog on the example's UV points
//   uv_plane_dialog_zoom.png   the same zoomed on the ground baselines (+-5000 km)
//   orbit_view.png             the example's orbital telescope
//   orbit_view_leo.png         the example with the catalogue's low and medium orbits added (the
//                              Earth blocks the low one for part of the time), zoomed to +-30000 km
// Returns the files written; problems are reported with qWarning.
QStringList MakeCreateScreenshots(const QString& dir, const QString& data_folder);

// The same with the data next to the executable (where the build copies data/), or the source
// tree's data/ when that holds no example.
void AddCreateScreenshots(const QString& dir);
