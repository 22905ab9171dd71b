// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/commands.h"

#include <iostream>

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    zemvar::cli::Streams streams{std::cin, std::cout, std::cerr};
    const int status = zemvar::cli::run(std::vector<std::string>(argv + 1, argv + argc), streams);
    std::cout.flush();
    return status;
}
