#pragma once
// AMPage4: the "Sensitivity modeling" page of task 4. Input and output UVX files, "Scan duration
// [s]: ", "Bandwidth [Hz]: ", "Apply", the SEFD table AMTlscSfdTbl (one row per telescope of the
// input file's AN table, one column "SEFD IF%d" per IF), the noise options kept in the settings
// (Gaussian noise with its correlator efficiency, thermal weights) and the random start value.
//
// Choosing an input fills the table from the file's telescopes and IFs (keeping the values typed
// for the same telescopes) and names the output "_snt" before ".uvx" unless another output was
// chosen. "Apply" copies the SEFDs of the current row (the first row when none is current) into
// every row. Run checks the fields and cells (selecting the first bad one), then runs RunTask4 on
// a worker thread behind AThreadPrcDlg with Stop; a stopped or failed run leaves no output file.

#include <QWidget>
#include <string>

#include "app/gui/err_page_util.h"
#include "app/gui/gui_services.h"

class AMTlscSfdTbl;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;

class AMPage4 final : public QWidget {
  Q_OBJECT
 public:
  AMPage4(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
          QWidget* parent = nullptr);

  QString Title() const;
  const AMNoiseParams& Params() const { return params_; }
  AMTlscSfdTbl* Table() const { return table_; }
  QTableView* TableView() const { return view_; }
  QString Status() const;

  void SetInput(const std::string& path);
  void Refresh();

 public slots:
  void OnBrowseInput();
  void OnBrowseOutput();
  void OnApply();
  void OnRun();

 private:
  bool CommitFields();
  void Store();

  AGuiServices services_;
  AMPageSettingsLink link_;
  AMNoiseParams params_;
  std::string default_output_;

  QLineEdit* in_ = nullptr;
  QLineEdit* out_ = nullptr;
  QLineEdit* duration_ = nullptr;
  QLineEdit* bandwidth_ = nullptr;
  QPushButton* apply_ = nullptr;
  QCheckBox* gaussian_ = nullptr;
  QLineEdit* efficiency_ = nullptr;
  QCheckBox* weights_ = nullptr;
  QLineEdit* rng_ = nullptr;
  AMTlscSfdTbl* table_ = nullptr;
  QTableView* view_ = nullptr;
  QPushButton* run_ = nullptr;
  QLabel* status_ = nullptr;
};

QWidget* MakePage4(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
                   QWidget* parent);
