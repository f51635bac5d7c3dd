#pragma once
// Small helpers shared by the plots of the desktop program (QCustomPlot).

#include <QColor>
#include <QString>

class QCustomPlot;

// The k-th colour of a series of n (hues in golden-angle steps, two lightnesses): neighbours
// differ strongly whatever n is.
QColor SeriesColor(int k, int n);

// Keeps one kilometre the same length on both axes of the plot's main axis rect: whenever the
// rect changes size, both ranges are set around their centres to the larger of the two scales, so
// that what was visible stays visible.
void KeepEqualScale(QCustomPlot* plot);

// Writes the plot as PDF when the path ends in ".pdf" (any case), else as PNG (".png" is added
// when the name has no suffix). True on success.
bool SavePlotFile(QCustomPlot* plot, QString path);
