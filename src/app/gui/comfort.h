#pragma once
// The comforts every page and dialog of the desktop program can switch on with one call:
//
//  - recent files per page, kept in the settings file in the section "QVLMODEL-RECENT"
//    (see docs/gui.md and docs/settings.md): `InstallComfort` puts the store behind the services'
//    `recent_files` / `add_recent_file` seams, `MakeRecentButton` shows the list as a menu;
//  - the last folder of each kind of file (".uvx", ".obs", ".mdl", ...) remembered by the file
//    pickers: `InstallComfort` wraps the services' `open_file` / `save_file`, so scripted tests
//    still answer every picker;
//  - a file dropped onto a field (or onto a whole page) lands in that field: `InstallFileDrop`;
//  - tables copy their selection to the clipboard as tab-separated text (Ctrl+C and a context
//    menu): `InstallTableCopy`;
//  - a page's "View..." button opens the visibility viewer through the services' `open_viewer`
//    seam: `ViewUvxFile`;
//  - plots save as PNG or PDF and print (context menu): `InstallPlotExport`; the printer is set
//    up through the services' `setup_printer` seam, so tests never open the print dialog.
//
// Every helper works with services whose comfort seams are empty: then there are no recent
// files, folders are not remembered, and the real file and print dialogs are used.

#include <QString>
#include <QStringList>
#include <functional>
#include <string>

#include "app/gui/gui_services.h"

class QAbstractItemView;
class QCustomPlot;
class QLineEdit;
class QToolButton;
class QWidget;

// ---- recent files and last folders ----------------------------------------------------------

// Points the services' recent-file and last-folder seams at the settings file `settings_path`
// (section "QVLMODEL-RECENT"), and wraps the file pickers so that each starts in the folder last
// used for the same kind of file (the first extension of the filter) and remembers the folder
// chosen. Every change is written to the file at once; other sections are kept as they stand.
void InstallComfort(AGuiServices& services, const std::string& settings_path);

// The recent files of a page ("PROCESS1" .. "PROCESS4", "VIEWER"), newest first; empty when the
// services have no store.
QStringList RecentFiles(const AGuiServices& services, const QString& page);
// Puts `path` at the top of the page's list (an existing entry moves up; the list keeps the
// newest kRecentFilesMax of app/recent_files.h).
void AddRecentFile(const AGuiServices& services, const QString& page, const QString& path);

// A "Recent" tool button whose menu lists the page's recent files each time it opens; choosing
// one calls `open(path)`. The menu says "(none)" when the list is empty.
QToolButton* MakeRecentButton(const AGuiServices& services, const QString& page,
                              std::function<void(const QString&)> open, QWidget* parent);

// ---- dropped files --------------------------------------------------------------------------

// Lets `target` accept a local file with one of `extensions` (".uvx", ".obs"; any letter case)
// dropped onto it: `accept(path)` is called with the file's path. Anything else is refused while
// it is dragged over, so the cursor shows that it would not be taken.
void InstallDropTarget(QWidget* target, const QStringList& extensions, std::function<void(const QString&)> accept);

// A file field: a dropped file with one of `extensions` replaces the field's text, then the field
// emits editingFinished so that the page commits it as if it had been typed. `area` (default: the
// field itself) is the widget that accepts the drop, for example the group box around the field.
void InstallFileDrop(QLineEdit* field, const QStringList& extensions, QWidget* area = nullptr);

// ---- tables ---------------------------------------------------------------------------------

// The selected cells of the view as tab-separated text: the rows and columns spanned by the
// selection in view order, one line per row ending in "\n", cells that are not selected empty;
// with `headers` a first line of the column headers. Empty when nothing is selected.
QString SelectionAsTsv(const QAbstractItemView* view, bool headers = false);

// Ctrl+C (the platform's copy key) and a context menu ("Copy", "Copy with headers") put
// SelectionAsTsv on the clipboard.
void InstallTableCopy(QAbstractItemView* view);

// ---- the viewer -----------------------------------------------------------------------------

// Opens the visibility viewer on `uvx_path` through the services' `open_viewer` seam (the viewer
// window, OpenVisViewer, when it is empty).
void ViewUvxFile(const AGuiServices& services, QWidget* parent, const QString& uvx_path);

// ---- plots ----------------------------------------------------------------------------------

// A context menu on the plot: "Save as PNG...", "Save as PDF...", "Print...". The file name comes
// from the services' save_file (the real dialog when empty), the printer from `setup_printer`
// (QPrintDialog when empty). The plot is drawn to fit the printer's page.
void InstallPlotExport(QCustomPlot* plot, const AGuiServices& services = {});

// The three commands of that menu, for pages that offer them elsewhere too. True on success;
// false on Cancel or when the file or printer could not be written.
bool SavePlotAs(QCustomPlot* plot, const AGuiServices& services, const QString& format /* "png"/"pdf" */);
bool PrintPlot(QCustomPlot* plot, const AGuiServices& services);
