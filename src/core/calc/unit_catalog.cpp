// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/unit_catalog.h"

#include "core/text/unicode.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace zemvar::core {

namespace {

// Standard definitions, each relative to its dimension's base unit.
namespace units {

constexpr Unit meters{Dimension::length, "m", 1};
constexpr Unit kilometers{Dimension::length, "km", 1000};
constexpr Unit centimeters{Dimension::length, "cm", 0.01};
constexpr Unit millimeters{Dimension::length, "mm", 0.001};
constexpr Unit miles{Dimension::length, "mi", 1609.344};
constexpr Unit feet{Dimension::length, "ft", 0.3048};
constexpr Unit inches{Dimension::length, "in", 0.0254};
constexpr Unit yards{Dimension::length, "yd", 0.9144};
constexpr Unit nauticalMiles{Dimension::length, "NM", 1852};

constexpr Unit grams{Dimension::mass, "g", 0.001};
constexpr Unit kilograms{Dimension::mass, "kg", 1};
constexpr Unit milligrams{Dimension::mass, "mg", 0.000001};
constexpr Unit pounds{Dimension::mass, "lb", 0.45359237};
constexpr Unit ounces{Dimension::mass, "oz", 0.028349523125};
constexpr Unit metricTons{Dimension::mass, "t", 1000};

// K = C + 273.15 and K = (F + 459.67) × 5/9.
constexpr Unit celsius{Dimension::temperature, "°C", 1, 273.15};
constexpr Unit fahrenheit{Dimension::temperature, "°F", 5.0 / 9.0, 459.67 * 5.0 / 9.0};
constexpr Unit kelvin{Dimension::temperature, "K", 1};

constexpr Unit liters{Dimension::volume, "L", 1};
constexpr Unit milliliters{Dimension::volume, "mL", 0.001};
constexpr Unit gallons{Dimension::volume, "gal", 3.785411784};
constexpr Unit quarts{Dimension::volume, "qt", 0.946352946};
constexpr Unit pints{Dimension::volume, "pt", 0.473176473};
constexpr Unit cups{Dimension::volume, "cup", 0.24};
constexpr Unit tablespoons{Dimension::volume, "tbsp", 0.01478676478125};
constexpr Unit teaspoons{Dimension::volume, "tsp", 0.00492892159375};
constexpr Unit fluidOunces{Dimension::volume, "fl oz", 0.0295735295625};

constexpr Unit squareMeters{Dimension::area, "m²", 1};
constexpr Unit squareKilometers{Dimension::area, "km²", 1e6};
constexpr Unit hectares{Dimension::area, "ha", 1e4};
constexpr Unit acres{Dimension::area, "ac", 4046.8564224};
constexpr Unit squareFeet{Dimension::area, "ft²", 0.09290304};
constexpr Unit squareMiles{Dimension::area, "mi²", 2589988.110336};

constexpr Unit kilometersPerHour{Dimension::speed, "km/h", 1 / 3.6};
constexpr Unit milesPerHour{Dimension::speed, "mph", 0.44704};
constexpr Unit metersPerSecond{Dimension::speed, "m/s", 1};
constexpr Unit knots{Dimension::speed, "kn", 1852.0 / 3600.0};

constexpr Unit seconds{Dimension::duration, "s", 1};
constexpr Unit minutes{Dimension::duration, "min", 60};
constexpr Unit hours{Dimension::duration, "hr", 3600};
constexpr Unit milliseconds{Dimension::duration, "ms", 0.001};
constexpr Unit days{Dimension::duration, "d", 86400};
constexpr Unit weeks{Dimension::duration, "wk", 604800};

constexpr Unit bits{Dimension::information, "bit", 1};
constexpr Unit bytes{Dimension::information, "B", 8};
constexpr Unit kilobytes{Dimension::information, "kB", 8e3};
constexpr Unit megabytes{Dimension::information, "MB", 8e6};
constexpr Unit gigabytes{Dimension::information, "GB", 8e9};
constexpr Unit terabytes{Dimension::information, "TB", 8e12};
constexpr Unit petabytes{Dimension::information, "PB", 8e15};
constexpr Unit kibibytes{Dimension::information, "KiB", 8.0 * 1024};
constexpr Unit mebibytes{Dimension::information, "MiB", 8.0 * 1024 * 1024};
constexpr Unit gibibytes{Dimension::information, "GiB", 8.0 * 1024 * 1024 * 1024};
constexpr Unit tebibytes{Dimension::information, "TiB", 8.0 * 1024 * 1024 * 1024 * 1024};
constexpr Unit kilobits{Dimension::information, "kb", 1e3};
constexpr Unit megabits{Dimension::information, "Mb", 1e6};
constexpr Unit gigabits{Dimension::information, "Gb", 1e9};

} // namespace units

struct Row {
    const Unit& unit;
    std::initializer_list<std::string_view> names;
};

// An open-addressing table from lowercased name to unit. Looking up a word is the most
// frequent question of a note's evaluation (every word after a number may be a unit), and a
// flat table with a short hash answers it without the node walks of std::unordered_map.
class Table {
public:
    void insertOrAssign(std::string name, const Unit* unit) {
        Slot& slot = m_slots[indexOf(name)];
        if (slot.unit == nullptr) {
            slot.name = std::move(name);
        }
        slot.unit = unit;
    }

