#pragma once
// AMPage3: the "Errors" page of task 3. Input and output UVX files, the error types (phase,
// amplitude), the time interval of the errors ("Time intervals: ", the segment length, the random
// phase's step), the random start value, and the errors table AMTlscErrTbl with one row per
// telescope of the input file's AN table.
//
// Choosing an input (typed or with "Browse...") fills the table from the file's telescopes,
// keeping the values already typed for the same telescopes, and names the output after it
// ("_err" before ".uvx") unless another output was chosen. Run refuses with "Not selected Errors
// type. Please select Errors type." when no type is chosen, selects the first bad cell or field,
// then runs RunTask3 (the function `qvlmodel run` calls) on a worker thread behind AThreadPrcDlg
// with Stop; a stopped or failed run leaves no output file.

#include <QWidget>
#include <string>

#include "app/gui/err_page_util.h"
#include "app/gui/gui_services.h"

class AMTlscErrTbl;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;

class AMPage3 final : public QWidget {
  Q_OBJECT
 public:
  // `settings` is the main window's settings model, written after every change.
  AMPage3(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
          QWidget* parent = nullptr);

  QString Title() const;
  const AMErrorsParams& Params() const { return params_; }
  AMTlscErrTbl* Table() const { return table_; }
  QTableView* TableView() const { return view_; }
  QString Status() const;

  // Takes `path` as the input: the table from its telescopes, the default output name. A file that
  // does not open is reported and leaves the table as it was.
  void SetInput(const std::string& path);
  // Redraws every control from the parameters.
  void Refresh();

 public slots:
  void OnBrowseInput();
  void OnBrowseOutput();
  void OnRun();

 private:
  // Reads the fields into the parameters; false (the field focused, the message shown) when one
  // does not parse.
  bool CommitFields();
  void Store();
  void UpdateIntervalControls();

  AGuiServices services_;
  AMPageSettingsLink link_;
  AMErrorsParams params_;        // paths as used (resolved)
  std::string default_output_;   // the output named after the input, while the user keeps it

  QLineEdit* in_ = nullptr;
  QLineEdit* out_ = nullptr;
  QCheckBox* use_phase_ = nullptr;
  QCheckBox* use_ampl_ = nullptr;
  QCheckBox* whole_file_ = nullptr;
  QLineEdit* start_ = nullptr;
  QLineEdit* stop_ = nullptr;
  QLineEdit* segment_ = nullptr;
  QLineEdit* step_ = nullptr;
  QLineEdit* rng_ = nullptr;
  AMTlscErrTbl* table_ = nullptr;
  QTableView* view_ = nullptr;
  QPushButton* run_ = nullptr;
  QLabel* status_ = nullptr;
};

// The page of task 3 for the main window's page stack.
QWidget* MakePage3(const std::string& settings_path, AMSettings& settings, const AGuiServices& services,
                   QWidget* parent);
