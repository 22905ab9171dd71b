// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Evaluating a whole calculation note, as the app does on every keystroke, against a bare pass
// that only splits it into lines and tokenizes them. The notes come from
// bench/gen_calc_note.py, saved as calc-<variant>.txt in the folder named by the
// environment variable ZEMVAR_BENCH_DATA.

#include "bench_data.h"
#include "core/calc/line_evaluator.h"
#include "core/calc/tokenizer.h"

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace zemvar::core;

struct Variant {
    const char* name; // the benchmark's suffix
    const char* file; // inside ZEMVAR_BENCH_DATA
};

constexpr Variant variants[] = {
    {"full", "calc-full.txt"},
    {"plain", "calc-plain.txt"},
    {"units", "calc-units.txt"},
    {"noprose", "calc-noprose.txt"},
};

// Returns the note's text, or an explanation of why it is missing in `error`.
std::string loadNote(const Variant& variant, std::string& error) {
    return zemvar::bench::readBenchData(variant.file, error);
}

void evaluateNote(benchmark::State& state, const Variant& variant) {
    std::string error;
    const std::string note = loadNote(variant, error);
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    const LineEvaluator evaluator(DecimalSeparator::point, "en_US", false);
    std::size_t results = 0;
    for (auto _ : state) {
        const std::vector<LineResult> evaluated = evaluator.evaluate(note);
        results = evaluated.size();
        benchmark::DoNotOptimize(evaluated.data());
    }
    state.counters["results"] = static_cast<double>(results);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(note.size()));
}

void tokenizeNote(benchmark::State& state, const Variant& variant) {
    std::string error;
    const std::string note = loadNote(variant, error);
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    std::vector<Token> tokens;
    for (auto _ : state) {
        std::size_t start = 0;
        std::size_t count = 0;
        while (start <= note.size()) {
            std::size_t end = note.find('\n', start);
            if (end == std::string::npos) {
                end = note.size();
            }
            tokens.clear();
            // Headings and prose fail; the pass only measures the scanning.
            benchmark::DoNotOptimize(
                Tokenizer::tryTokenize(std::string_view(note).substr(start, end - start),
                                       DecimalSeparator::point, tokens));
            count += tokens.size();
            start = end + 1;
        }
        benchmark::DoNotOptimize(count);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(note.size()));
}

} // namespace

int main(int argc, char** argv) {
    for (const Variant& variant : variants) {
        benchmark::RegisterBenchmark((std::string("BM_EvaluateNote/") + variant.name).c_str(),
                                     evaluateNote, variant)
            ->Unit(benchmark::kMicrosecond);
    }
    for (const Variant& variant : variants) {
        benchmark::RegisterBenchmark((std::string("BM_TokenizeNote/") + variant.name).c_str(),
                                     tokenizeNote, variant)
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
