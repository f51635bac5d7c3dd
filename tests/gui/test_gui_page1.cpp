// The "VLBI configuration" page driven through its widgets: every command edits the observation,
// Save As writes a file that the command line reads back, New and Open ask before changes are
// given up, and Create's checks appear in their order with the offending cell or field selected.
#include <QCheckBox>
#include <QDateEdit>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTableView>
#include <QtTest>

#include "app/gui/freq_setup_view.h"
#include "app/gui/input_dialogs.h"
#include "app/gui/page1.h"
#include "app/gui/src_select_dialog.h"
#include "app/gui/tlsc_select_dialog.h"
#include "core/file.h"
#include "gui_test_util.h"
#include "observation/source_catalog.h"

namespace {

QPushButton* ButtonOf(QWidget& w, const char* name) { return w.findChild<QPushButton*>(name); }

QTableView* ViewOf(QWidget& w, const char* name) { return w.findChild<QTableView*>(name); }

int RowOf(QTableView* view, const QString& text) {
  for (int r = 0; r < view->model()->rowCount(); ++r)
    if (view->model()->index(r, 0).data().toString() == text) return r;
  return -1;
}

std::string Bytes(const AMObservation& o) {
  AMemoryFile f;
  o.Store(f);
  return f.Bytes();
}

}  // namespace

class TestPage1 : public QObject {
  Q_OBJECT

 private slots:
  void commandsEditAnObservationThatTheCommandLineReadsBack() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.json")));
    QSignalSpy titles(&page, &AMPage1::titleChanged);

    // "..." source: the other name of 3C84; the output file follows the source.
    AMSourceCatalog sources;
    QVERIFY(LoadSourceFile(folder.File("Sources.dat"), sources, nullptr));
    const int row_3c84 = FindSource(sources, "3C84");
    desk.Next<AMSrcSelectDlg>([row_3c84](AMSrcSelectDlg& d) {
      d.SelectRow(row_3c84);
      d.SetUseOtherName(true);
      return PressOk(d);
    });
    ButtonOf(page, "sourceButton")->click();
    const AMObservation& o = page.Document().Obs();
    QCOMPARE(o.source_name, std::string("J0319+4130"));
    QCOMPARE(o.output_path, std::string("J0319+4130_mdl.uvx"));
    QCOMPARE(page.findChild<QLineEdit*>("raEdit")->text(), QString("03:19:48.1601"));
    QVERIFY(page.Document().IsModified());
    QVERIFY(!titles.isEmpty());

    // Date and time step, with a refused step first.
    desk.Next<AMDateDlg>([](AMDateDlg& d) {
      d.Editor()->setDate(QDate(2026, 3, 1));
      return PressOk(d);
    });
    ButtonOf(page, "dateButton")->click();
    QCOMPARE(page.findChild<QLabel*>("dateLabel")->text(), QString("01.03.2026"));
    desk.Next<AMValueDlg>([](AMValueDlg& d) {
      d.Editor()->setText("-5");
      if (PressOk(d) == QDialog::Accepted) return int(QDialog::Rejected);  // must stay open
      d.Editor()->setText("30");
      return PressOk(d);
    });
    ButtonOf(page, "stepButton")->click();
    QCOMPARE(desk.dialog_titles.back(), QString("Time step"));
    QCOMPARE(desk.messages.shown.back(), std::string("Invalid time step."));
    QCOMPARE(o.time_step_s, 30.0);

    // Intervals: one added after the last, its stop typed; a bad time is refused.
    ButtonOf(page, "addIntervalButton")->click();
    QAbstractItemModel* times = ViewOf(page, "intervalsView")->model();
    QCOMPARE(times->rowCount(), 2);
    QCOMPARE(times->index(1, 0).data().toString(), QString("17:00:00"));
    QVERIFY(times->setData(times->index(1, 1), "18:30:15.5"));
    QVERIFY(!times->setData(times->index(1, 0), "18h"));
    QCOMPARE(desk.messages.shown.back(), std::string("Invalid time."));
    QCOMPARE(o.intervals[1].stop, 66615.5);

    // Polarizations: LL off, I on.
    QAbstractItemModel* pols = ViewOf(page, "polarizationView")->model();
    QVERIFY(pols->setData(pols->index(1, 0), Qt::Unchecked, Qt::CheckStateRole));
    QVERIFY(pols->setData(pols->index(4, 0), Qt::Checked, Qt::CheckStateRole));
    QCOMPARE(o.polarizations.count, 2);
    QCOMPARE(o.polarizations[0], std::int16_t(-1));
    QCOMPARE(o.polarizations[1], std::int16_t(1));

