#include "app/gui/placeholder_page.h"

#include <QLabel>
#include <QVBoxLayout>

AMPlaceholderPage::AMPlaceholderPage(int task, const QString& name, QWidget* parent) : QWidget(parent), name_(name) {
  setObjectName(QString("page%1").arg(task));
  auto* heading = new QLabel(QString("<h2>Task %1: %2</h2>").arg(task).arg(name), this);
  static const char* commands[] = {"", "", "qvlmodel model", "qvlmodel errors", "qvlmodel noise"};
  auto* text = new QLabel(
      QString("The desktop page of this task is not built yet. Its settings in QvlModel.ini are kept "
              "as they are and written back on closing.<br><br>Run the task from the command line "
              "meanwhile: <tt>%1</tt>, or the whole chain with <tt>qvlmodel run</tt>.")
          .arg(commands[task]),
      this);
  text->setWordWrap(true);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(heading);
  layout->addWidget(text);
  layout->addStretch();
}

QString AMPlaceholderPage::Title() const { return name_ + " - QVLModel"; }
