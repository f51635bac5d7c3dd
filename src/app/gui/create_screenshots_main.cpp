// Writes the pictures of the UV-plane dialog and the orbit view: qvl_create_screenshots [DIR]
// (default docs/screenshots). Runs without a display.
#include <QApplication>

#include "app/gui/create_screenshots.h"

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/screenshots");
  AddCreateScreenshots(dir);
  return 0;
}
