#include "telegram/Units.h"

#include <cmath>
#include <limits>

namespace ZEVO_TELEGRAM::units {

namespace {

constexpr int kNotATimeUnit = -1;

// Powers of 1000 above a nanosecond.
int exponentOf(const std::string& unit) {
    if (unit == "ns") return 0;
    if (unit == "us") return 1;
    if (unit == "ms") return 2;
    if (unit == "s") return 3;
    return kNotATimeUnit;
}

template <typename T>
T saturatingTruncation(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    const double low = static_cast<double>(std::numeric_limits<T>::min());
    const double high = static_cast<double>(std::numeric_limits<T>::max());
    if (value <= low) return std::numeric_limits<T>::min();
    if (value >= high) return std::numeric_limits<T>::max();
    return static_cast<T>(value);
}

}  // namespace

double convert(double value, const std::string& from, const std::string& to) {
    const int fromExponent = exponentOf(from);
    const int toExponent = exponentOf(to);
    if (fromExponent == kNotATimeUnit || toExponent == kNotATimeUnit) {
        return value;
    }
    return value * std::pow(1000.0, fromExponent - toExponent);
}

uint32_t convertRounded(double value, const std::string& from, const std::string& to) {
    return truncatedU32(convert(value, from, to) + 0.5);
}

uint32_t truncatedU32(double value) { return saturatingTruncation<uint32_t>(value); }

int16_t truncatedS16(double value) { return saturatingTruncation<int16_t>(value); }

}  // namespace ZEVO_TELEGRAM::units
