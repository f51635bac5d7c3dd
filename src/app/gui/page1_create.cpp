// Create on the "VLBI configuration" page, after the checks: the UV plane on a worker thread, the
// review of its points, the UVX file on a worker thread.
#include <QLabel>

#include "app/gui/page1.h"
#include "app/gui/progress_dialog.h"
#include "core/messages.h"
#include "coverage/uv_plane.h"
#include "coverage/uvx_creation.h"

QString AMPage1::Status() const { return status_->text(); }

void AMPage1::RunCreate() {
  const AMObservation run = doc_.ObservationForRun();
  const QString title = Qs(msg::kTaskVlbiConfiguration);
  // The UV-plane choices the observation carries (kept by its JSON form).
  const AMUVPlaneOptions options{run.earth_blocking, run.azimuth_limits};
  AMUVPlane plane;  // removes its temporary file when it goes out of scope
  bool stopped = false;
  const int planned = RunWithProgress(
      services_, this, title,
      [&](ProgressSink& progress, StopFlag& stop, MessageSink& messages) {
        return plane.Calculate(run, &progress, &stop, &messages, options);
      },
      &stopped);
  if (!planned) {
    // The computation has shown its own message where there is one (an orbit file, message 304).
    status_->setText(stopped ? "Stopped; nothing written." : "No UVX file written.");
    plane.RemoveUVFile();
    return;
  }

  const bool accepted = review_ ? review_(plane.UVPath(), run) : true;
  if (!accepted) {
    status_->setText(QString("UV plane of %1 points not accepted; nothing written.").arg(plane.Points()));
    plane.RemoveUVFile();
    return;
  }
  stopped = false;
  const int written = RunWithProgress(
      services_, this, title,
      [&](ProgressSink& progress, StopFlag& stop, MessageSink& messages) {
        return CreateZeroUVX(plane.UVPath(), run, run.output_path, &progress, &stop, &messages);
      },
      &stopped);
  plane.RemoveUVFile();
  if (written) {
    status_->setText(QString("%1 UV points written to %2").arg(plane.Points()).arg(Qs(run.output_path)));
  } else if (stopped) {
    status_->setText("Stopped; nothing written.");
  } else {
    services_.messages->Show("Can't write UVX file: " + run.output_path);
    status_->setText("No UVX file written.");
  }
}
