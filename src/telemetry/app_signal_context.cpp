// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/app_signal_context.h"

#include <sys/utsname.h>
#include <unistd.h>

namespace zemvar::telemetry {

namespace {

const std::string unknown = "unknown";

} // namespace

AppSignalContext AppSignalContext::current(std::string app, std::string release) {
    AppSignalContext context{std::move(app), std::move(release), unknown, unknown, unknown};
    struct utsname names {};
    if (::uname(&names) == 0) {
        context.os = osVersion(names.release);
        context.architecture = names.machine;
    }
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0) {
        context.memoryClass =
            memoryClassOf(static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize));
    }
    return context;
}

std::string AppSignalContext::osVersion(std::string_view kernelRelease) {
    unsigned long numbers[3] = {0, 0, 0};
    std::size_t position = 0;
    int read = 0;
    while (read < 3 && position < kernelRelease.size() && kernelRelease[position] >= '0' &&
           kernelRelease[position] <= '9') {
        unsigned long value = 0;
        while (position < kernelRelease.size() && kernelRelease[position] >= '0' &&
               kernelRelease[position] <= '9' && value < 100000000) {
            value = value * 10 + static_cast<unsigned long>(kernelRelease[position++] - '0');
        }
        numbers[read++] = value;
        if (position < kernelRelease.size() && kernelRelease[position] == '.') {
            ++position;
        } else {
            break;
        }
    }
    if (read == 0) {
        return unknown;
    }
    return std::to_string(numbers[0]) + '.' + std::to_string(numbers[1]) + '.' +
           std::to_string(numbers[2]);
}

std::string AppSignalContext::memoryClassOf(std::uint64_t bytes) {
    if (bytes == 0) {
        return unknown;
    }
    constexpr std::uint64_t gibibyte = std::uint64_t{1} << 30;
    const std::uint64_t whole = (bytes + gibibyte / 2) / gibibyte;
    std::uint64_t bound = 1;
    while (bound < whole && bound < 128) {
        bound *= 2;
    }
    return bound >= 128 ? "128GB+" : std::to_string(bound) + "GB";
}

} // namespace zemvar::telemetry
