#include "app/gui/err_page_util.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>

#include "app/gui/comfort.h"
#include "app/gui/gui_services.h"
#include "core/text.h"
#include "errors/tlsc_rows.h"
#include "observation/observation.h"

AMPageSettingsLink::AMPageSettingsLink(const std::string& settings_path, AMSettings& target)
    : settings_path_(settings_path), target_(target) {
  AIniFile ini;
  ini.Load(settings_path_);
  LoadSettings(ini, loaded_, [this](const std::string& p) { return UVXFileOpens(Resolved(p)); });
}

std::string AMPageSettingsLink::Resolved(const std::string& stored) const {
  return stored.empty() ? stored : ResolveOutputPath(settings_path_, stored);
}

std::string AMPageSettingsLink::ToStore(const std::string& used, const std::string& stored) const {
  return !stored.empty() && used == Resolved(stored) ? stored : used;
}

AFileField AddFileField(QGridLayout* grid, int row, const QString& label, const QString& tip, QWidget* parent) {
  AFileField f;
  auto* l = new QLabel(label, parent);
  f.edit = new QLineEdit(parent);
  f.edit->setToolTip(tip);
  l->setBuddy(f.edit);
  f.browse = new QPushButton("Browse...", parent);
  f.browse->setToolTip(tip);
  f.view = new QPushButton("View...", parent);
  f.view->setToolTip("Show the visibilities of this UVX file");
  InstallFileDrop(f.edit, {".uvx"});
  grid->addWidget(l, row, 0);
  grid->addWidget(f.edit, row, 1);
  grid->addWidget(f.browse, row, 2);
  grid->addWidget(f.view, row, 3);
  return f;
}

void InstallFileComfort(QGridLayout* grid, const AFileField& in, const AFileField& out, const AGuiServices& services,
                        const QString& page, QWidget* parent, std::function<void(const QString&)> open_input) {
  in.view->setObjectName("viewInput");
  out.view->setObjectName("viewOutput");
  for (const AFileField& f : {in, out}) {
    QLineEdit* edit = f.edit;
    QObject::connect(f.view, &QPushButton::clicked, parent,
                     [services, parent, edit] { ViewUvxFile(services, parent, edit->text().trimmed()); });
  }
  grid->addWidget(MakeRecentButton(services, page, std::move(open_input), parent), 0, 4);
}

QLineEdit* AddNumberField(QGridLayout* grid, int row, int column, const QString& label, const QString& tip,
                          QWidget* parent) {
  auto* l = new QLabel(label, parent);
  auto* edit = new QLineEdit(parent);
  edit->setToolTip(tip);
  l->setToolTip(tip);
  l->setBuddy(edit);
  grid->addWidget(l, row, column);
  grid->addWidget(edit, row, column + 1);
  return edit;
}

QString NumberText(double v) { return Qs(valToStr(v)); }

int FieldNumber(const QLineEdit* edit, double* value) {
  std::string why;
  return ParseCellNumber(Ss(edit->text()), value, &why);
}

bool ParseStartValue(const QString& text, std::optional<std::uint32_t>* value) {
  const QString t = text.trimmed();
  if (t.isEmpty()) {
    value->reset();
    return true;
  }
  bool ok = false;
  const qulonglong v = t.toULongLong(&ok);
  if (!ok || v > 0xFFFFFFFFull) return false;
  *value = std::uint32_t(v);
  return true;
}

QString StartValueText(const std::optional<std::uint32_t>& value) {
  return value ? QString::number(*value) : QString();
}

QString OutcomeText(const ATaskOutcome& o) {
  if (o.ok) return QString("Written %1: %2").arg(Qs(o.output), Qs(o.summary));
  if (o.stopped) return "Stopped; nothing written.";
  return "No UVX file written.";
}
