// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/app_settings.h"

#include "core/settings/ini_settings.h"

#include <cstdlib>

namespace zemvar::cli {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

} // namespace

std::optional<std::string> appSetting(std::string_view key) {
    return core::IniSettings::load(core::appSettingsPath()).string(key);
}

std::string userLocaleName() {
    std::string name;
    for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        name = environment(variable);
        if (!name.empty()) {
            break;
        }
    }
    name = name.substr(0, name.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") {
        return "en_US";
    }
    return name;
}

} // namespace zemvar::cli
