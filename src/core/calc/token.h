// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <string>
#include <utility>

namespace zemvar::core {

/// One token of a calculation, as the tokenizer produces it.
///
/// Only the payload of the token's kind is meaningful: `number` for numbers, `identifier` for
/// words and `op` for operators. Equality compares the kind and that payload.
struct Token {
    enum class Kind {
        number,     ///< a run of digits with decimal and grouping marks, already converted
        identifier, ///< a word, already lowercased: variable, constant, function, unit, keyword
        op,         ///< an arithmetic operator: '+', '-', '*', '/' or '^'
        percent,    ///< "%"
        leftParen,  ///< "("
        rightParen, ///< ")"
    };

    Kind kind = Kind::number;
    double number = 0;
    std::string identifier;
    char op = 0;

    static Token makeNumber(double value) { return Token{Kind::number, value, {}, 0}; }
    static Token makeIdentifier(std::string name) {
        return Token{Kind::identifier, 0, std::move(name), 0};
    }
    static Token makeOp(char character) { return Token{Kind::op, 0, {}, character}; }
    static Token make(Kind kind) { return Token{kind, 0, {}, 0}; }

    friend bool operator==(const Token& lhs, const Token& rhs);
};

/// Returns the text that stands for `token` in an error: a number as the shortest decimal
/// that reads back to the same double, with at least one fractional digit and in exponent
/// form below 0.0001 or above 2^53 ("3.0", "0.0001", "1e-05", "1e+20"); an identifier's text;
/// an operator's character; "%", "(" or ")".
std::string tokenText(const Token& token);

/// Formats `value` as `tokenText` does for a number token ("3.0", "1e+20", "inf").
std::string shortestDecimalDescription(double value);

} // namespace zemvar::core
