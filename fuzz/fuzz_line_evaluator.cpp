// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Arbitrary bytes as a whole note. The first byte picks the separator and whether the locale's
// marks are used. evaluate must never throw, and its results must be in ascending line order,
// one per line at most, each with text.
#include "core/calc/line_evaluator.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace zemvar::core;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    static const LineEvaluator evaluators[] = {
        LineEvaluator(DecimalSeparator::point, "en_US", false),
        LineEvaluator(DecimalSeparator::comma, "en_US", false),
        LineEvaluator(DecimalSeparator::point, "de_DE", true),
        LineEvaluator(DecimalSeparator::comma, "ar_EG", true),
    };
    const LineEvaluator& evaluator = evaluators[data[0] % 4];
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);

    const std::vector<LineResult> results = evaluator.evaluate(text);
    std::size_t lines = 1;
    for (const char ch : text) {
        lines += ch == '\n' ? 1 : 0;
    }
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (results[i].lineIndex >= lines || results[i].text.empty() ||
            (i > 0 && results[i].lineIndex <= results[i - 1].lineIndex)) {
            std::abort();
        }
    }
    return 0;
}
