#include "app/gui/page1.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/gui/comfort.h"
#include "app/gui/freq_setup_view.h"
#include "app/gui/input_dialogs.h"
#include "app/gui/page1_tables.h"
#include "app/gui/src_select_dialog.h"
#include "app/gui/tlsc_select_dialog.h"
#include "core/text.h"
#include "observation/obs_json.h"
#include "observation/obs_limits.h"
#include "observation/obs_plausibility.h"
#include "observation/source_catalog.h"

namespace {

class AServicesFileDialog final : public AObsFileDialog {
 public:
  AServicesFileDialog(const AGuiServices& s, QWidget* parent) : s_(s), parent_(parent) {}
  bool ChooseOpenPath(const std::string& initial, std::string& path) override {
    return Pick(s_.open_file, "Open", initial, path);
  }
  bool ChooseSavePath(const std::string& initial, std::string& path) override {
    return Pick(s_.save_file, "Save As", initial, path);
  }

 private:
  template <class Fn>
  bool Pick(const Fn& fn, const char* title, const std::string& initial, std::string& path) {
    // The classic filter, with the text form offered before "All files".
    std::string classic = kObsFileFilter;
    classic.insert(classic.find("All files"), "QVL observation, text form (*.JSON)|*.json|");
    const QString filter = QtFileFilter(classic.c_str());
    const QString chosen = fn(parent_, title, Qs(initial), filter);
    if (chosen.isEmpty()) return false;
    path = Ss(chosen);
    return true;
  }
  const AGuiServices& s_;
  QWidget* parent_;
};

QString RaText(double ra) {
  const std::string exact = ExactTimeText(ra);
  return Qs(exact.empty() ? timeToStr(ra, 6) : exact);
}

QString DecText(double dec) {
  const std::string exact = ExactAngleText(dec);
  return Qs(exact.empty() ? angleToStr(dec, 6) : exact);
}

QTableView* MakeTable(QAbstractItemModel* model, const QString& name, QWidget* parent) {
  auto* view = new QTableView(parent);
  view->setObjectName(name);
  view->setModel(model);
  view->setSelectionMode(QAbstractItemView::SingleSelection);
  view->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view->horizontalHeader()->setStretchLastSection(true);
  view->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  return view;
}

QPushButton* Button(const QString& text, const QString& name, QWidget* parent) {
  auto* b = new QPushButton(text, parent);
  b->setObjectName(name);
  return b;
}

void MarkField(QLineEdit* field, bool valid) { field->setStyleSheet(valid ? QString() : "color: #c00000;"); }

}  // namespace

AMPage1::AMPage1(const std::string& base_folder, const AGuiServices& services, QWidget* parent)
    : QWidget(parent), services_(services), doc_(base_folder) {
  setObjectName("page1");
  auto* commands = new QHBoxLayout;
  const struct {
    const char* text;
    const char* name;
    void (AMPage1::*slot)();
  } buttons[] = {{"New", "newButton", &AMPage1::OnNew},
                 {"Open...", "openButton", &AMPage1::OnOpen},
                 {"Save", "saveButton", &AMPage1::OnSave},
                 {"Save As...", "saveAsButton", &AMPage1::OnSaveAs}};
  for (const auto& b : buttons) {
    QPushButton* button = Button(b.text, b.name, this);
    connect(button, &QPushButton::clicked, this, b.slot);
    commands->addWidget(button);
  }
  commands->addWidget(MakeRecentButton(services_, "PROCESS1", [this](const QString& f) { OpenRecent(f); }, this));
  commands->addStretch();
  QPushButton* create = Button("Create empty (zero visibility) UVX-file", "createButton", this);
  create->setDefault(false);
  connect(create, &QPushButton::clicked, this, &AMPage1::OnCreate);
  commands->addWidget(create);

  tabs_ = new QTabWidget(this);
  tabs_->setObjectName("page1Tabs");
  tabs_->addTab(BuildObservationTab(), "Observation");
  tabs_->addTab(BuildTelescopeTab(), "Telescopes");
  tabs_->addTab(BuildFrequencyTab(), "Frequency set-up");

  status_ = new QLabel(this);
  status_->setObjectName("statusLabel");
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(commands);
  layout->addWidget(tabs_);
  layout->addWidget(status_);
  InstallComfortOnPage();
  Refresh();
}

