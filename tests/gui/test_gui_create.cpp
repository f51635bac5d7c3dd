// Create on the observation page: the same UVX file as `qvlmodel configure` on the same
// observation, the review seam (a rejected plane writes nothing), Stop in either progress dialog
// leaving no file, message 304, and the temporary UV-point file gone in every case.
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QTimer>
#include <QtTest>
#include <filesystem>

#include "app/gui/page1.h"
#include "coverage/uv_plane.h"
#include "gui_test_util.h"
#include "observation/telescope_catalog.h"

namespace {

// Files of a folder with the given extension.
int CountFiles(const std::string& folder, const std::string& ext) {
  int n = 0;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    if (e.path().extension() == ext) ++n;
  return n;
}

QByteArray FileBytes(const std::string& path) {
  QFile f(QString::fromStdString(path));
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The catalogue telescopes of `names`, as an observation takes them.
void AddTelescopes(AMObservation& obs, const std::string& catalog_path, const std::vector<const char*>& names) {
  AMTlscCatalog catalog;
  LoadTelescopeFile(catalog_path, catalog);
  for (const char* n : names) obs.telescopes.Add(AMTlscItem(catalog[FindTelescope(catalog, n)]));
}

void Create(AMPage1& page) { page.findChild<QPushButton*>("createButton")->click(); }

}  // namespace

class TestCreate : public QObject {
  Q_OBJECT

 private slots:
  void createWritesTheFileThatConfigureWrites() {
    if (!QFile::exists(QVLMODEL_EXE)) QSKIP("qvlmodel is not built");
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.json")));
    std::string reviewed;
    std::int32_t reviewed_points = 0;
    page.SetReview([&](const std::string& uv_file, const AMObservation& obs) {
      reviewed = uv_file;
      AUVXHeader header;
      if (ReadUVHeader(uv_file, header)) reviewed_points = header.groups;
      return obs.output_path == folder.File("3C345_mdl.uvx");
    });
    Create(page);
    QVERIFY(desk.messages.shown.empty());
    QCOMPARE(desk.progress_runs, 2);  // the UV plane, then the file
    QVERIFY(reviewed_points > 0);
    QVERIFY(!std::filesystem::exists(reviewed));
    QCOMPARE(CountFiles(folder.base, ".$uv"), 0);
    const std::string gui = folder.File("3C345_mdl.uvx");
    QVERIFY(std::filesystem::exists(gui));
    QVERIFY(page.Status().contains(QString::number(reviewed_points)));

    QProcess configure;
    configure.start(QVLMODEL_EXE, {"configure", QString::fromStdString(folder.File("ground_space_3c345.json")), "-o",
                                   QString::fromStdString(folder.File("cli.uvx")), "--base",
                                   QString::fromStdString(folder.base)});
    QVERIFY(configure.waitForFinished(120000));
    QCOMPARE(configure.exitCode(), 0);
    const QByteArray a = FileBytes(gui), b = FileBytes(folder.File("cli.uvx"));
    QCOMPARE(a.size(), b.size());
    int first_difference = -1;
    for (int i = 0; i < a.size() && first_difference < 0; ++i)
      if (a[i] != b[i]) first_difference = i;
    QCOMPARE(first_difference, -1);  // groups, header and every table byte for byte
  }

  void aRejectedPlaneWritesNothing() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.obs")));
    std::string reviewed;
    page.SetReview([&](const std::string& uv_file, const AMObservation&) {
      reviewed = uv_file;
      return std::filesystem::exists(uv_file) ? false : true;
    });
    Create(page);
    QVERIFY(!reviewed.empty());
    QCOMPARE(desk.progress_runs, 1);
    QVERIFY(!std::filesystem::exists(reviewed));
    QCOMPARE(CountFiles(folder.base, ".uvx"), 0);
    QVERIFY(page.Status().contains("not accepted"));
  }

