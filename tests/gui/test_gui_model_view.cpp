// The model view, the field-of-view dialog, "Save as map..." and the spectral-index map dialog of
// the "Source modeling" page, on the shipped example model and the example's file of task 1.
#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTableView>
#include <QtTest>
#include <filesystem>

#include "app/gui/fov_dialog.h"
#include "app/gui/input_dialogs.h"
#include "app/gui/model_view.h"
#include "app/gui/page2.h"
#include "app/gui/simap_dialog.h"
#include "app/task_runner.h"
#include "gui_test_util.h"
#include "model/map_model.h"

class TestModelView : public QObject {
  Q_OBJECT
  std::unique_ptr<AGuiTestFolder> folder_;
  std::string input_;

  AComponents Example() {
    AMModelDocument doc;
    MessageRecorder m;
    if (!doc.Open(folder_->File("core_jet.mdl"), m)) qFatal("example model");
    return doc.Model();
  }

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

  void axisLabelsFollowTheFieldOfView_data() {
    QTest::addColumn<double>("ra");
    QTest::addColumn<double>("dec");
    QTest::addColumn<QString>("x");
    QTest::addColumn<QString>("y");
    QTest::newRow("20 x 20 mas") << 0.02 << 0.02 << "Right ascent [mas]" << "Declination [mas]";
    // One prefix for both axes, from the longer one: the pixels stay square.
    QTest::newRow("2 as x 500 mas") << 2.0 << 0.5 << "Right ascent [as]" << "Declination [as]";
    QTest::newRow("500 mas x 2 as") << 0.5 << 2.0 << "Right ascent [as]" << "Declination [as]";
    QTest::newRow("800 x 400 microarcseconds") << 8e-4 << 4e-4 << "Right ascent [µas]" << "Declination [µas]";
  }
  void axisLabelsFollowTheFieldOfView() {
    QFETCH(double, ra);
    QFETCH(double, dec);
    QFETCH(QString, x);
    QFETCH(QString, y);
    AScriptedDesktop desk;
    AMModelView view(desk.Services());
    view.ShowComponents(Example(), ra, dec);
    QCOMPARE(view.XLabel(), x);
    QCOMPARE(view.YLabel(), y);
    QVERIFY(view.ScaleLabel().startsWith('[') && view.ScaleLabel().endsWith("Jy]"));
    // The longer side has 256 pixels, square pixels.
    QCOMPARE(int(std::max(view.Map().rows, view.Map().cols)), AMModelView::kLongSide);
  }

  void theValueUnderTheCursorAndTheSavedMap() {
    AScriptedDesktop desk;
    AMModelView view(desk.Services());
    view.ShowComponents(Example(), 0.02, 0.02);
    // The core (0.8 Jy, a point) dominates the pixels round the centre: the brightest is there.
    const AMatrix<float>& map = view.Map();
    std::uint32_t best = 0;
    for (std::uint32_t i = 1; i < map.Elements(); ++i)
      if (map.data[i] > map.data[best]) best = i;
    const double x = -0.01 + double(best % map.cols) * 0.02 / double(map.cols - 1);
    const double y = -0.01 + double(best / map.cols) * 0.02 / double(map.rows - 1);
    QVERIFY(std::abs(x) < 0.0005 && std::abs(y) < 0.0005);
    QVERIFY(view.ValueText(x, y).endsWith(QString::asprintf("%.5E Jy/pixel", double(map.data[best]))));
    QCOMPARE(view.ScaleLabel(), QString(map.data[best] >= 1 ? "[Jy]" : "[mJy]"));
    QVERIFY(view.ValueText(0.5, 0).isEmpty());  // outside the field

    desk.save_answers = {QString::fromStdString(folder_->File("view"))};
    view.SaveButton()->click();  // ".exm" is added to a name without one
    AMatrix<float> back;
    TMinMax range;
    std::string unit, error;
    QVERIFY2(LoadMapAny(folder_->File("view.exm"), back, range, unit, &error), error.c_str());
    QCOMPARE(back.rows, map.rows);
    QVERIFY(std::memcmp(back.data, map.data, map.Elements() * sizeof(float)) == 0);
    QCOMPARE(range.xmin, -0.01);
    QCOMPARE(range.ymax, 0.01);
  }

