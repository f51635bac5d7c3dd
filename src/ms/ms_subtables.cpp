// The subtables of an exported Measurement Set (casacore side, C++17; see ms_plain.h).
#include "ms/ms_subtables.h"

#include <casacore/casa/Arrays/Matrix.h>
#include <casacore/casa/Arrays/Vector.h>
#include <casacore/measures/Measures/MFrequency.h>
#include <casacore/measures/Measures/Stokes.h>
#include <casacore/ms/MeasurementSets/MSAntennaColumns.h>
#include <casacore/ms/MeasurementSets/MSDataDescColumns.h>
#include <casacore/ms/MeasurementSets/MSFeedColumns.h>
#include <casacore/ms/MeasurementSets/MSFieldColumns.h>
#include <casacore/ms/MeasurementSets/MSObsColumns.h>
#include <casacore/ms/MeasurementSets/MSPolColumns.h>
#include <casacore/ms/MeasurementSets/MSProcessorColumns.h>
#include <casacore/ms/MeasurementSets/MSSourceColumns.h>
#include <casacore/ms/MeasurementSets/MSSpWindowColumns.h>
#include <casacore/ms/MeasurementSets/MSStateColumns.h>
#include <casacore/tables/DataMan/StManAipsIO.h>
#include <casacore/tables/Tables/SetupNewTab.h>

#include <cmath>

using namespace casacore;