  // The limits of task 1 stop Create before anything runs or is written: a date before 1900.
  void aDateBefore1900IsRefusedBeforeAnythingRuns() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.json")));
    page.Document().Obs().year = 1899;
    page.Refresh();
    Create(page);
    QCOMPARE(desk.progress_runs, 0);
    QCOMPARE(int(desk.messages.shown.size()), 1);
    QVERIFY(desk.messages.shown[0].find("before 1900") != std::string::npos);
    QCOMPARE(CountFiles(folder.base, ".uvx") + CountFiles(folder.base, ".$uv"), 0);
  }

  // Stop while the UV plane is computed: pressed once the bar has moved, so the interface was
  // served while the worker ran.
  void stopDuringTheUvPlaneLeavesNoFile() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    AMObservation& obs = page.Document().Obs();
    obs.ra_time_s = 60000;
    obs.dec_arcsec = 140000;
    obs.time_step_s = 1;
    obs.intervals.Add({0, 86400, 1, 0});
    AddTelescopes(obs, folder.File("Telescopes.dat"),
                  {"VLBA_BR", "VLBA_FD", "VLBA_HN", "VLBA_KP", "VLBA_LA", "VLBA_MK", "VLBA_NL", "VLBA_OV", "VLBA_PT",
                   "VLBA_SC", "Effelsberg"});
    obs.output_path = folder.File("stopped.uvx");
    page.Refresh();
    int bar_when_stopped = 0;
    desk.progress = [&](AThreadPrcDlg& d) {
      QTimer poll;
      poll.setInterval(2);
      QObject::connect(&poll, &QTimer::timeout, [&] {
        if (d.BarValue() > 0 && d.StopButton()->isEnabled()) {
          bar_when_stopped = d.BarValue();
          QTest::mouseClick(d.StopButton(), Qt::LeftButton);
        }
      });
      poll.start();
      return d.exec();
    };
    bool reviewed = false;
    page.SetReview([&](const std::string&, const AMObservation&) { return reviewed = true; });
    Create(page);
    QVERIFY(bar_when_stopped > 0);
    QVERIFY(bar_when_stopped < AQtProgress::kBarSteps);
    QVERIFY(!reviewed);
    QCOMPARE(desk.progress_runs, 1);
    QCOMPARE(CountFiles(folder.base, ".$uv"), 0);
    QVERIFY(!std::filesystem::exists(folder.File("stopped.uvx")));
    QCOMPARE(page.Status(), QString("Stopped; nothing written."));
    QVERIFY(desk.messages.shown.empty());
  }

  // Stop in the second dialog, while the UVX file is written.
  void stopWhileWritingLeavesNoFile() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.json")));
    desk.progress = [&desk](AThreadPrcDlg& d) {
      if (desk.progress_runs == 2) d.StopButton()->click();  // before the writing has begun
      return d.exec();
    };
    Create(page);
    QCOMPARE(desk.progress_runs, 2);
    QVERIFY(!std::filesystem::exists(folder.File("3C345_mdl.uvx")));
    QCOMPARE(CountFiles(folder.base, ".$uv"), 0);
    QCOMPARE(CountFiles(folder.base, ".part"), 0);
    QCOMPARE(page.Status(), QString("Stopped; nothing written."));
  }

  // The plausibility checks of the command line: an error stops before anything is computed.
  void implausibleValuesStopBeforeTheComputation() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.json")));
    AMTlscItem& br = page.Document().Obs().telescopes[0];
    for (int i = 0; i < 3; ++i) br.params[i] /= 1000.0;  // kilometres typed as metres
    Create(page);
    QCOMPARE(desk.messages.shown.size(), size_t(1));
    QVERIFY(desk.messages.shown[0].rfind("telescope BR: the station lies", 0) == 0);
    QCOMPARE(desk.progress_runs, 0);
    QVERIFY(!std::filesystem::exists(folder.File("3C345_mdl.uvx")));
  }

  // Two southern telescopes never see a far northern source: message 304 with the count.
  void noPointShowsMessage304() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    AMObservation& obs = page.Document().Obs();
    obs.dec_arcsec = 80 * 3600.0;
    obs.intervals.Add({0, 86400, 1, 0});
    AddTelescopes(obs, folder.File("Telescopes.dat"), {"ATCA", "Parkes"});
    obs.output_path = folder.File("none.uvx");
    page.Refresh();
    Create(page);
    QCOMPARE(desk.messages.shown.size(), size_t(1));
    QCOMPARE(desk.messages.shown[0], std::string("Small points. Resulting UV-points < 1.(0)"));
    QCOMPARE(CountFiles(folder.base, ".$uv"), 0);
    QVERIFY(!std::filesystem::exists(folder.File("none.uvx")));
  }
};

QTEST_MAIN(TestCreate)
#include "test_gui_create.moc"