    // Telescopes: Effelsberg added (VLBA_BR is already there and is not taken twice), VLBA_LA
    // deleted, the space telescope's orbit taken from a file.
    desk.Next<AMTlscSelectDlg>([](AMTlscSelectDlg& d) {
      d.Model()->SetMarked(FindTelescope(d.Catalog(), "Effelsberg"), true);
      d.Model()->SetMarked(FindTelescope(d.Catalog(), "VLBA_BR"), true);
      return PressOk(d);
    });
    ButtonOf(page, "addTelescopeButton")->click();
    QTableView* tl = ViewOf(page, "telescopesView");
    QCOMPARE(o.telescopes.count, 10);
    QCOMPARE(o.telescopes[9].name, std::string("Effelsberg"));
    tl->selectRow(RowOf(tl, "VLBA_LA"));
    ButtonOf(page, "deleteTelescopeButton")->click();
    QCOMPARE(o.telescopes.count, 9);
    QCOMPARE(RowOf(tl, "VLBA_LA"), -1);
    tl->selectRow(RowOf(tl, "SpaceHEO"));
    auto* use_orbit = page.findChild<QCheckBox*>("useOrbitFile");
    QVERIFY(use_orbit->isEnabled());
    use_orbit->click();
    desk.open_answers = {QString::fromStdString(folder.File("heo.org"))};
    ButtonOf(page, "orbitBrowseButton")->click();
    QCOMPARE(desk.file_titles.back(), QString("Input orbit file"));
    QCOMPARE(desk.file_filters.back(), QString("Orbit file (*.org *.ORG)"));
    const AMTlscItem& heo = o.telescopes[RowOf(tl, "SpaceHEO")];
    QCOMPARE(heo.use_orbit_file, 1);
    QCOMPARE(heo.orbit_file, folder.File("heo.org"));
    tl->selectRow(RowOf(tl, "VLBA_BR"));
    QVERIFY(!use_orbit->isEnabled());  // a ground telescope has no orbit

    // Output file and one more IF.
    desk.save_answers = {QString::fromStdString(folder.File("edited.uvx"))};
    ButtonOf(page, "outputBrowseButton")->click();
    QCOMPARE(o.output_path, folder.File("edited.uvx"));
    desk.Next<AMValueDlg>([](AMValueDlg& d) {
      d.Editor()->setText("1");
      return PressOk(d);
    });
    page.findChild<AMFreqSetupView*>("freqSetupView")->AddIfs();
    QCOMPARE(o.freq.n_if, 3);

    // Save As .obs: the title names the file, the flag is cleared, the file reads back.
    const std::string saved = folder.File("edited.obs");
    desk.save_answers = {QString::fromStdString(saved)};
    ButtonOf(page, "saveAsButton")->click();
    QCOMPARE(page.Title(), QString::fromStdString(saved + " (VLBI configuration) - QVLModel"));
    QCOMPARE(titles.last().at(0).toString(), page.Title());
    QVERIFY(!page.Document().IsModified());
    AMObservation back(std::string{});
    QVERIFY(LoadObservationFile(saved, back));
    QCOMPARE(Bytes(back), Bytes(o));
    QCOMPARE(back.day, 1);
    QCOMPARE(back.month, 3);
    QCOMPARE(back.year, 2026);

    // `qvlmodel obs show --json` reads the same observation.
    if (QFile::exists(QVLMODEL_EXE)) {
      QProcess show;
      show.start(QVLMODEL_EXE, {"obs", "show", "--json", QString::fromStdString(saved)});
      QVERIFY(show.waitForFinished(60000));
      QCOMPARE(show.exitCode(), 0);
      const QJsonObject j = QJsonDocument::fromJson(show.readAllStandardOutput()).object();
      QCOMPARE(j["source"].toObject()["name"].toString(), QString("J0319+4130"));
      QCOMPARE(j["time_step_s"].toDouble(), 30.0);
      QCOMPARE(j["telescopes"].toArray().size(), 9);
      QCOMPARE(j["intervals"].toArray().size(), 2);
    }

