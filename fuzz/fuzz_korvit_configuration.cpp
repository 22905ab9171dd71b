// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Checks arbitrary bytes as a telemetry endpoint: nothing crashes, and an accepted one is an
// https URL without query or fragment whose request URLs extend it.
#include "telemetry/korvit_configuration.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view endpoint(reinterpret_cast<const char*>(data), size);
    const auto configuration = zemvar::telemetry::KorvitConfiguration::make(endpoint, "key");
    if (configuration) {
        const std::string url = configuration->url("v1/events");
        const std::string_view rest = endpoint.substr(std::string_view("https://").size());
        const std::string_view authority = rest.substr(0, rest.find('/'));
        if (!endpoint.starts_with("https://") || authority.empty() ||
            authority.find('@') != std::string_view::npos ||
            endpoint.find_first_of("?# \n") != std::string_view::npos ||
            !url.starts_with(endpoint) || !url.ends_with("/v1/events")) {
            std::abort();
        }
    }
    return 0;
}
