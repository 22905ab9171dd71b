// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace zemvar::core {

/// The failure of one calculation, thrown by the tokenizer and the calculator.
///
/// It carries no message for people: a calculation line that fails simply shows no result.
/// The case says what went wrong and the payload names the offending text where there is one
/// (the number text, the character, the token, the word or the unit name); what() returns the
/// case name, which the command-line tool prints.
class CalcError : public std::exception {
public:
    enum class Case {
        invalidNumber,       ///< payload: number text the separator's parser rejected
        unexpectedCharacter, ///< payload: the character that fits no token class
        unexpectedToken,     ///< payload: the token's text ("3.0", "km", "+", "%", "(", ")")
        unknownIdentifier,   ///< payload: a word that is no function, variable or constant
        unknownUnit,         ///< payload: a conversion target that is no unit name
        unexpectedEnd,       ///< no payload: the tokens ran out where more was required
        incompatibleUnits,   ///< no payload: mixed dimensions, or a unit where none is allowed
        divisionByZero,      ///< no payload: division by an exact zero
    };

    explicit CalcError(Case errorCase, std::string payload = {})
        : m_case(errorCase)
        , m_payload(std::move(payload)) {}

    Case errorCase() const noexcept { return m_case; }
    const std::string& payload() const noexcept { return m_payload; }

    /// Returns the case name, for example "divisionByZero".
    const char* what() const noexcept override;

    friend bool operator==(const CalcError& lhs, const CalcError& rhs) {
        return lhs.m_case == rhs.m_case && lhs.m_payload == rhs.m_payload;
    }

private:
    Case m_case;
    std::string m_payload;
};

/// Returns the name of `errorCase` as written in the enumeration, for example "unknownUnit".
std::string_view caseName(CalcError::Case errorCase);

} // namespace zemvar::core
