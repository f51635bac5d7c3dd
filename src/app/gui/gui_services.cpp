#include "app/gui/gui_services.h"

#include <QDialog>
#include <QFileDialog>
#include <QStringList>

AGuiServices DesktopServices(MessageSink& messages) {
  AGuiServices s;
  s.messages = &messages;
  s.open_file = [](QWidget* parent, const QString& title, const QString& initial, const QString& filter) {
    return QFileDialog::getOpenFileName(parent, title, initial.startsWith('*') ? QString() : initial, filter);
  };
  s.save_file = [](QWidget* parent, const QString& title, const QString& initial, const QString& filter) {
    // No overwrite prompt: saving over the current file is the ordinary case.
    return QFileDialog::getSaveFileName(parent, title, initial.startsWith('*') ? QString() : initial, filter,
                                        nullptr, QFileDialog::DontConfirmOverwrite);
  };
  s.run_dialog = [](QDialog& dialog) { return dialog.exec(); };
  return s;
}

QString QtFileFilter(const char* classic_filter) {
  const QStringList parts = QString::fromLatin1(classic_filter).split('|', Qt::SkipEmptyParts);
  QStringList filters;
  for (int i = 0; i + 1 < parts.size(); i += 2) {
    QString label = parts[i];
    const int paren = label.indexOf(" (");
    if (paren >= 0) label.truncate(paren);
    QString pattern = parts[i + 1];
    if (pattern == "*.*") {
      pattern = "*";
    } else if (pattern.toUpper() != pattern) {
      pattern += ' ' + pattern.toUpper();  // file names are case-sensitive here
    }
    filters << label + " (" + pattern + ")";
  }
  return filters.join(";;");
}
