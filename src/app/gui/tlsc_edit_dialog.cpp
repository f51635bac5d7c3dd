#include "app/gui/tlsc_edit_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <cmath>
#include <cstdlib>

#include "app/gui/gui_services.h"
#include "core/text.h"
#include "observation/telescope_catalog.h"

namespace {

const char* const kGroundLabels[tlsc::kParamCount] = {"X [m]: ",       "Y [m]: ",       "Z [m]: ",
                                                      "D [m]: ",       "AZmin [Deg]: ", "AZmax [Deg]: ",
                                                      "Zmin [Deg]: ",  "Zmax [Deg]: "};
const char* const kOrbitalLabels[tlsc::kParamCount] = {"Semimajor axis [km]: ",
                                                       "Eccentricity: ",
                                                       "Inclination [Deg]: ",
                                                       "Right ascention of ascending node [Deg]: ",
                                                       "Argument of perigee [Deg]: ",
                                                       "Initial zero epoch [JD]: ",
                                                       "Mean anomaly at zero epoch [Deg]: ",
                                                       "Par7?"};

bool ParseParam(const QString& text, double& value) {
  const std::string s(trim(Ss(text)));
  if (s.empty()) return value = 0, true;  // an empty field is 0
  char* end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  if (end != s.c_str() + s.size() || !std::isfinite(v)) return false;
  value = v;
  return true;
}

}  // namespace

const char* TlscParamLabel(bool ground, int index) { return ground ? kGroundLabels[index] : kOrbitalLabels[index]; }

AMTlscEditDlg::AMTlscEditDlg(const QString& title, const AMTlscInfoItem& item, MessageSink* messages, QWidget* parent)
    : QDialog(parent), item_(item), messages_(messages) {
  setWindowTitle(title);
  kind_ = new QComboBox(this);
  kind_->setObjectName("kindBox");
  kind_->addItems({"Ground", "Orbital"});
  name_ = new QLineEdit(Qs(item.name), this);
  name_->setObjectName("nameEdit");
  id_ = new QLineEdit(Qs(item.id_name), this);
  id_->setObjectName("idEdit");
  auto* form = new QFormLayout;
  form->addRow("Kind: ", kind_);
  form->addRow("Name: ", name_);
  form->addRow("ID name: ", id_);
  for (int i = 0; i < tlsc::kParamCount; ++i) {
    params_[i] = new QLineEdit(Qs(valToStr(item.params[i])), this);
    params_[i]->setObjectName(QString("param%1").arg(i + 1));
    params_[i]->setMinimumWidth(200);
    labels_[i] = new QLabel(this);
    form->addRow(labels_[i], params_[i]);
  }
  auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(box);
  kind_->setCurrentIndex(item.IsGround() ? 0 : 1);
  connect(kind_, &QComboBox::currentIndexChanged, this, &AMTlscEditDlg::ShowKind);
  ShowKind(kind_->currentIndex());
}

void AMTlscEditDlg::ShowKind(int kind_row) {
  for (int i = 0; i < tlsc::kParamCount; ++i) labels_[i]->setText(TlscParamLabel(kind_row == 0, i));
  params_[tlsc::kUnused]->setEnabled(kind_row == 0);  // the eighth value of an orbit is not used
}

void AMTlscEditDlg::Refuse(const char* message, QLineEdit* field) {
  if (messages_) messages_->Show(message);
  field->setFocus();
  field->selectAll();
}

void AMTlscEditDlg::accept() {
  AMTlscInfoItem item = item_;
  // Name and ID name first, as the catalogue checks them; then the numbers; then the kind's limits.
  item.name = NormalizeTelescopeName(Ss(name_->text()));
  item.id_name = NormalizeTelescopeName(Ss(id_->text()));
  if (item.name.empty()) return Refuse(kTelescopeNameEmpty, name_);
  if (item.id_name.empty()) return Refuse(kTelescopeIdEmpty, id_);
  item.ground = kind_->currentIndex() == 0 ? kTlscGround : kTlscOrbital;
  for (int i = 0; i < tlsc::kParamCount; ++i) {
    if (!params_[i]->isEnabled()) continue;
    if (!ParseParam(params_[i]->text(), item.params[i])) return Refuse("Invalid number.", params_[i]);
  }
  const AMTlscCheck check = ValidateTelescope(item, messages_);
  if (!check.ok) {
    QLineEdit* field = check.field == 0 ? name_ : check.field == 1 ? id_ : params_[check.field - 2];
    field->setFocus();
    field->selectAll();
    return;
  }
  item_ = item;
  name_->setText(Qs(item.name));
  id_->setText(Qs(item.id_name));
  QDialog::accept();
}
