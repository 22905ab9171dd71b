// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Arbitrary bytes (invalid UTF-8 included) through the tokenizer. The first byte picks the
// separator. CalcError is the only exception allowed, the throwing and the non-throwing forms
// must agree, and every token must be well-formed.
#include "core/calc/calc_error.h"
#include "core/calc/tokenizer.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

using zemvar::core::CalcError;
using zemvar::core::DecimalSeparator;
using zemvar::core::Token;
using zemvar::core::Tokenizer;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const DecimalSeparator separator =
        data[0] % 2 == 0 ? DecimalSeparator::point : DecimalSeparator::comma;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);

    std::vector<Token> tokens;
    const std::optional<CalcError> failure = Tokenizer::tryTokenize(text, separator, tokens);
    try {
        const std::vector<Token> thrown = Tokenizer::tokenize(text, separator);
        if (failure || thrown != tokens) {
            std::abort();
        }
    } catch (const CalcError& error) {
        if (!failure || !(error == *failure)) {
            std::abort();
        }
        return 0;
    }
    for (const Token& token : tokens) {
        switch (token.kind) {
        case Token::Kind::number:
            if (!(token.number >= 0)) { // no sign inside a number, never NaN
                std::abort();
            }
            break;
        case Token::Kind::identifier:
            if (token.identifier.empty()) {
                std::abort();
            }
            break;
        case Token::Kind::op:
            if (std::string_view("+-*/^").find(token.op) == std::string_view::npos) {
                std::abort();
            }
            break;
        case Token::Kind::percent:
        case Token::Kind::leftParen:
        case Token::Kind::rightParen:
            break;
        }
    }
    return 0;
}
