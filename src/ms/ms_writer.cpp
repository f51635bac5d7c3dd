// The casacore side of the Measurement Set export: the main table and its storage (compiled as
// C++17, see ms_plain.h). The subtables are filled in ms_subtables.cpp.
#include <casacore/casa/Arrays/Array.h>
#include <casacore/casa/Arrays/Slicer.h>
#include <casacore/casa/Arrays/Vector.h>
#include <casacore/ms/MeasurementSets/MSMainColumns.h>
#include <casacore/ms/MeasurementSets/MeasurementSet.h>
#include <casacore/tables/DataMan/StandardStMan.h>
#include <casacore/tables/DataMan/TiledColumnStMan.h>
#include <casacore/tables/Tables/SetupNewTab.h>
#include <casacore/tables/Tables/TableRecord.h>

#include <algorithm>
#include <exception>
#include <optional>

#include "ms/ms_plain.h"
#include "ms/ms_subtables.h"

using namespace casacore;

namespace ms {

void RowBlock::Resize(int n_rows, int corr, int chan) {
  const std::size_t cells = std::size_t(corr) * std::size_t(chan);
  if (std::size_t(n_rows) > capacity || corr != n_corr || chan != n_chan) {
    const std::size_t cap = std::max<std::size_t>(std::size_t(n_rows), 1);
    time.resize(cap), uvw.resize(3 * cap);
    antenna1.resize(cap), antenna2.resize(cap), data_desc.resize(cap), field.resize(cap), scan.resize(cap);
    data.resize(cap * cells), weight_spectrum.resize(cap * cells);
    flag.reset(new bool[cap * cells]);
    weight.resize(cap * std::size_t(corr)), sigma.resize(cap * std::size_t(corr));
    flag_row.reset(new bool[cap]);
    capacity = cap;
  }
  rows = n_rows, n_corr = corr, n_chan = chan;
}

namespace {

// About 1 MB per tile of DATA: whole rows, so sequential writing fills one tile after the other.
int RowsPerTile(int n_corr, int n_chan) {
  const int bytes = 8 * n_corr * n_chan;
  return std::clamp((1 << 20) / std::max(bytes, 1), 1, 8192);
}

}  // namespace

struct Writer::Impl {
  std::optional<MeasurementSet> ms;
  std::optional<MSMainColumns> cols;
  IPosition cell;  // [n_corr, n_chan]
  double interval = 0;
};

Writer::Writer() : impl_(new Impl) {}
Writer::~Writer() {
  std::string ignored;
  Close(ignored);
}

int Writer::Create(const std::string& path, const Description& d, std::string& error) {
  try {
    const int n_corr = int(d.corr_types.size());
    impl_->cell = IPosition(2, n_corr, d.n_chan);
    impl_->interval = d.interval;
    TableDesc td = MS::requiredTableDesc();
    MS::addColumnToDesc(td, MS::DATA, 2);
    MS::addColumnToDesc(td, MS::WEIGHT_SPECTRUM, 2);
    for (MS::PredefinedColumns c : {MS::DATA, MS::FLAG, MS::WEIGHT_SPECTRUM})
      td.rwColumnDesc(MS::columnName(c)).setShape(impl_->cell);
    for (MS::PredefinedColumns c : {MS::WEIGHT, MS::SIGMA})
      td.rwColumnDesc(MS::columnName(c)).setShape(IPosition(1, n_corr));
    // UVW on the axes of the J2000 phase centre (the definition's default reference is ITRF).
    td.rwColumnDesc(MS::columnName(MS::UVW)).rwKeywordSet().rwSubRecord("MEASINFO").define("Ref", "J2000");

    SetupNewTable setup(path, td, Table::New);
    StandardStMan standard("StandardStMan", 32768);
    setup.bindAll(standard);
    const IPosition tile(3, n_corr, d.n_chan, RowsPerTile(n_corr, d.n_chan));
    TiledColumnStMan tiled_data("TiledData", tile), tiled_flag("TiledFlag", tile), tiled_weight("TiledWeightSpectrum", tile);
    setup.bindColumn(MS::columnName(MS::DATA), tiled_data);
    setup.bindColumn(MS::columnName(MS::FLAG), tiled_flag);
    setup.bindColumn(MS::columnName(MS::WEIGHT_SPECTRUM), tiled_weight);
    impl_->ms.emplace(setup, rownr_t(d.rows));
    impl_->ms->createDefaultSubtables(Table::New);
    FillSubtables(*impl_->ms, d);
    impl_->cols.emplace(*impl_->ms);
    return 1;
  } catch (const std::exception& e) {
    impl_->cols.reset();
    impl_->ms.reset();
    error = e.what();
    return 0;
  }
}

int Writer::Put(std::int64_t first, const RowBlock& b, std::string& error) {
  if (!impl_->cols) return error = "the Measurement Set is not open", 0;
  try {
    MSMainColumns& c = *impl_->cols;
    const int n = b.rows;
    const Slicer rows(IPosition(1, first), IPosition(1, n));
    // The block's arrays are handed to casacore without copies (casacore only reads them here).
    auto scalars = [n](const auto& vec) {
      using T = typename std::decay_t<decltype(vec)>::value_type;
      return Vector<T>(IPosition(1, n), const_cast<T*>(vec.data()), SHARE);
    };
    c.time().putColumnRange(rows, scalars(b.time));
    c.timeCentroid().putColumnRange(rows, scalars(b.time));
    c.antenna1().putColumnRange(rows, scalars(b.antenna1));
    c.antenna2().putColumnRange(rows, scalars(b.antenna2));
    c.dataDescId().putColumnRange(rows, scalars(b.data_desc));
    c.fieldId().putColumnRange(rows, scalars(b.field));
    c.scanNumber().putColumnRange(rows, scalars(b.scan));
    const std::vector<double> interval(std::size_t(n), impl_->interval);
    c.interval().putColumnRange(rows, scalars(interval));
    c.exposure().putColumnRange(rows, scalars(interval));
    const std::vector<int> zeros(std::size_t(n), 0);
    for (ScalarColumn<Int>* col :
         {&c.arrayId(), &c.feed1(), &c.feed2(), &c.observationId(), &c.processorId(), &c.stateId()})
      col->putColumnRange(rows, scalars(zeros));
    c.flagRow().putColumnRange(rows, Vector<Bool>(IPosition(1, n), b.flag_row.get(), SHARE));

    auto cube = [&](auto* data) {
      using T = std::remove_const_t<std::remove_pointer_t<decltype(data)>>;
      return Array<T>(IPosition(3, impl_->cell[0], impl_->cell[1], n), const_cast<T*>(data), SHARE);
    };
    auto matrix = [&](auto* data, int inner) {
      using T = std::remove_const_t<std::remove_pointer_t<decltype(data)>>;
      return Array<T>(IPosition(2, inner, n), const_cast<T*>(data), SHARE);
    };
    c.uvw().putColumnRange(rows, matrix(b.uvw.data(), 3));
    c.data().putColumnRange(rows, cube(b.data.data()));
    c.flag().putColumnRange(rows, cube(b.flag.get()));
    c.weightSpectrum().putColumnRange(rows, cube(b.weight_spectrum.data()));
    c.weight().putColumnRange(rows, matrix(b.weight.data(), impl_->cell[0]));
    c.sigma().putColumnRange(rows, matrix(b.sigma.data(), impl_->cell[0]));
    return 1;
  } catch (const std::exception& e) {
    error = e.what();
    return 0;
  }
}

int Writer::Close(std::string& error) {
  try {
    impl_->cols.reset();
    if (impl_->ms) {
      impl_->ms->flush();
      impl_->ms.reset();
    }
    return 1;
  } catch (const std::exception& e) {
    impl_->ms.reset();
    error = e.what();
    return 0;
  }
}

}  // namespace ms
