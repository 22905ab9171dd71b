// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace zemvar::core {

/// The settings file of the app, which the command-line tool reads too: "Zemvar/Zemvar Notes.ini"
/// in $XDG_CONFIG_HOME, or in ~/.config when that is unset or not absolute. The app keeps it
/// in QSettings' INI format.
std::filesystem::path appSettingsPath();

/// The string values of a settings file in QSettings' INI format, read without Qt.
///
/// Understands what QSettings writes and reads: "[Section]" headers ("[General]" holds the keys
/// without a section, "[%General]" a section named "General"), keys with "%XX" and "%UXXXX"
/// escapes, values in double quotes (a quoted value may span lines), the escapes \a \b \f \n
/// \r \t \v \" \' \? \\, \xHHHH and octal ones, line continuations, comments from ";" on and a
/// UTF-8 byte-order mark. A later key of the same name wins, as in QSettings.
class IniSettings {
public:
    /// Reads the text of a settings file. Never fails: lines it cannot read are skipped.
    static IniSettings parse(std::string_view text);
    /// Reads the file at `path`; a missing file holds no settings. Throws std::system_error
    /// ("<path>: <system message>") when the file exists but cannot be read.
    static IniSettings load(const std::filesystem::path& path);

    /// The string stored under `key`: "decimalSeparator" for a key without a section,
    /// "NotesPanel/geometry" for a key of a section. Keys are case-sensitive. No value when the
    /// key is missing or holds something else than one string (a list, bytes, a number typed
    /// by QVariant, an invalid value). Numbers and booleans that QSettings writes as text, such
    /// as "0.65" or "true", are strings here.
    std::optional<std::string> string(std::string_view key) const;

private:
    /// Every key; no value for keys that hold no single string.
    std::map<std::string, std::optional<std::string>, std::less<>> m_values;
};

} // namespace zemvar::core
