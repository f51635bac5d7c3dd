#pragma once
// The terminal face of the runtime pieces: a progress bar on stderr, Ctrl-C as the stop button,
// and messages and questions on the terminal.

#include <chrono>
#include <cstdint>
#include <string>

#include "core/runtime.h"

// Draws "text [=====>    ]  42%" on stderr when it is a terminal (at most ten redraws a second);
// otherwise prints only the status texts, one per line.
class TerminalProgress final : public ProgressSink {
 public:
  TerminalProgress();
  ~TerminalProgress() override;
  void SetText(std::string_view text) override;
  void SetRange(std::int64_t low, std::int64_t high) override;
  void SetPos(std::int64_t pos) override;
  // Ends the bar's line (called automatically on destruction).
  void Finish();

 private:
  void Draw(bool force);
  bool tty_ = false;
  bool drawn_ = false;
  std::string text_;
  std::int64_t low_ = 0, high_ = 0, pos_ = 0;
  std::chrono::steady_clock::time_point last_{};
};

// Messages on stderr; questions on the terminal when stdin is one, otherwise the default answer.
class TerminalMessages final : public MessageSink {
 public:
  explicit TerminalMessages(bool interactive = true) : interactive_(interactive) {}
  void Show(std::string_view text) override;
  Answer Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) override;

 private:
  bool interactive_;
};

// While alive, the first Ctrl-C sets `stop` (the work stops at its next sample or group and removes
// its output); a second Ctrl-C ends the program at once.
class InterruptStop {
 public:
  explicit InterruptStop(StopFlag& stop);
  ~InterruptStop();
  InterruptStop(const InterruptStop&) = delete;
  InterruptStop& operator=(const InterruptStop&) = delete;
};
