// The casacore side of the Measurement Set import (compiled as C++17, see ms_plain.h).
#include <casacore/casa/Arrays/Array.h>
#include <casacore/casa/Arrays/Slicer.h>
#include <casacore/casa/Arrays/Vector.h>
#include <casacore/ms/MeasurementSets/MSAntennaColumns.h>
#include <casacore/ms/MeasurementSets/MSDataDescColumns.h>
#include <casacore/ms/MeasurementSets/MSFeedColumns.h>
#include <casacore/ms/MeasurementSets/MSFieldColumns.h>
#include <casacore/ms/MeasurementSets/MSObsColumns.h>
#include <casacore/ms/MeasurementSets/MSPolColumns.h>
#include <casacore/ms/MeasurementSets/MSSpWindowColumns.h>
#include <casacore/ms/MeasurementSets/MeasurementSet.h>
#include <casacore/tables/Tables/ArrayColumn.h>
#include <casacore/tables/Tables/ScalarColumn.h>

#include <exception>
#include <optional>

#include "ms/ms_plain.h"

using namespace casacore;

namespace ms {

namespace {

// The reference frame a measure column declares ("UTC", "J2000", "ITRF"), "variable" for a
// per-row reference, "" when it declares none.
std::string MeasRef(const TableColumn& col) {
  const TableRecord& kw = col.keywordSet();
  if (!kw.isDefined("MEASINFO")) return "";
  const TableRecord& info = kw.subRecord("MEASINFO");
  if (info.isDefined("Ref")) return info.asString("Ref");
  return info.isDefined("VarRefCol") ? "variable" : "";
}

template <class T>
std::vector<T> ToVector(const Array<T>& a) {
  std::vector<T> out;
  for (auto it = a.begin(); it != a.end(); ++it) out.push_back(*it);
  return out;
}

void ReadAntennas(const MeasurementSet& ms, ReadDescription& info) {
  MSAntennaColumns c(ms.antenna());
  info.antenna_ref = MeasRef(c.position());
  for (rownr_t r = 0; r < ms.antenna().nrow(); ++r) {
    Antenna a;
    a.name = c.name()(r), a.station = c.station()(r), a.type = c.type()(r), a.mount = c.mount()(r);
    const Vector<Double> xyz = c.position()(r);
    for (int k = 0; k < 3 && k < int(xyz.size()); ++k) a.xyz[k] = xyz[k];
    a.dish_diameter = c.dishDiameter()(r);
    info.antennas.push_back(a);
  }
}

void ReadSpectral(const MeasurementSet& ms, ReadDescription& info) {
  MSSpWindowColumns w(ms.spectralWindow());
  for (rownr_t r = 0; r < ms.spectralWindow().nrow(); ++r) {
    SpectralWindow s;
    s.name = w.name()(r);
    s.chan_freq = ToVector(w.chanFreq()(r));
    s.chan_width = ToVector(w.chanWidth()(r));
    s.ref_freq = w.refFrequency()(r);
    s.total_bandwidth = w.totalBandwidth()(r);
    s.net_sideband = w.netSideband()(r);
    info.windows.push_back(std::move(s));
  }
  MSDataDescColumns dd(ms.dataDescription());
  for (rownr_t r = 0; r < ms.dataDescription().nrow(); ++r)
    info.data_descs.push_back({dd.spectralWindowId()(r), dd.polarizationId()(r)});
  MSPolarizationColumns p(ms.polarization());
  for (rownr_t r = 0; r < ms.polarization().nrow(); ++r) info.polarizations.push_back(ToVector(p.corrType()(r)));
}

void ReadFieldsAndObservation(const MeasurementSet& ms, ReadDescription& info) {
  MSFieldColumns f(ms.field());
  const std::string ref = MeasRef(f.phaseDir());
  for (rownr_t r = 0; r < ms.field().nrow(); ++r) {
    Field field;
    field.name = f.name()(r);
    const Array<Double> dir = f.phaseDir()(r);
    if (dir.nelements() >= 2) {
      auto it = dir.begin();
      field.ra_rad = *it;
      field.dec_rad = *++it;
    }
    field.ref = ref;
    info.fields.push_back(field);
  }
  if (ms.feed().nrow() > 0) {
    MSFeedColumns feed(ms.feed());
    for (const String& s : ToVector(feed.polarizationType()(0))) info.receptors.push_back(s);
  }
  if (ms.observation().nrow() > 0) {
    MSObservationColumns o(ms.observation());
    info.telescope = o.telescopeName()(0);
    info.observer = o.observer()(0);
  }
}

}  // namespace

struct Reader::Impl {
  std::optional<MeasurementSet> ms;
  Table main;  // the rows in the current order
  std::string column;
  ReadDescription info;
};

Reader::Reader() : impl_(new Impl) {}
Reader::~Reader() = default;

const ReadDescription& Reader::Info() const { return impl_->info; }

int Reader::Open(const std::string& path, const std::string& column, std::string& error) {
  if (!OpensInChild(path, [&](std::string& e) { return OpenHere(path, column, e); }, error)) return 0;
  return OpenHere(path, column, error);
}

int Reader::OpenHere(const std::string& path, const std::string& column, std::string& error) {
  try {
    impl_->ms.emplace(path, Table::Old);
    impl_->main = *impl_->ms;
    impl_->column = column;
    const MeasurementSet& ms = *impl_->ms;
    if (!ms.tableDesc().isColumn(column)) return error = "no " + column + " column in the main table", 0;
    ReadDescription& info = impl_->info;
    info.rows = std::int64_t(ms.nrow());
    ReadAntennas(ms, info);
    ReadSpectral(ms, info);
    ReadFieldsAndObservation(ms, info);
    info.time_ref = MeasRef(TableColumn(ms, "TIME"));
    info.uvw_ref = MeasRef(TableColumn(ms, "UVW"));
    if (ms.nrow() > 0) info.first_interval = ScalarColumn<Double>(ms, "INTERVAL")(0);
    info.weight_spectrum = ms.tableDesc().isColumn("WEIGHT_SPECTRUM") && ms.nrow() > 0 &&
                           TableColumn(ms, "WEIGHT_SPECTRUM").isDefined(0);
    return 1;
  } catch (const std::exception& e) {
    impl_->ms.reset();
    return error = std::string("casacore: ") + e.what(), 0;
  }
}

int Reader::ReadIndex(std::int64_t first, int n, IndexBlock& out, std::string& error) {
  try {
    const Slicer rows(IPosition(1, first), IPosition(1, n));
    auto read = [&](const char* name, auto& vec) {
      using T = typename std::decay_t<decltype(vec)>::value_type;
      vec.resize(std::size_t(n));
      Vector<T> v(IPosition(1, n), vec.data(), SHARE);
      ScalarColumn<T>(impl_->main, name).getColumnRange(rows, v);
    };
    read("TIME", out.time);
    read("ANTENNA1", out.antenna1);
    read("ANTENNA2", out.antenna2);
    read("DATA_DESC_ID", out.data_desc);
    read("FIELD_ID", out.field);
    return 1;
  } catch (const std::exception& e) {
    return error = e.what(), 0;
  }
}

int Reader::SortByTime(std::string& error) {
  try {
    impl_->main = impl_->ms->sort("TIME");
    return 1;
  } catch (const std::exception& e) {
    return error = e.what(), 0;
  }
}

int Reader::ReadRows(std::int64_t first, int n, int n_corr, int n_chan, RowBlock& b, std::string& error) {
  try {
    b.Resize(n, n_corr, n_chan);
    const Table& t = impl_->main;
    const Slicer rows(IPosition(1, first), IPosition(1, n));
    auto scalars = [&](const char* name, auto& vec) {
      using T = typename std::decay_t<decltype(vec)>::value_type;
      Vector<T> v(IPosition(1, n), vec.data(), SHARE);
      ScalarColumn<T>(t, name).getColumnRange(rows, v);
    };
    scalars("TIME", b.time);
    scalars("ANTENNA1", b.antenna1);
    scalars("ANTENNA2", b.antenna2);
    scalars("DATA_DESC_ID", b.data_desc);
    scalars("FIELD_ID", b.field);
    Vector<Bool> flag_row(IPosition(1, n), b.flag_row.get(), SHARE);
    ScalarColumn<Bool>(t, "FLAG_ROW").getColumnRange(rows, flag_row);
    Array<Double> uvw(IPosition(2, 3, n), b.uvw.data(), SHARE);
    ArrayColumn<Double>(t, "UVW").getColumnRange(rows, uvw);
    const IPosition cube(3, n_corr, n_chan, n);
    Array<Complex> data(cube, b.data.data(), SHARE);
    ArrayColumn<Complex>(t, impl_->column).getColumnRange(rows, data);
    Array<Bool> flag(cube, b.flag.get(), SHARE);
    ArrayColumn<Bool>(t, "FLAG").getColumnRange(rows, flag);
    if (impl_->info.weight_spectrum) {
      Array<Float> w(cube, b.weight_spectrum.data(), SHARE);
      ArrayColumn<Float>(t, "WEIGHT_SPECTRUM").getColumnRange(rows, w);
    } else {
      Array<Float> w(IPosition(2, n_corr, n), b.weight.data(), SHARE);
      ArrayColumn<Float>(t, "WEIGHT").getColumnRange(rows, w);
      for (int r = 0; r < n; ++r)
        for (int ch = 0; ch < n_chan; ++ch)
          for (int c = 0; c < n_corr; ++c)
            b.weight_spectrum[(std::size_t(r) * n_chan + ch) * n_corr + c] = b.weight[std::size_t(r) * n_corr + c];
    }
    return 1;
  } catch (const std::exception& e) {
    return error = e.what(), 0;
  }
}

}  // namespace ms
