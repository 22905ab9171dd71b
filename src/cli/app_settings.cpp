// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/app_settings.h"

#include "core/text/unicode.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace zemvar::cli {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::filesystem::path settingsFile() {
    std::filesystem::path base = environment("XDG_CONFIG_HOME");
    if (!base.is_absolute()) {
        base = std::filesystem::path(environment("HOME")) / ".config";
    }
    return base / "Zemvar" / "Zemvar Notes.conf";
}

} // namespace

std::optional<std::string> appSetting(std::string_view key) {
    std::ifstream file(settingsFile());
    std::string line;
    bool inGeneral = false;
    while (std::getline(file, line)) {
        const std::string_view trimmed = core::text::trimWhiteSpace(line);
        if (trimmed.starts_with("[")) {
            inGeneral = trimmed == "[General]";
            continue;
        }
        const std::size_t equals = trimmed.find('=');
        if (!inGeneral || equals == std::string_view::npos ||
            core::text::trimWhiteSpace(trimmed.substr(0, equals)) != key) {
            continue;
        }
        std::string_view value = core::text::trimWhiteSpace(trimmed.substr(equals + 1));
        // Qt quotes values that hold special characters.
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        return std::string(value);
    }
    return std::nullopt;
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
