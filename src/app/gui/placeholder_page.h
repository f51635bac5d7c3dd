#pragma once
// The page of a task whose desktop page is still to come: it names the task and says how to run
// it meanwhile. Its settings are kept by the main window all the same.

#include <QWidget>

class AMPlaceholderPage final : public QWidget {
  Q_OBJECT
 public:
  // `task` is 2..4; `name` the task's name ("Source modeling", ...).
  AMPlaceholderPage(int task, const QString& name, QWidget* parent = nullptr);
  QString Title() const;

 private:
  QString name_;
};
