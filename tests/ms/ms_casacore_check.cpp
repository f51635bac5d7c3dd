#include "ms_casacore_check.h"

#include <casacore/casa/Arrays/Array.h>
#include <casacore/casa/Arrays/Vector.h>
#include <casacore/casa/Logging/LogSink.h>
#include <casacore/casa/Logging/NullLogSink.h>
#include <casacore/casa/Quanta/MVBaseline.h>
#include <casacore/casa/Quanta/MVuvw.h>
#include <casacore/measures/Measures/MBaseline.h>
#include <casacore/measures/Measures/MCBaseline.h>
#include <casacore/measures/Measures/MDirection.h>
#include <casacore/measures/Measures/MEpoch.h>
#include <casacore/measures/Measures/MPosition.h>
#include <casacore/measures/Measures/MeasConvert.h>
#include <casacore/measures/Measures/MeasFrame.h>
#include <casacore/tables/Tables/ArrayColumn.h>
#include <casacore/tables/Tables/ScalarColumn.h>
#include <casacore/tables/Tables/Table.h>
#include <casacore/tables/Tables/TableRecord.h>

#include <exception>

using namespace casacore;

namespace mscheck {

namespace {

// casacore's log goes nowhere: the measures complain about missing IERS tables, which the
// comparison does not need (UT1 = UTC and no polar motion, as the simulation itself).
void Quiet() {
  static bool done = false;
  if (done) return;
  LogSinkInterface* sink = new NullLogSink();
  LogSink::globalSink(sink);
  done = true;
}

template <class T>
void Scalars(const Table& t, const char* name, std::vector<T>& out) {
  out.clear();
  if (!t.tableDesc().isColumn(name)) return;
  const Vector<T> v = ScalarColumn<T>(t, name).getColumn();
  out.assign(v.begin(), v.end());
}

void Scalars(const Table& t, const char* name, std::vector<std::string>& out) {
  out.clear();
  if (!t.tableDesc().isColumn(name)) return;
  const Vector<String> v = ScalarColumn<String>(t, name).getColumn();
  out.assign(v.begin(), v.end());
}

template <class T, class U = T>
void Arrays(const Table& t, const char* name, std::vector<U>& out) {
  out.clear();
  if (!t.tableDesc().isColumn(name) || t.nrow() == 0) return;
  const Array<T> a = ArrayColumn<T>(t, name).getColumn();
  for (auto it = a.begin(); it != a.end(); ++it) out.push_back(U(*it));
}

std::string Ref(const Table& t, const char* column) {
  const TableRecord& kw = TableColumn(t, column).keywordSet();
  if (!kw.isDefined("MEASINFO")) return "";
  const TableRecord& info = kw.subRecord("MEASINFO");
  return info.isDefined("Ref") ? std::string(info.asString("Ref")) : std::string();
}

Table Sub(const Table& ms, const char* name) { return ms.keywordSet().asTable(name); }

}  // namespace

int ReadMS(const std::string& path, MainRows& m, SubTables& s, std::string& error) {
  try {
    Quiet();
    const Table t(path);
    m.rows = std::int64_t(t.nrow());
    for (const String& name : t.tableDesc().columnNames()) {
      const TableColumn col(t, name);
      if (col.columnDesc().isArray() && t.nrow() > 0 && col.isDefined(0)) {
        const IPosition shape = col.shape(0);
        m.cell_shape[name] = std::vector<long>(shape.begin(), shape.end());
      }
    }
    m.uvw_ref = Ref(t, "UVW"), m.time_ref = Ref(t, "TIME");
    Scalars(t, "ANTENNA1", m.antenna1), Scalars(t, "ANTENNA2", m.antenna2);
    Scalars(t, "DATA_DESC_ID", m.data_desc), Scalars(t, "FIELD_ID", m.field), Scalars(t, "SCAN_NUMBER", m.scan);
    Scalars(t, "OBSERVATION_ID", m.observation), Scalars(t, "STATE_ID", m.state), Scalars(t, "PROCESSOR_ID", m.processor);
    Scalars(t, "TIME", m.time), Scalars(t, "TIME_CENTROID", m.time_centroid);
    Scalars(t, "INTERVAL", m.interval), Scalars(t, "EXPOSURE", m.exposure);
    Arrays<Double>(t, "UVW", m.uvw);
    Arrays<Complex>(t, "DATA", m.data);
    Arrays<Float>(t, "WEIGHT_SPECTRUM", m.weight_spectrum);
    Arrays<Float>(t, "WEIGHT", m.weight), Arrays<Float>(t, "SIGMA", m.sigma);
    Arrays<Bool, char>(t, "FLAG", m.flag);
    std::vector<Bool> flag_row;
    Scalars(t, "FLAG_ROW", flag_row);
    m.flag_row.assign(flag_row.begin(), flag_row.end());

    s.ms_version = t.keywordSet().asDouble("MS_VERSION");
    const Table ant = Sub(t, "ANTENNA");
    Scalars(ant, "NAME", s.antenna_name), Scalars(ant, "STATION", s.antenna_station);
    Scalars(ant, "TYPE", s.antenna_type), Scalars(ant, "MOUNT", s.antenna_mount);
    Arrays<Double>(ant, "POSITION", s.antenna_xyz), Scalars(ant, "DISH_DIAMETER", s.dish_diameter);
    const Table spw = Sub(t, "SPECTRAL_WINDOW");
    Scalars(spw, "NUM_CHAN", s.num_chan), Scalars(spw, "NET_SIDEBAND", s.net_sideband);
    Scalars(spw, "REF_FREQUENCY", s.ref_freq), Scalars(spw, "TOTAL_BANDWIDTH", s.total_bandwidth);
    for (rownr_t r = 0; r < spw.nrow(); ++r) {
      const Vector<Double> f = ArrayColumn<Double>(spw, "CHAN_FREQ")(r), w = ArrayColumn<Double>(spw, "CHAN_WIDTH")(r);
      s.chan_freq.emplace_back(f.begin(), f.end());
      s.chan_width.emplace_back(w.begin(), w.end());
    }
    const Table dd = Sub(t, "DATA_DESCRIPTION");
    Scalars(dd, "SPECTRAL_WINDOW_ID", s.dd_spw), Scalars(dd, "POLARIZATION_ID", s.dd_pol);
    const Table pol = Sub(t, "POLARIZATION");
    if (pol.nrow() > 0) {
      const Vector<Int> types = ArrayColumn<Int>(pol, "CORR_TYPE")(0);
      const Array<Int> products = ArrayColumn<Int>(pol, "CORR_PRODUCT")(0);
      s.corr_type.assign(types.begin(), types.end());
      s.corr_product.assign(products.begin(), products.end());
    }
    const Table field = Sub(t, "FIELD");
    Scalars(field, "NAME", s.field_name);
    Arrays<Double>(field, "PHASE_DIR", s.phase_dir);
    s.phase_dir_ref = Ref(field, "PHASE_DIR");
    const Table source = Sub(t, "SOURCE");
    Scalars(source, "NAME", s.source_name);
    Arrays<Double>(source, "DIRECTION", s.source_direction);
    const Table feed = Sub(t, "FEED");
    Scalars(feed, "ANTENNA_ID", s.feed_antenna);
    if (feed.nrow() > 0) {
      const Vector<String> types = ArrayColumn<String>(feed, "POLARIZATION_TYPE")(0);
      s.feed_types.assign(types.begin(), types.end());
    }
    const Table obs = Sub(t, "OBSERVATION");
    if (obs.nrow() > 0) {
      s.telescope = ScalarColumn<String>(obs, "TELESCOPE_NAME")(0);
      s.observer = ScalarColumn<String>(obs, "OBSERVER")(0);
    }
    s.state_rows = int(Sub(t, "STATE").nrow());
    s.processor_rows = int(Sub(t, "PROCESSOR").nrow());
    s.pointing_rows = int(Sub(t, "POINTING").nrow());
    s.history_rows = int(Sub(t, "HISTORY").nrow());
    return 1;
  } catch (const std::exception& e) {
    error = e.what();
    return 0;
  }
}

int CasacoreUVW(const std::string& path, std::vector<double>& out, std::string& error) {
  try {
    Quiet();
    const Table t(path);
    const Table ant = Sub(t, "ANTENNA"), field = Sub(t, "FIELD");
    const Array<Double> dir_cell = ArrayColumn<Double>(field, "PHASE_DIR")(0);
    const std::vector<double> dir(dir_cell.begin(), dir_cell.end());
    const MVDirection centre(dir.at(0), dir.at(1));
    std::vector<MVPosition> pos;
    for (rownr_t r = 0; r < ant.nrow(); ++r) {
      const Vector<Double> xyz = ArrayColumn<Double>(ant, "POSITION")(r);
      pos.emplace_back(xyz[0], xyz[1], xyz[2]);
    }
    const ScalarColumn<Double> time(t, "TIME");
    MeasFrame frame(MEpoch(MVEpoch(Quantity(time(0), "s")), MEpoch::UTC), MPosition(pos.at(0), MPosition::ITRF),
                    MDirection(centre, MDirection::J2000));
    const ScalarColumn<Int> a1(t, "ANTENNA1"), a2(t, "ANTENNA2");
    out.assign(3 * t.nrow(), 0.0);
    double last = -1;
    std::vector<Vector<Double>> uvw(pos.size());
    MBaseline::Convert to_j2000(MBaseline::Ref(MBaseline::ITRF, frame), MBaseline::Ref(MBaseline::J2000));
    for (rownr_t r = 0; r < t.nrow(); ++r) {
      if (time(r) != last) {
        last = time(r);
        frame.resetEpoch(MEpoch(MVEpoch(Quantity(last, "s")), MEpoch::UTC));
        // Each antenna's geocentric vector as a baseline from the geocentre, turned to J2000 and
        // projected on the phase centre; a row's UVW is the difference (ANTENNA2 - ANTENNA1).
        for (std::size_t k = 0; k < pos.size(); ++k)
          uvw[k] = MVuvw(to_j2000(MVBaseline(pos[k])).getValue(), centre).getValue();
      }
      for (int c = 0; c < 3; ++c) out[3 * r + std::size_t(c)] = uvw.at(std::size_t(a2(r)))[c] - uvw.at(std::size_t(a1(r)))[c];
    }
    return 1;
  } catch (const std::exception& e) {
    error = e.what();
    return 0;
  }
}

int CopyWithRows(const std::string& src, const std::string& dst, const std::vector<std::int64_t>& order,
                 std::string& error) {
  try {
    const Table t(src);
    Vector<rownr_t> rows(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) rows[i] = rownr_t(order[i]);
    t(rows).deepCopy(dst, Table::New, true);
    return 1;
  } catch (const std::exception& e) {
    error = e.what();
    return 0;
  }
}

int DamageMS(const std::string& path, Damage what, std::string& error) {
  try {
    Table t(path, Table::Update);
    const rownr_t last = t.nrow() - 1;
    switch (what) {
      case Damage::SecondField: {
        Table field = Sub(t, "FIELD");
        field.reopenRW();
        field.addRow();
        ScalarColumn<String>(field, "NAME").put(1, "OTHER");
        for (const char* c : {"PHASE_DIR", "DELAY_DIR", "REFERENCE_DIR"})
          ArrayColumn<Double>(field, c).put(1, ArrayColumn<Double>(field, c)(0));
        ScalarColumn<Int> id(t, "FIELD_ID");
        for (rownr_t r = t.nrow() / 2; r < t.nrow(); ++r) id.put(r, 1);
        break;
      }
      case Damage::SecondPolarization:
      case Damage::WiderWindow: {
        Table dd = Sub(t, "DATA_DESCRIPTION");
        dd.reopenRW();
        const rownr_t d = dd.nrow();
        dd.addRow();
        ScalarColumn<Int>(dd, "SPECTRAL_WINDOW_ID").put(d, 0);
        ScalarColumn<Int>(dd, "POLARIZATION_ID").put(d, 0);
        if (what == Damage::SecondPolarization) {
          Table pol = Sub(t, "POLARIZATION");
          pol.reopenRW();
          pol.addRow();
          ArrayColumn<Int>(pol, "CORR_TYPE").put(1, ArrayColumn<Int>(pol, "CORR_TYPE")(0));
          ArrayColumn<Int>(pol, "CORR_PRODUCT").put(1, ArrayColumn<Int>(pol, "CORR_PRODUCT")(0));
          ScalarColumn<Int>(pol, "NUM_CORR").put(1, ScalarColumn<Int>(pol, "NUM_CORR")(0));
          ScalarColumn<Int>(dd, "POLARIZATION_ID").put(d, 1);
        } else {
          Table spw = Sub(t, "SPECTRAL_WINDOW");
          spw.reopenRW();
          const rownr_t w = spw.nrow();
          spw.addRow();
          const Vector<Double> f = ArrayColumn<Double>(spw, "CHAN_FREQ")(0), width = ArrayColumn<Double>(spw, "CHAN_WIDTH")(0);
          Vector<Double> f2(f.size() + 1), w2(f.size() + 1, width[0]);
          for (std::size_t k = 0; k < f2.size(); ++k) f2[k] = f[0] + double(k) * width[0] + 1e9;
          ArrayColumn<Double>(spw, "CHAN_FREQ").put(w, f2);
          for (const char* c : {"CHAN_WIDTH", "EFFECTIVE_BW", "RESOLUTION"}) ArrayColumn<Double>(spw, c).put(w, w2);
          ScalarColumn<Int>(spw, "NUM_CHAN").put(w, Int(f2.size()));
          ScalarColumn<Int>(dd, "SPECTRAL_WINDOW_ID").put(d, Int(w));
        }
        ScalarColumn<Int>(t, "DATA_DESC_ID").put(last, Int(d));
        break;
      }
      case Damage::ManyAntennas: {
        Table ant = Sub(t, "ANTENNA");
        ant.reopenRW();
        const rownr_t n = ant.nrow();
        ant.addRow(300 - n);
        for (rownr_t r = n; r < 300; ++r) ArrayColumn<Double>(ant, "POSITION").put(r, ArrayColumn<Double>(ant, "POSITION")(0));
        break;
      }
      case Damage::RepeatedRow:
        for (const char* c : {"ANTENNA1", "ANTENNA2", "DATA_DESC_ID"}) ScalarColumn<Int>(t, c).put(1, ScalarColumn<Int>(t, c)(0));
        ScalarColumn<Double>(t, "TIME").put(1, ScalarColumn<Double>(t, "TIME")(0));
        break;
      case Damage::TimeInTAI: {
        TableRecord& kw = TableColumn(t, "TIME").rwKeywordSet();
        kw.rwSubRecord("MEASINFO").define("Ref", "TAI");
        break;
      }
    }
    t.flush();
    return 1;
  } catch (const std::exception& e) {
    error = e.what();
    return 0;
  }
}

}  // namespace mscheck
