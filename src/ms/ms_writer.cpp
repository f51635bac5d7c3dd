// The casacore side of the Measurement Set export: the main table and its storage (compiled as
// C++17, see ms_plain.h). The subtables are filled in ms_subtables.cpp.
#include <casacore/casa/Arrays/Array.h>
#include <casacore/casa/Arrays/Slicer.h>
#include <casacore/casa/Arrays/Vector.h>
#include <casacore/ms/MeasurementSets/MSMainColumns.h>
#include <casacore/ms/MeasurementSets/MeasurementSet.h>
#include <casacore/tables/DataMan/IncrementalStMan.h>
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
  double last_time = 0, last_centroid = 0;  // the values last written to incremental storage
  int last_field = 0, last_scan = 0;
  bool last_flag_row = false;
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
    // Storage: the arrays in tiles of whole rows (one tile after the other as rows come), the
    // columns that change from row to row (antennas, data description) in standard storage,
    // the others in incremental storage, which stores only changes.
    IncrementalStMan incremental("IncrementalStMan", 65536, false, 16);
    setup.bindAll(incremental);
    StandardStMan standard("StandardStMan", 32768, 64);
    for (MS::PredefinedColumns c : {MS::ANTENNA1, MS::ANTENNA2, MS::DATA_DESC_ID})
      setup.bindColumn(MS::columnName(c), standard);
    const int tile_rows = RowsPerTile(n_corr, d.n_chan);
    TiledColumnStMan tiled_data("TiledData", IPosition(3, n_corr, d.n_chan, tile_rows));
    TiledColumnStMan tiled_flag("TiledFlag", IPosition(3, n_corr, d.n_chan, tile_rows));
    TiledColumnStMan tiled_weight("TiledWeightSpectrum", IPosition(3, n_corr, d.n_chan, tile_rows));
    TiledColumnStMan tiled_uvw("TiledUVW", IPosition(2, 3, 8192));
    TiledColumnStMan tiled_w("TiledWeight", IPosition(2, n_corr, 8192)), tiled_s("TiledSigma", IPosition(2, n_corr, 8192));
    setup.bindColumn(MS::columnName(MS::DATA), tiled_data);
    setup.bindColumn(MS::columnName(MS::FLAG), tiled_flag);
    setup.bindColumn(MS::columnName(MS::WEIGHT_SPECTRUM), tiled_weight);
    setup.bindColumn(MS::columnName(MS::UVW), tiled_uvw);
    setup.bindColumn(MS::columnName(MS::WEIGHT), tiled_w);
    setup.bindColumn(MS::columnName(MS::SIGMA), tiled_s);
    // A new set in its ".part" directory has no other user: no locking (casacore synchronises a
    // lock file to disk at every release).
    impl_->ms.emplace(setup, TableLock(TableLock::NoLocking), rownr_t(0));
    CreateSubtables(*impl_->ms);
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
    // Rows are added block by block, as they are written: the storage managers then fill their
    // buckets and tiles in order (a table made with all its rows at once has its standard
    // storage index spread over every bucket).
    if (rownr_t(first + n) > impl_->ms->nrow()) impl_->ms->addRow(rownr_t(first + n) - impl_->ms->nrow());
    const Slicer rows(IPosition(1, first), IPosition(1, n));
    // The block's arrays are handed to casacore without copies (casacore only reads them here).
    auto scalars = [n](const auto& vec) {
      using T = typename std::decay_t<decltype(vec)>::value_type;
      return Vector<T>(IPosition(1, n), const_cast<T*>(vec.data()), SHARE);
    };
    c.antenna1().putColumnRange(rows, scalars(b.antenna1));
    c.antenna2().putColumnRange(rows, scalars(b.antenna2));
    c.dataDescId().putColumnRange(rows, scalars(b.data_desc));
    // Incremental storage keeps a value until the next change and gives new rows the last value:
    // only changes are written (TIME once per time sample, the constants once).
    auto changes = [&](auto& col, const auto* values, auto& last) {
      for (int r = 0; r < n; ++r)
        if (first + r == 0 || values[r] != last) col.put(rownr_t(first + r), last = values[r]);
    };
    changes(c.time(), b.time.data(), impl_->last_time);
    changes(c.timeCentroid(), b.time.data(), impl_->last_centroid);
    changes(c.fieldId(), b.field.data(), impl_->last_field);
    changes(c.scanNumber(), b.scan.data(), impl_->last_scan);
    changes(c.flagRow(), b.flag_row.get(), impl_->last_flag_row);
    if (first == 0) {
      c.interval().put(0, impl_->interval);
      c.exposure().put(0, impl_->interval);
      for (ScalarColumn<Int>* col :
           {&c.arrayId(), &c.feed1(), &c.feed2(), &c.observationId(), &c.processorId(), &c.stateId()})
        col->put(0, 0);
    }

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
