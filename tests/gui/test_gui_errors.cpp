// The "Errors" and "Sensitivity modeling" pages on the shipped example's UVX file made by task 1:
// their tables filled from the file's telescopes, cells edited as a user does, Run writing the
// same bytes as `qvlmodel errors` / `qvlmodel noise` with the same inputs and random start value,
// "Apply", the refusals (no error type, a bad cell selected), Stop leaving no output, and the
// desktop comforts of both pages.
#include <QCheckBox>
#include <QClipboard>
#include <QMenu>
#include <QRegularExpression>
#include <QStackedWidget>
#include <QToolButton>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <filesystem>
#include <fstream>

#include "app/gui/comfort.h"
#include "app/gui/err_tables.h"
#include "app/gui/main_window.h"
#include "app/gui/page_errors.h"
#include "app/gui/page_noise.h"
#include "errors/error_tables.h"
#include "errors/errors_messages.h"
#include "errors_gui_util.h"

namespace {

// Types `text` into a field as a user does: the field's editingFinished follows.
void Type(QWidget& page, const char* name, const QString& text) {
  auto* edit = page.findChild<QLineEdit*>(name);
  QVERIFY(edit);
  edit->setText(text);
  edit->setModified(true);
  emit edit->editingFinished();
}

void Click(QWidget& page, const char* name) { page.findChild<QPushButton*>(name)->click(); }

bool Edit(QAbstractItemModel* m, int row, int column, const QString& text) {
  return m->setData(m->index(row, column), text);
}

}  // namespace

class TestErrorsPages : public QObject {
  Q_OBJECT

 private:
  AGuiTestFolder folder_;
  std::string uvx_;
  std::vector<std::string> names_;

 private slots:
  void initTestCase() {
    uvx_ = folder_.File("example.uvx");
    const std::string error = MakeExampleUvx(folder_, uvx_);
    QVERIFY2(error.empty(), error.c_str());
    names_ = ExampleTelescopes(folder_);
    QCOMPARE(int(names_.size()), 9);
  }

  // Rows from the input's AN table: one per telescope, labelled with its name and "(#%d)".
  void tablesAreFilledFromTheInputFile() {
    AScriptedDesktop desk;
    AMSettings settings;
    AMPage3 errors(folder_.File("none.ini"), settings, desk.Services());
    AMPage4 noise(folder_.File("none.ini"), settings, desk.Services());
    QCOMPARE(errors.Table()->rowCount(), 0);
    desk.open_answers = {Q(uvx_), Q(uvx_)};
    Click(errors, "browseInput");
    Click(noise, "browseInput");
    QVERIFY(desk.messages.shown.empty());
    QCOMPARE(desk.file_filters[0], QString("QVL UVX-file (*.uvx *.UVX);;All files (*)"));
    for (QAbstractItemModel* m : {static_cast<QAbstractItemModel*>(errors.Table()),
                                  static_cast<QAbstractItemModel*>(noise.Table())}) {
      QCOMPARE(m->rowCount(), int(names_.size()));
      for (int r = 0; r < m->rowCount(); ++r)
        QCOMPARE(m->headerData(r, Qt::Vertical).toString(), Q(names_[r].substr(0, 8)) + QString(" (#%1)").arg(r + 1));
    }
    const QStringList err_heads = {"Ph. err [Deg]", "Ampl. err [dB]", "Phase 0 [deg]", "Fringe rate",
                                   "Delay",         "Fringe Acc.",    "Delay Acc."};
    QCOMPARE(errors.Table()->columnCount(), 7);
    for (int c = 0; c < 7; ++c) QCOMPARE(errors.Table()->headerData(c, Qt::Horizontal).toString(), err_heads[c]);
    QCOMPARE(noise.Table()->columnCount(), 2);  // the example's two IFs
    QCOMPARE(noise.Table()->headerData(1, Qt::Horizontal).toString(), QString("SEFD IF2"));
    // Default output names.
    QCOMPARE(errors.findChild<QLineEdit*>("outputEdit")->text(), Q(folder_.File("example_err.uvx")));
    QCOMPARE(noise.findChild<QLineEdit*>("outputEdit")->text(), Q(folder_.File("example_snt.uvx")));
    // A file that is not UVX is reported and changes nothing.
    std::ofstream(folder_.File("junk.uvx")) << "junk";
    Type(errors, "inputEdit", Q(folder_.File("junk.uvx")));
    QCOMPARE(int(desk.messages.shown.size()), 1);
    QCOMPARE(errors.Table()->rowCount(), 9);
    QCOMPARE(errors.findChild<QLineEdit*>("inputEdit")->text(), Q(uvx_));
  }

