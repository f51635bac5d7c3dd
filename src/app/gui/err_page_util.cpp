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

void AddUvxFileRows(QGridLayout* grid, const QString& in_tip, const QString& out_tip, const AGuiServices& services,
                    const QString& page, QWidget* parent, const AUvxFileRows& rows, QLineEdit** in_edit,
                    QLineEdit** out_edit) {
  const AFileField in = AddFileField(grid, 0, "Input UVX-file: ", in_tip, parent);
  const AFileField out = AddFileField(grid, 1, "Output UVX-File: ", out_tip, parent);
  in.edit->setObjectName("inputEdit");
  out.edit->setObjectName("outputEdit");
  in.browse->setObjectName("browseInput");
  out.browse->setObjectName("browseOutput");
  QObject::connect(in.browse, &QPushButton::clicked, parent, rows.browse_input);
  QObject::connect(out.browse, &QPushButton::clicked, parent, rows.browse_output);
  InstallFileComfort(grid, in, out, services, page, parent,
                     [set = rows.set_input](const QString& f) { set(f.toStdString()); });
  QLineEdit* in_field = in.edit;
  QLineEdit* out_field = out.edit;
  QObject::connect(in_field, &QLineEdit::editingFinished, parent, [in_field, rows] {
    const std::string typed = in_field->text().trimmed().toStdString();
    if (typed != rows.current_input()) rows.set_input(typed);
  });
  QObject::connect(out_field, &QLineEdit::editingFinished, parent,
                   [out_field, rows] { rows.set_output(out_field->text().trimmed().toStdString()); });
  *in_edit = in_field;
  *out_edit = out_field;
}
