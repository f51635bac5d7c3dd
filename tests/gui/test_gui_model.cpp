// The "Source modeling" page: Run writes the file `qvlmodel model` writes from the same inputs;
// validation stops the run with the offending cell selected; Stop leaves no output file; the
// page's settings survive closing and reopening the main window; title and save question; the
// desktop comforts (dropped files, "View...", table copy, plot export, units, recent files).
#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QMenu>
#include <QRegularExpression>
#include <QToolButton>
#include <qcustomplot.h>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QtTest>
#include <filesystem>
#include <fstream>

#include "app/gui/comfort.h"
#include "app/gui/comps_table_model.h"
#include "app/gui/fov_dialog.h"
#include "app/gui/main_window.h"
#include "app/gui/model_view.h"
#include "app/gui/page2.h"
#include "app/ini_file.h"
#include "app/task_runner.h"
#include "gui_test_util.h"

namespace {

QByteArray FileBytes(const std::string& path) {
  QFile f(QString::fromStdString(path));
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

template <class W>
W* Child(QWidget& parent, const char* name) {
  W* w = parent.findChild<W*>(name);
  if (!w) qFatal("no child %s", name);
  return w;
}

void Run(AMPage2& page) { Child<QPushButton>(page, "runButton")->click(); }

int CountFiles(const std::string& folder, const std::string& ext) {
  int n = 0;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    if (e.path().extension() == ext) ++n;
  return n;
}

}  // namespace

class TestModelPage : public QObject {
  Q_OBJECT
  std::unique_ptr<AGuiTestFolder> folder_;
  std::string input_;  // the example's file of task 1

 private slots:
  void initTestCase() {
    folder_ = std::make_unique<AGuiTestFolder>();
    MessageRecorder messages;
    StopFlag stop{0};
    const ATaskOutcome o = RunTask1(folder_->File("ground_space_3c345.json"), folder_->File("empty.uvx"),
                                    folder_->base, nullptr, &stop, messages);
    QVERIFY2(o.ok, o.error.c_str());
    input_ = o.output;
  }

  void runWritesTheFileThatModelWrites() {
    if (!QFile::exists(QVLMODEL_EXE)) QSKIP("qvlmodel is not built");
    AScriptedDesktop desk;
    AMModelDocument doc;
    AMSettings settings;
    AMPage2 page(doc, settings, "", desk.Services());
    QVERIFY(page.OpenFile(folder_->File("core_jet.mdl")));
    Child<QLineEdit>(page, "inputEdit")->setText(QString::fromStdString(input_));
    Child<QLineEdit>(page, "outputEdit")->setText(QString::fromStdString(folder_->File("gui.uvx")));
    Child<QComboBox>(page, "addTypeCombo")->setCurrentIndex(0);  // add
    Child<QCheckBox>(page, "fastCheck")->setChecked(false);       // every channel
    Child<QCheckBox>(page, "useMfsCheck")->setChecked(true);
    settings.work_item.si_map.Initialize(2, 4, 0.0f);
    settings.work_item.si_map(1, 0) = -0.7f;
    settings.work_item.si_map(1, 3) = 1.5f;
    std::string error;
    QVERIFY(settings.work_item.si_map.SaveFile(folder_->File("alpha.simap"), &error));
    Run(page);
    QVERIFY2(desk.messages.shown.empty(), desk.messages.shown.empty() ? "" : desk.messages.shown[0].c_str());
    QCOMPARE(desk.progress_runs, 1);
    QVERIFY(page.Status().startsWith("Written"));

    QProcess model;
    model.start(QVLMODEL_EXE, {QString("model"), QString::fromStdString(input_), "-m",
                               QString::fromStdString(folder_->File("core_jet.mdl")), "-o",
                               QString::fromStdString(folder_->File("cli.uvx")), "--add", "--no-fast", "--mfs",
                               QString::fromStdString(folder_->File("alpha.simap"))});
    QVERIFY(model.waitForFinished(120000));
    QCOMPARE(model.exitCode(), 0);
    const QByteArray a = FileBytes(folder_->File("gui.uvx")), b = FileBytes(folder_->File("cli.uvx"));
    QVERIFY(a.size() > 100000);
    QCOMPARE(a.size(), b.size());
    QVERIFY(a == b);
    // And the scaling took effect: without MFS the file differs.
    Child<QCheckBox>(page, "useMfsCheck")->setChecked(false);
    Child<QLineEdit>(page, "outputEdit")->setText(QString::fromStdString(folder_->File("gui_flat.uvx")));
    Run(page);
    QVERIFY(FileBytes(folder_->File("gui_flat.uvx")) != a);
  }

