// The dialogs of the observation page: the telescope edit dialog's labels and its checks in their
// order with the focus on the offending field; the telescope selection dialog with its search,
// message 521, and the catalogue commands that rewrite Telescopes.dat (message 520 on a
// duplicate); the frequency set-up menus with their input dialogs and "Invalid frequency.".
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QTableView>
#include <QtTest>

#include "app/gui/freq_setup_view.h"
#include "app/gui/input_dialogs.h"
#include "app/gui/tlsc_edit_dialog.h"
#include "app/gui/tlsc_select_dialog.h"
#include "core/messages.h"
#include "gui_test_util.h"
#include "observation/telescope_catalog.h"

namespace {

void Fill(AMTlscEditDlg& d, int kind, const QString& name, const QString& id, const std::vector<QString>& params) {
  d.KindBox()->setCurrentIndex(kind);
  d.NameEdit()->setText(name);
  d.IdEdit()->setText(id);
  for (std::size_t i = 0; i < params.size(); ++i) d.ParamEdit(int(i))->setText(params[i]);
}

QAction* ActionOf(QMenu* menu, const QString& text) {
  for (QAction* a : menu->actions())
    if (a->text() == text) return a;
  return nullptr;
}

QString FileText(const std::string& path) {
  QFile f(QString::fromStdString(path));
  return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

AMTlscCatalog LoadCatalog(const std::string& path) {
  AMTlscCatalog c;
  LoadTelescopeFile(path, c);
  return c;
}

}  // namespace

class TestDialogs : public QObject {
  Q_OBJECT

 private slots:
  void editDialogShowsTheLabelsOfTheKind() {
    AMTlscEditDlg d("Add telescope", AMTlscInfoItem{}, nullptr);
    QCOMPARE(d.ParamLabel(0)->text(), QString("X [m]: "));
    QCOMPARE(d.ParamLabel(3)->text(), QString("D [m]: "));
    QCOMPARE(d.ParamLabel(7)->text(), QString("Zmax [Deg]: "));
    d.KindBox()->setCurrentIndex(1);
    QCOMPARE(d.ParamLabel(0)->text(), QString("Semimajor axis [km]: "));
    QCOMPARE(d.ParamLabel(3)->text(), QString("Right ascention of ascending node [Deg]: "));
    QCOMPARE(d.ParamLabel(5)->text(), QString("Initial zero epoch [JD]: "));
    QCOMPARE(d.ParamLabel(7)->text(), QString("Par7?"));
    QVERIFY(!d.ParamEdit(7)->isEnabled());
  }

  void editDialogChecksInOrderWithTheFocusOnTheField() {
    MessageRecorder rec;
    AMTlscEditDlg d("Add telescope", AMTlscInfoItem{}, &rec);
    d.show();
    QApplication::setActiveWindow(&d);
    QVERIFY(QTest::qWaitForWindowActive(&d));
    const std::vector<QString> ground = {"1", "2", "3", "25", "0", "360", "0", "80"};
    struct Case {
      int kind;
      QString name, id;
      std::vector<QString> params;
      const char* message;
      QWidget* (*field)(AMTlscEditDlg&);
    };
    const Case cases[] = {
        {0, "   ", "", ground, "Telescope name must be not empty.", [](AMTlscEditDlg& x) -> QWidget* { return x.NameEdit(); }},
        {0, " Big  Dish ", " ", ground, "Telescope ID name must be not empty.",
         [](AMTlscEditDlg& x) -> QWidget* { return x.IdEdit(); }},
        {0, "Big Dish", "BD", {"1", "2", "x3"}, "Invalid number.", [](AMTlscEditDlg& x) -> QWidget* { return x.ParamEdit(2); }},
        {0, "Big Dish", "BD", {"1", "2", "3", "25", "10", "5", "0", "80"}, "AZmin must be less than AZmax",
         [](AMTlscEditDlg& x) -> QWidget* { return x.ParamEdit(4); }},
        {0, "Big Dish", "BD", {"1", "2", "3", "25", "0", "360", "80", "80"}, "Zmin must be less than Zmax",
         [](AMTlscEditDlg& x) -> QWidget* { return x.ParamEdit(6); }},
        {1, "Sat", "ST", {"-7000", "0.1", "0", "0", "0", "0", "0"}, "Invalid semimajor axis.",
         [](AMTlscEditDlg& x) -> QWidget* { return x.ParamEdit(0); }},
        {1, "Sat", "ST", {"7000", "1.5", "0", "0", "0", "0", "0"}, "Invalid eccentrity.",
         [](AMTlscEditDlg& x) -> QWidget* { return x.ParamEdit(1); }},
        {1, "Sat", "ST", {"7000", "0.08", "0", "0", "0", "0", "0"}, "Pericentric distance of orbit is too low!",
         [](AMTlscEditDlg& x) -> QWidget* { return x.ParamEdit(0); }},
    };
    for (const Case& c : cases) {
      Fill(d, c.kind, c.name, c.id, c.params);
      QCOMPARE(PressOk(d), int(QDialog::Rejected));
      QCOMPARE(rec.shown.back(), std::string(c.message));
      QVERIFY2(c.field(d)->hasFocus(), c.message);
    }
    QCOMPARE(rec.shown.size(), std::size(cases));

    // e = 0.07 gives a pericentre of 6510 km: accepted.
    Fill(d, 1, " Big  Dish ", "BD", {"7000", "0.07", "51.6", "0", "0", "2460676.5", "0"});
    QCOMPARE(PressOk(d), int(QDialog::Accepted));
    QCOMPARE(d.Item().name, std::string("Big__Dish"));
    QCOMPARE(d.Item().ground, kTlscOrbital);
    QCOMPARE(d.Item().params[tlsc::kEpochJd], 2460676.5);
  }

