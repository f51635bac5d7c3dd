// qvlmodel-gui: the desktop program. Options: --base DIR (the folder of the catalogues and the
// settings file, as for qvlmodel), --settings FILE (another settings file). With a FILE.uvx
// argument only the visibility viewer opens, on that file.
#include <QApplication>
#include <QCommandLineParser>

#include "app/gui/comfort.h"
#include "app/gui/gui_services.h"
#include "app/gui/main_window.h"
#include "app/gui/qt_sinks.h"
#include "app/gui/vis_viewer.h"
#include "app/settings_store.h"
#include "core/paths.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("QVLModel");
  QCommandLineParser parser;
  parser.setApplicationDescription("QVLModel: VLBI observation simulator");
  parser.addHelpOption();
  const QCommandLineOption base({"b", "base"}, "Folder of Telescopes.dat, Sources.dat and QvlModel.ini.", "DIR");
  const QCommandLineOption settings({"s", "settings"}, "Settings file (default: QvlModel.ini in the base folder).",
                                    "FILE");
  parser.addOption(base);
  parser.addOption(settings);
  parser.addPositionalArgument("file", "A UVX file to show in the visibility viewer.", "[FILE.uvx]");
  parser.process(app);

  const std::string folder = BaseFolder(parser.value(base).toStdString());
  const std::string settings_path =
      parser.isSet(settings) ? parser.value(settings).toStdString() : SettingsPath(folder);
  AQtMessages messages;
  AGuiServices services = DesktopServices(messages);
  InstallComfort(services, settings_path);
  const QStringList files = parser.positionalArguments();
  if (!files.isEmpty() && files.front().endsWith(".uvx", Qt::CaseInsensitive)) {
    AMVisViewer viewer(services);
    messages.SetParent(&viewer);
    viewer.Open(files.front());
    viewer.show();
    return app.exec();
  }
  AMMainFrame frame(folder, settings_path, services);
  messages.SetParent(&frame);
  frame.show();
  return app.exec();
}