  void validationStopsTheRunAndSelectsTheCell_data() {
    QTest::addColumn<int>("field");  // 0 large axis, 1 axis ratio, 2 distance
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("column");  // 0-based column of the selected cell
    QTest::newRow("large axis 0") << 0 << 0.0 << "Large axis mus be >= 0." << 2;
    QTest::newRow("axis ratio 0") << 1 << 0.0 << "Axis ratio invalid range." << 3;
    QTest::newRow("axis ratio 1.0000001") << 1 << 1.0000001 << "Axis ratio invalid range." << 3;
    QTest::newRow("distance -0.1") << 2 << -0.1 << "Distance must be >= 0" << 6;
  }
  void validationStopsTheRunAndSelectsTheCell() {
    QFETCH(int, field);
    QFETCH(double, value);
    QFETCH(QString, message);
    QFETCH(int, column);
    AScriptedDesktop desk;
    AMModelDocument doc;
    AMSettings settings;
    settings.work_item.in_path = input_;
    settings.work_item.out_path = folder_->File("refused.uvx");
    AMPage2 page(doc, settings, "", desk.Services());
    QVERIFY(page.OpenFile(folder_->File("core_jet.mdl")));
    ACompItem& third = doc.Model()[2];  // row 3
    (field == 0 ? third.large_axis : field == 1 ? third.axis_ratio : third.distance) = value;
    page.CompsView()->setCurrentIndex(page.CompsModel()->index(0, 0));
    Run(page);
    QCOMPARE(desk.progress_runs, 0);
    QCOMPARE(desk.messages.shown.size(), size_t(1));
    QCOMPARE(QString::fromStdString(desk.messages.shown[0]), message);
    QCOMPARE(page.CompsView()->currentIndex(), page.CompsModel()->index(2, column));
    QVERIFY(!std::filesystem::exists(folder_->File("refused.uvx")));
  }

  void stopLeavesNoOutputFile() {
    AScriptedDesktop desk;
    AMModelDocument doc;
    AMSettings settings;
    settings.work_item.in_path = input_;
    settings.work_item.out_path = folder_->File("stopped.uvx");
    AMPage2 page(doc, settings, "", desk.Services());
    QVERIFY(page.OpenFile(folder_->File("core_jet.mdl")));
    QString status_seen;
    desk.progress = [&](AThreadPrcDlg& d) {
      d.StopButton()->click();  // before the first group
      const int r = d.exec();
      status_seen = d.StatusText();
      return r;
    };
    Run(page);
    QCOMPARE(desk.progress_runs, 1);
    QVERIFY(!std::filesystem::exists(folder_->File("stopped.uvx")));
    QCOMPARE(CountFiles(folder_->base, ".part"), 0);
    QCOMPARE(page.Status(), QString("Stopped; nothing written."));
    QCOMPARE(status_seen, QString("Fit model onto UV-Plane..."));
    QVERIFY(desk.messages.shown.empty());
  }

