#include "imaging/maths.h"

#include <cmath>

namespace kalvetra::maths {

double pow(double base, double exponent) { return std::pow(base, exponent); }
double log10(double x) { return std::log10(x); }
double sin(double radians) { return std::sin(radians); }
double cos(double radians) { return std::cos(radians); }
double atan2(double y, double x) { return std::atan2(y, x); }

}  // namespace kalvetra::maths
