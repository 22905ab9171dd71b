// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zemvar::telemetry {

/// Where usage events and feedback go: the telemetry service's base URL and the access token
/// sent with every request. Only valid configurations exist (see make()).
class KorvitConfiguration {
public:
    /// A configuration when all of these hold, else nothing: `endpoint` parses as a URL whose
    /// scheme is exactly "https", with a host and without user, password, query or fragment;
    /// `key` is not empty and holds no line feed. "https://korvit.example/api" is valid,
    /// "http://korvit.example" and "https://korvit.example/?a=1" are not.
    static std::optional<KorvitConfiguration> make(std::string_view endpoint, std::string_view key);

    const std::string& endpoint() const { return m_endpoint; }
    const std::string& key() const { return m_key; }

    /// The endpoint with `path` appended as path components: "https://h/api" and
    /// "https://h/api/" with "v1/events" both give "https://h/api/v1/events".
    std::string url(std::string_view path) const;

private:
    KorvitConfiguration(std::string endpoint, std::string key)
        : m_endpoint(std::move(endpoint))
        , m_key(std::move(key)) {}

    std::string m_endpoint;
    std::string m_key;
};

} // namespace zemvar::telemetry
