// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace zemvar::core {

/// Which mark separates the fraction of a number and which one groups its thousands.
/// The declaration order is the order of the setting's picker.
enum class DecimalSeparator {
    point, ///< 1,234.5
    comma, ///< 1.234,5
};

inline constexpr std::array allDecimalSeparators = {DecimalSeparator::point,
                                                    DecimalSeparator::comma};

/// The stored form: "point" or "comma".
std::string_view rawValue(DecimalSeparator separator);
/// Exact, case-sensitive inverse of rawValue. Any other text, "automatic" included, gives no
/// value: "automatic" is resolved with automaticDecimalSeparator.
std::optional<DecimalSeparator> decimalSeparatorFromRawValue(std::string_view raw);

/// The decimal mark: '.' for point, ',' for comma.
char character(DecimalSeparator separator);
/// The grouping mark: ',' for point, '.' for comma.
char thousandsCharacter(DecimalSeparator separator);

/// Returns comma when the ICU locale `localeName` (for example "de_DE"; empty means ICU's
/// default locale) writes its decimal separator exactly as ",", and point otherwise.
DecimalSeparator automaticDecimalSeparator(std::string_view localeName);

/// Reads `text` as a number written with `separator`'s marks, or gives no value.
///
/// Grouping is optional but must be regular: the first group has one to three characters and
/// every later group exactly three. Under point, "1,234.5" is 1234.5, "1234" is 1234, ".5" is
/// 0.5, while "12,34", "1.2.3" and "1.2,3" fail; under comma, "1.234,5" is 1234.5 and "1,5" is
/// 1.5. The text left after removing the marks is converted like the C library's strtod in the
/// "C" locale and must be consumed entirely, so a sign, an exponent ("1e5"), hexadecimal
/// notation ("0x1p3"), "inf", "infinity" and "nan" are accepted too, while leading or trailing
/// white space, "50%" and the empty text are not. Values beyond the range of a double become
/// infinite or zero, as strtod makes them.
std::optional<double> parseNumber(DecimalSeparator separator, std::string_view text);

} // namespace zemvar::core
