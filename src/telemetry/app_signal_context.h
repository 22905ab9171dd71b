// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zemvar::telemetry {

/// What every telemetry document says about the sending program and the machine. None of it
/// identifies a person: the kernel's version numbers, the processor family and a coarse class
/// of the memory.
struct AppSignalContext {
    std::string app;          ///< the sending application's short name, such as "notes"
    std::string release;      ///< the application's version, such as "0.1.0"
    std::string os;           ///< the running kernel's version as "major.minor.patch"
    std::string architecture; ///< the machine name of the kernel, such as "x86_64"
    std::string memoryClass;  ///< see memoryClassOf()

    /// The context of this process on this machine (uname and the physical memory size).
    /// Values the system does not give become "unknown".
    static AppSignalContext current(std::string app, std::string release);

    /// The leading "major.minor.patch" numbers of a kernel release, missing ones as 0:
    /// "6.1.0-18-amd64" gives "6.1.0", "5.15" gives "5.15.0"; "unknown" without a number.
    static std::string osVersion(std::string_view kernelRelease);
    /// The memory class of a machine with `bytes` of physical memory: the size rounded to
    /// whole GiB, then up to the next power of two, named by it: "1GB", "2GB", "4GB", ...,
    /// "64GB", and "128GB+" above 64 GiB. A 16 GiB machine that reports 15.6 GiB is "16GB", a
    /// 6 GiB one "8GB"; "unknown" for 0.
    static std::string memoryClassOf(std::uint64_t bytes);
};

} // namespace zemvar::telemetry