// The desktop comforts of the page: unit tool tips, dropped files, table copy, the viewer.
void AMPage1::InstallComfortOnPage() {
  source_->setToolTip("Source name (as in the source catalogue; no unit)");
  ra_->setToolTip("Right ascension (epoch 2000) in hours, minutes and seconds of time [h m s]");
  dec_->setToolTip("Declination (epoch 2000) in degrees, arc minutes and arc seconds [\u00b0 ' \"]");
  date_->setToolTip("Observation date (UT): day.month.year");
  step_->setToolTip("Time step between UV samples [s]");
  output_->setToolTip("The empty UVX file to create (path of a .uvx file)");
  times_view_->setToolTip("Time intervals of the observation: start and end in UT [h m s] from 0h of the observation date");
  // A .uvx file dropped on the output box lands in the field; an observation dropped anywhere on
  // the page opens (after the save-changes question).
  InstallFileDrop(output_, {".uvx"}, output_->parentWidget());
  InstallDropTarget(this, {".obs", ".json"}, [this](const QString& f) { OpenRecent(f); });
  for (QTableView* v : {times_view_, pols_view_, tlscs_view_}) InstallTableCopy(v);
}

void AMPage1::OpenRecent(const QString& path) {
  if (!CanClose()) return;
  if (OpenFile(Ss(path))) AddRecentFile(services_, "PROCESS1", path);
}

void AMPage1::OnViewOutput() {
  CommitOutput();
  ViewUvxFile(services_, this, output_->text());
}

