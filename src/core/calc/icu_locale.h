// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <string>
#include <string_view>

#include <unicode/locid.h>

namespace zemvar::core {

/// Returns the ICU locale named `name` ("en_US", "de_DE", ...); the empty name means ICU's
/// default locale (not the root locale, which is what ICU itself makes of "").
inline icu::Locale icuLocale(std::string_view name) {
    if (name.empty()) {
        return icu::Locale::getDefault();
    }
    return icu::Locale(std::string(name).c_str());
}

} // namespace zemvar::core
