#pragma once
// Pieces the "Errors" and "Sensitivity modeling" pages share: their settings link to the main
// window's settings model, the file rows with "Browse...", number fields with a unit tool tip, and
// the text of a run's outcome.
//
// Settings: a page reads its section from the settings file itself when it is built (the main
// window loads the same file with the same rules right after), and writes its whole state into the
// main window's settings model after every change, so the window's closing writes it. Paths that
// still name the file read at start-up keep their stored text (a relative path stays relative).

#include <QString>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "app/gui/gui_services.h"
#include "app/settings_store.h"
#include "app/task_runner.h"

class QGridLayout;
class QLineEdit;
class QPushButton;
class QWidget;

// The UVX file filter of both pages.
inline constexpr const char* kUvxFileFilter = "QVL UVX-file (*.UVX)|*.uvx|All files (*.*)|*.*||";

class AMPageSettingsLink {
 public:
  AMPageSettingsLink(const std::string& settings_path, AMSettings& target);

  // The settings as the main window will load them (tasks 3 and 4 only when their input opens).
  const AMSettings& Loaded() const { return loaded_; }
  // A path of the settings as the program uses it (relative ones from the settings folder).
  std::string Resolved(const std::string& stored) const;
  // The text to store for a path the page uses: the stored text while it still names that file.
  std::string ToStore(const std::string& used, const std::string& stored) const;
  AMSettings& Target() { return target_; }

 private:
  std::string settings_path_;
  AMSettings& target_;
  AMSettings loaded_;
};

struct AFileField {
  QLineEdit* edit = nullptr;
  QPushButton* browse = nullptr;
  QPushButton* view = nullptr;  // "View...": the visibility viewer on the field's file
};
// "label [path] [Browse...] [View...]" in row `row` of a grid; a .uvx file dropped onto the field
// lands in it (InstallFileDrop).
AFileField AddFileField(QGridLayout* grid, int row, const QString& label, const QString& tip, QWidget* parent);
// The comforts of the two file rows of a task page: "View..." opens the viewer on the field's
// file, and a "Recent" button (column 4 of the input row) lists the page's recent input files
// ("PROCESS3", "PROCESS4"); choosing one calls `open_input`.
void InstallFileComfort(QGridLayout* grid, const AFileField& in, const AFileField& out, const AGuiServices& services,
                        const QString& page, QWidget* parent, std::function<void(const QString&)> open_input);
// The input and output rows of a task page (rows 0 and 1 of `grid`) with their object names
// ("inputEdit", "outputEdit", "browseInput", "browseOutput"), comforts (InstallFileComfort for
// `page`) and actions: the Browse buttons call `browse_input` / `browse_output`; an input typed
// and left, dropped or chosen from the recent files calls `set_input` with the path when it
// changed; an output typed and left calls `set_output`.
struct AUvxFileRows {
  std::function<std::string()> current_input;
  std::function<void(const std::string&)> set_input, set_output;
  std::function<void()> browse_input, browse_output;
};
void AddUvxFileRows(QGridLayout* grid, const QString& in_tip, const QString& out_tip, const AGuiServices& services,
                    const QString& page, QWidget* parent, const AUvxFileRows& rows, QLineEdit** in_edit,
                    QLineEdit** out_edit);
// "label [number]" at (row, column pair); the tool tip names the unit.
QLineEdit* AddNumberField(QGridLayout* grid, int row, int column, const QString& label, const QString& tip,
                          QWidget* parent);

// The text of a double in a field, and the number a field holds (non-zero when it parses).
QString NumberText(double v);
int FieldNumber(const QLineEdit* edit, double* value);

// The random start value of a field: empty for none (the clock), else a whole number
// 0..4294967295; false when the text is neither.
bool ParseStartValue(const QString& text, std::optional<std::uint32_t>* value);
QString StartValueText(const std::optional<std::uint32_t>& value);

// One line about a finished run for the page's status line.
QString OutcomeText(const ATaskOutcome& outcome);