QWidget* AMPage1::BuildObservationTab() {
  auto* tab = new QWidget(this);

  auto* source_box = new QGroupBox("Source", tab);
  source_ = new QLineEdit(source_box);
  source_->setObjectName("sourceEdit");
  auto* pick = Button("...", "sourceButton", source_box);
  pick->setMaximumWidth(36);
  ra_ = new QLineEdit(source_box);
  ra_->setObjectName("raEdit");
  dec_ = new QLineEdit(source_box);
  dec_->setObjectName("decEdit");
  auto* grid = new QGridLayout(source_box);
  grid->addWidget(new QLabel("Source name: ", source_box), 0, 0);
  grid->addWidget(source_, 0, 1);
  grid->addWidget(pick, 0, 2);
  grid->addWidget(new QLabel("Right ascension: ", source_box), 1, 0);
  grid->addWidget(ra_, 1, 1);
  grid->addWidget(new QLabel("Declination: ", source_box), 2, 0);
  grid->addWidget(dec_, 2, 1);
  grid->addWidget(new QLabel("Epoch: ", source_box), 3, 0);
  grid->addWidget(new QLabel("2000", source_box), 3, 1);
  grid->setColumnStretch(1, 1);
  connect(pick, &QPushButton::clicked, this, &AMPage1::OnSelectSource);
  connect(source_, &QLineEdit::editingFinished, this, &AMPage1::CommitSourceName);
  connect(ra_, &QLineEdit::editingFinished, this, &AMPage1::CommitRightAscension);
  connect(dec_, &QLineEdit::editingFinished, this, &AMPage1::CommitDeclination);

  auto* time_box = new QGroupBox("Date and time step", tab);
  date_ = new QLabel(time_box);
  date_->setObjectName("dateLabel");
  step_ = new QLabel(time_box);
  step_->setObjectName("stepLabel");
  auto* set_date = Button("Set...", "dateButton", time_box);
  auto* set_step = Button("Set...", "stepButton", time_box);
  connect(set_date, &QPushButton::clicked, this, &AMPage1::OnSetDate);
  connect(set_step, &QPushButton::clicked, this, &AMPage1::OnSetStep);
  auto* tgrid = new QGridLayout(time_box);
  tgrid->addWidget(new QLabel("Observation date: ", time_box), 0, 0);
  tgrid->addWidget(date_, 0, 1);
  tgrid->addWidget(set_date, 0, 2);
  tgrid->addWidget(new QLabel("Time step [s]: ", time_box), 1, 0);
  tgrid->addWidget(step_, 1, 1);
  tgrid->addWidget(set_step, 1, 2);
  tgrid->setColumnStretch(1, 1);

  auto* intervals_box = new QGroupBox("Time intervals (UT)", tab);
  times_ = new AMTimeTable(doc_.Obs(), services_.messages, [this] { Edited(); }, this);
  times_view_ = MakeTable(times_, "intervalsView", intervals_box);
  times_view_->horizontalHeader()->setStretchLastSection(false);
  times_view_->horizontalHeader()->setMinimumSectionSize(110);
  auto* add_interval = Button("Add", "addIntervalButton", intervals_box);
  auto* del_interval = Button("Delete", "deleteIntervalButton", intervals_box);
  connect(add_interval, &QPushButton::clicked, this, &AMPage1::OnAddInterval);
  connect(del_interval, &QPushButton::clicked, this, &AMPage1::OnDeleteInterval);
  auto* ilayout = new QVBoxLayout(intervals_box);
  ilayout->addWidget(times_view_);
  auto* irow = new QHBoxLayout;
  irow->addWidget(add_interval);
  irow->addWidget(del_interval);
  irow->addStretch();
  ilayout->addLayout(irow);

  auto* pol_box = new QGroupBox("Polarization/Stokes", tab);
  pols_ = new AMPolTable(doc_.Obs(), [this] { Edited(); }, this);
  pols_view_ = MakeTable(pols_, "polarizationView", pol_box);
  pols_view_->verticalHeader()->hide();
  pols_view_->horizontalHeader()->setStretchLastSection(false);
  pols_view_->horizontalHeader()->setMinimumSectionSize(70);
  auto* playout = new QVBoxLayout(pol_box);
  playout->addWidget(pols_view_);

  auto* out_box = new QGroupBox("Output UVX file", tab);
  output_ = new QLineEdit(out_box);
  output_->setObjectName("outputEdit");
  auto* browse = Button("Browse...", "outputBrowseButton", out_box);
  connect(browse, &QPushButton::clicked, this, &AMPage1::OnBrowseOutput);
  connect(output_, &QLineEdit::editingFinished, this, &AMPage1::CommitOutput);
  auto* view = Button("View...", "outputViewButton", out_box);
  view->setToolTip("Show the visibilities of this UVX file");
  connect(view, &QPushButton::clicked, this, &AMPage1::OnViewOutput);
  auto* olayout = new QHBoxLayout(out_box);
  olayout->addWidget(output_);
  olayout->addWidget(browse);
  olayout->addWidget(view);

  auto* top = new QHBoxLayout;
  top->addWidget(source_box, 3);
  top->addWidget(time_box, 2);
  auto* tables = new QHBoxLayout;
  tables->addWidget(intervals_box, 3);
  tables->addWidget(pol_box, 2);
  auto* layout = new QVBoxLayout(tab);
  layout->addLayout(top);
  layout->addLayout(tables, 1);
  layout->addWidget(out_box);
  return tab;
}

