#include "app/cli/terminal.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <unistd.h>

TerminalProgress::TerminalProgress() : tty_(isatty(STDERR_FILENO) != 0) {}

TerminalProgress::~TerminalProgress() { Finish(); }

void TerminalProgress::SetText(std::string_view text) {
  Finish();
  text_ = std::string(text);
  if (!tty_) std::fprintf(stderr, "%s\n", text_.c_str());
  Draw(true);
}

void TerminalProgress::SetRange(std::int64_t low, std::int64_t high) {
  low_ = low;
  high_ = high;
  pos_ = low;
  Draw(true);
}

void TerminalProgress::SetPos(std::int64_t pos) {
  pos_ = pos;
  Draw(false);
}

void TerminalProgress::Finish() {
  if (tty_ && drawn_) {
    Draw(true);
    std::fputc('\n', stderr);
  }
  drawn_ = false;
}

void TerminalProgress::Draw(bool force) {
  if (!tty_ || high_ <= low_) return;
  const auto now = std::chrono::steady_clock::now();
  if (!force && now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  const double fraction = std::clamp(static_cast<double>(pos_ - low_) / static_cast<double>(high_ - low_), 0.0, 1.0);
  constexpr int kWidth = 40;
  const int filled = static_cast<int>(fraction * kWidth);
  std::string bar(kWidth, ' ');
  for (int i = 0; i < filled; ++i) bar[i] = '=';
  if (filled < kWidth) bar[filled] = '>';
  std::fprintf(stderr, "\r%s [%s] %3d%%", text_.c_str(), bar.c_str(), static_cast<int>(fraction * 100.0));
  std::fflush(stderr);
  drawn_ = true;
}

void TerminalMessages::Show(std::string_view text) {
  std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
}

Answer TerminalMessages::Ask(std::string_view text, Buttons buttons, Answer defaultAnswer) {
  if (buttons == Buttons::Ok) {
    Show(text);
    return Answer::Ok;
  }
  if (!interactive_ || isatty(STDIN_FILENO) == 0) return defaultAnswer;
  const bool cancel = buttons == Buttons::YesNoCancel;
  for (;;) {
    std::fprintf(stderr, "%.*s [%s] ", static_cast<int>(text.size()), text.data(), cancel ? "y/n/c" : "y/n");
    std::fflush(stderr);
    std::string line;
    if (!std::getline(std::cin, line)) return defaultAnswer;
    if (line == "y" || line == "Y" || line == "yes") return Answer::Yes;
    if (line == "n" || line == "N" || line == "no") return Answer::No;
    if (cancel && (line == "c" || line == "C" || line == "cancel")) return Answer::Cancel;
  }
}

namespace {
// The signal handler can reach only static storage: the flag of the one running command.
std::atomic<StopFlag*> g_interrupt_target{nullptr};

extern "C" void OnInterrupt(int) {
  StopFlag* stop = g_interrupt_target.load();
  if (stop && stop->load() == 0) {
    stop->store(1);
    return;
  }
  _exit(130);
}
}  // namespace

InterruptStop::InterruptStop(StopFlag& stop) {
  g_interrupt_target.store(&stop);
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

InterruptStop::~InterruptStop() {
  g_interrupt_target.store(nullptr);
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}
