#include "app/gui/fov_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QVBoxLayout>
#include <cmath>

#include "app/gui/gui_services.h"
#include "core/text.h"

bool ParsePositive(const QString& text, double& value) {
  bool ok = false;
  const double v = text.trimmed().toDouble(&ok);
  if (!ok || !(v > 0) || !std::isfinite(v)) return false;
  value = v;
  return true;
}

AMFovDlg::AMFovDlg(double fov_ra, double fov_dec, MessageSink* messages, QWidget* parent)
    : QDialog(parent), messages_(messages), ra_value_(fov_ra), dec_value_(fov_dec) {
  setWindowTitle("Field of view");
  ra_ = new QLineEdit(Qs(valToStr(fov_ra)), this);
  ra_->setObjectName("fovRaEdit");
  ra_->setToolTip("Width of the model view along right ascension [arcseconds]");
  dec_ = new QLineEdit(Qs(valToStr(fov_dec)), this);
  dec_->setObjectName("fovDecEdit");
  dec_->setToolTip("Height of the model view along declination [arcseconds]");
  ra_->setMinimumWidth(140);
  auto* form = new QFormLayout;
  form->addRow("Field of view RA [as]: ", ra_);
  form->addRow("Field of view DEC [as]: ", dec_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(buttons);
}

void AMFovDlg::accept() {
  for (QLineEdit* field : {ra_, dec_}) {
    double v = 0;
    if (!ParsePositive(field->text(), v)) {
      if (messages_) messages_->Show("Invalid field of view.");
      field->setFocus();
      field->selectAll();
      return;
    }
    (field == ra_ ? ra_value_ : dec_value_) = v;
  }
  QDialog::accept();
}
