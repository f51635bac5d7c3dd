#include "side_by_side_ms.h"

#include <casacore/casa/Arrays/Array.h>
#include <casacore/casa/Arrays/Matrix.h>
#include <casacore/casa/Arrays/Vector.h>
#include <casacore/msfits/MSFits/MSFitsInput.h>
#include <casacore/tables/Tables/ArrayColumn.h>
#include <casacore/tables/Tables/Table.h>

long long MsRowCount(const std::string& ms) { return (long long)casacore::Table(ms).nrow(); }

int ReadMsRows(const std::string& ms, const std::vector<long long>& rows, AMsRows& out) {
  casacore::Table t(ms);
  casacore::Table spw(ms + "/SPECTRAL_WINDOW");
  casacore::ArrayColumn<double> chan_freq(spw, "CHAN_FREQ");
  casacore::ArrayColumn<double> uvw(t, "UVW");
  casacore::ArrayColumn<casacore::Complex> model(t, "MODEL_DATA");
  const casacore::Vector<double> freq(chan_freq(0));
  out.freq.assign(freq.begin(), freq.end());
  for (long long row : rows) {
    const casacore::Vector<double> b(uvw(casacore::rownr_t(row)));
    const casacore::Matrix<casacore::Complex> v(model(casacore::rownr_t(row)));  // [correlation, channel]
    for (int k = 0; k < 3; ++k) out.uvw.push_back(b[k]);
    for (std::size_t j = 0; j < out.freq.size(); ++j) {
      out.model.push_back(v(0, j).real());
      out.model.push_back(v(0, j).imag());
    }
  }
  return 1;
}

int UvfitsToMs(const std::string& fits, const std::string& ms) {
  casacore::MSFitsInput in{casacore::String(ms), casacore::String(fits)};
  in.readFitsFile();
  return 0;
}