  void errorsRunWritesWhatTheCommandLineWrites() {
    if (!QFile::exists(QVLMODEL_EXE)) QSKIP("qvlmodel is not built");
    AScriptedDesktop desk;
    AMSettings settings;
    AMPage3 page(folder_.File("none.ini"), settings, desk.Services());
    page.SetInput(uvx_);
    AMTlscErrTbl* t = page.Table();
    QVERIFY(Edit(t, 0, 0, "0.05"));
    QVERIFY(Edit(t, 0, 2, "12"));
    QVERIFY(Edit(t, 1, 1, "0.3"));
    QVERIFY(Edit(t, 1, 4, "-7e-9"));
    QVERIFY(Edit(t, 8, 0, "0.1"));
    QVERIFY(Edit(t, 8, 3, "4e-4"));
    QVERIFY(Edit(t, 8, 5, "1e-7"));
    QVERIFY(Edit(t, 3, 6, "2e-16"));
    page.findChild<QCheckBox*>("wholeFile")->setChecked(false);
    Type(page, "intervalStart", "13:30:00");
    Type(page, "intervalEnd", "57600");
    Type(page, "segmentLength", "1800");
    Type(page, "randomStart", "2026");
    Click(page, "runButton");
    // The one notice of the run: the records before 13:30 (the example starts at 13:00).
    QCOMPARE(int(desk.messages.shown.size()), 1);
    QVERIFY2(desk.messages.shown[0].find("records before the start of their interval") != std::string::npos,
             desk.messages.shown[0].c_str());
    QCOMPARE(desk.progress_runs, 1);
    const std::string gui = folder_.File("example_err.uvx");
    QVERIFY(std::filesystem::exists(gui));
    QVERIFY(page.Status().contains(Q(gui)));

    // The same table by hand, as a user would write it for the command line.
    AMTlscErrors table;
    for (int k = 0; k < 9; ++k) table.Add(AMTlscErrItem{names_[k].substr(0, 8), k + 1, 0, 0, 0, 0, 0, 0, 0});
    table[0].phase_err_deg = 0.05;
    table[0].phase0_deg = 12;
    table[1].ampl_err_db = 0.3;
    table[1].delay = -7e-9;
    table[8].phase_err_deg = 0.1;
    table[8].fringe_rate = 4e-4;
    table[8].fringe_acc = 1e-7;
    table[3].delay_acc = 2e-16;
    std::ofstream(folder_.File("errors.tsv")) << [&] {
      std::ostringstream s;
      WriteErrorsTable(s, table);
      return s.str();
    }();
    QString err;
    QCOMPARE(RunCli({"errors", Q(uvx_), "-o", Q(folder_.File("cli_err.uvx")), "--table", Q(folder_.File("errors.tsv")),
                     "--interval", "13:30:00", "16:00:00", "--segment", "1800", "--random-start", "2026"},
                    &err),
             0);
    QCOMPARE(FirstDifference(gui, folder_.File("cli_err.uvx")), -1LL);
    // And the errors did change the file.
    QVERIFY(FirstDifference(gui, uvx_) >= 0);
  }

  void noiseRunWritesWhatTheCommandLineWrites() {
    if (!QFile::exists(QVLMODEL_EXE)) QSKIP("qvlmodel is not built");
    AScriptedDesktop desk;
    AMSettings settings;
    AMPage4 page(folder_.File("none.ini"), settings, desk.Services());
    page.SetInput(uvx_);
    AMTlscSfdTbl* t = page.Table();
    QVERIFY(Edit(t, 4, 0, "290"));
    QVERIFY(Edit(t, 4, 1, "310"));
    // Apply copies the current row into every row.
    page.TableView()->setCurrentIndex(t->index(4, 1));
    Click(page, "applyButton");
    for (int r = 0; r < t->rowCount(); ++r) {
      QCOMPARE(t->data(t->index(r, 0)).toString(), QString("290"));
      QCOMPARE(t->data(t->index(r, 1)).toString(), QString("310"));
    }
    QVERIFY(Edit(t, 8, 0, "2900"));
    QVERIFY(Edit(t, 8, 1, "2950.5"));
    Type(page, "scanDuration", "60");
    Type(page, "bandwidth", "8e6");
    Type(page, "randomStart", "7");
    page.findChild<QCheckBox*>("thermalWeights")->setChecked(true);
    Click(page, "runButton");
    QVERIFY2(desk.messages.shown.empty(), desk.messages.shown.empty() ? "" : desk.messages.shown[0].c_str());
    const std::string gui = folder_.File("example_snt.uvx");
    QVERIFY(std::filesystem::exists(gui));

    std::ostringstream s;
    s << "Name\tID\tSEFD IF1\tSEFD IF2\n";
    for (int k = 0; k < 9; ++k) s << names_[k].substr(0, 8) << '\t' << k + 1 << '\t' << (k == 8 ? "2900\t2950.5" : "290\t310") << '\n';
    std::ofstream(folder_.File("sefd.tsv")) << s.str();
    QString err;
    QCOMPARE(RunCli({"noise", Q(uvx_), "-o", Q(folder_.File("cli_snt.uvx")), "--sefd", Q(folder_.File("sefd.tsv")),
                     "--duration", "60", "--bandwidth", "8e6", "--random-start", "7", "--weights"},
                    &err),
             0);
    QCOMPARE(FirstDifference(gui, folder_.File("cli_snt.uvx")), -1LL);
    QVERIFY(FirstDifference(gui, uvx_) >= 0);
  }

