// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/unit_catalog.h"

#include <cmath>
#include <string>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

TEST(UnitCatalogTest, NamesAreCaseInsensitiveAndDeliberate) {
    struct Case {
        const char* name;
        const char* symbol; // nullptr: no unit
    } cases[] = {
        {"km", "km"},       {"KM", "km"},    {"Km", "km"},   {"°C", "°C"},    {"°c", "°C"},
        {"c", "°C"},        {"F", "°F"},     {"k", "K"},     {"in", nullptr}, {"inch", "in"},
        {"m", "m"},         {"s", "s"},      {"h", "hr"},    {"d", "d"},      {"t", "t"},
        {"tons", "t"},      {"g", "g"},      {"l", "L"},     {"b", "B"},      {"bit", "bit"},
        {"kb", "kB"},       {"kib", "KiB"},  {"kbit", "kb"}, {"mbit", "Mb"},  {"fl", "fl oz"},
        {"nautical", "NM"}, {"sqft", "ft²"}, {"km2", "km²"}, {"kph", "km/h"}, {"mps", "m/s"},
        {"wk", "wk"},       {"cups", "cup"}, {"pint", "pt"}, {"acre", "ac"},  {"meterz", nullptr},
        {"", nullptr},      {"min", "min"},  {"ms", "ms"},   {"pt", nullptr}, {"oz", "oz"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Unit* unit = UnitCatalog::unit(c.name);
        EXPECT_EQ(UnitCatalog::isKnownAlias(c.name), c.symbol != nullptr);
        if (c.symbol == nullptr) {
            EXPECT_EQ(unit, nullptr);
        } else {
            ASSERT_NE(unit, nullptr);
            EXPECT_EQ(UnitCatalog::symbol(*unit), c.symbol);
        }
    }
}

TEST(UnitCatalogTest, ConversionsUseTheStandardDefinitions) {
    struct Case {
        double value;
        const char* from;
        const char* to;
        double expected;
    } cases[] = {
        {1, "b", "bit", 8},         {1, "tib", "gib", 1024},   {1, "mi", "ft", 5280},
        {1, "yd", "inch", 36},      {-40, "f", "c", -40},      {1, "lb", "oz", 16},
        {1, "gal", "qt", 4},        {1, "cup", "ml", 240},     {3, "tsp", "tbsp", 1},
        {1, "acre", "sqft", 43560}, {1, "knot", "kmh", 1.852}, {60, "mph", "mps", 26.8224},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.from) + " -> " + c.to);
        const Unit& from = *UnitCatalog::unit(c.from);
        const Unit& to = *UnitCatalog::unit(c.to);
        EXPECT_EQ(from.dimension, to.dimension);
        EXPECT_NEAR(convertValue(c.value, from, to), c.expected,
                    1e-9 * std::abs(c.expected) + 1e-12);
    }
    // The identical unit returns the value untouched, even where a round trip would not.
    const Unit& fahrenheit = *UnitCatalog::unit("f");
    EXPECT_EQ(convertValue(0.1, fahrenheit, fahrenheit), 0.1);
}

TEST(UnitCatalogTest, DimensionNames) {
    EXPECT_EQ(dimensionName(UnitCatalog::unit("kg")->dimension), "mass");
    EXPECT_EQ(dimensionName(UnitCatalog::unit("days")->dimension), "duration");
    EXPECT_EQ(dimensionName(UnitCatalog::unit("bits")->dimension), "information");
    EXPECT_EQ(dimensionName(UnitCatalog::unit("ha")->dimension), "area");
}

} // namespace
} // namespace zemvar::core
