// The UV-plane dialog, its table model and the orbit view on the shipped example observation.
#include <QApplication>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <algorithm>
#include <fstream>
#include <memory>
#include <qcustomplot.h>

#include "app/gui/create_screenshots.h"
#include "app/gui/orbit_view.h"
#include "app/gui/uv_plane_dlg.h"
#include "app/task_runner.h"
#include "core/text.h"
#include "coverage/uv_plane.h"
#include "coverage/uv_point.h"
#include "coverage/uv_review.h"
#include "observation/telescope_catalog.h"

namespace {

std::string DataFolder() {
  const QByteArray env = qgetenv("QVL_TEST_DATA");
  return (env.isEmpty() ? std::string("data") : env.toStdString()) + "/";
}

// The example observation with its output in `dir`.
AMObservation Example(const QString& dir) {
  AMObservation obs(DataFolder());
  std::string error;
  if (!LoadObservationAny(DataFolder() + "examples/ground_space_3c345.json", DataFolder(), obs, error))
    qFatal("example observation: %s", error.c_str());
  obs.output_path = dir.toStdString() + "/3C345_mdl.uvx";
  CheckForCreate(obs);
  return obs;
}

// Every record of a UV-point file, read plainly.
std::vector<AMUVPoint> ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<AMUVPoint> out;
  for (std::size_t at = AUVXHeader::kImageBytes; at + kUVPointBytes <= bytes.size(); at += kUVPointBytes)
    out.push_back(UnpackUVPoint(reinterpret_cast<const unsigned char*>(bytes.data()) + at));
  return out;
}

void AddTelescope(AMObservation& obs, const char* name) {
  AMTlscCatalog catalog;
  LoadTelescopeFile(DataFolder() + kTelescopesFileName, catalog);
  const int at = FindTelescope(catalog, name);
  QVERIFY(at >= 0);
  obs.telescopes.Add(AMTlscItem(catalog[at]));
}

}  // namespace

class UVPlaneDialogTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    QVERIFY(dir_.isValid());
    obs_ = Example(dir_.path());
    plane_ = std::make_unique<AMUVPlane>();
    QVERIFY(plane_->Calculate(obs_, nullptr, nullptr, nullptr));
    QVERIFY(plane_->Points() > 1000);
  }

  void tableModelServesTheFile() {
    AMUVPlaneDlg dlg;
    QVERIFY(dlg.Load(plane_->UVPath(), obs_));
    const AMUVWTable* model = dlg.Model();
    QCOMPARE(model->rowCount(), plane_->Points());
    QCOMPARE(model->columnCount(), 6);
    const QStringList titles = {"Time", "Baseline", "Projection [ED]", "U [km]", "V [km]", "W [km]"};
    for (int c = 0; c < 6; ++c) QCOMPARE(model->headerData(c, Qt::Horizontal).toString(), titles[c]);
    QCOMPARE(model->headerData(0, Qt::Vertical).toInt(), 1);

    // Texts of chosen rows against the records read plainly from the file.
    const std::vector<AMUVPoint> points = ReadAll(plane_->UVPath());
    QCOMPARE(int(points.size()), plane_->Points());
    for (const int row : {0, 1, int(points.size()) / 2, int(points.size()) - 1}) {
      const AMUVPoint& p = points[std::size_t(row)];
      auto text = [&](int c) { return model->data(model->index(row, c)).toString(); };
      QCOMPARE(text(0), QString::fromStdString(dateTimeToStr(p.time)));
      QCOMPARE(text(1), QString::fromStdString(obs_.telescopes[p.tel1 - 1].id_name + "-" + obs_.telescopes[p.tel2 - 1].id_name));
      QCOMPARE(text(2), QString::number(std::hypot(double(p.u), double(p.v)) * 299792.458 / 12756.0, 'f', 4));
      QCOMPARE(text(3), QString::number(p.u * 299792.458, 'f', 3));
      QCOMPARE(text(4), QString::number(p.v * 299792.458, 'f', 3));
      QCOMPARE(text(5), QString::number(p.w * 299792.458, 'f', 3));
    }
    QCOMPARE(model->data(model->index(0, 3), Qt::TextAlignmentRole).value<Qt::Alignment>() & Qt::AlignRight, Qt::AlignRight);
    // Uniform row heights: the view never measures rows.
    QCOMPARE(dlg.TableView()->verticalHeader()->sectionResizeMode(0), QHeaderView::Fixed);
  }

  void plotHasOneGraphPerBaselineWithMirrors() {
    AMUVPlaneDlg dlg;
    QVERIFY(dlg.Load(plane_->UVPath(), obs_));
    AMUVReview review;
    QVERIFY(ReviewUVFile(plane_->UVPath(), review));
    QCustomPlot* plot = dlg.Plot();
    QCOMPARE(plot->graphCount(), int(review.baselines.size()));
    QCOMPARE(plot->xAxis->label(), QString("U [km]"));
    QCOMPARE(plot->yAxis->label(), QString("V [km]"));
    const std::vector<AMUVPoint> points = ReadAll(plane_->UVPath());
    for (int g = 0; g < plot->graphCount(); ++g) {
      const AMUVBaselineCount& b = review.baselines[std::size_t(g)];
      QCPGraph* graph = plot->graph(g);
      QCOMPARE(graph->name(), QString::fromStdString(obs_.telescopes[b.tel1 - 1].id_name + "-" +
                                                     obs_.telescopes[b.tel2 - 1].id_name));
      QCOMPARE(graph->dataCount(), int(2 * b.points));
      // The graph holds exactly the baseline's points and their negations.
      std::vector<std::pair<double, double>> drawn, expected;
      for (auto it = graph->data()->constBegin(); it != graph->data()->constEnd(); ++it) drawn.push_back({it->key, it->value});
      for (const AMUVPoint& p : points) {
        if (p.tel1 != b.tel1 || p.tel2 != b.tel2) continue;
        const double u = float(p.u * 299792.458), v = float(p.v * 299792.458);
        expected.push_back({u, v});
        expected.push_back({-u, -v});
      }
      std::sort(drawn.begin(), drawn.end());
      std::sort(expected.begin(), expected.end());
      QVERIFY(drawn == expected);
    }
    QVERIFY(plot->legend->visible());
    for (int g = 0; g < plot->graphCount(); ++g) QVERIFY(plot->legend->hasItemWithPlottable(plot->graph(g)));
  }

  void reviewReturnsTheButtonPressed_data() {
    QTest::addColumn<int>("button");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("OK") << int(QDialogButtonBox::Ok) << true;
    QTest::newRow("Cancel") << int(QDialogButtonBox::Cancel) << false;
  }
  void reviewReturnsTheButtonPressed() {
    QFETCH(int, button);
    QFETCH(bool, accepted);
    bool seen = false;
    QTimer::singleShot(0, this, [&] {
      auto* dlg = qobject_cast<AMUVPlaneDlg*>(QApplication::activeModalWidget());
      QVERIFY(dlg);
      seen = true;
      dlg->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::StandardButton(button))->click();
    });
    QCOMPARE(AMUVPlaneDlg::Review(nullptr, plane_->UVPath(), obs_), accepted);
    QVERIFY(seen);
  }

  void unreadableFileShowsNothing() {
    AMUVPlaneDlg dlg;
    QVERIFY(!dlg.Load(dir_.path().toStdString() + "/missing.$uv", obs_));
    QCOMPARE(dlg.Model()->rowCount(), 0);
    QCOMPARE(dlg.Plot()->graphCount(), 0);
    QVERIFY(!dlg.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->isEnabled());
    QVERIFY(dlg.Summary()->text().contains("missing.$uv"));
  }

  void savesPngAndPdf() {
    AMUVPlaneDlg dlg;
    QVERIFY(dlg.Load(plane_->UVPath(), obs_));
    const QString png = dir_.filePath("plane.png"), pdf = dir_.filePath("plane.pdf");
    QVERIFY(dlg.SavePlot(png));
    QVERIFY(dlg.SavePlot(pdf));
    QVERIFY(!QImage(png).isNull());
    QFile f(pdf);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QVERIFY(f.read(5) == "%PDF-");
    QVERIFY(!dlg.SavePlot(dir_.filePath("no/such/folder/plane.png")));
  }

  void millionRowsWithoutCopying() {
    // A file of a million records: the model answers for any row at once and the view is set up
    // without measuring rows.
    const int n = 1000000;
    const std::string path = dir_.filePath("big.$uv").toStdString();
    {
      AUVXHeader h;
      h.groups = n;
      h.extremes.u_min = -0.1;
      h.extremes.u_max = 0.1;
      unsigned char image[AUVXHeader::kImageBytes];
      h.ToImage(image);
      std::ofstream out(path, std::ios::binary);
      out.write(reinterpret_cast<const char*>(image), sizeof image);
      std::vector<unsigned char> block(std::size_t(1000) * kUVPointBytes);
      for (int k = 0; k < n; k += 1000) {
        for (int j = 0; j < 1000; ++j) {
          const AMUVPoint p{float(k + j) * 1e-7f, 0.01f, 0.f, double(k + j), 1, 1, 2};
          PackUVPoint(p, block.data() + std::size_t(j) * kUVPointBytes);
        }
        out.write(reinterpret_cast<const char*>(block.data()), std::streamsize(block.size()));
      }
    }
    AMUVPointTable table;
    QVERIFY(table.Open(path, obs_));
    AMUVWTable model;
    model.SetTable(&table);
    QTableView view;
    view.setModel(&model);
    model.ConfigureView(&view);
    QCOMPARE(model.rowCount(), n);
    view.resize(600, 400);
    view.show();
    view.scrollToBottom();
    QApplication::processEvents();
    QCOMPARE(model.data(model.index(n - 1, 3)).toString(), QString::number(float(n - 1) * 1e-7f * 299792.458, 'f', 3));
    QCOMPARE(model.data(model.index(n - 1, 0)).toString(), QString::fromStdString(dateTimeToStr(double(n - 1))));
  }

  void orbitViewAgreesWithTheCore() {
    AMObservation obs = obs_;
    AddTelescope(obs, "SpaceLEO");  // low orbit: the Earth is in the way for part of each revolution
    AMOrbitView view;
    view.SetObservation(obs, DataFolder());
    const std::vector<AMOrbitTrack> core = SampleOrbits(obs, DataFolder());
    QCOMPARE(view.Tracks().size(), std::size_t(2));
    QCOMPARE(core.size(), std::size_t(2));
    QVERIFY(core[1].blocked > 0 && core[1].visible > 0);
    const QString summary = view.Summary()->text();
    for (std::size_t k = 0; k < core.size(); ++k) {
      const AMOrbitTrack& v = view.Tracks()[k];
      QCOMPARE(v.name, core[k].name);
      QCOMPARE(v.visible, core[k].visible);
      QCOMPARE(v.blocked, core[k].blocked);
      QCOMPARE(v.BlockedFraction(), core[k].BlockedFraction());
      const QString share = QString("%1 %").arg(100.0 * core[k].VisibleFraction(), 0, 'f', 1);
      QVERIFY2(summary.contains(QString::fromStdString(core[k].name)) && summary.contains(share), qPrintable(summary));
    }
    // One red bar on the time line per blocked stretch.
    int blocked_bars = 0;
    for (int i = 0; i < view.TimePlot()->itemCount(); ++i)
      blocked_bars += view.TimePlot()->item(i)->objectName() == "blocked";
    int spans = 0;
    for (const AMOrbitTrack& t : core) spans += int(BlockedSpans(t).size());
    QVERIFY(spans > 0);
    QCOMPARE(blocked_bars, spans);

    // Without orbital telescopes the view says so and hides its plots.
    AMObservation ground = obs_;
    ground.telescopes.RemoveAt(ground.telescopes.GetSize() - 1);
    view.SetObservation(ground, DataFolder());
    QVERIFY(view.Tracks().empty());
    QCOMPARE(view.Summary()->text(), QString("No orbital telescopes in this observation."));
    QVERIFY(view.SkyPlot()->isHidden());
  }

  void screenshotsAreWritten() {
    const QString out = dir_.filePath("shots");
    const QStringList files = MakeCreateScreenshots(out, QString::fromStdString(DataFolder()));
    QCOMPARE(files.size(), 4);
    for (const QString& f : files) {
      const QImage image(f);
      QVERIFY2(!image.isNull() && image.width() >= 600 && image.height() >= 400, qPrintable(f));
    }
  }

 private:
  QTemporaryDir dir_;
  AMObservation obs_;
  std::unique_ptr<AMUVPlane> plane_;
};

QTEST_MAIN(UVPlaneDialogTest)
#include "test_uv_plane_dlg.moc"
