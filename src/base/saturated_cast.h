// SaturatedCast: a double converted to an integer type without undefined behaviour.
#pragma once

#include <cmath>
#include <limits>

// Marks a function whose float divisions may divide by zero on purpose: IEEE arithmetic gives
// NaN or an infinity there, which a saturating conversion then turns into a defined result. The
// sanitizer build checks every other float division.
#define TL_IEEE_DIVISION __attribute__((no_sanitize("float-divide-by-zero")))

namespace tl {

// The conversion of the device's processor: toward zero, NaN to 0, and values beyond the
// range of Int to its nearest end (so negatives give 0 for an unsigned type). A plain
// static_cast of an out-of-range double is undefined, and the wall clock, energies and record
// numbers all come from outside.
template <class Int>
constexpr Int SaturatedCast(double d) {
  if (std::isnan(d)) return 0;
  // max() rounds up to the next power of two as a double, so ">=" catches every value beyond.
  constexpr double kMax = static_cast<double>(std::numeric_limits<Int>::max());
  constexpr double kMin = static_cast<double>(std::numeric_limits<Int>::min());
  if (d >= kMax) return std::numeric_limits<Int>::max();
  if (d <= kMin) return std::numeric_limits<Int>::min();
  return static_cast<Int>(d);
}

// Rounded half away from zero first, as lround does, but saturating like SaturatedCast.
template <class Int>
Int SaturatedRound(double d) {
  return SaturatedCast<Int>(std::round(d));
}

}  // namespace tl
