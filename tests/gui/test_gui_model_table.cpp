// The component table of the "Source modeling" page through its Qt model and view: headers with
// the degree sign, "------" cells, the drop-down of types, what an edit redraws, the thick-ring
// width rule, insert after the selection, delete moving the selection, and the modified flag.
#include <QComboBox>
#include <QSignalSpy>
#include <QTableView>
#include <QtTest>

#include "app/gui/comps_table_model.h"
#include "model/model_document.h"

namespace {

ACompItem Item(int type, double width = 0.25) {
  ACompItem c;
  c.type = type;
  c.flux = 1.5;
  c.large_axis = 0.002;
  c.axis_ratio = 0.5;
  c.inclination = 30;
  c.position_angle = -45;
  c.distance = 0.004;
  c.width = width;
  return c;
}

// The cells a dataChanged signal covered, as "top,left-bottom,right" (0-based).
QString Span(const QList<QVariant>& args) {
  const QModelIndex a = args[0].value<QModelIndex>(), b = args[1].value<QModelIndex>();
  return QString("%1,%2-%3,%4").arg(a.row()).arg(a.column()).arg(b.row()).arg(b.column());
}

}  // namespace

class TestModelTable : public QObject {
  Q_OBJECT

 private slots:
  void headersAndCells() {
    AMModelDocument doc;
    for (int type : {1, 2, 7}) doc.Model().Add(Item(type));
    AMCompsTableModel model(doc, {});
    const QStringList headers = {"Type",          "Flux [Jy]",          "Large axis [as]", "Axis ratio",
                                 "Inclination [°]", "Position angle [°]", "Distance [as]",   "Width ]0..1["};
    QCOMPARE(model.columnCount(), 8);
    for (int c = 0; c < 8; ++c) QCOMPARE(model.headerData(c, Qt::Horizontal, Qt::DisplayRole).toString(), headers[c]);
    QCOMPARE(model.headerData(2, Qt::Vertical, Qt::DisplayRole).toString(), QString("3"));
    const struct {
      int row, column;
      const char* text;
    } cells[] = {{0, 0, "Delta function"}, {0, 1, "1.5"},   {0, 2, "------"}, {0, 3, "------"}, {0, 4, "------"},
                 {0, 5, "-45"},            {0, 6, "0.004"}, {0, 7, "------"}, {1, 2, "0.002"},  {1, 7, "------"},
                 {2, 0, "Thick ring"},     {2, 7, "0.25"}};
    for (const auto& c : cells)
      QCOMPARE(model.index(c.row, c.column).data().toString(), QString(c.text));
    // An editor starts from the value, even under "------"; the type column from its entry.
    QCOMPARE(model.index(0, 2).data(Qt::EditRole).toString(), QString("0.002"));
    QCOMPARE(model.index(2, 0).data(Qt::EditRole).toInt(), 6);
    for (int c = 1; c < 8; ++c) QVERIFY(!model.index(0, c).data(Qt::ToolTipRole).toString().isEmpty());
  }

