// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zemvar::cli {

/// Reads one string of the app's settings from the file the app writes
/// (core::appSettingsPath()). Gives no value when the file or the key is missing. Throws
/// std::system_error when the file exists but cannot be read.
std::optional<std::string> appSetting(std::string_view key);

/// The user's locale for numbers as an ICU name, from $LC_ALL, $LC_NUMERIC or $LANG like the
/// C library: "de_DE.UTF-8" gives "de_DE"; "C", "POSIX" or nothing give "en_US".
std::string userLocaleName();

} // namespace zemvar::cli