  void selectionDialogSearchesAndRefusesAnEmptyChoice() {
    AGuiTestFolder folder;
    AScriptedDesktop desk;
    AMTlscSelectDlg d(folder.File("Telescopes.dat"), desk.Services());
    QCOMPARE(d.windowTitle(), QString("Select telescopes"));
    QCOMPARE(d.CurrentRow(), -1);  // no row is current after loading
    QAbstractItemModel* m = d.View()->model();
    QStringList headers;
    for (int c = 3; c <= 9; ++c) headers << m->headerData(c, Qt::Horizontal).toString();
    QCOMPARE(headers, QStringList({"Par 1", "Par 2", "Par 3", "Par 4.", "Par 5", "Par 6", "Par 7"}));

    d.SearchEdit()->setText("onsa");
    QCOMPARE(d.Catalog()[d.CurrentRow()].name, std::string("Onsala"));
    d.SearchEdit()->setText("PT");  // an ID name
    QCOMPARE(d.Catalog()[d.CurrentRow()].name, std::string("VLBA_PT"));

    QCOMPARE(PressOk(d), int(QDialog::Rejected));
    QCOMPARE(desk.messages.shown.back(),
             std::string("Can`t find selected telescopes. Please select one or more telescope(s)."));
    QVERIFY(m->setData(m->index(d.CurrentRow(), 0), Qt::Checked, Qt::CheckStateRole));
    QCOMPARE(PressOk(d), int(QDialog::Accepted));
    QCOMPARE(d.Marked().size(), size_t(1));
    QCOMPARE(d.Marked()[0].name, std::string("VLBA_PT"));
  }

  void catalogueCommandsRewriteTheFile() {
    AGuiTestFolder folder;
    const std::string path = folder.File("Telescopes.dat");
    AScriptedDesktop desk;
    AMTlscSelectDlg d(path, desk.Services());
    const int before = d.Catalog().count;

    // Add: inserted in order, selected, and the file rewritten (its comments are gone).
    desk.Next<AMTlscEditDlg>([](AMTlscEditDlg& e) {
      Fill(e, 0, "Kalyazin", "KL", {"2730173.6", "-1562442.8", "5529969.2", "64", "0", "360", "0", "85"});
      return PressOk(e);
    });
    d.AddEntry();
    QCOMPARE(d.Catalog().count, before + 1);
    QCOMPARE(d.Catalog()[d.CurrentRow()].name, std::string("Kalyazin"));
    AMTlscCatalog file = LoadCatalog(path);
    QCOMPARE(file.count, before + 1);
    QCOMPARE(FindTelescope(file, "Kalyazin"), d.CurrentRow());
    QVERIFY(!FileText(path).contains(';'));

    // A duplicate (ignoring case): message 520; No keeps the entry, Yes overwrites it.
    auto add_effelsberg = [&desk](const QString& diameter) {
      desk.Next<AMTlscEditDlg>([diameter](AMTlscEditDlg& e) {
        Fill(e, 0, "EFFELSBERG", "ef", {"4033947.2", "486990.7", "4900430.8", diameter, "0", "360", "0", "85"});
        return PressOk(e);
      });
    };
    desk.messages.answers = {Answer::No, Answer::Yes};
    add_effelsberg("99");
    d.AddEntry();
    QCOMPARE(desk.messages.asked.back(), std::string("Telescope already exists. Do you want overwrite this?"));
    const int ef = FindTelescope(d.Catalog(), "Effelsberg");
    QCOMPARE(d.Catalog()[ef].params[tlsc::kDiameter], 100.0);
    add_effelsberg("99");
    d.AddEntry();
    QCOMPARE(d.Catalog().count, before + 1);
    QCOMPARE(d.CurrentRow(), ef);
    QCOMPARE(LoadCatalog(path)[ef].params[tlsc::kDiameter], 99.0);

    // Edit the current entry, then delete it.
    d.SetCurrentRow(FindTelescope(d.Catalog(), "Kalyazin"));
    QString edited_name;
    desk.Next<AMTlscEditDlg>([&edited_name](AMTlscEditDlg& e) {
      edited_name = e.NameEdit()->text();
      e.ParamEdit(tlsc::kDiameter)->setText("70");
      return PressOk(e);
    });
    d.EditEntry();
    QCOMPARE(edited_name, QString("Kalyazin"));
    QCOMPARE(LoadCatalog(path)[FindTelescope(LoadCatalog(path), "Kalyazin")].params[tlsc::kDiameter], 70.0);
    d.DeleteEntry();
    QCOMPARE(FindTelescope(LoadCatalog(path), "Kalyazin"), -1);
    QCOMPARE(LoadCatalog(path).count, before);
  }

