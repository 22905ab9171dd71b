// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/calc_error.h"
#include "core/calc/tokenizer.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

// Renders tokens as "n:2 op:* id:km % ( )" so that expectations read like the input.
std::string render(std::string_view text, DecimalSeparator separator = DecimalSeparator::point) {
    try {
        std::string out;
        for (const Token& token : Tokenizer::tokenize(text, separator)) {
            if (!out.empty()) {
                out.push_back(' ');
            }
            switch (token.kind) {
            case Token::Kind::number:
                out += "n:" + tokenText(token);
                break;
            case Token::Kind::identifier:
                out += "id:" + token.identifier;
                break;
            case Token::Kind::op:
                out += std::string("op:") + token.op;
                break;
            case Token::Kind::percent:
            case Token::Kind::leftParen:
            case Token::Kind::rightParen:
                out += tokenText(token);
                break;
            }
        }
        return out;
    } catch (const CalcError& error) {
        return std::string(caseName(error.errorCase())) + "(" + error.payload() + ")";
    }
}

TEST(TokenizerTest, TokenClasses) {
    struct Case {
        const char* text;
        const char* tokens;
    } cases[] = {
        {"", ""},
        {"   ", ""},
        {"\t\u00A0\u3000\n", ""}, // Unicode white space
        {"2×3", "n:2.0 op:* n:3.0"},
        {"8÷2", "n:8.0 op:/ n:2.0"},
        {"5\u22121", "n:5.0 op:- n:1.0"},
        {"1+2-3*4/5^6", "n:1.0 op:+ n:2.0 op:- n:3.0 op:* n:4.0 op:/ n:5.0 op:^ n:6.0"},
        {"10%", "n:10.0 %"},
        {"(1)", "( n:1.0 )"},
        {"-5", "op:- n:5.0"},     // no sign inside a number
        {"1e3", "n:1.0 id:e3"},   // no exponent either
        {"0x10", "n:0.0 id:x10"}, // nor hexadecimal
        {".5", "n:0.5"},
        {",5", "invalidNumber(,5)"}, // a mark before a digit starts a number...
        {"1 , 2", "unexpectedCharacter(,)"},
        {"1,234.5", "n:1234.5"}, // ...and inside one, the separator reads it
        {"Km KM km", "id:km id:km id:km"},
        {"°C °f", "id:°c id:°f"},
        {"x_1 _y", "id:x_1 id:_y"},
        {"3kg", "n:3.0 id:kg"},
        {"kg3", "id:kg3"},
        {"Straße ÉTÉ", "id:straße id:été"},
        {"e\u0301", "id:e\u0301"}, // a letter with a combining mark is one character
        {"a = 3", "unexpectedCharacter(=)"},
        {"3 $", "unexpectedCharacter($)"},
        {"5 €", "unexpectedCharacter(€)"},
        {"+\u0301", "unexpectedCharacter(+\u0301)"}, // "+" with a mark is not "+"
        {"1 \xFF", "unexpectedCharacter(\xFF)"},     // a byte that is not UTF-8
        {"12345678901234567890", "n:1.2345678901234567e+19"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(render(c.text), c.tokens);
    }
}

TEST(TokenizerTest, NumbersFollowTheSeparator) {
    struct Case {
        const char* text;
        DecimalSeparator separator;
        const char* tokens;
    } cases[] = {
        {"1,234.5", DecimalSeparator::point, "n:1234.5"},
        {"1,23", DecimalSeparator::point, "invalidNumber(1,23)"},
        {"1,23,4", DecimalSeparator::point, "invalidNumber(1,23,4)"},
        {"1.2.3", DecimalSeparator::point, "invalidNumber(1.2.3)"},
        {"1.234,5", DecimalSeparator::comma, "n:1234.5"},
        {"1,5", DecimalSeparator::comma, "n:1.5"},
        {",5", DecimalSeparator::comma, "n:0.5"},
        {"5.", DecimalSeparator::point,
         "unexpectedCharacter(.)"}, // the trailing mark is given back
        {"5,.", DecimalSeparator::point, "unexpectedCharacter(,)"},
        {"5.+1", DecimalSeparator::point, "unexpectedCharacter(.)"},
        {"1.,5", DecimalSeparator::point, "invalidNumber(1.,5)"},
        {"½", DecimalSeparator::point, "invalidNumber(½)"}, // numeric but not readable
        {"٣", DecimalSeparator::point, "invalidNumber(٣)"},
        {"3½", DecimalSeparator::point, "invalidNumber(3½)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(render(c.text, c.separator), c.tokens);
    }
}

TEST(TokenizerTest, AppendingIntoABufferKeepsEarlierTokens) {
    std::vector<Token> tokens{Token::makeNumber(1)};
    Tokenizer::tokenize("+ 2", DecimalSeparator::point, tokens);
    EXPECT_EQ(tokens,
              (std::vector<Token>{Token::makeNumber(1), Token::makeOp('+'), Token::makeNumber(2)}));
}

TEST(TokenizerTest, TokenTextOfNumbersIsTheShortestDecimalWithAFraction) {
    struct Case {
        double value;
        const char* text;
    } cases[] = {
        {3, "3.0"},
        {0.5, "0.5"},
        {1234567, "1234567.0"},
        {0.0001, "0.0001"},
        {0.00001, "1e-05"},
        {1.5e-7, "1.5e-07"},
        {1e15, "1000000000000000.0"},
        {9007199254740992.0, "9007199254740992.0"}, // 2^53 itself is still decimal
        {9007199254740994.0, "9.007199254740994e+15"},
        {1e20, "1e+20"},
        {1e300, "1e+300"},
        {0.1 + 0.2, "0.30000000000000004"},
        {HUGE_VAL, "inf"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(tokenText(Token::makeNumber(c.value)), c.text);
    }
}

} // namespace
} // namespace zemvar::core
