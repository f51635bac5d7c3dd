#include "app/gui/input_dialogs.h"

#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <cmath>
#include <cstdlib>

#include "app/gui/gui_services.h"
#include "observation/freq_setup.h"

namespace {

QDialogButtonBox* OkCancel(QDialog* dialog) {
  auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
  QObject::connect(box, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
  QObject::connect(box, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  return box;
}

// The whole text is one finite number.
bool ParseNumber(const std::string& text, double& value) {
  const char* begin = text.c_str();
  while (*begin == ' ') ++begin;
  char* end = nullptr;
  value = std::strtod(begin, &end);
  if (end == begin) return false;
  while (*end == ' ') ++end;
  return *end == 0 && std::isfinite(value);
}

}  // namespace

AMDateDlg::AMDateDlg(const QDate& date, QWidget* parent) : QDialog(parent) {
  setWindowTitle("Observation date");
  edit_ = new QDateEdit(date, this);
  edit_->setObjectName("dateEdit");
  edit_->setCalendarPopup(true);
  edit_->setDisplayFormat("dd.MM.yyyy");
  auto* layout = new QVBoxLayout(this);
  auto* form = new QFormLayout;
  form->addRow("Enter observation date: ", edit_);
  layout->addLayout(form);
  layout->addWidget(OkCancel(this));
}

QDate AMDateDlg::Date() const { return edit_->date(); }

AMValueDlg::AMValueDlg(const QString& title, const QString& prompt, const QString& initial, Check check,
                       MessageSink* messages, QWidget* parent)
    : QDialog(parent), check_(std::move(check)), messages_(messages) {
  setWindowTitle(title);
  edit_ = new QLineEdit(initial, this);
  edit_->setObjectName("valueEdit");
  edit_->setMinimumWidth(160);
  edit_->selectAll();
  auto* layout = new QVBoxLayout(this);
  auto* form = new QFormLayout;
  form->addRow(prompt, edit_);
  layout->addLayout(form);
  layout->addWidget(OkCancel(this));
}

QString AMValueDlg::Text() const { return edit_->text(); }

void AMValueDlg::accept() {
  const std::string problem = check_ ? check_(Ss(edit_->text())) : std::string();
  if (!problem.empty()) {
    if (messages_) messages_->Show(problem);
    edit_->setFocus();
    edit_->selectAll();
    return;
  }
  QDialog::accept();
}

std::string CheckFrequencyText(const std::string& text) {
  double hz = 0;
  return ParseFrequencyMHz(text, hz) && IsValidOffset(hz) ? std::string() : kInvalidFrequency;
}

std::string CheckWidthText(const std::string& text) {
  double hz = 0;
  return ParseFrequencyMHz(text, hz) && IsValidWidth(hz) ? std::string() : kInvalidFrequency;
}

std::string CheckTimeStepText(const std::string& text) {
  double s = 0;
  return ParseNumber(text, s) && s > 0 ? std::string() : "Invalid time step.";
}

std::string CheckCountText(const std::string& text) {
  double n = 0;
  return ParseNumber(text, n) && n >= 1 && n <= 4096 && n == std::floor(n) ? std::string() : "Invalid number.";
}
