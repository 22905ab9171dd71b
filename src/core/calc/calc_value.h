// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/unit_catalog.h"

#include <string>
#include <string_view>
#include <unordered_map>

namespace zemvar::core {

/// A value with a unit of the catalog. `unit` is never null in a measurement and points into
/// the catalog, which lives for the whole process.
struct Measurement {
    double value = 0;
    const Unit* unit = nullptr;

    friend bool operator==(const Measurement&, const Measurement&) = default;
};

/// The result of a calculation: a plain number or a measurement (a number with a unit).
/// Equality compares the kind, the unit and the value as they are: 1 km and 1000 m differ.
class CalcValue {
public:
    /// Makes a dimensionless value.
    static CalcValue number(double value) { return CalcValue(value, nullptr); }
    /// Makes a value in `unit`.
    static CalcValue measurement(double value, const Unit& unit) { return CalcValue(value, &unit); }
    static CalcValue measurement(Measurement m) { return CalcValue(m.value, m.unit); }

    bool isMeasurement() const { return m_unit != nullptr; }
    /// The number, or the measurement's value in its unit.
    double value() const { return m_value; }
    /// The measurement's unit; nullptr for a plain number.
    const Unit* unit() const { return m_unit; }
    /// Precondition: isMeasurement().
    Measurement asMeasurement() const { return {m_value, m_unit}; }

    /// Returns the same kind and unit with another value.
    CalcValue withValue(double value) const { return CalcValue(value, m_unit); }

    friend bool operator==(const CalcValue&, const CalcValue&) = default;

private:
    CalcValue(double value, const Unit* unit)
        : m_value(value)
        , m_unit(unit) {}

    double m_value = 0;
    const Unit* m_unit = nullptr;
};

/// Transparent hashing, so that variables can be looked up by std::string_view.
struct VariableNameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept {
        return std::hash<std::string_view>{}(name);
    }
};

/// Variables of a calculation note: lowercased name to value.
using Variables = std::unordered_map<std::string, CalcValue, VariableNameHash, std::equal_to<>>;

} // namespace zemvar::core