    const Unit* lookup(std::string_view name) const { return m_slots[indexOf(name)].unit; }

private:
    struct Slot {
        std::string name;
        const Unit* unit = nullptr; // nullptr: empty slot
    };

    // About four times the number of names, so probes stay short.
    static constexpr std::size_t capacity = 1024;

    static std::size_t hash(std::string_view name) {
        std::uint32_t h = 2166136261u; // FNV-1a
        for (const char ch : name) {
            h = (h ^ static_cast<unsigned char>(ch)) * 16777619u;
        }
        return h;
    }

    // The slot holding `name`, or the empty slot where it would go.
    std::size_t indexOf(std::string_view name) const {
        for (std::size_t i = hash(name);; ++i) {
            const std::size_t index = i & (capacity - 1);
            const Slot& slot = m_slots[index];
            if (slot.unit == nullptr || slot.name == name) {
                return index;
            }
        }
    }

    std::vector<Slot> m_slots = std::vector<Slot>(capacity);
};

Table buildTable() {
    using namespace units;
    // Within a row every name maps to the same unit; a later row would win over an earlier
    // one for a repeated name, but no name repeats.
    const Row rows[] = {
        {meters, {"m", "meter", "meters", "metre", "metres"}},
        {kilometers, {"km", "kilometer", "kilometers", "kilometre", "kilometres"}},
        {centimeters, {"cm", "centimeter", "centimeters", "centimetre", "centimetres"}},
        {millimeters, {"mm", "millimeter", "millimeters", "millimetre", "millimetres"}},
        {miles, {"mi", "mile", "miles"}},
        {feet, {"ft", "foot", "feet"}},
        {inches, {"inch", "inches"}},
        {yards, {"yd", "yard", "yards"}},
        {nauticalMiles, {"nmi", "nautical"}},
        {grams, {"g", "gram", "grams"}},
        {kilograms, {"kg", "kilogram", "kilograms", "kilo", "kilos"}},
        {milligrams, {"mg", "milligram", "milligrams"}},
        {pounds, {"lb", "lbs", "pound", "pounds"}},
        {ounces, {"oz", "ounce", "ounces"}},
        {metricTons, {"t", "tonne", "tonnes", "ton", "tons"}},
        {celsius, {"c", "°c", "celsius", "centigrade"}},
        {fahrenheit, {"f", "°f", "fahrenheit"}},
        {kelvin, {"k", "kelvin"}},
        {liters, {"l", "liter", "liters", "litre", "litres"}},
        {milliliters, {"ml", "milliliter", "milliliters", "millilitre", "millilitres"}},
        {gallons, {"gal", "gallon", "gallons"}},
        {quarts, {"qt", "quart", "quarts"}},
        {pints, {"pint", "pints"}},
        {cups, {"cup", "cups"}},
        {tablespoons, {"tbsp", "tablespoon", "tablespoons"}},
        {teaspoons, {"tsp", "teaspoon", "teaspoons"}},
        {fluidOunces, {"floz", "fl", "fluidounce", "fluidounces"}},
        {squareMeters, {"m2", "sqm", "squaremeter", "squaremeters"}},
        {squareKilometers, {"km2", "sqkm"}},
        {hectares, {"ha", "hectare", "hectares"}},
        {acres, {"acre", "acres"}},
        {squareFeet, {"sqft", "ft2"}},
        {squareMiles, {"sqmi", "mi2"}},
        {kilometersPerHour, {"kmh", "kph"}},
        {milesPerHour, {"mph"}},
        {metersPerSecond, {"mps"}},
        {knots, {"kn", "knot", "knots"}},
        {seconds, {"s", "sec", "secs", "second", "seconds"}},
        {minutes, {"min", "mins", "minute", "minutes"}},
        {hours, {"h", "hr", "hrs", "hour", "hours"}},
        {milliseconds, {"ms", "millisecond", "milliseconds"}},
        {days, {"d", "day", "days"}},
        {weeks, {"wk", "week", "weeks"}},
        {bytes, {"b", "byte", "bytes"}},
        {kilobytes, {"kb", "kilobyte", "kilobytes"}},
        {megabytes, {"mb", "megabyte", "megabytes"}},
        {gigabytes, {"gb", "gigabyte", "gigabytes"}},
        {terabytes, {"tb", "terabyte", "terabytes"}},
        {petabytes, {"pb", "petabyte", "petabytes"}},
        {kibibytes, {"kib"}},
        {mebibytes, {"mib"}},
        {gibibytes, {"gib"}},
        {tebibytes, {"tib"}},
        {bits, {"bit", "bits"}},
        {kilobits, {"kbit", "kilobit", "kilobits"}},
        {megabits, {"mbit", "megabit", "megabits"}},
        {gigabits, {"gbit", "gigabit", "gigabits"}},
    };
    Table table;
    for (const Row& row : rows) {
        for (const std::string_view name : row.names) {
            table.insertOrAssign(text::lowercase(name), &row.unit);
        }
    }
    return table;
}

const Table& table() {
    static const Table instance = buildTable();
    return instance;
}

bool needsLowercasing(std::string_view name) {
    return std::any_of(name.begin(), name.end(), [](char ch) {
        return (ch >= 'A' && ch <= 'Z') || static_cast<unsigned char>(ch) >= 0x80;
    });
}

} // namespace

std::string_view dimensionName(Dimension dimension) {
    switch (dimension) {
    case Dimension::length:
        return "length";
    case Dimension::mass:
        return "mass";
    case Dimension::temperature:
        return "temperature";
    case Dimension::volume:
        return "volume";
    case Dimension::area:
        return "area";
    case Dimension::speed:
        return "speed";
    case Dimension::duration:
        return "duration";
    case Dimension::information:
        return "information";
    }
    return {};
}

double convertValue(double value, const Unit& from, const Unit& to) {
    if (&from == &to) {
        return value;
    }
    return to.fromBase(from.toBase(value));
}

const Unit* UnitCatalog::unit(std::string_view name) {
    // Tokens arrive lowercased already; only other callers pay for lowercasing.
    return needsLowercasing(name) ? table().lookup(text::lowercase(name)) : table().lookup(name);
}

bool UnitCatalog::isKnownAlias(std::string_view name) {
    return unit(name) != nullptr;
}

} // namespace zemvar::core
