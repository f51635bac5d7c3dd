#include "app/gui/qt_sinks.h"

#include <QMessageBox>
#include <QMetaObject>
#include <QThread>
#include <algorithm>

namespace {

QString ToQ(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

}  // namespace

void AQtMessages::Show(std::string_view text) {
  QMessageBox box(QMessageBox::Information, "QVLModel", ToQ(text), QMessageBox::Ok, parent_);
  box.exec();
}

Answer AQtMessages::Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) {
  QMessageBox::StandardButtons set = QMessageBox::Ok;
  if (buttons == Buttons::YesNo) set = QMessageBox::Yes | QMessageBox::No;
  if (buttons == Buttons::YesNoCancel) set = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
  QMessageBox box(QMessageBox::Question, "QVLModel", ToQ(text), set, parent_);
  switch (defaultAnswer) {
    case Answer::Yes: box.setDefaultButton(QMessageBox::Yes); break;
    case Answer::No: box.setDefaultButton(QMessageBox::No); break;
    case Answer::Cancel: box.setDefaultButton(QMessageBox::Cancel); break;
    default: box.setDefaultButton(QMessageBox::Ok); break;
  }
  switch (box.exec()) {
    case QMessageBox::Yes: return Answer::Yes;
    case QMessageBox::No: return Answer::No;
    case QMessageBox::Ok: return Answer::Ok;
    default: return buttons == Buttons::YesNo ? Answer::No : Answer::Cancel;
  }
}

void AQtProgress::SetText(std::string_view text) { emit textChanged(ToQ(text)); }

void AQtProgress::SetRange(std::int64_t low, std::int64_t high) {
  low_ = low;
  high_ = high;
  last_step_ = -1;
  emit stepChanged(0);
}

void AQtProgress::SetPos(std::int64_t pos) {
  const std::int64_t low = low_, high = high_;
  const double span = high > low ? double(high - low) : 1.0;
  const int step = std::clamp(int(double(pos - low) / span * kBarSteps), 0, kBarSteps);
  if (last_step_.exchange(step) != step) emit stepChanged(step);
}

void AThreadMessages::Show(std::string_view text) {
  if (QThread::currentThread() == context_->thread()) return target_.Show(text);
  const std::string copy(text);
  QMetaObject::invokeMethod(context_, [this, &copy] { target_.Show(copy); }, Qt::BlockingQueuedConnection);
}

Answer AThreadMessages::Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) {
  if (QThread::currentThread() == context_->thread()) return target_.Ask(text, buttons, defaultAnswer);
  const std::string copy(text);
  Answer answer = defaultAnswer;
  QMetaObject::invokeMethod(
      context_, [&] { answer = target_.Ask(copy, buttons, defaultAnswer); }, Qt::BlockingQueuedConnection);
  return answer;
}