  // Neither error type: the fixed message, and nothing runs.
  void noErrorTypeIsRefused() {
    AScriptedDesktop desk;
    AMSettings settings;
    AMPage3 page(folder_.File("none.ini"), settings, desk.Services());
    page.SetInput(uvx_);
    page.findChild<QCheckBox*>("usePhase")->setChecked(false);
    page.findChild<QCheckBox*>("useAmplitude")->setChecked(false);
    Click(page, "runButton");
    QCOMPARE(desk.progress_runs, 0);
    QCOMPARE(int(desk.messages.shown.size()), 1);
    QCOMPARE(Q(desk.messages.shown[0]), QString("Not selected Errors type. Please select Errors type."));
    QVERIFY(!std::filesystem::exists(folder_.File("example_err.uvx.part")));
    QCOMPARE(page.Status(), QString());
  }

  // A refused cell text keeps the value and selects the cell; a bad value that reached the list
  // (from the settings) stops Run with its cell selected.
  void badCellsAreNamedAndSelected() {
    AScriptedDesktop desk;
    AMSettings settings;
    AMPage4 page(folder_.File("none.ini"), settings, desk.Services());
    page.SetInput(uvx_);
    page.TableView()->setCurrentIndex(page.Table()->index(0, 0));
    QVERIFY(!Edit(page.Table(), 2, 1, "-5"));
    QCOMPARE(page.TableView()->currentIndex(), page.Table()->index(2, 1));
    QCOMPARE(Q(desk.messages.shown.at(0)), Q(names_[2] + " (#3), SEFD IF2: an SEFD must be >= 0"));
    QCOMPARE(page.Table()->data(page.Table()->index(2, 1)).toString(), QString("0"));

    // A hand-edited settings file with a negative amplitude error for the sixth telescope.
    std::ofstream ini(folder_.File("bad.ini"));
    ini << "[QVLMODEL-PROCESS3]\nIN UVX-FILE=example.uvx\nNTLSCS=6\n";
    for (int k = 0; k < 6; ++k) ini << "TLSC NAME" << k << "=" << names_[k] << "\n";
    ini << "TLSC AMPLERR5=-1\n";
    ini.close();
    AMSettings s3;
    AMPage3 errors(folder_.File("bad.ini"), s3, desk.Services());
    QCOMPARE(errors.Table()->rowCount(), 6);  // from the settings, the input file opening
    Click(errors, "runButton");
    QCOMPARE(desk.progress_runs, 0);
    QCOMPARE(errors.TableView()->currentIndex(), errors.Table()->index(5, 1));
    QCOMPARE(Q(desk.messages.shown.back()), Q(names_[5] + " (#6), Ampl. err [dB]: must be >= 0"));
  }

  // Stop pressed before the worker reaches its first group: no output, no message.
  void stopLeavesNoOutput() {
    AScriptedDesktop desk;
    desk.progress = [](AThreadPrcDlg& d) {
      d.RequestStop();
      return d.exec();
    };
    AMSettings settings;
    AMPage3 errors(folder_.File("none.ini"), settings, desk.Services());
    errors.SetInput(uvx_);
    Type(errors, "outputEdit", Q(folder_.File("stopped_err.uvx")));
    Click(errors, "runButton");
    AMPage4 noise(folder_.File("none.ini"), settings, desk.Services());
    noise.SetInput(uvx_);
    Type(noise, "outputEdit", Q(folder_.File("stopped_snt.uvx")));
    Type(noise, "scanDuration", "60");
    Type(noise, "bandwidth", "1e6");
    Click(noise, "runButton");
    QCOMPARE(desk.progress_runs, 2);
    QVERIFY(desk.messages.shown.empty());
    QCOMPARE(errors.Status(), QString("Stopped; nothing written."));
    QCOMPARE(noise.Status(), QString("Stopped; nothing written."));
    for (const char* f : {"stopped_err.uvx", "stopped_snt.uvx", "stopped_err.uvx.part", "stopped_snt.uvx.part"})
      QVERIFY2(!std::filesystem::exists(folder_.File(f)), f);
  }

