#include "app/gui/progress_dialog.h"

#include <QLabel>
#include <QMetaObject>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/gui/gui_services.h"

AThreadPrcDlg::AThreadPrcDlg(const QString& title, Work work, MessageSink& messages, QWidget* parent)
    : QDialog(parent), work_(std::move(work)), messages_(messages), thread_messages_(messages, this) {
  setWindowTitle(title);
  setModal(true);
  text_ = new QLabel(this);
  text_->setMinimumWidth(420);
  text_->setWordWrap(true);
  bar_ = new QProgressBar(this);
  bar_->setRange(0, AQtProgress::kBarSteps);
  bar_->setValue(0);
  bar_->setTextVisible(true);
  bar_->setFormat("%p%");
  stop_button_ = new QPushButton(tr("Stop"), this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(text_);
  layout->addWidget(bar_);
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(stop_button_);
  layout->addLayout(row);
  connect(&progress_, &AQtProgress::textChanged, text_, &QLabel::setText);
  connect(&progress_, &AQtProgress::stepChanged, bar_, &QProgressBar::setValue);
  connect(stop_button_, &QPushButton::clicked, this, &AThreadPrcDlg::RequestStop);
}

AThreadPrcDlg::~AThreadPrcDlg() {
  stop_ = 1;
  if (thread_.joinable()) thread_.join();
}

QString AThreadPrcDlg::StatusText() const { return text_->text(); }
int AThreadPrcDlg::BarValue() const { return bar_->value(); }

void AThreadPrcDlg::RequestStop() {
  stop_ = 1;
  stop_button_->setEnabled(false);
}

void AThreadPrcDlg::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!started_) Start();
}

void AThreadPrcDlg::reject() {
  if (finished_) return QDialog::reject();
  RequestStop();
}

void AThreadPrcDlg::Start() {
  started_ = true;
  thread_ = std::thread([this] {
    const int result = work_(progress_, stop_, thread_messages_);
    QMetaObject::invokeMethod(this, [this, result] { OnWorkDone(result); }, Qt::QueuedConnection);
  });
}

void AThreadPrcDlg::OnWorkDone(int result) {
  if (thread_.joinable()) thread_.join();
  finished_ = true;
  result_ = result;
  emit workFinished(result);
  done(result ? QDialog::Accepted : QDialog::Rejected);
}

int RunWithProgress(const AGuiServices& services, QWidget* parent, const QString& title,
                    const AThreadPrcDlg::Work& work, bool* stopped) {
  AThreadPrcDlg dialog(title, work, *services.messages, parent);
  services.run_dialog(dialog);
  if (stopped) *stopped = dialog.Stopped();
  return dialog.Finished() ? dialog.WorkResult() : 0;
}
