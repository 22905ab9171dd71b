// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <string_view>

namespace zemvar::core {

/// A physical quantity that units measure. Two units convert into each other exactly when
/// they share a dimension.
enum class Dimension {
    length,      ///< base unit: metre
    mass,        ///< base unit: kilogram
    temperature, ///< base unit: kelvin
    volume,      ///< base unit: litre
    area,        ///< base unit: square metre
    speed,       ///< base unit: metre per second
    duration,    ///< base unit: second
    information, ///< base unit: bit
};

/// The dimension's name as the command-line tool's JSON writes it, for example "duration".
std::string_view dimensionName(Dimension dimension);

/// One unit of measurement with its standard definition. Units live in the catalog for the
/// whole process and are compared by address.
struct Unit {
    Dimension dimension;
    /// Display symbol, for example "km", "°F", "fl oz", "m²".
    std::string_view symbol;
    /// Value in the base unit = value × coefficient + constant (the constant is non-zero for
    /// the Celsius and Fahrenheit scales only).
    double coefficient;
    double constant = 0;

    /// Converts `value` in this unit to the dimension's base unit.
    double toBase(double value) const { return value * coefficient + constant; }
    /// Converts `value` in the base unit to this unit.
    double fromBase(double value) const { return (value - constant) / coefficient; }
};

/// Converts `value` from unit `from` to unit `to` through the base unit. Converting to the
/// identical unit returns `value` unchanged. Precondition: both units share a dimension.
double convertValue(double value, const Unit& from, const Unit& to);

/// The words a user may write after a number ("3 km", "2 hours", "500 mb") and their units.
///
/// Names are matched case-insensitively with full Unicode lowercasing: "KM", "Km" and "km"
/// are kilometres, "°C" is Celsius. Some choices are deliberate: "in" is a conversion keyword,
/// so inches are only "inch" and "inches"; single letters go to the commonest unit ("m"
/// metres, "s" seconds, "h" hours, "d" days, "t" tonnes, "g" grams, "l" litres, "b" bytes,
/// "c", "f" and "k" the temperature scales); "kb" is 1000 bytes and "kib" 1024 bytes.
/// The table is built once per process, on first use, thread-safely.
class UnitCatalog {
public:
    UnitCatalog() = delete;

    /// Returns the unit named `name` in any letter case, or nullptr when there is none.
    static const Unit* unit(std::string_view name);
    /// Returns true when `name`, in any letter case, names a unit.
    static bool isKnownAlias(std::string_view name);
    /// Returns the unit's display symbol, for example "d" for days or "kB" for kilobytes.
    static std::string_view symbol(const Unit& unit) { return unit.symbol; }
};

} // namespace zemvar::core
