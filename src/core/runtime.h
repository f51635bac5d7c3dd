#pragma once
// What every long operation is handed: a progress sink, a stop flag and a message sink. The tasks
// never know whether a terminal, a window or a test runs them.

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Non-zero means "stop". Written by the interface, polled by the work once per sample or group.
using StopFlag = std::atomic<int>;

inline bool StopRequested(const StopFlag* stop) {
  return stop && stop->load(std::memory_order_relaxed) != 0;
}

class ProgressSink {
 public:
  virtual ~ProgressSink() = default;
  virtual void SetText(std::string_view /*text*/) {}
  virtual void SetRange(std::int64_t /*low*/, std::int64_t /*high*/) {}
  virtual void SetPos(std::int64_t /*pos*/) {}
};

enum class Buttons { Ok, YesNo, YesNoCancel };
enum class Answer { Ok, Yes, No, Cancel };

class MessageSink {
 public:
  virtual ~MessageSink() = default;
  // A message the user must see (a message box, a line on stderr, a record in a test).
  virtual void Show(std::string_view text) = 0;
  // A question; headless sinks return `defaultAnswer`.
  virtual Answer Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) = 0;
};

// Shows nothing and answers every question with its default.
class SilentMessages final : public MessageSink {
 public:
  void Show(std::string_view) override {}
  Answer Ask(std::string_view, Buttons, Answer defaultAnswer) override { return defaultAnswer; }
};

// Keeps every message and question; answers with queued answers, then with the default.
class MessageRecorder final : public MessageSink {
 public:
  void Show(std::string_view text) override { shown.emplace_back(text); }
  Answer Ask(std::string_view text, Buttons, Answer defaultAnswer) override {
    asked.emplace_back(text);
    if (next_answer < answers.size()) return answers[next_answer++];
    return defaultAnswer;
  }
  std::vector<std::string> shown;
  std::vector<std::string> asked;
  std::vector<Answer> answers;
  std::size_t next_answer = 0;
};

// Keeps the last text, range and position, and counts the updates.
class ProgressRecorder final : public ProgressSink {
 public:
  void SetText(std::string_view text) override { texts.emplace_back(text); }
  void SetRange(std::int64_t low, std::int64_t high) override { range_low = low; range_high = high; }
  void SetPos(std::int64_t pos) override { position = pos; ++updates; }
  std::vector<std::string> texts;
  std::int64_t range_low = 0, range_high = 0, position = 0, updates = 0;
};

// The classic C runtime generator of the original platform: s <- s*214013 + 2531011,
// result (s >> 16) & 32767. Later tasks depend on this exact sequence and range.
class ClassicRand {
 public:
  static constexpr int kRandMax = 32767;
  explicit ClassicRand(std::uint32_t seed = 1) : state_(seed) {}
  void Seed(std::uint32_t seed) { state_ = seed; }
  int Next() {
    state_ = state_ * 214013u + 2531011u;
    return static_cast<int>((state_ >> 16) & 0x7fffu);
  }
  std::uint32_t State() const { return state_; }

 private:
  std::uint32_t state_;
};

// Milliseconds since the system started, wrapping at 2^32 like the platform's tick count.
std::uint32_t TickCount();
