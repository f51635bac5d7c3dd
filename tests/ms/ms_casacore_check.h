#pragma once
// The tests' own use of casacore, independent of the export's writer: a Measurement Set read back
// through the generic table classes (columns by name, cell shapes), UVW computed by casacore's
// measures from the ANTENNA positions, the row times and the FIELD direction, and the small edits
// that make sets the import must refuse. Compiled as C++17 like every unit that includes
// casacore (see src/ms/ms_plain.h); plain types only in this header.

#include <complex>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace mscheck {

struct MainRows {
  std::int64_t rows = 0;
  std::map<std::string, std::vector<long>> cell_shape;  // shape of row 0 for every array column
  std::string uvw_ref, time_ref;
  std::vector<int> antenna1, antenna2, data_desc, field, scan, observation, state, processor;
  std::vector<double> time, time_centroid, interval, exposure, uvw;  // uvw: 3 per row
  std::vector<std::complex<float>> data;  // [row][channel][correlation]
  std::vector<float> weight_spectrum, weight, sigma;
  std::vector<char> flag, flag_row;
};

struct SubTables {
  double ms_version = 0;
  std::vector<std::string> antenna_name, antenna_station, antenna_type, antenna_mount;
  std::vector<double> antenna_xyz, dish_diameter;
  std::vector<int> num_chan, net_sideband;
  std::vector<std::vector<double>> chan_freq, chan_width;
  std::vector<double> ref_freq, total_bandwidth;
  std::vector<int> dd_spw, dd_pol;
  std::vector<int> corr_type, corr_product;  // of POLARIZATION row 0; products 2 per correlation
  std::vector<std::string> field_name;
  std::vector<double> phase_dir;  // ra, dec per field
  std::string phase_dir_ref;
  std::vector<std::string> source_name;
  std::vector<double> source_direction;
  std::vector<int> feed_antenna;
  std::vector<std::string> feed_types;  // of FEED row 0
  std::string telescope, observer;
  int state_rows = 0, processor_rows = 0, pointing_rows = -1, history_rows = -1;
};

// Non-zero on success; `error` holds casacore's reason otherwise.
int ReadMS(const std::string& path, MainRows& rows, SubTables& sub, std::string& error);

// For every row: the J2000 UVW (metres) of position(ANTENNA2) - position(ANTENNA1) at TIME (UTC)
// towards the FIELD's PHASE_DIR, by casacore's ITRF -> J2000 baseline conversion and its uvw
// projection (as its own derived UVW columns do). Returns 0 with the reason when casacore's
// measures lack their data tables (the leap-second table TAI_UTC).
int CasacoreUVW(const std::string& path, std::vector<double>& uvw, std::string& error);

// A copy of the set whose main table holds the rows `order` (row numbers of `src`) in that order.
int CopyWithRows(const std::string& src, const std::string& dst, const std::vector<std::int64_t>& order,
                 std::string& error);

// Edits a set in place into one the import cannot represent.
enum class Damage {
  SecondField,         // a second FIELD row, used by the second half of the rows
  SecondPolarization,  // a second POLARIZATION and DATA_DESCRIPTION row, used by the last row
  WiderWindow,         // a spectral window of one more channel, used by the last row
  ManyAntennas,        // 300 rows in ANTENNA
  RepeatedRow,         // row 1 becomes a copy of row 0's baseline and window
  TimeInTAI,           // TIME declared in TAI
};
int DamageMS(const std::string& path, Damage what, std::string& error);

}  // namespace mscheck