  void theFieldOfViewDialogRefusesWhatIsNotASize() {
    AScriptedDesktop desk;
    AMModelDocument doc;
    AMSettings settings;
    AMPage2 page(doc, settings, "", desk.Services());
    QStringList labels;
    desk.Next<AMFovDlg>([&](AMFovDlg& d) {
      for (auto* l : d.findChildren<QLabel*>()) labels << l->text();
      d.RaEdit()->setText("-1");
      if (PressOk(d) == QDialog::Accepted) return int(QDialog::Accepted);
      d.RaEdit()->setText("0.004");
      d.DecEdit()->setText("abc");
      if (PressOk(d) == QDialog::Accepted) return int(QDialog::Accepted);
      d.DecEdit()->setText(" 0.002 ");
      return PressOk(d);
    });
    page.findChild<QPushButton*>("fovButton")->click();
    QVERIFY(labels.contains("Field of view RA [as]: "));
    QVERIFY(labels.contains("Field of view DEC [as]: "));
    QCOMPARE(desk.messages.shown, (std::vector<std::string>{"Invalid field of view.", "Invalid field of view."}));
    QCOMPARE(settings.model_page.fov_ra, 0.004);
    QCOMPARE(settings.model_page.fov_dec, 0.002);
    QCOMPARE(page.ModelView()->XLabel(), QString("Right ascent [mas]"));
  }

  // One row per (set-up, IF) of the example file (one set-up of two IFs), one column per
  // component of the example model (four); the prompt sets the selected cell.
  void theSpectralIndexDialogHasTheFilesRowsAndTheModelsColumns() {
    AScriptedDesktop desk;
    AMModelDocument doc;
    MessageRecorder m;
    QVERIFY(doc.Open(folder_->File("core_jet.mdl"), m));
    AMSettings settings;
    settings.work_item.in_path = input_;
    AMPage2 page(doc, settings, "", desk.Services());
    QStringList rows, actions;
    QString title;
    desk.Next<AMSIMapDlg>([&](AMSIMapDlg& d) {
      title = d.windowTitle();
      for (QAction* a : d.Menu()->actions().front()->menu()->actions())
        if (!a->isSeparator()) actions << a->text();
      for (int r = 0; r < d.Table()->rowCount(); ++r)
        rows << d.Table()->headerData(r, Qt::Vertical, Qt::DisplayRole).toString();
      if (d.Table()->columnCount() != 4) return int(QDialog::Rejected);
      d.View()->selectionModel()->select(d.Table()->index(1, 2), QItemSelectionModel::Select);
      QStringList prompts;
      desk.Next<AMValueDlg>([&](AMValueDlg& v) {
        for (auto* l : v.findChildren<QLabel*>()) prompts << l->text();
        v.Editor()->setText("-0.7");
        return PressOk(v);
      });
      d.findChild<QAction*>("setIndexAction")->trigger();
      if (!prompts.contains("Enter Spectral Index: ")) return int(QDialog::Rejected);
      return PressOk(d);
    });
    page.findChild<QPushButton*>("setMfsButton")->click();
    QCOMPARE(title, QString("Set Spectral Index Map"));
    QCOMPARE(actions, (QStringList{"Set spectral index...", "Initialize", "Load from file...", "Save to file..."}));
    QCOMPARE(rows, (QStringList{"FQ 1, IF 1 (1658.000 MHz)", "FQ 1, IF 2 (1666.000 MHz)"}));
    const AMSIMap& map = settings.work_item.si_map;
    QCOMPARE(map.rows, 2u);
    QCOMPARE(map.cols, 4u);
    QCOMPARE(map(1, 2), -0.7f);
    QCOMPARE(map(0, 2), 0.0f);
    QVERIFY(desk.messages.shown.empty());
  }

  // Load and Save of the dialog, and a file of another shape fitted to the table.
  void theSpectralIndexDialogLoadsAndSaves() {
    AScriptedDesktop desk;
    AMSIMap start;
    AMSIMap other;
    other.Initialize(3, 2, 0.5f);
    std::string error;
    QVERIFY(other.SaveFile(folder_->File("other.simap"), &error));
    AMSIMapDlg d(start, {{1, 0, 1e9}, {1, 1, 2e9}}, 4, desk.Services());
    QCOMPARE(d.Map().rows, 2u);
    desk.open_answers = {QString::fromStdString(folder_->File("other.simap"))};
    d.findChild<QAction*>("loadAction")->trigger();
    QCOMPARE(d.Map().rows, 2u);
    QCOMPARE(d.Map().cols, 4u);
    QCOMPARE(d.Map()(1, 1), 0.5f);
    QCOMPARE(d.Map()(1, 2), 0.0f);
    QCOMPARE(desk.messages.shown.size(), size_t(1));  // the shapes differed
    desk.save_answers = {QString::fromStdString(folder_->File("saved"))};
    d.findChild<QAction*>("saveAction")->trigger();
    AMSIMap back;
    QVERIFY(back.LoadFile(folder_->File("saved.simap"), &error));
    QCOMPARE(back.cols, 4u);
    QCOMPARE(back(0, 0), 0.5f);
    d.findChild<QAction*>("initializeAction")->trigger();
    QCOMPARE(d.Map()(0, 0), 0.0f);
  }
};

QTEST_MAIN(TestModelView)
#include "test_gui_model_view.moc"
