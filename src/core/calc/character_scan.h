// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/text/unicode.h"

#include <cstddef>
#include <string_view>

/// Reading calculation text by user-perceived characters, shared by the tokenizer and the
/// line evaluator so that both classify characters identically.
namespace zemvar::core::detail {

/// One user-perceived character (extended grapheme cluster): its bytes and its first code
/// point, whose properties stand for the whole character.
struct Character {
    std::size_t begin = 0;
    std::size_t end = 0;
    char32_t first = 0;
    bool single = false; ///< the character is exactly one code point

    /// Returns true when the character is exactly the code point `c` (so "." followed by a
    /// combining mark is not ".").
    bool is(char32_t c) const { return single && first == c; }
};

/// Returns the character that starts at byte `pos` of `text`. Precondition: pos < size and
/// pos is a character boundary.
inline Character characterAt(std::string_view text, std::size_t pos) {
    Character character;
    character.begin = pos;
    const auto lead = static_cast<unsigned char>(text[pos]);
    // ASCII followed by ASCII is a character of its own, except CR LF.
    if (lead < 0x80 && lead != '\r' &&
        (pos + 1 == text.size() || static_cast<unsigned char>(text[pos + 1]) < 0x80)) {
        character.end = pos + 1;
        character.first = lead;
        character.single = true;
        return character;
    }
    std::size_t next = pos;
    character.first = text::decodeUtf8(text, next);
    character.end = text::nextGraphemeBoundary(text, pos);
    character.single = next == character.end;
    return character;
}

/// Returns true for a character that continues a word: a letter, a numeric character, "_"
/// or "°" (so that °c and °f are words).
inline bool isWordCharacter(const Character& character) {
    return text::isLetter(character.first) || text::isNumeric(character.first) ||
           character.is('_') || character.is(U'\u00B0');
}

} // namespace zemvar::core::detail