  // What each edit redraws and whether it marks the model modified, row by row of a table.
  void editsRedrawAndMarkTheModel_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("column");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("span");      // the cells redrawn
    QTest::addColumn<int>("modified");
    QTest::addColumn<QString>("cell_after");
    QTest::addColumn<QString>("c3_after");  // column 3 ("Large axis") after the edit
    QTest::newRow("Gaussian to Disk: own cell") << 2 << 0 << QVariant(2) << "1,0-1,0" << 1 << "Disk" << "0.002";
    QTest::newRow("Gaussian to Delta: whole table") << 2 << 0 << QVariant(0) << "0,0-2,7" << 1 << "Delta function"
                                                   << "------";
    QTest::newRow("Delta to Rectangle: whole table") << 1 << 0 << QVariant(5) << "0,0-2,7" << 1 << "Rectangle"
                                                    << "0.002";
    QTest::newRow("same type: nothing changes") << 2 << 0 << QVariant(1) << "1,0-1,0" << 0 << "Gaussian" << "0.002";
    QTest::newRow("flux typed") << 2 << 1 << QVariant("-5") << "1,1-1,1" << 1 << "-5" << "0.002";
    QTest::newRow("same flux") << 2 << 1 << QVariant("1.5") << "1,1-1,1" << 0 << "1.5" << "0.002";
    QTest::newRow("not a number is 0") << 2 << 6 << QVariant("abc") << "1,6-1,6" << 1 << "0" << "0.002";
    QTest::newRow("ring width 1 dropped, flag set") << 7 << 7 << QVariant("1") << "1,7-1,7" << 1 << "0.25" << "0.002";
    QTest::newRow("ring width 0 dropped, flag set") << 7 << 7 << QVariant("0") << "1,7-1,7" << 1 << "0.25" << "0.002";
    QTest::newRow("ring width 0.6 kept") << 7 << 7 << QVariant("0.6") << "1,7-1,7" << 1 << "0.6" << "0.002";
    QTest::newRow("width of a Gaussian stored, not shown") << 2 << 7 << QVariant("7") << "1,7-1,7" << 1 << "------"
                                                           << "0.002";
  }
  void editsRedrawAndMarkTheModel() {
    QFETCH(int, type);
    QFETCH(int, column);
    QFETCH(QVariant, value);
    QFETCH(QString, span);
    QFETCH(int, modified);
    QFETCH(QString, cell_after);
    QFETCH(QString, c3_after);
    AMModelDocument doc;
    for (int t : {2, type, 2}) doc.Model().Add(Item(t));
    int edits = 0;
    AMCompsTableModel model(doc, [&] { ++edits; });
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QVERIFY(model.setData(model.index(1, column), value, Qt::EditRole));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(Span(changed.front()), span);
    QCOMPARE(doc.IsModified(), modified);
    QCOMPARE(edits, 1);
    QCOMPARE(model.index(1, column).data().toString(), cell_after);
    QCOMPARE(model.index(1, 2).data().toString(), c3_after);
  }

  // Insert after the selected row, delete moving the selection, on the view as the page uses it.
  void insertAndDeleteFollowTheSelection() {
    AMModelDocument doc;
    AMCompsTableModel model(doc, {});
    QTableView view;
    view.setModel(&model);
    model.Select(view.currentIndex());
    model.Delete();  // empty: nothing happens
    QCOMPARE(doc.IsModified(), 0);
    model.Insert();  // empty: appended, selection row 1 column 1
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(model.SelectedIndex(), model.index(0, 0));
    QCOMPARE(doc.IsModified(), 1);
    doc.Model()[0].flux = 11;
    model.Insert();
    doc.Model()[1].flux = 12;
    model.Select(model.index(0, 4));  // row 1 selected: the new one goes between
    model.Insert();
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(model.SelectedIndex(), model.index(1, 0));
    QCOMPARE(doc.Model()[0].flux, 11.0);
    QCOMPARE(doc.Model()[2].flux, 12.0);
    QCOMPARE(doc.Model()[1], ACompItem{});

    model.Select(model.index(2, 3));  // the last row: the selection moves up
    doc.Modified() = 0;
    model.Delete();
    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(model.SelectedIndex().row(), 1);
    QCOMPARE(doc.IsModified(), 1);
    model.Select(model.index(0, 1));  // not the last: the selection stays on row 1
    model.Delete();
    QCOMPARE(model.SelectedIndex().row(), 0);
    QCOMPARE(doc.Model()[0], ACompItem{});
  }

  // The drop-down offers the seven names in table order and stores its choice at once.
  void theTypeDropDown() {
    AMModelDocument doc;
    doc.Model().Add(Item(2));
    AMCompsTableModel model(doc, {});
    QTableView view;
    view.setModel(&model);
    view.setItemDelegate(new AMCompTypeDelegate(&view));
    view.show();
    view.edit(model.index(0, 0));
    auto* combo = view.findChild<QComboBox*>("compTypeCombo");
    QVERIFY(combo);
    QCOMPARE(combo->count(), 7);
    QCOMPARE(combo->itemText(0), QString("Delta function"));
    QCOMPARE(combo->itemText(6), QString("Thick ring"));
    QCOMPARE(combo->currentIndex(), 1);
    combo->setCurrentIndex(6);
    emit combo->activated(6);
    QCOMPARE(doc.Model()[0].type, 7);
    QCOMPARE(model.index(0, 7).data().toString(), QString("0.25"));
  }
};

QTEST_MAIN(TestModelTable)
#include "test_gui_model_table.moc"
