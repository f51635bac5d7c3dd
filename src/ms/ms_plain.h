#pragma once
// A Measurement Set described in plain structs: the boundary between the export and import logic
// (C++20, UVX side) and the casacore units ms_writer.cpp / ms_reader.cpp. casacore 3.5's headers
// do not compile as C++20 (its allocator uses members C++20 removed from std::allocator), so those
// units are built as C++17 and nothing of casacore crosses this header.
//
// Shapes follow casacore's: a row's DATA, FLAG and WEIGHT_SPECTRUM are [correlation, channel]
// with the correlation varying fastest; WEIGHT and SIGMA are [correlation].

#include <complex>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ms {

struct Antenna {
  std::string name, station;
  std::string type = "GROUND-BASED";  // or "SPACE-BASED"
  std::string mount = "alt-az";       // "equatorial", "orbiting", "X-Y", ...
  double xyz[3] = {0, 0, 0};          // ITRF, metres
  double dish_diameter = 0;           // metres (0: unknown)
};

struct SpectralWindow {
  std::string name;
  std::vector<double> chan_freq, chan_width;  // Hz, per channel (width negative for a lower sideband)
  double ref_freq = 0, total_bandwidth = 0;   // Hz
  int net_sideband = 1;
  int freq_group = 0;
  std::string freq_group_name;
};

// What the export writes besides the rows. One data description per spectral window, all with
// polarization set-up 0.
struct Description {
  std::vector<Antenna> antennas;
  std::vector<SpectralWindow> windows;
  std::vector<int> corr_types;         // casacore Stokes codes: I 1 .. V 4, RR 5, RL 6, LR 7, LL 8, XX 9 ..
  std::vector<std::string> receptors;  // feed polarization types: {"R", "L"} or {"X", "Y"}
  std::string field_name;
  double ra_rad = 0, dec_rad = 0;      // J2000 phase centre
  std::string telescope, observer, origin;
  double time_first = 0, time_last = 0;  // MJD seconds (UTC) of the first and last row
  double interval = 0;                   // seconds: INTERVAL and EXPOSURE of every row
  int n_chan = 0;
  std::int64_t rows = 0;
};

// Consecutive rows of the main table, in memory. Arrays are row after row.
struct RowBlock {
  void Resize(int n_rows, int n_corr, int n_chan);
  int rows = 0, n_corr = 0, n_chan = 0;
  std::vector<double> time;                 // MJD seconds, UTC
  std::vector<double> uvw;                  // 3 per row, metres
  std::vector<int> antenna1, antenna2, data_desc, field, scan;
  std::vector<std::complex<float>> data;    // n_corr x n_chan per row
  std::vector<float> weight_spectrum;       // n_corr x n_chan per row
  std::unique_ptr<bool[]> flag;             // n_corr x n_chan per row
  std::vector<float> weight, sigma;         // n_corr per row
  std::unique_ptr<bool[]> flag_row;         // one per row
  std::size_t capacity = 0;                 // rows the arrays hold
};

// Writes a new Measurement Set v2 at `path` (a directory): main table with DATA, FLAG, WEIGHT,
// SIGMA and WEIGHT_SPECTRUM in tiled storage, and the subtables ANTENNA, SPECTRAL_WINDOW,
// POLARIZATION, DATA_DESCRIPTION, FIELD, OBSERVATION, SOURCE, STATE, FEED, PROCESSOR (one row each
// or one per antenna), POINTING and HISTORY (empty). Every call returns non-zero on success and
// otherwise puts casacore's reason in `error`.
class Writer {
 public:
  Writer();
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  int Create(const std::string& path, const Description& d, std::string& error);
  // Rows [first, first + block.rows).
  int Put(std::int64_t first, const RowBlock& block, std::string& error);
  // Flushes and closes every table; nothing refers to the directory afterwards.
  int Close(std::string& error);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

struct DataDescription {
  int spw = 0, pol = 0;
};

struct Field {
  std::string name;
  double ra_rad = 0, dec_rad = 0;  // PHASE_DIR of the field (first polynomial term)
  std::string ref;                 // its reference frame ("J2000", "ICRS", ...)
};

// What the import reads besides the rows.
struct ReadDescription {
  std::vector<Antenna> antennas;
  std::string antenna_ref;         // frame of POSITION ("ITRF")
  std::vector<SpectralWindow> windows;
  std::vector<DataDescription> data_descs;
  std::vector<std::vector<int>> polarizations;  // CORR_TYPE per POLARIZATION row
  std::vector<Field> fields;
  std::vector<std::string> receptors;  // POLARIZATION_TYPE of the first FEED row
  std::string telescope, observer;
  std::string time_ref, uvw_ref;   // MEASINFO references of TIME and UVW
  double first_interval = 0;       // INTERVAL of the first row, seconds
  bool weight_spectrum = false;    // the main table has a filled WEIGHT_SPECTRUM
  std::int64_t rows = 0;
};

// The columns that say where a row belongs.
struct IndexBlock {
  std::vector<double> time;
  std::vector<int> antenna1, antenna2, data_desc, field;
};

// Reads a Measurement Set (read only).
class Reader {
 public:
  Reader();
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  // Opens the set and reads its subtables; `column` is the data column to read ("DATA"). The
  // table library ends the whole process on some damaged table descriptors (it terminates while
  // throwing), so the set is opened once in a child process first (OpensInChild): a set that
  // kills the child is refused here with a message instead.
  int Open(const std::string& path, const std::string& column, std::string& error);
  const ReadDescription& Info() const;
  int ReadIndex(std::int64_t first, int n, IndexBlock& out, std::string& error);
  // From now on rows are read in order of TIME (a sorted view; the row numbers of the view are
  // held in memory, 8 bytes a row).
  int SortByTime(std::string& error);
  // Rows [first, first + n) of the current order, all of shape [n_corr, n_chan]: time, antennas,
  // data description, field, UVW, data, flags (FLAG or FLAG_ROW), weights per channel
  // (WEIGHT_SPECTRUM, else WEIGHT repeated over the channels).
  int ReadRows(std::int64_t first, int n, int n_corr, int n_chan, RowBlock& out, std::string& error);

 private:
  int OpenHere(const std::string& path, const std::string& column, std::string& error);
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Runs `open` in a forked child process. True when it opened the set there (the caller then opens
// it for real); false with `error` holding the child's refusal, or saying that the child was
// killed or still running after `timeout_s` seconds. When no child can be made, true (the caller
// opens the set directly).
int OpensInChild(const std::string& path, const std::function<int(std::string&)>& open, std::string& error,
                 double timeout_s = 20.0);

}  // namespace ms
