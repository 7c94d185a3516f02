// The one door to the functions of the mathematical library whose last bit differs from one library to another.
// Whatever of them the pictures depend on goes through here, so that a platform that rounds otherwise needs a change in
// one file. Square roots are exact everywhere and need no door.
#pragma once

namespace kalvetra::maths {

double pow(double base, double exponent);
double log10(double x);
double sin(double radians);
double cos(double radians);
double atan2(double y, double x);

}  // namespace kalvetra::maths
