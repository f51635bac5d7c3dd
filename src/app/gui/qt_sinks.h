#pragma once
// The Qt faces of the runtime sinks: message boxes, a progress sink whose updates cross from the
// worker thread to the interface by queued signals, and a message sink that hands a worker's
// messages and questions to the interface thread and waits for the answer.

#include <QObject>
#include <QString>
#include <atomic>

#include "core/runtime.h"

class QWidget;

// Messages in a message box, questions with Yes/No(/Cancel) buttons. Call on the interface thread.
class AQtMessages final : public MessageSink {
 public:
  explicit AQtMessages(QWidget* parent = nullptr) : parent_(parent) {}
  void SetParent(QWidget* parent) { parent_ = parent; }
  void Show(std::string_view text) override;
  Answer Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) override;

 private:
  QWidget* parent_;
};

// A progress sink for a worker thread. Every update becomes a signal; connect them to widgets of
// the interface thread (auto connection: queued across threads). Positions are sent only when
// they move the bar by at least one thousandth of the range, so a long loop does not flood the
// interface's event queue.
class AQtProgress final : public QObject, public ProgressSink {
  Q_OBJECT
 public:
  static constexpr int kBarSteps = 1000;
  void SetText(std::string_view text) override;
  void SetRange(std::int64_t low, std::int64_t high) override;
  void SetPos(std::int64_t pos) override;

 signals:
  void textChanged(const QString& text);
  // The position as a step of 0 .. kBarSteps.
  void stepChanged(int step);

 private:
  std::atomic<std::int64_t> low_{0}, high_{0};
  std::atomic<int> last_step_{-1};
};

// Forwards to `target` on the thread of `context` (the interface thread): directly when called
// there, otherwise by a blocking queued call, so a worker waits for the user's answer.
class AThreadMessages final : public MessageSink {
 public:
  AThreadMessages(MessageSink& target, QObject* context) : target_(target), context_(context) {}
  void Show(std::string_view text) override;
  Answer Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) override;

 private:
  MessageSink& target_;
  QObject* context_;
};
