// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "cli/command_line.h"

#include <vector>

namespace zemvar::cli {

/// list, show, new, write, delete, pin, unpin, search and path.
std::vector<CommandSpec> noteCommands();
/// eval and calc.
std::vector<CommandSpec> calcCommands();
/// inspect, export and markdown.
std::vector<CommandSpec> fileCommands();

/// Runs the tool: `arguments` are argv without the program name. Returns the exit status.
int run(const std::vector<std::string>& arguments, Streams& streams);

} // namespace zemvar::cli
