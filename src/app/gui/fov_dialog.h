#pragma once
// The field-of-view dialog of the model view: "Field of view RA [as]: " and "Field of view DEC
// [as]: " (settings "FOV RA", "FOV DEC"), each a positive number of arcseconds. OK refuses any
// other text with "Invalid field of view." and keeps the dialog open with the field selected.

#include <QDialog>

#include "core/runtime.h"

class QLineEdit;

class AMFovDlg final : public QDialog {
  Q_OBJECT
 public:
  AMFovDlg(double fov_ra_arcsec, double fov_dec_arcsec, MessageSink* messages, QWidget* parent = nullptr);
  double Ra() const { return ra_value_; }
  double Dec() const { return dec_value_; }
  QLineEdit* RaEdit() const { return ra_; }
  QLineEdit* DecEdit() const { return dec_; }
  void accept() override;

 private:
  QLineEdit* ra_;
  QLineEdit* dec_;
  MessageSink* messages_;
  double ra_value_, dec_value_;
};

// A positive, finite number written alone (blanks around it allowed).
bool ParsePositive(const QString& text, double& value);
