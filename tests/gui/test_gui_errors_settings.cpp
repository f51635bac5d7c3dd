// The settings of the "Errors" and "Sensitivity modeling" pages survive closing and reopening
// the main window: files, types, interval, options, random start values and every table cell,
// written to the settings file that `qvlmodel run` reads; a relative input keeps its text.
#include <QCheckBox>
#include <QLineEdit>
#include <QStackedWidget>
#include <fstream>
#include <memory>

#include "app/gui/err_tables.h"
#include "app/gui/main_window.h"
#include "app/gui/page_errors.h"
#include "app/gui/page_noise.h"
#include "errors_gui_util.h"

namespace {

void Type(QWidget& page, const char* name, const QString& text) {
  auto* edit = page.findChild<QLineEdit*>(name);
  QVERIFY(edit);
  edit->setText(text);
  edit->setModified(true);
  emit edit->editingFinished();
}

AMPage3* Errors(AMMainFrame& f) { return qobject_cast<AMPage3*>(f.Pages()->widget(2)); }
AMPage4* Noise(AMMainFrame& f) { return qobject_cast<AMPage4*>(f.Pages()->widget(3)); }

}  // namespace

class TestErrorsSettings : public QObject {
  Q_OBJECT

 private slots:
  void pagesSurviveClosingAndReopening() {
    AGuiTestFolder folder;
    QVERIFY(MakeExampleUvx(folder, folder.File("example.uvx")).empty());
    const std::string ini = folder.File("pages.ini");
    // The input named relative to the settings folder, as the shipped settings do.
    std::ofstream(ini) << "[QVLMODEL-PROCESS3]\nIN UVX-FILE=example.uvx\n[QVLMODEL-PROCESS4]\nIN UVX-FILE=example.uvx\n";
    AScriptedDesktop desk;
    {
      AMMainFrame frame(folder.base, ini, desk.Services());
      AMPage3* e = Errors(frame);
      AMPage4* n = Noise(frame);
      QVERIFY(e && n);
      // No list in the settings: the input's telescopes.
      QCOMPARE(e->Table()->rowCount(), 9);
      QCOMPARE(n->Table()->rowCount(), 9);
      QVERIFY(e->Table()->setData(e->Table()->index(2, 0), "0.07"));
      QVERIFY(e->Table()->setData(e->Table()->index(8, 4), "2.5e-8"));
      e->findChild<QCheckBox*>("useAmplitude")->setChecked(false);
      e->findChild<QCheckBox*>("wholeFile")->setChecked(false);
      Type(*e, "intervalStart", "13:15:00");
      Type(*e, "intervalEnd", "16:45:30.5");
      Type(*e, "phaseStep", "120");
      Type(*e, "randomStart", "4000000000");
      Type(*e, "outputEdit", "mine_err.uvx");
      QVERIFY(n->Table()->setData(n->Table()->index(8, 1), "3100.25"));
      Type(*n, "scanDuration", "120");
      Type(*n, "bandwidth", "1.6e7");
      n->findChild<QCheckBox*>("thermalWeights")->setChecked(true);
      n->findChild<QCheckBox*>("gaussian")->setChecked(true);
      Type(*n, "efficiency", "0.7");
      Type(*n, "randomStart", "");
      QVERIFY(frame.SaveOnClose());
    }
    // What `qvlmodel run` reads: the relative input kept as it was written.
    AIniFile file;
    QVERIFY(file.Load(ini));
    QCOMPARE(Q(file.GetProfileString("QVLMODEL-PROCESS3", "IN UVX-FILE", "")), QString("example.uvx"));
    QCOMPARE(Q(file.GetProfileString("QVLMODEL-PROCESS4", "THERMAL WEIGHTS", "")), QString("1"));
    QCOMPARE(Q(file.GetProfileString("QVLMODEL-PROCESS4", "TLSC SEFD8_1", "")), QString("3100.25"));

    AMMainFrame again(folder.base, ini, desk.Services());
    AMPage3* e = Errors(again);
    AMPage4* n = Noise(again);
    again.SelectTask(3);
    QCOMPARE(again.windowTitle(), QString("Errors - QVLModel"));
    const AMErrorsParams& ep = e->Params();
    QCOMPARE(ep.in_path, folder.File("example.uvx"));
    QCOMPARE(ep.out_path, folder.File("mine_err.uvx"));  // relative: from the settings folder
    QCOMPARE(ep.tlscs.GetSize(), 9);
    QCOMPARE(ep.tlscs[2].phase_err_deg, 0.07);
    QCOMPARE(ep.tlscs[8].delay, 2.5e-8);
    QCOMPARE(ep.use_phase_err, 1);
    QCOMPARE(ep.use_ampl_err, 0);
    QVERIFY(ep.has_interval);
    QCOMPARE(ep.start_s, 13 * 3600.0 + 15 * 60);
    QCOMPARE(ep.stop_s, 16 * 3600.0 + 45 * 60 + 30.5);
    QCOMPARE(ep.step_s, 120.0);
    QVERIFY(ep.rng_start && *ep.rng_start == 4000000000u);
    QVERIFY(!e->findChild<QCheckBox*>("useAmplitude")->isChecked());
    QVERIFY(!e->findChild<QCheckBox*>("wholeFile")->isChecked());
    QCOMPARE(e->Table()->data(e->Table()->index(2, 0)).toString(), QString("0.07"));
    const AMNoiseParams& np = n->Params();
    QCOMPARE(np.sfd.n_if, 2);
    QCOMPARE(np.sfd.items.GetSize(), 9);
    QCOMPARE(np.sfd.items[8].sefd[1], 3100.25);
    QCOMPARE(np.sfd.duration_s, 120.0);
    QCOMPARE(np.sfd.bandwidth_hz, 1.6e7);
    QVERIFY(np.thermal_weights);
    QVERIFY(np.gaussian);
    QCOMPARE(np.efficiency, 0.7);
    QVERIFY(!np.rng_start);
    QCOMPARE(np.out_path, folder.File("example_snt.uvx"));
    QCOMPARE(n->findChild<QLineEdit*>("bandwidth")->text().toDouble(), 1.6e7);
    QVERIFY(n->findChild<QCheckBox*>("thermalWeights")->isChecked());
  }
};

QTEST_MAIN(TestErrorsSettings)
#include "test_gui_errors_settings.moc"
