#include "model/comp_item.h"

#include <cmath>

#include "model/comp_eval.h"

namespace {
constexpr const char* kTypeNames[kCompTypeCount] = {
    "Delta function", "Gaussian", "Disk", "Thin ring", "Thin sphere", "Rectangle", "Thick ring",
};
constexpr double kDegToRad = 3.14159265358979323846 / 180.0;
}  // namespace

const char* CompTypeName(int type) {
  return type >= 1 && type <= kCompTypeCount ? kTypeNames[type - 1] : "";
}

std::complex<double> ACompItem::VfromUV(double u, double v) const {
  return EvalComp(PrepareComp(*this), u, v);
}

double ACompItem::OffsetEastArcsec() const { return distance * std::sin(position_angle * kDegToRad); }
double ACompItem::OffsetNorthArcsec() const { return distance * std::cos(position_angle * kDegToRad); }
