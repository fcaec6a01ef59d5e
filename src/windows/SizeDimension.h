// A parsed width or height of a window size preset: a share of the available extent, or points.
#pragma once

#include <QString>
#include <optional>

namespace tamsinvale {

struct SizeDimension {
    enum class Kind { fraction, points };
    Kind kind = Kind::fraction;
    double value = 1.0;

    static SizeDimension fraction(double v) { return {Kind::fraction, v}; }
    static SizeDimension points(double v) { return {Kind::points, v}; }
    bool operator==(const SizeDimension&) const = default;

    // The length on a screen whose available extent is `available`: fractions round halves away from zero,
    // points are capped at the extent and never rounded.
    double resolve(double available) const;
};

// "full", a number in (0, 1] (a fraction) or ≥ 50 (points), read with the C locale's strtod rules.
// Numbers between 1 and 50 are rejected: neither a plausible fraction nor a plausible window size.
std::optional<SizeDimension> parseSizeDimension(const QString& text);

}  // namespace tamsinvale
