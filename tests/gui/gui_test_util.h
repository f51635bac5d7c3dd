#pragma once
// Shared pieces of the desktop tests: a base folder holding copies of the shipped catalogues and
// example, and scripted desktop services. Messages are recorded; file pickers answer from queues;
// modal dialogs are handed to queued handlers that fill them and press OK or Cancel; progress
// dialogs run for real (their work ends by itself) unless a handler is set for them.

#include <QApplication>
#include <QDialog>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QTemporaryDir>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "app/gui/gui_services.h"
#include "app/gui/progress_dialog.h"
#include "core/runtime.h"

struct AGuiTestFolder {
  QTemporaryDir dir;
  std::string base;  // ending with '/'
  AGuiTestFolder() {
    base = dir.path().toStdString() + "/";
    namespace fs = std::filesystem;
    const std::string data = QVL_SOURCE_DATA;
    for (const char* f : {"Telescopes.dat", "Sources.dat"}) fs::copy_file(data + "/" + f, base + f);
    for (const char* f : {"ground_space_3c345.json", "ground_space_3c345.obs", "QvlModel.ini", "core_jet.mdl"})
      fs::copy_file(data + "/examples/" + f, base + f);
  }
  std::string File(const std::string& name) const { return base + name; }
};

struct AScriptedDesktop {
  MessageRecorder messages;
  std::deque<QString> open_answers, save_answers;  // empty string: Cancel
  std::vector<QString> file_titles;                // titles of the file pickers asked
  std::vector<QString> file_filters;               // and their filters
  std::deque<std::function<int(QDialog&)>> dialogs;
  std::vector<QString> dialog_titles;              // titles of the modal dialogs run
  std::function<int(AThreadPrcDlg&)> progress;     // optional: drives progress dialogs
  int progress_runs = 0;

  AGuiServices Services() {
    AGuiServices s;
    s.messages = &messages;
    s.open_file = [this](QWidget*, const QString& title, const QString&, const QString& filter) {
      file_titles.push_back(title);
      file_filters.push_back(filter);
      if (open_answers.empty()) return QString();
      const QString a = open_answers.front();
      open_answers.pop_front();
      return a;
    };
    s.save_file = [this](QWidget*, const QString& title, const QString&, const QString& filter) {
      file_titles.push_back(title);
      file_filters.push_back(filter);
      if (save_answers.empty()) return QString();
      const QString a = save_answers.front();
      save_answers.pop_front();
      return a;
    };
    s.run_dialog = [this](QDialog& d) {
      if (auto* p = qobject_cast<AThreadPrcDlg*>(&d)) {
        ++progress_runs;
        return progress ? progress(*p) : d.exec();
      }
      dialog_titles.push_back(d.windowTitle());
      if (dialogs.empty()) return int(QDialog::Rejected);  // an unexpected dialog is cancelled
      auto handler = std::move(dialogs.front());
      dialogs.pop_front();
      return handler(d);
    };
    return s;
  }

  // Queues a handler for the next modal dialog of type D.
  template <class D>
  void Next(std::function<int(D&)> fill) {
    dialogs.push_back([fill](QDialog& d) {
      auto* typed = qobject_cast<D*>(&d);
      return typed ? fill(*typed) : int(QDialog::Rejected);
    });
  }
};

// Presses OK: the dialog's own accept() runs its checks; the result says whether it closed.
inline int PressOk(QDialog& d) {
  d.setResult(QDialog::Rejected);
  d.accept();
  return d.result();
}

// Drops a local file onto `target` as a file manager does: the drag enters, and the file is
// dropped only when the target accepted the drag. True when it was accepted.
inline bool DropFile(QWidget* target, const QString& path) {
  QMimeData mime;
  mime.setUrls({QUrl::fromLocalFile(path)});
  QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(target, &enter);
  if (!enter.isAccepted()) return false;
  QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(target, &drop);
  return drop.isAccepted();
}

// The visibility viewer's seam: records the files the pages ask it to show, opens no window.
struct AViewerRecorder {
  std::vector<QString> shown;
  void Install(AGuiServices& s) {
    s.open_viewer = [this](QWidget*, const QString& path) { shown.push_back(path); };
  }
};
