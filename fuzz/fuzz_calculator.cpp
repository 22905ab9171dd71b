// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Arbitrary bytes through the calculator and the formatter. The first byte picks the
// separator. CalcError is the only exception allowed; the throwing and non-throwing forms must
// agree; and a result must format the same through the formatter's fast path and through ICU.
#include "core/calc/calculator.h"
#include "core/calc/result_formatter.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

using namespace zemvar::core;

namespace {

const Variables& variables() {
    static const Variables values = [] {
        Variables v;
        v.emplace("x", CalcValue::number(5));
        v.emplace("pi", CalcValue::number(3));
        v.emplace("trip", CalcValue::measurement(2.5, *UnitCatalog::unit("km")));
        v.emplace("zero", CalcValue::number(0));
        return v;
    }();
    return values;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const DecimalSeparator separator =
        data[0] % 2 == 0 ? DecimalSeparator::point : DecimalSeparator::comma;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    const Calculator calculator(separator, variables());

    std::vector<Token> scratch;
    const CalcResult result = calculator.tryEvaluate(text, scratch);
    try {
        const CalcValue value = calculator.evaluate(text);
        const CalcValue* expected = std::get_if<CalcValue>(&result);
        // NaN never equals itself, so compare NaN results by kind and unit only.
        if (expected == nullptr || expected->unit() != value.unit() ||
            (expected->value() != value.value() &&
             !(std::isnan(expected->value()) && std::isnan(value.value())))) {
            std::abort();
        }
        static const ResultFormatter point("en_US", DecimalSeparator::point);
        static const ResultFormatter french("fr_FR", std::nullopt);
        for (const ResultFormatter* formatter : {&point, &french}) {
            if (formatter->number(value.value()) != formatter->icuNumber(value.value())) {
                std::abort();
            }
            (void)formatter->string(value);
        }
    } catch (const CalcError& error) {
        const CalcError* expected = std::get_if<CalcError>(&result);
        if (expected == nullptr || !(*expected == error)) {
            std::abort();
        }
    }
    return 0;
}
