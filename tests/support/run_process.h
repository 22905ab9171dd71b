// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <map>
#include <string>
#include <vector>

namespace zemvar::testing {

/// What a finished child process left behind.
struct ProcessResult {
    int status = -1; ///< exit status, or -1 when the process did not exit normally
    std::string out; ///< everything written to standard output
    std::string err; ///< everything written to standard error
};

/// Runs `program` with `arguments`, feeding `input` to its standard input, and waits for it.
/// `environment` entries are added to (or replace) the current environment; an entry with an
/// empty value removes the variable.
ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input = {},
                         const std::map<std::string, std::string>& environment = {});

} // namespace zemvar::testing
