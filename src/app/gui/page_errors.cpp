#include "app/gui/page_errors.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include "app/gui/comfort.h"
#include "app/gui/err_tables.h"
#include "app/gui/progress_dialog.h"
#include "core/text.h"
#include "errors/errors_messages.h"
#include "errors/tlsc_rows.h"

namespace {

// Interval times show as H:MM:SS.sss (seconds when negative); both forms read back.
QString TimeText(double s) { return s >= 0 ? Qs(timeToStr(s, 3)) : Qs(valToStr(s)); }

}  // namespace

AMPage3::AMPage3(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
                 QWidget* parent)
    : QWidget(parent), services_(services), link_(settings_path, settings) {
  setObjectName("page3");
  params_ = link_.Loaded().errors;
  params_.in_path = link_.Resolved(params_.in_path);
  params_.out_path = link_.Resolved(params_.out_path);

  auto* files = new QGridLayout;
  AUvxFileRows rows;
  rows.current_input = [this] { return params_.in_path; };
  rows.set_input = [this](const std::string& path) { SetInput(path); };
  rows.set_output = [this](const std::string& path) {
    params_.out_path = path;
    Store();
  };
  rows.browse_input = [this] { OnBrowseInput(); };
  rows.browse_output = [this] { OnBrowseOutput(); };
  AddUvxFileRows(files, "UVX file to which the errors are applied (path of a .uvx file)",
                 "UVX file written (path of a .uvx file; default: the input with _err)", services_, "PROCESS3", this, rows,
                 &in_, &out_);

  auto* types = new QGroupBox("Errors type", this);
  use_phase_ = new QCheckBox("Phase errors", types);
  use_phase_->setObjectName("usePhase");
  use_phase_->setToolTip("Apply the phase terms: random phase, phase 0, fringe rate, delay and their accelerations");
  use_ampl_ = new QCheckBox("Amplitude errors", types);
  use_ampl_->setObjectName("useAmplitude");
  use_ampl_->setToolTip("Apply the amplitude gains (amplitude error in dB)");
  auto* types_layout = new QHBoxLayout(types);
  types_layout->addWidget(use_phase_);
  types_layout->addWidget(use_ampl_);
  types_layout->addStretch();
  connect(use_phase_, &QCheckBox::toggled, this, [this](bool on) {
    params_.use_phase_err = on ? 1 : 0;
    Store();
  });
  connect(use_ampl_, &QCheckBox::toggled, this, [this](bool on) {
    params_.use_ampl_err = on ? 1 : 0;
    Store();
  });

  auto* times = new QGroupBox(msg::kTimeIntervals, this);
  auto* tg = new QGridLayout(times);
  whole_file_ = new QCheckBox("Whole file", times);
  whole_file_->setObjectName("wholeFile");
  whole_file_->setToolTip("The interval runs from the file's start time to its end");
  tg->addWidget(whole_file_, 0, 0, 1, 2);
  const QString time_tip = "%1 of the interval from 0h of the observation date [H:MM:SS, or s]";
  start_ = AddNumberField(tg, 1, 0, "Start: ", time_tip.arg("Start"), times);
  stop_ = AddNumberField(tg, 1, 2, "End: ", time_tip.arg("End"), times);
  segment_ = AddNumberField(tg, 2, 0, "Segment length L [s]: ",
                            "Time after which the time of the error terms starts again from 0; 0: never [s]", times);
  step_ = AddNumberField(tg, 2, 2, "Random phase step [s]: ",
                         "Time step of the random phase; 0: the file's time step [s]", times);
  rng_ = AddNumberField(tg, 3, 0, "Random start value: ",
                        "Initial value of the random generator, 0 to 4294967295 (no unit); empty: the clock", times);
  start_->setObjectName("intervalStart");
  stop_->setObjectName("intervalEnd");
  segment_->setObjectName("segmentLength");
  step_->setObjectName("phaseStep");
  rng_->setObjectName("randomStart");
  connect(whole_file_, &QCheckBox::toggled, this, [this](bool on) {
    params_.has_interval = !on;
    UpdateIntervalControls();
    Store();
  });
  for (QLineEdit* e : {start_, stop_, segment_, step_, rng_})
    connect(e, &QLineEdit::editingFinished, this, [this] {
      if (CommitFields()) Store();
    });

  table_ = new AMTlscErrTbl(params_.tlscs, this);
  view_ = new QTableView(this);
  view_->setObjectName("errorsTable");
  view_->setModel(table_);
  view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  InstallTableCopy(view_);
  view_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  connect(table_, &AMTlscErrTbl::edited, this, [this] { Store(); });
  connect(table_, &AMTlscErrTbl::cellRefused, this, [this](int row, int column, const QString& message) {
    view_->setCurrentIndex(table_->index(row, column));
    services_.messages->Show(Ss(message));
  });

  run_ = new QPushButton("Run", this);
  run_->setObjectName("runButton");
  run_->setToolTip("Apply the errors: copy the input UVX file to the output with the errors of the table");
  connect(run_, &QPushButton::clicked, this, &AMPage3::OnRun);
  status_ = new QLabel(this);
  status_->setObjectName("status");
  status_->setWordWrap(true);

  auto* heading = new QLabel(QString("<h2>%1</h2>").arg(msg::kTaskErrors), this);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(status_, 1);
  bottom->addWidget(run_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(heading);
  layout->addLayout(files);
  layout->addWidget(types);
  layout->addWidget(times);
  layout->addWidget(view_, 1);
  layout->addLayout(bottom);

  // A list kept in the settings is shown as it is; without one, the input's telescopes.
  if (params_.tlscs.GetSize() == 0 && !params_.in_path.empty()) {
    std::string error;
    AMTlscErrors rows;
    if (ErrorRowsFromFile(params_.in_path, {}, rows, &error)) params_.tlscs = rows;
  }
  // An output not chosen yet is named after the input.
  if (!params_.in_path.empty() && params_.out_path.empty()) params_.out_path = DefaultErrorsOutput(params_.in_path);
  if (!params_.in_path.empty() && params_.out_path == DefaultErrorsOutput(params_.in_path))
    default_output_ = params_.out_path;
  setWindowTitle(Title());  // the main window shows it while this page is current
  Refresh();
}

QString AMPage3::Title() const { return QString(msg::kTaskErrors) + " - QVLModel"; }
QString AMPage3::Status() const { return status_->text(); }

void AMPage3::Refresh() {
  const QSignalBlocker b1(use_phase_), b2(use_ampl_), b3(whole_file_);
  in_->setText(Qs(params_.in_path));
  out_->setText(Qs(params_.out_path));
  use_phase_->setChecked(params_.use_phase_err != 0);
  use_ampl_->setChecked(params_.use_ampl_err != 0);
  whole_file_->setChecked(!params_.has_interval);
  start_->setText(TimeText(params_.start_s));
  stop_->setText(TimeText(params_.stop_s));
  segment_->setText(NumberText(params_.segment_s));
  step_->setText(NumberText(params_.step_s));
  rng_->setText(StartValueText(params_.rng_start));
  UpdateIntervalControls();
  table_->Reload();
}

void AMPage3::UpdateIntervalControls() {
  start_->setEnabled(params_.has_interval);
  stop_->setEnabled(params_.has_interval);
}

void AMPage3::SetInput(const std::string& path) {
  if (!path.empty()) {
    std::string error;
    AMTlscErrors rows;
    if (!ErrorRowsFromFile(path, params_.tlscs, rows, &error)) {
      services_.messages->Show(error);
      in_->setText(Qs(params_.in_path));
      return;
    }
    params_.tlscs = rows;
  }
  params_.in_path = path;
  AddRecentFile(services_, "PROCESS3", Qs(path));
  // The output follows the input while it is empty or the name made for the previous input.
  if (params_.out_path.empty() || params_.out_path == default_output_) {
    params_.out_path = path.empty() ? std::string() : DefaultErrorsOutput(path);
    default_output_ = params_.out_path;
  }
  Refresh();
  Store();
}

void AMPage3::OnBrowseInput() {
  const QString chosen = services_.open_file(this, "Input UVX-file", Qs(params_.in_path), QtFileFilter(kUvxFileFilter));
  if (!chosen.isEmpty()) SetInput(Ss(chosen));
}

void AMPage3::OnBrowseOutput() {
  const QString chosen =
      services_.save_file(this, "Output UVX-File", Qs(params_.out_path), QtFileFilter(kUvxFileFilter));
  if (chosen.isEmpty()) return;
  QString path = chosen;
  if (!path.contains('.')) path += ".uvx";  // the default extension
  params_.out_path = Ss(path);
  out_->setText(path);
  Store();
}

bool AMPage3::CommitFields() {
  auto refuse = [this](QLineEdit* field, const QString& what) {
    field->setFocus();
    field->selectAll();
    services_.messages->Show(Ss(what + ": \"" + field->text() + "\""));
    return false;
  };
  double v = 0;
  if (start_->isModified()) {
    if (!ParseIntervalTime(Ss(start_->text()), &v)) return refuse(start_, "Start of the interval: not a time");
    params_.start_s = v;
  }
  if (stop_->isModified()) {
    if (!ParseIntervalTime(Ss(stop_->text()), &v)) return refuse(stop_, "End of the interval: not a time");
    params_.stop_s = v;
  }
  if (segment_->isModified()) {
    if (!FieldNumber(segment_, &v) || v < 0) return refuse(segment_, "Segment length L [s]: not a number >= 0");
    params_.segment_s = v;
  }
  if (step_->isModified()) {
    if (!FieldNumber(step_, &v) || v < 0) return refuse(step_, "Random phase step [s]: not a number >= 0");
    params_.step_s = v;
  }
  if (!ParseStartValue(rng_->text(), &params_.rng_start))
    return refuse(rng_, "Random start value: not a whole number 0..4294967295");
  for (QLineEdit* e : {start_, stop_, segment_, step_}) e->setModified(false);
  params_.out_path = Ss(out_->text().trimmed());
  return true;
}

void AMPage3::Store() {
  AMErrorsParams p = params_;
  p.in_path = link_.ToStore(params_.in_path, link_.Loaded().errors.in_path);
  p.out_path = link_.ToStore(params_.out_path, link_.Loaded().errors.out_path);
  link_.Target().errors = p;
}

void AMPage3::OnRun() {
  if (Ss(in_->text().trimmed()) != params_.in_path) SetInput(Ss(in_->text().trimmed()));
  if (!CommitFields()) return;
  Store();
  if (!params_.use_phase_err && !params_.use_ampl_err) {
    services_.messages->Show(msg::kNoErrorsType);
    return;
  }
  if (params_.in_path.empty()) {
    in_->setFocus();
    services_.messages->Show("Choose the input UVX-file first.");
    return;
  }
  if (const ATableCellIssue issue = CheckErrorCells(params_.tlscs)) {
    view_->setCurrentIndex(table_->index(issue.row, issue.column));
    view_->setFocus();
    services_.messages->Show(issue.message);
    return;
  }
  if (std::string bad = params_.Validate(); !bad.empty()) {
    services_.messages->Show(bad);
    return;
  }
  if (params_.out_path.empty()) {
    params_.out_path = DefaultErrorsOutput(params_.in_path);
    default_output_ = params_.out_path;
    out_->setText(Qs(params_.out_path));
    Store();
  }
  AMSettings run = link_.Target();
  run.errors = params_;
  ATaskOutcome outcome;
  RunWithProgress(services_, this, msg::kTaskErrors, [&](ProgressSink& progress, StopFlag& stop, MessageSink& m) {
    outcome = RunTask3(run, &progress, &stop, m);
    return outcome.ok ? 1 : 0;
  });
  status_->setText(OutcomeText(outcome));
  if (!outcome.ok && !outcome.stopped) services_.messages->Show(outcome.error);
}

QWidget* MakePage3(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
                   QWidget* parent) {
  return new AMPage3(settings_path, settings, services, parent);
}
