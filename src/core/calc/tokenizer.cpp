// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/tokenizer.h"

#include "core/calc/calc_error.h"
#include "core/calc/character_scan.h"
#include "core/text/unicode.h"

#include <string>

namespace zemvar::core {

namespace {

using detail::Character;
using detail::characterAt;

bool isMark(const Character& character) {
    return character.is('.') || character.is(',');
}

} // namespace

std::vector<Token> Tokenizer::tokenize(std::string_view text, DecimalSeparator separator) {
    std::vector<Token> tokens;
    tokenize(text, separator, tokens);
    return tokens;
}

void Tokenizer::tokenize(std::string_view text, DecimalSeparator separator,
                         std::vector<Token>& tokens) {
    if (std::optional<CalcError> error = tryTokenize(text, separator, tokens)) {
        throw std::move(*error);
    }
}

std::optional<CalcError> Tokenizer::tryTokenize(std::string_view text, DecimalSeparator separator,
                                                std::vector<Token>& tokens) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        const Character current = characterAt(text, pos);

        if (text::isWhiteSpace(current.first)) {
            pos = current.end;
            continue;
        }

        bool startsNumber = text::isNumeric(current.first);
        if (!startsNumber && isMark(current) && current.end < text.size()) {
            startsNumber = text::isNumeric(characterAt(text, current.end).first);
        }
        if (startsNumber) {
            // Scan loosely over digits and both marks, then give trailing marks back: they are
            // read again as ordinary characters, so "5." fails on the full stop.
            std::size_t end = current.end;
            std::size_t lastNonMarkEnd = isMark(current) ? current.begin : current.end;
            while (end < text.size()) {
                const Character next = characterAt(text, end);
                if (isMark(next)) {
                    end = next.end;
                } else if (text::isNumeric(next.first)) {
                    end = next.end;
                    lastNonMarkEnd = end;
                } else {
                    break;
                }
            }
            // Marks are single bytes, so the trimmed number ends after its last non-mark.
            const std::string_view number = text.substr(pos, lastNonMarkEnd - pos);
            const std::optional<double> value = parseNumber(separator, number);
            if (!value) {
                return CalcError(CalcError::Case::invalidNumber, std::string(number));
            }
            tokens.push_back(Token::makeNumber(*value));
            pos = lastNonMarkEnd;
            continue;
        }

        if (text::isLetter(current.first) || current.is('_') || current.is(U'\u00B0')) {
            std::size_t end = current.end;
            while (end < text.size()) {
                const Character next = characterAt(text, end);
                if (!detail::isWordCharacter(next)) {
                    break;
                }
                end = next.end;
            }
            Token& token = tokens.emplace_back();
            token.kind = Token::Kind::identifier;
            token.identifier = text::lowercase(text.substr(pos, end - pos));
            pos = end;
            continue;
        }

        if (current.single) {
            switch (current.first) {
            case '+':
            case '-':
            case '*':
            case '/':
            case '^':
                tokens.push_back(Token::makeOp(static_cast<char>(current.first)));
                pos = current.end;
                continue;
            case U'\u00D7': // multiplication sign
                tokens.push_back(Token::makeOp('*'));
                pos = current.end;
                continue;
            case U'\u00F7': // division sign
                tokens.push_back(Token::makeOp('/'));
                pos = current.end;
                continue;
            case U'\u2212': // minus sign
                tokens.push_back(Token::makeOp('-'));
                pos = current.end;
                continue;
            case '%':
                tokens.push_back(Token::make(Token::Kind::percent));
                pos = current.end;
                continue;
            case '(':
                tokens.push_back(Token::make(Token::Kind::leftParen));
                pos = current.end;
                continue;
            case ')':
                tokens.push_back(Token::make(Token::Kind::rightParen));
                pos = current.end;
                continue;
            default:
                break;
            }
        }
        return CalcError(CalcError::Case::unexpectedCharacter,
                         std::string(text.substr(current.begin, current.end - current.begin)));
    }
    return std::nullopt;
}

} // namespace zemvar::core
