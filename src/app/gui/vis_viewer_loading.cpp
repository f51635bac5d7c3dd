// The loading half of the visibility viewer: the rest of the sample arriving from AMVisLoader
// while the first look is shown, and the ways that loading ends.
#include <QCloseEvent>
#include <QComboBox>
#include <QTimer>
#include <qcustomplot.h>

#include "app/gui/vis_viewer.h"

void AMVisViewer::closeEvent(QCloseEvent* event) {
  StopLoading();
  QWidget::closeEvent(event);
}

bool AMVisViewer::EndLoading() {
  load_redraw_->stop();
  if (!loader_->Stop()) return false;
  loader_->TakeArrived();  // already in the result
  base_ = loader_->TakeResult();
  current_ = base_;
  UpdateStatus();
  return true;
}

void AMVisViewer::StopLoading() {
  if (!EndLoading()) return;
  FillBaselines();
  SelectShown();
  Redraw(false);
}

void AMVisViewer::WaitForLoading() {
  if (loader_->Wait()) OnLoadFinished(loader_->Ok());
}

void AMVisViewer::OnArrived() {
  std::vector<AUVXVisPoint> points = loader_->TakeArrived();
  if (!loader_->Running()) return;  // a stop took them already
  // While the rest is read the whole file is shown (a zoom or a baseline ends the loading).
  base_.points.insert(base_.points.end(), points.begin(), points.end());
  current_.points.insert(current_.points.end(), points.begin(), points.end());
  if (!load_redraw_->isActive()) load_redraw_->start();
}

void AMVisViewer::OnLoadFinished(int ok) {
  load_redraw_->stop();
  loader_->TakeArrived();
  base_ = loader_->TakeResult();
  if (!ok) error_ = QString("Cannot read %1: %2").arg(path_, Qs(sampler_.Error()));
  current_ = base_;
  RedrawWhileLoading();
}

void AMVisViewer::RedrawWhileLoading() {
  FillBaselines();
  SelectShown();
  updating_ = true;
  DrawVisPoints(shown_, axis_->currentIndex(), amp_, phase_, uv_);
  // The amplitude and phase ranges follow the new points unless a zoom is about to start; the UV
  // plot keeps what the user made of it.
  if (!zoomed_ && !zoom_timer_->isActive()) ShowFullXRange(false);
  updating_ = false;
  for (QCustomPlot* p : {amp_, phase_, uv_}) p->replot();
  UpdateStatus();
}

bool AMVisViewer::ReadWholeAgain() {
  if (zoomed_ || baseline_->currentIndex() > 0 || Loading() || base_.complete || !sampler_.IsOpen()) return false;
  Resample();
  return true;
}

