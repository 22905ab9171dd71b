// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace zemvar::core {

/// How a note is edited and rendered. The declaration order is the order of every picker.
enum class NoteMode {
    text,
    calculations,
    code,
    markdown,
};

/// The highlighting language of a code note. The declaration order is the picker order.
enum class NoteCodeLanguage {
    swift,
    javascript,
    typescript,
    python,
    json,
    shell,
    html,
    css,
    sql,
};

inline constexpr std::array allNoteModes = {NoteMode::text, NoteMode::calculations, NoteMode::code,
                                            NoteMode::markdown};

inline constexpr std::array allNoteCodeLanguages = {
    NoteCodeLanguage::swift,  NoteCodeLanguage::javascript, NoteCodeLanguage::typescript,
    NoteCodeLanguage::python, NoteCodeLanguage::json,       NoteCodeLanguage::shell,
    NoteCodeLanguage::html,   NoteCodeLanguage::css,        NoteCodeLanguage::sql,
};

/// The stored form, for example "calculations".
std::string_view rawValue(NoteMode mode);
/// The name shown to people, for example "Calculations".
std::string_view label(NoteMode mode);
/// The freedesktop-independent symbol name of the mode's icon, for example "function".
std::string_view symbolName(NoteMode mode);
/// Exact, case-sensitive inverse of rawValue; unknown text gives no value.
std::optional<NoteMode> noteModeFromRawValue(std::string_view raw);

/// The stored form, for example "javascript".
std::string_view rawValue(NoteCodeLanguage language);
/// The name shown to people, for example "JavaScript".
std::string_view label(NoteCodeLanguage language);
/// Exact, case-sensitive inverse of rawValue; unknown text gives no value.
std::optional<NoteCodeLanguage> noteCodeLanguageFromRawValue(std::string_view raw);

} // namespace zemvar::core
