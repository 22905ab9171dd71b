// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/calc_error.h"
#include "core/calc/decimal_separator.h"
#include "core/calc/token.h"

#include <optional>
#include <string_view>
#include <vector>

namespace zemvar::core {

/// Splits the text of one calculation into tokens.
///
/// The text is read by user-perceived characters; a character's properties are those of its
/// first code point. White space is skipped; a number is a run of numeric characters, "." and
/// ",", read by `separator` (so "1,234.5" under point is one number); a word starts with a
/// letter, "_" or "°" and continues with letters, numeric characters, "_" and "°", and is
/// lowercased; "+ - * / ^" are operators, with "×", "÷" and "−" (U+2212) read as "*", "/"
/// and "-"; "%", "(" and ")" are tokens of their own. Examples: "3kg" gives 3 and "kg";
/// "2×(1−.5)" gives 2, *, (, 1, -, 0.5, ). There is no exponent, hexadecimal or sign in a
/// number: "1e3" is 1 followed by the word "e3".
///
/// Arbitrary bytes are accepted: a byte that is not UTF-8 is one character U+FFFD.
class Tokenizer {
public:
    Tokenizer() = delete;

    /// Returns the tokens of `text`; white space alone gives none.
    /// Throws CalcError: invalidNumber with the number text when the separator cannot read a
    /// number ("1,23" under point), unexpectedCharacter with the character that fits no class
    /// ("=", "$", a lone ",").
    static std::vector<Token> tokenize(std::string_view text, DecimalSeparator separator);

    /// Appends the tokens of `text` to `tokens`, so that a caller can reuse one buffer. On a
    /// CalcError the tokens appended so far stay in `tokens`.
    static void tokenize(std::string_view text, DecimalSeparator separator,
                         std::vector<Token>& tokens);

    /// Like the appending tokenize, but returns the failure instead of throwing it.
    static std::optional<CalcError> tryTokenize(std::string_view text, DecimalSeparator separator,
                                                std::vector<Token>& tokens);
};

} // namespace zemvar::core
