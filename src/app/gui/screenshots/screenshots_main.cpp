// qvlmodel-screenshots OUT_DIR [DATA_DIR]: writes a PNG of every shot (shots.h) into OUT_DIR.
// DATA_DIR (default: the folder of the executable, where the build copies data/) provides the
// catalogues and the example observation; they are copied to a temporary base folder first, so
// the shots never change the shipped files.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPixmap>
#include <QTemporaryDir>
#include <cstdio>
#include <filesystem>

#include "app/gui/create_screenshots.h"
#include "app/gui/screenshots/shots.h"
#include "core/paths.h"

namespace {

void Settle(int rounds = 5) {
  for (int i = 0; i < rounds; ++i) QApplication::processEvents();
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  if (argc < 2) {
    std::fprintf(stderr, "usage: qvlmodel-screenshots OUT_DIR [DATA_DIR]\n");
    return 2;
  }
  const std::string out_dir = argv[1];
  const std::string data_dir = argc > 2 ? std::string(argv[2]) + "/" : getExePath();
  QTemporaryDir temp;
  if (!temp.isValid()) return 1;
  namespace fs = std::filesystem;
  std::error_code ec;
  const std::string base = temp.path().toStdString() + "/";
  for (const char* f : {"Telescopes.dat", "Sources.dat"}) fs::copy_file(data_dir + f, base + f, ec);
  fs::copy(data_dir + "examples", base + "examples", fs::copy_options::recursive, ec);
  fs::create_directories(out_dir, ec);

  AShotContext ctx;
  ctx.base_folder = base;
  ctx.example_obs = base + "examples/ground_space_3c345.json";
  ctx.services.messages = &ctx.messages;
  ctx.services.open_file = [](QWidget*, const QString&, const QString&, const QString&) { return QString(); };
  ctx.services.save_file = ctx.services.open_file;
  ctx.services.run_dialog = [](QDialog&) { return 0; };

  AShotList shots;
  AddShellShots(shots);
  AddErrorsShots(shots);
  AddViewerShots(shots);
  AddModelShots(shots);
  int written = 0;
  for (const AShot& shot : shots) {
    std::unique_ptr<QWidget> w = shot.make(ctx);
    w->show();
    Settle();
    if (shot.after_show) shot.after_show(*w);
    Settle();
    const std::string path = out_dir + "/" + shot.file;
    if (w->grab().save(QString::fromStdString(path), "PNG")) {
      ++written;
      std::printf("%s\n", path.c_str());
    } else {
      std::fprintf(stderr, "qvlmodel-screenshots: cannot write %s\n", path.c_str());
    }
    if (shot.before_close) shot.before_close(*w);
    w->hide();
  }
  // The UV-plane dialog and the orbit view on the example's real UV points.
  const QStringList more = MakeCreateScreenshots(QString::fromStdString(out_dir), QString::fromStdString(base));
  for (const QString& f : more) std::printf("%s\n", f.toStdString().c_str());
  return written == int(shots.size()) && more.size() == 4 ? 0 : 1;
}