    // The text form saves and opens to the same observation.
    desk.save_answers = {QString::fromStdString(folder.File("edited.json"))};
    ButtonOf(page, "saveAsButton")->click();
    AMPage1 other(folder.base, desk.Services());
    QVERIFY(other.OpenFile(folder.File("edited.json")));
    QCOMPARE(Bytes(other.Document().Obs()), Bytes(o));
  }

  void newAndOpenAskBeforeChangesAreLost() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    QVERIFY(page.OpenFile(folder.File("ground_space_3c345.obs")));
    QVERIFY(!page.Document().IsModified());
    auto* source = page.findChild<QLineEdit*>("sourceEdit");
    source->setText("Renamed");
    emit source->editingFinished();
    QVERIFY(page.Document().IsModified());

    desk.messages.answers = {Answer::Cancel};
    ButtonOf(page, "newButton")->click();
    QCOMPARE(page.Document().Obs().source_name, std::string("Renamed"));
    QCOMPARE(desk.messages.asked.back(), std::string("VLBI configuration\n\nDo you want save changes?"));

    desk.messages.answers.push_back(Answer::No);
    desk.open_answers = {QString::fromStdString(folder.File("ground_space_3c345.json"))};
    ButtonOf(page, "openButton")->click();
    QCOMPARE(desk.file_titles.back(), QString("Open"));
    QCOMPARE(desk.file_filters.back(), QString("QVL observation parameters file (*.obs *.OBS);;"
                                               "QVL observation, text form (*.json *.JSON);;All files (*)"));
    QCOMPARE(page.Document().Path(), folder.File("ground_space_3c345.json"));
    QCOMPARE(page.Document().Obs().source_name, std::string("3C345"));
    QCOMPARE(page.findChild<QLineEdit*>("sourceEdit")->text(), QString("3C345"));
    QCOMPARE(ViewOf(page, "intervalsView")->currentIndex(), ViewOf(page, "intervalsView")->model()->index(0, 0));

    // Unchanged: no question.
    const std::size_t asked = desk.messages.asked.size();
    ButtonOf(page, "newButton")->click();
    QCOMPARE(desk.messages.asked.size(), asked);
    QCOMPARE(page.Title(), QString("Untitled (VLBI configuration) - QVLModel"));
    QCOMPARE(page.Document().Obs().output_path, folder.File("Model_mdl.uvx"));
  }

  void createChecksComeInOrderWithTheOffendingPlaceSelected() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMPage1 page(folder.base, desk.Services());
    AMObservation& o = page.Document().Obs();
    QTableView* intervals = ViewOf(page, "intervalsView");
    auto* ra = page.findChild<QLineEdit*>("raEdit");
    auto* dec = page.findChild<QLineEdit*>("decEdit");
    QPushButton* create = ButtonOf(page, "createButton");
    auto last = [&] { return desk.messages.shown.empty() ? std::string() : desk.messages.shown.back(); };

    create->click();
    QCOMPARE(last(), std::string("Select telescopes must be greater 1."));
    QCOMPARE(page.Tabs()->currentIndex(), 1);

    AMTlscItem a, b;
    a.name = "A";
    b.name = "B";
    o.telescopes.Add(a);
    o.telescopes.Add(b);
    page.Refresh();
    create->click();
    QCOMPARE(last(), std::string("Time interval(s) not found."));
    QCOMPARE(page.Tabs()->currentIndex(), 0);

    o.intervals.Add({5000, 6000, 3, 0});
    o.intervals.Add({0, 100, 1, 0});
    o.polarizations = AArray<std::int16_t>();
    page.Refresh();
    create->click();
    QCOMPARE(last(), std::string("Please select one or more polarization/Stokes."));

    o.polarizations.Add(-1);
    page.Refresh();
    create->click();
    QCOMPARE(last(), std::string("Time interval contains invalid Freq. ID. "));
    QCOMPARE(intervals->currentIndex().row(), 1);  // the row after sorting
    QCOMPARE(intervals->currentIndex().column(), 2);
    QCOMPARE(intervals->model()->index(0, 0).data().toString(), QString("00:00:00"));

    QVERIFY(intervals->model()->setData(intervals->model()->index(1, 2), 1));
    QVERIFY(intervals->model()->setData(intervals->model()->index(0, 1), "00:00:00"));
    QVERIFY(intervals->model()->setData(intervals->model()->index(0, 0), "00:10:00"));
    create->click();
    QCOMPARE(last(), std::string("Start time must be less or equal stop time."));
    QCOMPARE(intervals->currentIndex().row(), 0);
    QCOMPARE(intervals->currentIndex().column(), 1);

    QVERIFY(intervals->model()->setData(intervals->model()->index(0, 1), "00:20:00"));
    ra->setText("24:00:00.5");
    create->click();
    QCOMPARE(last(), std::string("Invalid Right ascension."));
    QCOMPARE(ra->selectedText(), ra->text());

    ra->setText("24:00:00");  // exactly 86400 s passes
    dec->setText("-180:00:01");
    create->click();
    QCOMPARE(last(), std::string("Invalid Declination."));
    QCOMPARE(dec->selectedText(), dec->text());
    QCOMPARE(o.ra_time_s, 86400.0);
    QCOMPARE(desk.messages.shown.size(), size_t(7));
    QCOMPARE(desk.progress_runs, 0);  // nothing was computed
  }
};

QTEST_MAIN(TestPage1)
#include "test_gui_page1.moc"
