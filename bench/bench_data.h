// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace zemvar::bench {

/// Reads `file` (for example "calc-full.txt") from the folder named by $ZEMVAR_BENCH_DATA, where
/// scripts/bench-table puts the notes of gen_calc_note.py. On failure returns nothing and says
/// why in `error`, for the benchmark's SkipWithError.
inline std::string readBenchData(const std::string& file, std::string& error) {
    const char* folder = std::getenv("ZEMVAR_BENCH_DATA");
    if (folder == nullptr || *folder == '\0') {
        error =
            "ZEMVAR_BENCH_DATA is not set (a folder with calc-full.txt etc. from gen_calc_note.py)";
        return {};
    }
    const std::string path = std::string(folder) + "/" + file;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot read " + path;
        return {};
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace zemvar::bench