QWidget* AMPage1::BuildTelescopeTab() {
  auto* tab = new QWidget(this);
  auto* list_box = new QGroupBox("Telescopes of the observation", tab);
  tlscs_ = new AMTlscTable(doc_.Obs(), this);
  tlscs_view_ = MakeTable(tlscs_, "telescopesView", list_box);
  tlscs_view_->setSelectionBehavior(QAbstractItemView::SelectRows);
  connect(tlscs_view_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          [this] { UpdateTelescopeControls(); });
  auto* add = Button("Add...", "addTelescopeButton", list_box);
  auto* del = Button("Delete", "deleteTelescopeButton", list_box);
  use_orbit_ = new QCheckBox("Use orbital file", list_box);
  use_orbit_->setObjectName("useOrbitFile");
  browse_orbit_ = Button("Browse...", "orbitBrowseButton", list_box);
  connect(add, &QPushButton::clicked, this, &AMPage1::OnAddTelescopes);
  connect(del, &QPushButton::clicked, this, &AMPage1::OnDeleteTelescope);
  connect(use_orbit_, &QCheckBox::clicked, this, &AMPage1::OnUseOrbitFile);
  connect(browse_orbit_, &QPushButton::clicked, this, &AMPage1::OnBrowseOrbitFile);
  auto* row = new QHBoxLayout;
  row->addWidget(add);
  row->addWidget(del);
  row->addSpacing(24);
  row->addWidget(use_orbit_);
  row->addWidget(browse_orbit_);
  row->addStretch();
  auto* llayout = new QVBoxLayout(list_box);
  llayout->addWidget(tlscs_view_);
  llayout->addLayout(row);

  orbit_host_ = new QGroupBox("Orbits of the orbital telescopes", tab);
  orbit_host_->setObjectName("orbitViewHost");
  auto* hlayout = new QVBoxLayout(orbit_host_);
  hlayout->setContentsMargins(4, 4, 4, 4);

  auto* layout = new QVBoxLayout(tab);
  layout->addWidget(list_box, 1);
  layout->addWidget(orbit_host_, 1);
  return tab;
}

QWidget* AMPage1::BuildFrequencyTab() {
  freq_ = new AMFreqSetupView(doc_.Obs().freq, services_, [this] { Edited(); }, this);
  freq_->setObjectName("freqSetupView");
  return freq_;
}

void AMPage1::Refresh() {
  const AMObservation& o = doc_.Obs();
  source_->setText(Qs(o.source_name));
  ra_->setText(RaText(o.ra_time_s));
  dec_->setText(DecText(o.dec_arcsec));
  MarkField(ra_, true);
  MarkField(dec_, true);
  date_->setText(QString::asprintf("%02d.%02d.%04d", o.day, o.month, o.year));
  step_->setText(Qs(valToStr(o.time_step_s)));
  output_->setText(Qs(o.output_path));
  times_->Reset();
  pols_->Reset();
  tlscs_->Reset();
  freq_->Refresh();
  if (o.intervals.count > 0) times_view_->setCurrentIndex(times_->index(0, 0));
  pols_view_->setCurrentIndex(pols_->index(0, 0));
  if (o.telescopes.count > 0) tlscs_view_->selectRow(0);
  UpdateTelescopeControls();
  UpdateTitle();
}

void AMPage1::Edited() {
  doc_.Modified() = 1;
  UpdateTitle();
}

void AMPage1::UpdateTitle() { emit titleChanged(Title()); }

int AMPage1::OpenFile(const std::string& path) {
  const int ok = doc_.Open(path, *services_.messages);
  Refresh();
  return ok;
}

bool AMPage1::CanClose() {
  AServicesFileDialog dialog(services_, this);
  return doc_.AskSaveChanges(dialog, *services_.messages) != 0;
}

void AMPage1::OnNew() {
  if (!CanClose()) return;
  doc_.New();
  Refresh();
}

void AMPage1::OnOpen() {
  if (!CanClose()) return;
  AServicesFileDialog dialog(services_, this);
  if (doc_.OpenWithDialog(dialog, *services_.messages)) {
    Refresh();
    AddRecentFile(services_, "PROCESS1", Qs(doc_.Path()));
  }
}

void AMPage1::OnSave() {
  CommitSourceName();
  CommitOutput();
  AServicesFileDialog dialog(services_, this);
  if (doc_.Save(dialog, *services_.messages)) UpdateTitle();
}

void AMPage1::OnSaveAs() {
  CommitSourceName();
  CommitOutput();
  AServicesFileDialog dialog(services_, this);
  if (doc_.SaveAs(dialog, *services_.messages)) UpdateTitle();
}

