// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_mode.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zemvar::core {

/// The token classes a code note is coloured by, in the order of the capture groups of
/// SyntaxRules::pattern: comment is group 1, function (or tag, in html) is group 5.
enum class SyntaxTokenClass {
    comment,
    string,
    number,
    keyword,
    function,
};

inline constexpr std::size_t syntaxTokenClassCount = 5;

/// The colouring rule of one language as data: one regular expression (PCRE syntax, UTF-16 or
/// UTF-8 subjects alike) whose five capture groups are the token classes. A match belongs to
/// the first group that took part in it, so at any position a comment wins over a string, a
/// string over a number, and so on: "// if x" is one comment, and "if(" is a keyword.
struct SyntaxRules {
    /// "(comment)|(string)|(number)|(keyword)|(function)", for example for json
    /// "((?!))|(\"\"\"[\s\S]*?...)|...".
    std::string pattern;
    /// Whether the pattern is meant to be compiled ignoring case (html and sql).
    bool caseInsensitive = false;

    /// Returns the rule of `language`; the same value on every call.
    static SyntaxRules forLanguage(NoteCodeLanguage language);

    /// The pattern of one token class of `language`, without its capture parentheses.
    static std::string groupPattern(NoteCodeLanguage language, SyntaxTokenClass tokenClass);

    /// The keywords of `language` as stored: words separated by single spaces.
    static std::string_view keywords(NoteCodeLanguage language);

    /// The colour of each token class, as 0xRRGGBB (opaque sRGB), indexed by the class.
    static std::array<std::uint32_t, syntaxTokenClassCount> palette(bool dark);
};

} // namespace zemvar::core
