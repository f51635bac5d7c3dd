#pragma once
// What the windows of the desktop program ask of the desktop: message boxes and questions, file
// pickers, and running a modal dialog. The program uses the real ones; the tests hand in a
// message recorder, scripted file answers and a dialog runner that fills a dialog and presses
// its buttons, so that nothing blocks.

#include <QString>
#include <QStringList>
#include <functional>

#include "core/runtime.h"

class QDialog;
class QPrinter;
class QWidget;

struct AGuiServices {
  // Messages and questions of the interface thread.
  MessageSink* messages = nullptr;
  // File pickers: (parent, title, initial name, Qt filter) -> chosen path, empty on Cancel.
  std::function<QString(QWidget*, const QString&, const QString&, const QString&)> open_file;
  std::function<QString(QWidget*, const QString&, const QString&, const QString&)> save_file;
  // Runs a modal dialog to its end and returns its result (QDialog::Accepted / Rejected).
  std::function<int(QDialog&)> run_dialog;

  // Comfort seams (app/gui/comfort.h; empty: none). The recent files of a page ("PROCESS1", ...,
  // newest first) and adding one; setting up a printer before a plot is printed (true: print).
  std::function<QStringList(const QString& page)> recent_files;
  std::function<void(const QString& page, const QString& path)> add_recent_file;
  std::function<bool(QWidget*, QPrinter&)> setup_printer;
  // Opening the visibility viewer on a UVX file from a page's "View..." button (empty: the viewer
  // window itself, OpenVisViewer).
  std::function<void(QWidget* parent, const QString& uvx_path)> open_viewer;
};

// The real desktop: message boxes (a parentless QMessageBox titled "QVLModel"), QFileDialog,
// QDialog::exec. `messages` must outlive the services.
AGuiServices DesktopServices(MessageSink& messages);

// Turns a filter of the classic form "Label (*.OBS)|*.obs|All files (*.*)|*.*||" into Qt's
// "Label (*.obs *.OBS);;All files (*)".
QString QtFileFilter(const char* classic_filter);

// UTF-8 conversions between the core's std::string and Qt.
inline QString Qs(const std::string& s) { return QString::fromStdString(s); }
inline std::string Ss(const QString& s) { return s.toStdString(); }