void AMPage1::OnSetDate() {
  AMObservation& o = doc_.Obs();
  QDate current(o.year, o.month, o.day);
  if (!current.isValid()) current = QDate::currentDate();
  AMDateDlg dialog(current, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  const QDate d = dialog.Date();
  if (d.day() == o.day && d.month() == o.month && d.year() == o.year) return;
  o.day = d.day();
  o.month = d.month();
  o.year = d.year();
  Refresh();
  Edited();
}

void AMPage1::OnSetStep() {
  AMValueDlg dialog("Time step", "Enter time step [s]: ", Qs(valToStr(doc_.Obs().time_step_s)), CheckTimeStepText,
                    services_.messages, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  const double step = std::stod(Ss(dialog.Text()));
  if (step == doc_.Obs().time_step_s) return;
  doc_.Obs().time_step_s = step;
  step_->setText(Qs(valToStr(step)));
  Edited();
}

void AMPage1::OnSelectSource() {
  AMSourceCatalog catalog;
  if (!LoadSourceFile(doc_.BaseFolder() + kSourcesFileName, catalog, services_.messages)) return;
  AMSrcSelectDlg dialog(catalog, doc_.Obs().source_name, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted || dialog.ChosenRow() < 0) return;
  ChooseSource(doc_.Obs(), catalog[dialog.ChosenRow()], dialog.UseOtherName());
  Refresh();
  Edited();
}

void AMPage1::CommitSourceName() {
  const std::string name = Ss(source_->text());
  if (name == doc_.Obs().source_name) return;
  doc_.Obs().source_name = name;
  Edited();
}

void AMPage1::CommitRightAscension() {
  double ra = doc_.Obs().ra_time_s;
  const bool ok = ParseRightAscensionField(Ss(ra_->text()), ra);
  MarkField(ra_, ok);
  if (!ok || ra == doc_.Obs().ra_time_s) return;
  doc_.Obs().ra_time_s = ra;
  Edited();
}

void AMPage1::CommitDeclination() {
  double dec = doc_.Obs().dec_arcsec;
  const bool ok = ParseDeclinationField(Ss(dec_->text()), dec);
  MarkField(dec_, ok);
  if (!ok || dec == doc_.Obs().dec_arcsec) return;
  doc_.Obs().dec_arcsec = dec;
  Edited();
}

void AMPage1::CommitOutput() {
  const std::string path = Ss(output_->text().trimmed());
  if (path == doc_.Obs().output_path) return;
  doc_.Obs().output_path = path;
  Edited();
}

void AMPage1::OnAddInterval() {
  const int row = times_->AddInterval();
  times_view_->setCurrentIndex(times_->index(row, 0));
}

void AMPage1::OnDeleteInterval() {
  const QModelIndex i = times_view_->currentIndex();
  if (i.isValid()) times_->DeleteInterval(i.row());
}

int AMPage1::CurrentTelescope() const {
  const QModelIndex i = tlscs_view_->currentIndex();
  return i.isValid() && i.row() < doc_.Obs().telescopes.count ? i.row() : -1;
}

void AMPage1::UpdateTelescopeControls() {
  const int row = CurrentTelescope();
  const bool orbital = row >= 0 && doc_.Obs().telescopes[row].IsOrbital();
  use_orbit_->setEnabled(orbital);
  browse_orbit_->setEnabled(orbital);
  use_orbit_->setChecked(orbital && doc_.Obs().telescopes[row].use_orbit_file);
}

void AMPage1::OnAddTelescopes() {
  AMTlscSelectDlg dialog(doc_.BaseFolder() + kTelescopesFileName, services_, this);
  if (services_.run_dialog(dialog) != QDialog::Accepted) return;
  AObjArray<AMTlscItem>& list = doc_.Obs().telescopes;
  int added = 0;
  for (const AMTlscInfoItem& info : dialog.Marked()) {
    bool present = false;  // a telescope is taken once
    for (const AMTlscItem& t : list)
      present = present || (toUpper(t.name) == toUpper(info.name) && toUpper(t.id_name) == toUpper(info.id_name));
    if (present) continue;
    list.Add(AMTlscItem(info));
    ++added;
  }
  if (added == 0) return;
  tlscs_->Reset();
  tlscs_view_->selectRow(list.count - 1);
  UpdateTelescopeControls();
  Edited();
}

void AMPage1::OnDeleteTelescope() {
  const int row = CurrentTelescope();
  if (row < 0) return;
  doc_.Obs().telescopes.RemoveAt(row);
  tlscs_->Reset();
  if (doc_.Obs().telescopes.count > 0) tlscs_view_->selectRow(std::min(row, doc_.Obs().telescopes.count - 1));
  UpdateTelescopeControls();
  Edited();
}

void AMPage1::OnUseOrbitFile(bool on) {
  const int row = CurrentTelescope();
  if (row < 0 || !doc_.Obs().telescopes[row].IsOrbital()) return;
  doc_.Obs().telescopes[row].use_orbit_file = on ? 1 : 0;
  tlscs_->RowChanged(row);
  Edited();
}

void AMPage1::OnBrowseOrbitFile() {
  const int row = CurrentTelescope();
  if (row < 0 || !doc_.Obs().telescopes[row].IsOrbital()) return;
  AMTlscItem& t = doc_.Obs().telescopes[row];
  const std::string ext = kOrbitFileExt;
  const std::string filter = "Orbit file (*." + ext + ")|*." + ext + "||";
  const QString initial = t.orbit_file.empty() ? Qs("*." + ext) : Qs(t.orbit_file);
  const QString chosen = services_.open_file(this, "Input orbit file", initial, QtFileFilter(filter.c_str()));
  if (chosen.isEmpty()) return;
  t.orbit_file = Ss(chosen);
  tlscs_->RowChanged(row);
  Edited();
}

void AMPage1::OnBrowseOutput() {
  CommitOutput();
  const QString chosen = services_.save_file(this, "Output UVX file", Qs(doc_.ObservationForRun().output_path),
                                             QtFileFilter("UVX file (*.uvx)|*.uvx|All files (*.*)|*.*||"));
  if (chosen.isEmpty()) return;
  output_->setText(chosen);
  CommitOutput();
}

void AMPage1::ShowCheckFailure(const AMCreateCheck& check) {
  switch (check.field) {
    case AMCreateField::Telescopes:
      tabs_->setCurrentIndex(1);
      tlscs_view_->setFocus();
      break;
    case AMCreateField::Intervals:
      tabs_->setCurrentIndex(0);
      times_view_->setFocus();
      if (check.row >= 0) {
        const QModelIndex cell = times_->index(check.row, check.column);
        times_view_->setCurrentIndex(cell);
        times_view_->scrollTo(cell);
      }
      break;
    case AMCreateField::Polarizations:
      tabs_->setCurrentIndex(0);
      pols_view_->setFocus();
      break;
    case AMCreateField::RightAscension:
    case AMCreateField::Declination: {
      tabs_->setCurrentIndex(0);
      QLineEdit* field = check.field == AMCreateField::RightAscension ? ra_ : dec_;
      MarkField(field, false);
      field->setFocus();
      field->selectAll();
      break;
    }
    case AMCreateField::None: break;
  }
}

void AMPage1::OnCreate() {
  CommitSourceName();
  CommitOutput();
  const double ra = doc_.Obs().ra_time_s, dec = doc_.Obs().dec_arcsec;
  const AMSourceFieldTexts fields{Ss(ra_->text()), Ss(dec_->text())};
  const AMCreateCheck check = doc_.CheckForCreate(services_.messages, &fields);
  times_->Reset();  // the checks sort the intervals
  if (ra != doc_.Obs().ra_time_s || dec != doc_.Obs().dec_arcsec) Edited();
  if (!check.ok) {
    ShowCheckFailure(check);
    return;
  }
  // The limits of task 1, as the command line applies them: finite values, a date from 1900 on,
  // the catalogue's checks of every telescope, a sampling that ends (docs/robustness.md).
  if (const std::string why = CheckTask1Limits(doc_.Obs()); !why.empty()) {
    services_.messages->Show(why);
    return;
  }
  // The plausibility checks the command line runs too: all problems in one message; an error
  // stops here, warnings let the run go on.
  const std::vector<AMObsProblem> problems = CheckPlausibility(doc_.Obs());
  if (!problems.empty()) {
    std::string text;
    for (const AMObsProblem& p : problems) text += (text.empty() ? "" : "\n") + p.where + ": " + p.text;
    services_.messages->Show(text);
    if (HasErrors(problems)) return;
  }
  RunCreate();
}