  // The comforts of both pages: a dropped .uvx file lands in the input (the table follows), the
  // "View..." buttons show the fields' files through the viewer seam, the table copies its
  // selection as tab-separated text, every field names its unit, and the page's recent inputs
  // survive a new main window.
  void comfortsOfEachPage_data() {
    QTest::addColumn<int>("page");
    QTest::addColumn<QString>("recent");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("headers");
    QTest::newRow("errors") << 2 << "PROCESS3" << "errorsTable" << "example_err.uvx" << "Ph. err [Deg]\tAmpl. err [dB]";
    QTest::newRow("sensitivity") << 3 << "PROCESS4" << "sefdTable" << "example_snt.uvx" << "SEFD IF1\tSEFD IF2";
  }

  void comfortsOfEachPage() {
    QFETCH(int, page);
    QFETCH(QString, recent);
    QFETCH(QString, table);
    QFETCH(QString, output);
    QFETCH(QString, headers);
    const std::string ini = folder_.File(Ss(recent) + ".ini");
    std::ofstream(ini) << "[QVLMODEL]\n";
    AScriptedDesktop desk;
    AViewerRecorder viewer;
    AGuiServices services = desk.Services();
    viewer.Install(services);
    InstallComfort(services, ini);
    {
      AMMainFrame frame(folder_.base, ini, services);
      QWidget* p = frame.Pages()->widget(page);
      auto* input = p->findChild<QLineEdit*>("inputEdit");
      QVERIFY(!DropFile(input, Q(folder_.File("notes.txt"))));  // refused: not a UVX file
      QVERIFY(input->text().isEmpty());
      QVERIFY(DropFile(input, Q(uvx_)));
      QCOMPARE(input->text(), Q(uvx_));
      auto* view = p->findChild<QTableView*>(table);
      QAbstractItemModel* m = view->model();
      QCOMPARE(m->rowCount(), 9);  // committed as if typed: the file's telescopes
      QCOMPARE(p->findChild<QLineEdit*>("outputEdit")->text(), Q(folder_.File(Ss(output))));
      Click(*p, "viewInput");
      Click(*p, "viewOutput");
      QCOMPARE(viewer.shown, (std::vector<QString>{Q(uvx_), Q(folder_.File(Ss(output)))}));

      QVERIFY(Edit(m, 0, 0, "0.5"));
      QVERIFY(Edit(m, 2, 1, "3"));
      QItemSelectionModel* sel = view->selectionModel();
      sel->select(m->index(0, 0), QItemSelectionModel::Select);
      sel->select(m->index(2, 1), QItemSelectionModel::Select);
      const QString tsv = "0.5\t\n\t3\n";  // the rows and columns holding a selected cell
      view->setFocus();
      QApplication::clipboard()->clear();
      QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
      QCOMPARE(QApplication::clipboard()->text(), tsv);
      view->actions().at(1)->trigger();  // "Copy with headers"
      QCOMPARE(QApplication::clipboard()->text(), headers + "\n" + tsv);

      static const QRegularExpression unit(R"(\[|no unit|path of a \.uvx)");
      for (QLineEdit* e : p->findChildren<QLineEdit*>())
        QVERIFY2(unit.match(e->toolTip()).hasMatch(), qPrintable(e->objectName() + ": " + e->toolTip()));
      QVERIFY(frame.SaveOnClose());
    }
    AMMainFrame frame(folder_.base, ini, services);
    QWidget* p = frame.Pages()->widget(page);
    QCOMPARE(RecentFiles(services, recent), QStringList{Q(uvx_)});
    Type(*p, "inputEdit", "");  // forget the input, then take it again from the menu
    QVERIFY(p->findChild<QLineEdit*>("inputEdit")->text().isEmpty());
    QMenu* menu = p->findChild<QToolButton*>("recentButton")->menu();
    emit menu->aboutToShow();
    QCOMPARE(menu->actions().size(), 1);
    QCOMPARE(menu->actions().front()->text(), Q(uvx_));
    menu->actions().front()->trigger();
    QCOMPARE(p->findChild<QLineEdit*>("inputEdit")->text(), Q(uvx_));
    QCOMPARE(p->findChild<QTableView*>(table)->model()->rowCount(), 9);
  }
};

QTEST_MAIN(TestErrorsPages)
#include "test_gui_errors.moc"
