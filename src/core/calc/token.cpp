// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/token.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace zemvar::core {

bool operator==(const Token& lhs, const Token& rhs) {
    if (lhs.kind != rhs.kind) {
        return false;
    }
    switch (lhs.kind) {
    case Token::Kind::number:
        return lhs.number == rhs.number;
    case Token::Kind::identifier:
        return lhs.identifier == rhs.identifier;
    case Token::Kind::op:
        return lhs.op == rhs.op;
    case Token::Kind::percent:
    case Token::Kind::leftParen:
    case Token::Kind::rightParen:
        return true;
    }
    return false;
}

std::string shortestDecimalDescription(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-inf" : "inf";
    }
    if (value == 0) {
        return std::signbit(value) ? "-0.0" : "0.0";
    }
    // Shortest round-trip digits in scientific form: "d.ddde±x".
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::scientific);
    const std::string_view scientific(buffer.data(),
                                      static_cast<std::size_t>(result.ptr - buffer.data()));
    const std::size_t e = scientific.find('e');
    std::string_view mantissa = scientific.substr(0, e);
    const int exponent = std::atoi(scientific.data() + e + 1);

    std::string out;
    if (mantissa.front() == '-') {
        out.push_back('-');
        mantissa.remove_prefix(1);
    }
    std::string digits;
    for (const char ch : mantissa) {
        if (ch != '.') {
            digits.push_back(ch);
        }
    }
    const auto count = static_cast<int>(digits.size());

    // Exponent form for values below 1e-4 and above 2^53, where integers stop being exact.
    if (exponent < -4 || std::fabs(value) > 9007199254740992.0) {
        out.push_back(digits[0]);
        if (count > 1) {
            out.push_back('.');
            out.append(digits, 1);
        }
        out.push_back('e');
        out.push_back(exponent < 0 ? '-' : '+');
        const int magnitude = std::abs(exponent);
        if (magnitude < 10) {
            out.push_back('0');
        }
        out.append(std::to_string(magnitude));
        return out;
    }
    if (exponent < 0) {
        out.append("0.");
        out.append(static_cast<std::size_t>(-exponent - 1), '0');
        out.append(digits);
    } else if (exponent + 1 < count) {
        out.append(digits, 0, static_cast<std::size_t>(exponent + 1));
        out.push_back('.');
        out.append(digits, static_cast<std::size_t>(exponent + 1));
    } else {
        out.append(digits);
        out.append(static_cast<std::size_t>(exponent + 1 - count), '0');
        out.append(".0");
    }
    return out;
}

std::string tokenText(const Token& token) {
    switch (token.kind) {
    case Token::Kind::number:
        return shortestDecimalDescription(token.number);
    case Token::Kind::identifier:
        return token.identifier;
    case Token::Kind::op:
        return std::string(1, token.op);
    case Token::Kind::percent:
        return "%";
    case Token::Kind::leftParen:
        return "(";
    case Token::Kind::rightParen:
        return ")";
    }
    return {};
}

} // namespace zemvar::core
