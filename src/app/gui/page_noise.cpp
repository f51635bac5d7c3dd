#include "app/gui/page_noise.h"

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
#include "errors/errors_messages.h"
#include "errors/tlsc_rows.h"

AMPage4::AMPage4(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
                 QWidget* parent)
    : QWidget(parent), services_(services), link_(settings_path, settings) {
  setObjectName("page4");
  params_ = link_.Loaded().noise;
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
  AddUvxFileRows(files, "UVX file to which the noise is added (path of a .uvx file)",
                 "UVX file written (path of a .uvx file; default: the input with _snt)", services_, "PROCESS4", this, rows,
                 &in_, &out_);

  auto* noise = new QGroupBox("Noise", this);
  auto* ng = new QGridLayout(noise);
  duration_ = AddNumberField(ng, 0, 0, "Scan duration [s]: ", "Scan duration T [s]", noise);
  bandwidth_ = AddNumberField(ng, 0, 2, "Bandwidth [Hz]: ", "Bandwidth B [Hz]", noise);
  apply_ = new QPushButton("Apply", noise);
  apply_->setObjectName("applyButton");
  apply_->setToolTip("Copy the SEFDs of the current row (Jy) into every row of the table");
  ng->addWidget(apply_, 0, 4);
  gaussian_ = new QCheckBox("Gaussian noise", noise);
  gaussian_->setToolTip("Independent Gaussian noise on the real and imaginary parts instead of a fixed amplitude");
  efficiency_ = AddNumberField(ng, 1, 2, "Correlator efficiency: ",
                               "Correlator efficiency eta of the Gaussian noise, 0 < eta <= 1 (no unit)", noise);
  ng->addWidget(gaussian_, 1, 0, 1, 2);
  weights_ = new QCheckBox("Thermal weights", noise);
  weights_->setToolTip("Set each weight to 1/sigma^2 [1/Jy^2] of the thermal noise; off keeps the weights");
  ng->addWidget(weights_, 2, 0, 1, 2);
  rng_ = AddNumberField(ng, 2, 2, "Random start value: ",
                        "Initial value of the random generators, 0 to 4294967295 (no unit); empty: the clock", noise);
  duration_->setObjectName("scanDuration");
  bandwidth_->setObjectName("bandwidth");
  gaussian_->setObjectName("gaussian");
  efficiency_->setObjectName("efficiency");
  weights_->setObjectName("thermalWeights");
  rng_->setObjectName("randomStart");
  ng->setColumnStretch(5, 1);
  connect(apply_, &QPushButton::clicked, this, &AMPage4::OnApply);
  connect(gaussian_, &QCheckBox::toggled, this, [this](bool on) {
    params_.gaussian = on;
    efficiency_->setEnabled(on);
    Store();
  });
  connect(weights_, &QCheckBox::toggled, this, [this](bool on) {
    params_.thermal_weights = on;
    Store();
  });
  for (QLineEdit* e : {duration_, bandwidth_, efficiency_, rng_})
    connect(e, &QLineEdit::editingFinished, this, [this] {
      if (CommitFields()) Store();
    });

  table_ = new AMTlscSfdTbl(params_.sfd.items, params_.sfd.n_if, this);
  view_ = new QTableView(this);
  view_->setObjectName("sefdTable");
  view_->setModel(table_);
  view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  InstallTableCopy(view_);
  view_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  connect(table_, &AMTlscSfdTbl::edited, this, [this] { Store(); });
  connect(table_, &AMTlscSfdTbl::cellRefused, this, [this](int row, int column, const QString& message) {
    view_->setCurrentIndex(table_->index(row, column));
    services_.messages->Show(Ss(message));
  });

  run_ = new QPushButton("Run", this);
  run_->setObjectName("runButton");
  run_->setToolTip("Add the thermal noise: copy the input UVX file to the output with noise from the SEFDs");
  connect(run_, &QPushButton::clicked, this, &AMPage4::OnRun);
  status_ = new QLabel(this);
  status_->setObjectName("status");
  status_->setWordWrap(true);

  auto* heading = new QLabel(QString("<h2>%1</h2>").arg(msg::kTaskSensitivity), this);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(status_, 1);
  bottom->addWidget(run_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(heading);
  layout->addLayout(files);
  layout->addWidget(noise);
  layout->addWidget(view_, 1);
  layout->addLayout(bottom);

  if (params_.sfd.items.GetSize() == 0 && !params_.in_path.empty()) {
    std::string error;
    AObjArray<AMSfdItem> rows;
    int n_if = 0;
    if (SefdRowsFromFile(params_.in_path, {}, rows, &n_if, &error)) {
      params_.sfd.items = rows;
      params_.sfd.n_if = n_if;
    }
  }
  // An output not chosen yet is named after the input.
  if (!params_.in_path.empty() && params_.out_path.empty()) params_.out_path = DefaultNoiseOutput(params_.in_path);
  if (!params_.in_path.empty() && params_.out_path == DefaultNoiseOutput(params_.in_path))
    default_output_ = params_.out_path;
  setWindowTitle(Title());  // the main window shows it while this page is current
  Refresh();
}

QString AMPage4::Title() const { return QString(msg::kTaskSensitivity) + " - QVLModel"; }
QString AMPage4::Status() const { return status_->text(); }

void AMPage4::Refresh() {
  const QSignalBlocker b1(gaussian_), b2(weights_);
  in_->setText(Qs(params_.in_path));
  out_->setText(Qs(params_.out_path));
  duration_->setText(NumberText(params_.sfd.duration_s));
  bandwidth_->setText(NumberText(params_.sfd.bandwidth_hz));
  gaussian_->setChecked(params_.gaussian);
  efficiency_->setText(NumberText(params_.efficiency));
  efficiency_->setEnabled(params_.gaussian);
  weights_->setChecked(params_.thermal_weights);
  rng_->setText(StartValueText(params_.rng_start));
  table_->Reload();
}

void AMPage4::SetInput(const std::string& path) {
  if (!path.empty()) {
    std::string error;
    AObjArray<AMSfdItem> rows;
    int n_if = 0;
    if (!SefdRowsFromFile(path, params_.sfd.items, rows, &n_if, &error)) {
      services_.messages->Show(error);
      in_->setText(Qs(params_.in_path));
      return;
    }
    params_.sfd.items = rows;
    params_.sfd.n_if = n_if;
  }
  params_.in_path = path;
  AddRecentFile(services_, "PROCESS4", Qs(path));
  if (params_.out_path.empty() || params_.out_path == default_output_) {
    params_.out_path = path.empty() ? std::string() : DefaultNoiseOutput(path);
    default_output_ = params_.out_path;
  }
  Refresh();
  Store();
}

void AMPage4::OnBrowseInput() {
  const QString chosen = services_.open_file(this, "Input UVX-file", Qs(params_.in_path), QtFileFilter(kUvxFileFilter));
  if (!chosen.isEmpty()) SetInput(Ss(chosen));
}

void AMPage4::OnBrowseOutput() {
  const QString chosen =
      services_.save_file(this, "Output UVX-File", Qs(params_.out_path), QtFileFilter(kUvxFileFilter));
  if (chosen.isEmpty()) return;
  QString path = chosen;
  if (!path.contains('.')) path += ".uvx";
  params_.out_path = Ss(path);
  out_->setText(path);
  Store();
}

void AMPage4::OnApply() {
  const QModelIndex current = view_->currentIndex();
  const int from = current.isValid() ? current.row() : 0;
  if (FillSefdRows(params_.sfd.items, params_.sfd.n_if, from) == 0) return;
  table_->Reload();
  view_->setCurrentIndex(table_->index(from, current.isValid() ? current.column() : 0));
  Store();
}

bool AMPage4::CommitFields() {
  auto refuse = [this](QLineEdit* field, const QString& what) {
    field->setFocus();
    field->selectAll();
    services_.messages->Show(Ss(what + ": \"" + field->text() + "\""));
    return false;
  };
  double v = 0;
  if (!FieldNumber(duration_, &v) || v < 0) return refuse(duration_, "Scan duration [s]: not a number >= 0");
  params_.sfd.duration_s = v;
  if (!FieldNumber(bandwidth_, &v) || v < 0) return refuse(bandwidth_, "Bandwidth [Hz]: not a number >= 0");
  params_.sfd.bandwidth_hz = v;
  if (!FieldNumber(efficiency_, &v)) return refuse(efficiency_, "Correlator efficiency: not a number");
  params_.efficiency = v;
  if (!ParseStartValue(rng_->text(), &params_.rng_start))
    return refuse(rng_, "Random start value: not a whole number 0..4294967295");
  params_.out_path = Ss(out_->text().trimmed());
  return true;
}

void AMPage4::Store() {
  AMNoiseParams p = params_;
  p.in_path = link_.ToStore(params_.in_path, link_.Loaded().noise.in_path);
  p.out_path = link_.ToStore(params_.out_path, link_.Loaded().noise.out_path);
  link_.Target().noise = p;
}

void AMPage4::OnRun() {
  if (Ss(in_->text().trimmed()) != params_.in_path) SetInput(Ss(in_->text().trimmed()));
  if (!CommitFields()) return;
  Store();
  if (params_.in_path.empty()) {
    in_->setFocus();
    services_.messages->Show("Choose the input UVX-file first.");
    return;
  }
  auto refuse_field = [this](QLineEdit* field, const std::string& message) {
    field->setFocus();
    services_.messages->Show(message);
  };
  if (!(params_.sfd.duration_s > 0)) return refuse_field(duration_, "the scan duration must be > 0");
  if (!(params_.sfd.bandwidth_hz > 0)) return refuse_field(bandwidth_, "the bandwidth must be > 0");
  if (const ATableCellIssue issue = CheckSefdCells(params_.sfd.items, params_.sfd.n_if)) {
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
    params_.out_path = DefaultNoiseOutput(params_.in_path);
    default_output_ = params_.out_path;
    out_->setText(Qs(params_.out_path));
    Store();
  }
  AMSettings run = link_.Target();
  run.noise = params_;
  ATaskOutcome outcome;
  RunWithProgress(services_, this, msg::kTaskSensitivity, [&](ProgressSink& progress, StopFlag& stop, MessageSink& m) {
    outcome = RunTask4(run, &progress, &stop, m);
    return outcome.ok ? 1 : 0;
  });
  status_->setText(OutcomeText(outcome));
  if (!outcome.ok && !outcome.stopped) services_.messages->Show(outcome.error);
}

QWidget* MakePage4(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
                   QWidget* parent) {
  return new AMPage4(settings_path, settings, services, parent);
}