  void frequencyMenusAndTheirDialogs() {
    AMFreqSetup freq;  // one ID, one IF at 0 with 1 MHz channels, 16 channels, 1600 MHz
    AScriptedDesktop desk;
    int edits = 0;
    AMFreqSetupView view(freq, desk.Services(), [&edits] { ++edits; });
    auto answer = [&desk](const QString& first, const QString& then = QString()) {
      desk.Next<AMValueDlg>([first, then](AMValueDlg& d) {
        d.Editor()->setText(first);
        if (then.isEmpty()) return PressOk(d);
        if (PressOk(d) == QDialog::Accepted) return int(QDialog::Rejected);
        d.Editor()->setText(then);
        return PressOk(d);
      });
    };

    answer("2");
    ActionOf(view.IfMenu(), "Add")->trigger();
    QCOMPARE(desk.dialog_titles.back(), QString("Number of IFs"));
    QCOMPARE(freq.n_if, 3);
    QCOMPARE(freq.table(0, 2).if_offset_hz, 32e6);

    view.SetCurrent(0, 1);
    answer("abc", "-4.5");
    ActionOf(view.IfMenu(), "Offset frequency...")->trigger();
    QCOMPARE(desk.dialog_titles.back(), QString("Offset IF frequency"));
    QCOMPARE(desk.messages.shown.back(), std::string("Invalid frequency."));
    QCOMPARE(freq.table(0, 1).if_offset_hz, -4.5e6);

    answer("0", "0.5");
    ActionOf(view.ChannelMenu(), "Width...")->trigger();
    QCOMPARE(desk.dialog_titles.back(), QString("Channel width"));
    QCOMPARE(freq.table(0, 1).ch_width_hz, 0.5e6);

    answer("1.6e1");
    ActionOf(view.ChannelMenu(), "Add")->trigger();
    QCOMPARE(desk.dialog_titles.back(), QString("Number of channels"));
    QCOMPARE(freq.n_channels, 32);

    ActionOf(view.ChannelMenu(), "Auto arrange")->trigger();
    QCOMPARE(freq.table(0, 1).if_offset_hz, 32e6);  // IF 1 ends at 32 x 1 MHz
    QCOMPARE(freq.table(0, 2).if_offset_hz, 48e6);  // IF 2 ends 32 x 0.5 MHz later

    answer("4");
    ActionOf(view.IfMenu(), "Offset step...")->trigger();
    QCOMPARE(freq.table(0, 2).if_offset_hz, 8e6);

    answer("22235.08");
    view.SetReference();
    QCOMPARE(desk.dialog_titles.back(), QString("Reference frequency"));
    QCOMPARE(freq.ref_freq_hz, 22235.08e6);

    ActionOf(view.FreqIdMenu(), "Add")->trigger();
    QCOMPARE(freq.Rows(), 2);
    view.SetCurrent(1, 2);
    ActionOf(view.IfMenu(), "Delete")->trigger();
    QCOMPARE(freq.n_if, 2);

    // Cells are typed in MHz; a text that is not a frequency is refused.
    auto* offsets = view.findChild<QTableView*>("freqOffsetsView");
    QAbstractItemModel* m = offsets->model();
    QCOMPARE(m->headerData(0, Qt::Horizontal).toString(), QString("Freq. ID"));
    QCOMPARE(m->headerData(2, Qt::Horizontal).toString(), QString("IF 2"));
    QCOMPARE(m->index(1, 0).data().toInt(), 2);
    QVERIFY(!m->setData(m->index(1, 2), "12 MHz"));
    QVERIFY(m->setData(m->index(1, 2), "12.25"));
    QCOMPARE(freq.table(1, 1).if_offset_hz, 12.25e6);
    QCOMPARE(m->index(1, 2).data().toString(), QString("12.25"));
    QCOMPARE(edits, 10);
  }
};

QTEST_MAIN(TestDialogs)
#include "test_gui_dialogs.moc"
