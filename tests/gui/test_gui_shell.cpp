// The main window: start-up order and defaults, the task list and "CUR TASK", the window position
// and the settings surviving a close and a new start, the save questions on closing, and a
// settings file written by the window running with the command line's task runner.
#include <QListWidget>
#include <QProcess>
#include <QStackedWidget>
#include <QtTest>
#include <fstream>

#include "app/gui/main_window.h"
#include "app/gui/page1.h"
#include "app/ini_file.h"
#include "app/task_runner.h"
#include "gui_test_util.h"

class TestShell : public QObject {
  Q_OBJECT

 private slots:
  void firstStartShowsTaskOneWithDefaults() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMMainFrame frame(folder.base, folder.File("fresh.ini"), desk.Services());
    QVERIFY(!frame.PositionRestored());
    QCOMPARE(frame.TaskList()->count(), 4);
    const QStringList names = {"VLBI configuration", "Source modeling", "Errors", "Sensitivity modeling"};
    for (int i = 0; i < 4; ++i) QCOMPARE(frame.TaskList()->item(i)->text(), names[i]);
    QCOMPARE(frame.CurrentTask(), 1);
    QCOMPARE(frame.Pages()->currentIndex(), 0);
    QCOMPARE(frame.windowTitle(), QString("Untitled (VLBI configuration) - QVLModel"));
    frame.SelectTask(4);
    QCOMPARE(frame.windowTitle(), QString("Sensitivity modeling - QVLModel"));
    QVERIFY(desk.messages.shown.empty());
  }

  void settingsAndPositionSurviveClosingAndReopening() {
    AGuiTestFolder folder;
    const std::string ini = folder.File("QvlModel.ini");
    std::filesystem::remove(ini);
    const std::string obs = folder.File("ground_space_3c345.obs");
    {
      AScriptedDesktop desk;
      AMMainFrame frame(folder.base, ini, desk.Services());
      QVERIFY(frame.Page1()->OpenFile(obs));
      frame.SelectTask(3);
      frame.setGeometry(140, 90, 930, 640);
      frame.show();
      QVERIFY(frame.close());
      QVERIFY(desk.messages.asked.empty());  // nothing was changed
    }
    AIniFile written;
    QVERIFY(written.Load(ini));
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS1", "OBS FILE", ""), obs);
    QCOMPARE(written.GetProfileInt("QVLMODEL-COMMON", "CUR TASK", 0), 3);
    QCOMPARE(written.GetProfileInt("QVLMODEL", "WND WIDTH", 0), 930);

    AScriptedDesktop desk;
    AMMainFrame again(folder.base, ini, desk.Services());
    again.show();
    QVERIFY(again.PositionRestored());
    QCOMPARE(again.geometry(), QRect(140, 90, 930, 640));
    QCOMPARE(again.CurrentTask(), 3);
    QCOMPARE(again.TaskList()->currentRow(), 2);
    QCOMPARE(again.Pages()->currentIndex(), 2);
    QCOMPARE(again.Page1()->Document().Path(), obs);
    QCOMPARE(again.Page1()->Document().Obs().source_name, std::string("3C345"));
    again.SelectTask(1);
    QCOMPARE(again.windowTitle(), QString::fromStdString(obs + " (VLBI configuration) - QVLModel"));
    QVERIFY(again.close());
  }

  // The shipped example settings keep their relative paths and every other task's keys, and the
  // file still runs task 1 through the task runner of `qvlmodel run`.
  void theWrittenSettingsRunWithTheCommandLine() {
    AGuiTestFolder folder;
    const std::string ini = folder.File("QvlModel.ini");
    {
      AScriptedDesktop desk;
      AMMainFrame frame(folder.base, ini, desk.Services());
      QCOMPARE(frame.Page1()->Document().Path(), folder.File("ground_space_3c345.json"));
      QCOMPARE(frame.Settings().model_page.fov_ra, 0.02);
      frame.show();
      QVERIFY(frame.close());
      QVERIFY(desk.messages.shown.empty());
    }
    AIniFile written;
    QVERIFY(written.Load(ini));
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS1", "OBS FILE", ""), std::string("ground_space_3c345.json"));
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS2", "MODEL FILE", ""), std::string("core_jet.mdl"));
    QCOMPARE(written.GetProfileString("QVLMODEL-UVXITEM", "UVX SRC", ""), std::string("3C345"));
    QVERIFY(written.HasKey("QVLMODEL", "WND X"));

    MessageRecorder messages;
    StopFlag stop{0};
    const std::vector<ATaskOutcome> out = RunTasks(written, ini, {1}, folder.base, nullptr, &stop, messages);
    QCOMPARE(int(out.size()), 1);
    QVERIFY2(out[0].ok, out[0].error.c_str());
    QVERIFY(std::filesystem::exists(folder.File("3C345_mdl.uvx")));

    // And through the program itself.
    if (QFile::exists(QVLMODEL_EXE)) {
      std::filesystem::remove(folder.File("3C345_mdl.uvx"));
      QProcess run;
      run.start(QVLMODEL_EXE, {"run", "--settings", QString::fromStdString(ini), "--tasks", "1", "--base",
                               QString::fromStdString(folder.base)});
      QVERIFY(run.waitForFinished(120000));
      QCOMPARE(run.exitCode(), 0);
      QVERIFY(std::filesystem::exists(folder.File("3C345_mdl.uvx")));
    }
  }

  void closingAsksToSaveAndCancelKeepsTheWindow() {
    AGuiTestFolder folder;
    const std::string ini = folder.File("QvlModel.ini");
    std::filesystem::remove(ini);
    const std::string obs = folder.File("ground_space_3c345.obs");
    const auto before = std::filesystem::last_write_time(obs);
    AScriptedDesktop desk;
    AMMainFrame frame(folder.base, ini, desk.Services());
    QVERIFY(frame.Page1()->OpenFile(obs));
    frame.Page1()->Document().Obs().time_step_s = 30;  // seen by the change test alone
    frame.show();

    desk.messages.answers = {Answer::Cancel, Answer::No};
    QVERIFY(!frame.close());
    QVERIFY(frame.isVisible());
    QVERIFY(!std::filesystem::exists(ini));  // nothing written on Cancel
    QCOMPARE(desk.messages.asked.size(), size_t(1));
    QCOMPARE(desk.messages.asked[0], std::string("VLBI configuration\n\nDo you want save changes?"));

    QVERIFY(frame.close());  // No: closes without saving the observation
    QVERIFY(std::filesystem::exists(ini));
    QCOMPARE(std::filesystem::last_write_time(obs), before);
  }

  void yesSavesTheObservationBeforeClosing() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMMainFrame frame(folder.base, folder.File("QvlModel.ini"), desk.Services());
    frame.Page1()->Document().New();
    frame.Page1()->Document().Obs().source_name = "Edited";
    frame.Page1()->Document().Modified() = 1;
    frame.show();
    desk.messages.answers = {Answer::Yes};
    desk.save_answers = {QString::fromStdString(folder.File("new.obs"))};  // untitled: Save As
    QVERIFY(frame.close());
    AMObservation back(std::string{});
    QVERIFY(LoadObservationFile(folder.File("new.obs"), back));
    QCOMPARE(back.source_name, std::string("Edited"));
    AIniFile written;
    QVERIFY(written.Load(folder.File("QvlModel.ini")));
    QCOMPARE(written.GetProfileString("QVLMODEL-PROCESS1", "OBS FILE", ""), folder.File("new.obs"));
  }

  void curTaskOutsideTheListIsKeptAsItStands() {
    AGuiTestFolder folder;
    const std::string ini = folder.File("odd.ini");
    std::ofstream(ini) << "[QVLMODEL-COMMON]\nCUR TASK=7\n[QVLMODEL-PROCESS1]\nOBS FILE=missing.obs\n";
    AScriptedDesktop desk;
    AMMainFrame frame(folder.base, ini, desk.Services());
    QCOMPARE(frame.CurrentTask(), 7);
    QCOMPARE(frame.Pages()->currentIndex(), 0);
    // The observation named by the settings is gone: reported like any file the user opens.
    QCOMPARE(desk.messages.shown.size(), size_t(1));
    QVERIFY(desk.messages.shown[0].find("missing.obs") != std::string::npos);
    frame.show();
    QVERIFY(frame.close());
    AIniFile written;
    QVERIFY(written.Load(ini));
    QCOMPARE(written.GetProfileInt("QVLMODEL-COMMON", "CUR TASK", 0), 7);
  }
};

QTEST_MAIN(TestShell)
#include "test_gui_shell.moc"
