#pragma once
// The small input dialogs of the "VLBI configuration" page: the observation date, and one value
// with a prompt ("Time step", "Number of IFs", "Offset IF frequency", "Reference frequency", ...),
// each with OK and Cancel. A value dialog checks its text on OK; a refused text shows the check's
// message and keeps the dialog open with the field selected.

#include <QDate>
#include <QDialog>
#include <functional>
#include <string>

#include "core/runtime.h"

class QDateEdit;
class QLineEdit;

// "Observation date" / "Enter observation date: " with a date picker (shown as dd.MM.yyyy).
class AMDateDlg final : public QDialog {
  Q_OBJECT
 public:
  explicit AMDateDlg(const QDate& date, QWidget* parent = nullptr);
  QDate Date() const;
  QDateEdit* Editor() const { return edit_; }

 private:
  QDateEdit* edit_;
};

// One value typed as text. `check` returns an empty string when the text is accepted, otherwise
// the message to show.
class AMValueDlg final : public QDialog {
  Q_OBJECT
 public:
  using Check = std::function<std::string(const std::string&)>;
  AMValueDlg(const QString& title, const QString& prompt, const QString& initial, Check check, MessageSink* messages,
             QWidget* parent = nullptr);
  QString Text() const;
  QLineEdit* Editor() const { return edit_; }
  void accept() override;

 private:
  QLineEdit* edit_;
  Check check_;
  MessageSink* messages_;
};

// Checks of the value dialogs.
std::string CheckFrequencyText(const std::string& text);  // "Invalid frequency." unless a frequency
std::string CheckWidthText(const std::string& text);      // as above, and above 0
std::string CheckTimeStepText(const std::string& text);   // "Invalid time step." unless > 0 seconds
std::string CheckCountText(const std::string& text);      // "Invalid number." unless 1 .. 4096