  void settingsSurviveClosingAndReopening() {
    AGuiTestFolder folder;
    const std::string ini = folder.File("QvlModel.ini");
    {
      AScriptedDesktop desk;
      AMMainFrame frame(folder.base, ini, desk.Services());
      auto* page = frame.findChild<AMPage2*>();
      QVERIFY(page);
      QCOMPARE(page->CompsModel()->rowCount(), 4);  // "MODEL FILE" of the example
      Child<QComboBox>(*page, "modelKindCombo")->setCurrentIndex(2);
      Child<QLineEdit>(*page, "mapPathEdit")->setText("maps");
      Child<QLineEdit>(*page, "timeStepEdit")->setText("300");
      Child<QLineEdit>(*page, "inputEdit")->setText("in.uvx");
      Child<QLineEdit>(*page, "outputEdit")->setText("out.uvx");
      Child<QComboBox>(*page, "addTypeCombo")->setCurrentIndex(0);
      Child<QCheckBox>(*page, "fastCheck")->setChecked(false);
      Child<QCheckBox>(*page, "useMfsCheck")->setChecked(true);
      desk.Next<AMFovDlg>([](AMFovDlg& d) {
        d.RaEdit()->setText("0.05");
        d.DecEdit()->setText("0.03");
        return PressOk(d);
      });
      Child<QPushButton>(*page, "fovButton")->click();
      frame.show();
      QVERIFY(frame.close());
      QVERIFY(desk.messages.shown.empty());
    }
    AIniFile written;
    QVERIFY(written.Load(ini));
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS2", "FOV RA", ""), std::string("0.05"));
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS2", "EXT_MDL_PATH", ""), std::string("maps"));
    QCOMPARE(written.GetProfileInt("QVLMODEL-UVXITEM", "UVX BFAST", 1), 0);

    AScriptedDesktop desk;
    AMMainFrame again(folder.base, ini, desk.Services());
    auto* page = again.findChild<AMPage2*>();
    QCOMPARE(Child<QComboBox>(*page, "modelKindCombo")->currentIndex(), 2);
    QCOMPARE(Child<QLineEdit>(*page, "mapPathEdit")->text(), QString("maps"));
    QCOMPARE(Child<QLineEdit>(*page, "timeStepEdit")->text(), QString("300"));
    QCOMPARE(Child<QLineEdit>(*page, "inputEdit")->text(), QString("in.uvx"));
    QCOMPARE(Child<QLineEdit>(*page, "outputEdit")->text(), QString("out.uvx"));
    QCOMPARE(Child<QComboBox>(*page, "addTypeCombo")->currentIndex(), 0);
    QVERIFY(!Child<QCheckBox>(*page, "fastCheck")->isChecked());
    QVERIFY(Child<QCheckBox>(*page, "useMfsCheck")->isChecked());
    QCOMPARE(again.Settings().model_page.fov_ra, 0.05);
    QCOMPARE(again.Settings().model_page.fov_dec, 0.03);
    QVERIFY(page->findChild<QLabel*>("fovLabel")->text().contains("0.05"));
    QCOMPARE(page->CompsModel()->rowCount(), 4);
    // The component model was left as it was: the folder model does not touch it.
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS2", "MODEL FILE", ""), std::string("core_jet.mdl"));
  }

  void titleAndTheSaveChangesQuestion() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMMainFrame frame(folder.base, folder.File("QvlModel.ini"), desk.Services());
    frame.SelectTask(2);
    QCOMPARE(frame.windowTitle(), QString("core_jet.mdl (Source modeling) - QVLModel"));
    auto* page = frame.findChild<AMPage2*>();
    page->CompsModel()->setData(page->CompsModel()->index(0, 1), "0.9", Qt::EditRole);
    QVERIFY(frame.ModelDocument().IsModified());
    desk.messages.answers = {Answer::Cancel};
    Child<QAction>(*page, "newModelAction")->trigger();  // Cancel keeps the model and its file
    QCOMPARE(desk.messages.asked.back(), std::string("Source modeling\n\nDo you want save changes?"));
    QCOMPARE(page->CompsModel()->rowCount(), 4);
    QCOMPARE(frame.ModelDocument().Model()[0].flux, 0.9);
    desk.messages.answers.push_back(Answer::No);
    Child<QAction>(*page, "newModelAction")->trigger();
    QCOMPARE(page->CompsModel()->rowCount(), 0);
    QCOMPARE(frame.windowTitle(), QString("Untitled (Source modeling) - QVLModel"));
    // Saving an untitled model asks for a name.
    page->OnInsert();
    desk.save_answers = {QString::fromStdString(folder.File("new.mdl"))};
    Child<QAction>(*page, "saveModelAction")->trigger();
    QCOMPARE(desk.file_titles.back(), QString("Save As"));
    QVERIFY(desk.file_filters.back().startsWith("QVL source model file (*.mdl *.MDL)"));
    QVERIFY(std::filesystem::exists(folder.File("new.mdl")));
    QCOMPARE(frame.windowTitle(), QString("new.mdl (Source modeling) - QVLModel"));
    QVERIFY(!frame.ModelDocument().IsModified());
  }

  // A file dropped on a field lands in it when its kind fits, and the page takes it as typed.
  void droppedFilesLandInTheirFields_data() {
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("taken");
    QTest::newRow("input uvx") << "inputEdit" << "a.uvx" << true;
    QTest::newRow("input observation refused") << "inputEdit" << "a.obs" << false;
    QTest::newRow("output UVX") << "outputEdit" << "b.UVX" << true;
    QTest::newRow("map exm") << "mapPathEdit" << "m.exm" << true;
    QTest::newRow("map fits") << "mapPathEdit" << "m.fits" << true;
    QTest::newRow("map uvx refused") << "mapPathEdit" << "m.uvx" << false;
  }