namespace ms {

namespace {

constexpr double kHalfPi = 1.57079632679489661923;

void FillAntennas(MeasurementSet& ms, const Description& d) {
  MSAntennaColumns c(ms.antenna());
  ms.antenna().addRow(d.antennas.size());
  for (std::size_t i = 0; i < d.antennas.size(); ++i) {
    const Antenna& a = d.antennas[i];
    c.name().put(i, a.name);
    c.station().put(i, a.station);
    c.type().put(i, a.type);
    c.mount().put(i, a.mount);
    c.position().put(i, Vector<Double>({a.xyz[0], a.xyz[1], a.xyz[2]}));
    c.offset().put(i, Vector<Double>(3, 0.0));
    c.dishDiameter().put(i, a.dish_diameter);
    c.flagRow().put(i, false);
  }
}

// One feed per antenna with the two receptors of the data's polarization, valid for the whole
// observation and every spectral window.
void FillFeeds(MeasurementSet& ms, const Description& d) {
  MSFeedColumns c(ms.feed());
  ms.feed().addRow(d.antennas.size());
  const bool linear = !d.receptors.empty() && d.receptors[0] == "X";
  Matrix<Complex> response(2, 2, Complex(0, 0));
  response(0, 0) = response(1, 1) = Complex(1, 0);
  Vector<String> types(2);
  for (std::size_t k = 0; k < 2; ++k) types[k] = k < d.receptors.size() ? d.receptors[k] : (k == 0 ? "R" : "L");
  for (std::size_t i = 0; i < d.antennas.size(); ++i) {
    c.antennaId().put(i, Int(i));
    c.feedId().put(i, 0);
    c.spectralWindowId().put(i, -1);
    c.time().put(i, 0.5 * (d.time_first + d.time_last));
    c.interval().put(i, d.time_last - d.time_first + d.interval);
    c.numReceptors().put(i, 2);
    c.beamId().put(i, -1);
    c.beamOffset().put(i, Matrix<Double>(2, 2, 0.0));
    c.polarizationType().put(i, types);
    c.polResponse().put(i, response);
    c.position().put(i, Vector<Double>(3, 0.0));
    c.receptorAngle().put(i, Vector<Double>({0.0, linear ? kHalfPi : 0.0}));
  }
}

void FillWindows(MeasurementSet& ms, const Description& d) {
  MSSpWindowColumns c(ms.spectralWindow());
  MSDataDescColumns dd(ms.dataDescription());
  ms.spectralWindow().addRow(d.windows.size());
  ms.dataDescription().addRow(d.windows.size());
  for (std::size_t i = 0; i < d.windows.size(); ++i) {
    const SpectralWindow& w = d.windows[i];
    Vector<Double> width(w.chan_width), abs_width(w.chan_width.size());
    for (std::size_t k = 0; k < w.chan_width.size(); ++k) abs_width[k] = std::fabs(w.chan_width[k]);
    c.numChan().put(i, Int(w.chan_freq.size()));
    c.name().put(i, w.name);
    c.refFrequency().put(i, w.ref_freq);
    c.chanFreq().put(i, Vector<Double>(w.chan_freq));
    c.chanWidth().put(i, width);
    c.effectiveBW().put(i, abs_width);
    c.resolution().put(i, abs_width);
    c.measFreqRef().put(i, MFrequency::TOPO);
    c.totalBandwidth().put(i, w.total_bandwidth);
    c.netSideband().put(i, w.net_sideband);
    c.ifConvChain().put(i, 0);
    c.freqGroup().put(i, w.freq_group);
    c.freqGroupName().put(i, w.freq_group_name);
    c.flagRow().put(i, false);
    dd.spectralWindowId().put(i, Int(i));
    dd.polarizationId().put(i, 0);
    dd.flagRow().put(i, false);
  }
}

void FillPolarization(MeasurementSet& ms, const Description& d) {
  MSPolarizationColumns c(ms.polarization());
  ms.polarization().addRow();
  const std::size_t n = d.corr_types.size();
  Vector<Int> types(n);
  Matrix<Int> products(2, n, 0);
  for (std::size_t k = 0; k < n; ++k) {
    types[k] = d.corr_types[k];
    const auto s = Stokes::StokesTypes(d.corr_types[k]);
    const Fallible<Int> r1 = Stokes::receptor1(s), r2 = Stokes::receptor2(s);
    // Stokes I..V have no receptor pair; both receptors are named, as the importers of the field do.
    products(0, k) = r1.isValid() ? r1.value() : 0;
    products(1, k) = r2.isValid() ? r2.value() : 0;
  }
  c.numCorr().put(0, Int(n));
  c.corrType().put(0, types);
  c.corrProduct().put(0, products);
  c.flagRow().put(0, false);
}

void FillFieldAndSource(MeasurementSet& ms, const Description& d) {
  Matrix<Double> dir(2, 1);
  dir(0, 0) = d.ra_rad, dir(1, 0) = d.dec_rad;
  MSFieldColumns f(ms.field());
  ms.field().addRow();
  f.name().put(0, d.field_name);
  f.code().put(0, "");
  f.time().put(0, d.time_first);
  f.numPoly().put(0, 0);
  f.delayDir().put(0, dir);
  f.phaseDir().put(0, dir);
  f.referenceDir().put(0, dir);
  f.sourceId().put(0, 0);
  f.flagRow().put(0, false);

  MSSourceColumns s(ms.source());
  ms.source().addRow();
  s.sourceId().put(0, 0);
  s.time().put(0, 0.5 * (d.time_first + d.time_last));
  s.interval().put(0, d.time_last - d.time_first + d.interval);
  s.spectralWindowId().put(0, -1);
  s.numLines().put(0, 0);
  s.name().put(0, d.field_name);
  s.calibrationGroup().put(0, 0);
  s.code().put(0, "");
  s.direction().put(0, Vector<Double>({d.ra_rad, d.dec_rad}));
  s.properMotion().put(0, Vector<Double>(2, 0.0));
}

void FillObservation(MeasurementSet& ms, const Description& d) {
  MSObservationColumns o(ms.observation());
  ms.observation().addRow();
  o.telescopeName().put(0, d.telescope);
  o.timeRange().put(0, Vector<Double>({d.time_first - 0.5 * d.interval, d.time_last + 0.5 * d.interval}));
  o.observer().put(0, d.observer);
  o.log().put(0, Vector<String>(1, "Written by " + d.origin));
  o.scheduleType().put(0, "");
  o.schedule().put(0, Vector<String>(1, ""));
  o.project().put(0, "");
  o.releaseDate().put(0, 0.0);
  o.flagRow().put(0, false);

  MSStateColumns s(ms.state());
  ms.state().addRow();
  s.sig().put(0, true);
  s.ref().put(0, false);
  s.cal().put(0, 0.0);
  s.load().put(0, 0.0);
  s.subScan().put(0, 0);
  s.obsMode().put(0, "OBSERVE_TARGET#ON_SOURCE");
  s.flagRow().put(0, false);

  MSProcessorColumns p(ms.processor());
  ms.processor().addRow();
  p.type().put(0, "CORRELATOR");
  p.subType().put(0, d.origin);
  p.typeId().put(0, 0);
  p.modeId().put(0, 0);
  p.flagRow().put(0, false);
}

template <class Sub>
void Create(MeasurementSet& ms, MS::PredefinedKeywords which, const String& name) {
  SetupNewTable setup(name, Sub::requiredTableDesc(), Table::New);
  StManAipsIO storage("StManAipsIO");
  setup.bindAll(storage);
  ms.rwKeywordSet().defineTable(MS::keywordName(which), Table(setup, TableLock(TableLock::NoLocking)));
}

}  // namespace

void CreateSubtables(MeasurementSet& ms) {
  Create<MSAntenna>(ms, MS::ANTENNA, ms.antennaTableName());
  Create<MSDataDescription>(ms, MS::DATA_DESCRIPTION, ms.dataDescriptionTableName());
  Create<MSFeed>(ms, MS::FEED, ms.feedTableName());
  Create<MSField>(ms, MS::FIELD, ms.fieldTableName());
  Create<MSFlagCmd>(ms, MS::FLAG_CMD, ms.flagCmdTableName());
  Create<MSHistory>(ms, MS::HISTORY, ms.historyTableName());
  Create<MSObservation>(ms, MS::OBSERVATION, ms.observationTableName());
  Create<MSPointing>(ms, MS::POINTING, ms.pointingTableName());
  Create<MSPolarization>(ms, MS::POLARIZATION, ms.polarizationTableName());
  Create<MSProcessor>(ms, MS::PROCESSOR, ms.processorTableName());
  Create<MSSource>(ms, MS::SOURCE, ms.sourceTableName());
  Create<MSSpectralWindow>(ms, MS::SPECTRAL_WINDOW, ms.spectralWindowTableName());
  Create<MSState>(ms, MS::STATE, ms.stateTableName());
  ms.initRefs();
}

void FillSubtables(MeasurementSet& ms, const Description& d) {
  FillAntennas(ms, d);
  FillFeeds(ms, d);
  FillWindows(ms, d);
  FillPolarization(ms, d);
  FillFieldAndSource(ms, d);
  FillObservation(ms, d);
}

}  // namespace ms
