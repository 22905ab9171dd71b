// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Small Unicode helpers on UTF-8 text, backed by ICU's character properties.
///
/// All functions accept arbitrary bytes: a byte that does not start a valid UTF-8 sequence is
/// read as U+FFFD and skipped on its own, so no input can make them fail or read out of bounds.
/// ASCII takes fast paths that give the same answers as the general code.
namespace zemvar::core::text {

/// Replacement character returned for bytes that are not valid UTF-8.
inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Decodes the code point that starts at byte `pos` of `text` and advances `pos` past it.
/// Precondition: pos < text.size(). Invalid or truncated sequences, overlong forms and
/// surrogates give U+FFFD and advance by one byte.
char32_t decodeUtf8(std::string_view text, std::size_t& pos);

/// Appends the UTF-8 form of `c` (a Unicode scalar value) to `out`.
void appendUtf8(std::string& out, char32_t c);

/// Returns true when `text` is well-formed UTF-8: no overlong forms, no surrogates, nothing
/// above U+10FFFF, no truncated sequence.
bool isValidUtf8(std::string_view text);

/// Returns the byte offset of the end of the extended grapheme cluster (user-perceived
/// character) that starts at byte `pos`, following the default segmentation rules of Unicode.
/// Precondition: `pos` is a cluster boundary. Returns text.size() when pos >= text.size().
std::size_t nextGraphemeBoundary(std::string_view text, std::size_t pos);

/// Counts the user-perceived characters of `text`, stopping early once the count exceeds
/// `limit` (the result is then limit + 1). Example: "e\u0301🇩🇪" counts 2.
std::size_t graphemeCount(std::string_view text, std::size_t limit = std::string_view::npos);

/// Unicode property White_Space (spaces, tabs, line breaks, U+0085, no-break spaces, ...).
bool isWhiteSpace(char32_t c);
/// Unicode general category Zs, or a tab: the "spaces and tabs" of the line syntax.
bool isSpaceOrTab(char32_t c);
/// Unicode property Numeric_Type is not None (digits, fractions like ½, numerals like Ⅻ, 五).
bool isNumeric(char32_t c);
/// Unicode general category L* (any letter).
bool isLetter(char32_t c);
/// Unicode general category Nd (a decimal digit of any script).
bool isDecimalDigit(char32_t c);
/// Unicode general categories Cc and Cf (control and format characters).
bool isControlOrFormat(char32_t c);

/// Returns `text` without leading and trailing White_Space code points.
std::string_view trimWhiteSpace(std::string_view text);
/// Returns `text` without leading and trailing spaces (category Zs) and tabs.
std::string_view trimSpacesAndTabs(std::string_view text);

/// Full Unicode lowercase mapping of `text` (root locale), for example "KM" -> "km",
/// "°C" -> "°c", "ΣΑΣ" -> "σας".
std::string lowercase(std::string_view text);

/// Folds `text` for case- and diacritic-insensitive comparison: full case folding, then
/// canonical decomposition without the non-spacing marks. "Café" and "CAFE" both fold to
/// "cafe"; "Straße" folds to "strasse".
std::string foldForSearch(std::string_view text);

} // namespace zemvar::core::text