  void droppedFilesLandInTheirFields() {
    QFETCH(QString, field);
    QFETCH(QString, file);
    QFETCH(bool, taken);
    AScriptedDesktop desk;
    AMModelDocument doc;
    AMSettings settings;
    AMPage2 page(doc, settings, "", desk.Services());
    Child<QComboBox>(page, "modelKindCombo")->setCurrentIndex(1);  // one map file
    auto* edit = Child<QLineEdit>(page, qPrintable(field));
    const QString path = QString::fromStdString(folder_->File(Ss(file)));
    QCOMPARE(DropFile(edit, path), taken);
    QCOMPARE(edit->text(), taken ? path : QString());
    const std::string stored = field == "inputEdit"    ? settings.work_item.in_path
                               : field == "outputEdit" ? settings.work_item.out_path
                                                       : settings.model_page.ext_mdl;
    QCOMPARE(QString::fromStdString(stored), taken ? path : QString());
  }

  // "View..." through the viewer seam (paths relative to the settings folder), the component
  // table's selection as tab-separated text, the model view's export menu, units in every field's
  // tool tip; a model dropped on the page opens, and the recent model files survive a new window.
  void comfortsOfThePage() {
    const std::string ini = folder_->File("comfort.ini");
    std::ofstream(ini) << "[QVLMODEL]\n";
    const QString mdl = QString::fromStdString(folder_->File("core_jet.mdl"));
    AScriptedDesktop desk;
    AViewerRecorder viewer;
    AGuiServices services = desk.Services();
    viewer.Install(services);
    InstallComfort(services, ini);
    {
      AMMainFrame frame(folder_->base, ini, services);
      auto* page = frame.findChild<AMPage2*>();
      // Dropped on a field that takes other files, the model goes on to the page, which opens it.
      QVERIFY(DropFile(Child<QLineEdit>(*page, "inputEdit"), mdl));
      QVERIFY(Child<QLineEdit>(*page, "inputEdit")->text().isEmpty());
      QCOMPARE(page->CompsModel()->rowCount(), 4);
      Child<QLineEdit>(*page, "inputEdit")->setText(QString::fromStdString(input_));
      Child<QLineEdit>(*page, "outputEdit")->setText("out.uvx");
      Child<QPushButton>(*page, "inputViewButton")->click();
      Child<QPushButton>(*page, "outputViewButton")->click();
      QCOMPARE(viewer.shown, (std::vector<QString>{QString::fromStdString(input_),
                                                   QString::fromStdString(folder_->File("out.uvx"))}));

      QTableView* view = page->CompsView();
      QItemSelectionModel* sel = view->selectionModel();
      sel->clearSelection();
      for (auto [r, c] : {std::pair{0, 1}, {0, 2}, {1, 3}}) sel->select(page->CompsModel()->index(r, c), QItemSelectionModel::Select);
      // The core's flux and the delta function's "------" size; the inner jet's axis ratio.
      const QString tsv = "0.8\t------\t\n\t\t0.5\n";
      QCOMPARE(SelectionAsTsv(view), tsv);
      view->setFocus();
      QApplication::clipboard()->clear();
      QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
      QCOMPARE(QApplication::clipboard()->text(), tsv);

      QStringList exports;
      for (QAction* a : page->ModelView()->Plot()->actions()) exports << a->text();
      QCOMPARE(exports, (QStringList{"Save as PNG...", "Save as PDF...", "Print..."}));
      static const QRegularExpression unit(R"(\[|no unit|path of a \.uvx|\.exm)");
      for (QLineEdit* e : page->findChildren<QLineEdit*>())
        QVERIFY2(unit.match(e->toolTip()).hasMatch(), qPrintable(e->objectName() + ": " + e->toolTip()));
      QVERIFY(frame.SaveOnClose());
    }
    QCOMPARE(RecentFiles(services, "PROCESS2"), QStringList{mdl});
    AMMainFrame frame(folder_->base, ini, services);
    auto* page = frame.findChild<AMPage2*>();
    page->OnNew();
    QCOMPARE(page->CompsModel()->rowCount(), 0);
    QMenu* menu = Child<QToolButton>(*page, "recentButton")->menu();
    emit menu->aboutToShow();
    QCOMPARE(menu->actions().size(), 1);
    QCOMPARE(menu->actions().front()->text(), mdl);
    menu->actions().front()->trigger();
    QCOMPARE(page->CompsModel()->rowCount(), 4);
  }
};

QTEST_MAIN(TestModelPage)
#include "test_gui_model.moc"
