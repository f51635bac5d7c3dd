#pragma once
// AThreadPrcDlg: the worker-thread progress dialog. It runs one piece of long work on its own
// thread as soon as it is shown, with a status text, a progress bar and a Stop button, and closes
// itself when the work ends. The interface stays responsive meanwhile: progress arrives by queued
// signals, messages and questions of the work are shown on the interface thread.
//
// Stop (or closing the dialog) raises the stop flag; the work notices it at its next sample or
// group, cleans up and returns, and only then does the dialog close.

#include <QDialog>
#include <functional>
#include <memory>
#include <thread>

#include "app/gui/qt_sinks.h"
#include "core/runtime.h"

class QLabel;
class QProgressBar;
class QPushButton;

class AThreadPrcDlg final : public QDialog {
  Q_OBJECT
 public:
  // The work returns non-zero on success. `messages` is the interface thread's sink; the work
  // receives a sink that forwards to it.
  using Work = std::function<int(ProgressSink& progress, StopFlag& stop, MessageSink& messages)>;

  AThreadPrcDlg(const QString& title, Work work, MessageSink& messages, QWidget* parent = nullptr);
  ~AThreadPrcDlg() override;

  // The work's result (valid once the dialog has closed), and whether Stop was pressed.
  int WorkResult() const { return result_; }
  bool Stopped() const { return stop_.load() != 0; }
  bool Finished() const { return finished_; }

  QString StatusText() const;
  int BarValue() const;
  QPushButton* StopButton() const { return stop_button_; }

 public slots:
  void RequestStop();

 signals:
  // The work has ended (emitted on the interface thread just before the dialog closes).
  void workFinished(int result);

 protected:
  void showEvent(QShowEvent* event) override;
  void reject() override;  // Escape and the close box stop the work instead of leaving it running

 private:
  void Start();
  void OnWorkDone(int result);

  Work work_;
  MessageSink& messages_;
  AThreadMessages thread_messages_;
  AQtProgress progress_;
  StopFlag stop_{0};
  std::thread thread_;
  bool started_ = false;
  bool finished_ = false;
  int result_ = 0;
  QLabel* text_ = nullptr;
  QProgressBar* bar_ = nullptr;
  QPushButton* stop_button_ = nullptr;
};

// Runs `work` behind a progress dialog through the services' dialog runner and returns the
// dialog's WorkResult(); `stopped` tells whether Stop was pressed.
struct AGuiServices;
int RunWithProgress(const AGuiServices& services, QWidget* parent, const QString& title,
                    const AThreadPrcDlg::Work& work, bool* stopped = nullptr);
