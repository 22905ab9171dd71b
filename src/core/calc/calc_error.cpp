// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/calc_error.h"

namespace zemvar::core {

std::string_view caseName(CalcError::Case errorCase) {
    switch (errorCase) {
    case CalcError::Case::invalidNumber:
        return "invalidNumber";
    case CalcError::Case::unexpectedCharacter:
        return "unexpectedCharacter";
    case CalcError::Case::unexpectedToken:
        return "unexpectedToken";
    case CalcError::Case::unknownIdentifier:
        return "unknownIdentifier";
    case CalcError::Case::unknownUnit:
        return "unknownUnit";
    case CalcError::Case::unexpectedEnd:
        return "unexpectedEnd";
    case CalcError::Case::incompatibleUnits:
        return "incompatibleUnits";
    case CalcError::Case::divisionByZero:
        return "divisionByZero";
    }
    return {};
}

const char* CalcError::what() const noexcept {
    // Every name is a string literal, so the view is null-terminated.
    const std::string_view name = caseName(m_case);
    return name.empty() ? "" : name.data();
}

} // namespace zemvar::core
