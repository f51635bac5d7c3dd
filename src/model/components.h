#pragma once
// The source model: an ordered list of analytic components.
//
// Row N of the component table shows item N-1. The list is copyable (copy assignment of the
// array), renders itself into a map (ToMap) and reads and writes itself as the text of a .mdl
// file (Load, Store; layout in docs/models.md).

#include <complex>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "core/containers.h"
#include "model/comp_eval.h"
#include "model/comp_item.h"
#include "model/map_range.h"

class AComponents : public AArray<ACompItem> {
 public:
  AComponents() = default;

  // Removes `n` items from `first` on; out-of-range parts are ignored.
  void DeleteItems(int first, int n);

  // Model visibility at (u, v) in wavelengths: the sum over the components, in order, in double
  // precision; an empty model gives 0.
  std::complex<double> VfromUV(double u, double v) const;

  // Every component prepared for fast evaluation (comp_eval.h), in model order.
  std::vector<APreparedComp> Prepare() const;

  // Renders the brightness into `map` (its size is kept; values in Jy per pixel) over the axis
  // ranges in `range`. When `range` is empty (a minimum not below its maximum), a square field
  // holding every component is chosen and written back. Returns the smallest and largest pixel.
  AMapValueRange ToMap(AMatrix<float>& map, TMinMax& range) const;

  // Text layout of the .mdl file. Load replaces the list only when the whole text is valid;
  // otherwise it sets failbit on the stream and leaves the list as it was.
  std::istream& Load(std::istream& in);
  std::ostream& Store(std::ostream& out) const;
};

// Load with the reason of a refusal ("line 7: ..."); non-zero on success. `lines`, when given,
// receives the 1-based line of the file that holds each component, so that a check of the model
// can name the line.
int LoadComponents(std::istream& in, AComponents& model, std::string* error, std::vector<int>* lines = nullptr);

// Field of view holding every component with a margin (square, centred on the phase centre).
TMinMax AutoMapRange(const AComponents& model);
