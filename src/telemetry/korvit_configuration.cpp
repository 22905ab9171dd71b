// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/korvit_configuration.h"

#include <algorithm>

namespace zemvar::telemetry {

namespace {

constexpr std::string_view scheme = "https://";

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Whether `text` holds only characters a URL may carry literally (RFC 3986: unreserved,
// sub-delims, ":", "@", "/", "?", "#", "[", "]", and "%" followed by two hex digits).
bool isUrlText(std::string_view text) {
    constexpr std::string_view punctuation = "-._~!$&'()*+,;=:@/?#[]";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) {
                return false;
            }
            i += 2;
        } else if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                     punctuation.find(c) != std::string_view::npos)) {
            return false;
        }
    }
    return true;
}

// Whether `authority` is a host with an optional port and no user information: a name or an
// IPv4 address, or an IPv6 address in brackets, then ":" and digits.
bool isHostAndPort(std::string_view authority) {
    std::string_view host = authority;
    std::string_view port;
    if (authority.starts_with('[')) {
        const std::size_t close = authority.find(']');
        if (close == std::string_view::npos || close == 1) {
            return false;
        }
        host = authority.substr(0, close + 1);
        const std::string_view rest = authority.substr(close + 1);
        if (!rest.empty() && !rest.starts_with(':')) {
            return false;
        }
        port = rest.empty() ? rest : rest.substr(1);
    } else if (const std::size_t colon = authority.find(':'); colon != std::string_view::npos) {
        host = authority.substr(0, colon);
        port = authority.substr(colon + 1);
    }
    const bool bracketed = host.starts_with('[');
    return !host.empty() && (bracketed || host.find_first_of("[]") == std::string_view::npos) &&
           std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::optional<KorvitConfiguration> KorvitConfiguration::make(std::string_view endpoint,
                                                             std::string_view key) {
    // "https://" exactly as written, an authority that is a host (and port) only, a path, and
    // neither query ("?") nor fragment ("#").
    if (!endpoint.starts_with(scheme) || !isUrlText(endpoint) ||
        endpoint.find_first_of("?#") != std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = endpoint.substr(scheme.size());
    const std::size_t pathStart = std::min(rest.find('/'), rest.size());
    const std::string_view authority = rest.substr(0, pathStart);
    // Brackets belong around an IPv6 address, never in the path.
    if (authority.find('@') != std::string_view::npos || !isHostAndPort(authority) ||
        rest.find_first_of("[]", pathStart) != std::string_view::npos) {
        return std::nullopt;
    }
    if (key.empty() || key.find('\n') != std::string_view::npos) {
        return std::nullopt;
    }
    return KorvitConfiguration(std::string(endpoint), std::string(key));
}

std::string KorvitConfiguration::url(std::string_view path) const {
    std::string joined = m_endpoint;
    if (!joined.ends_with('/')) {
        joined += '/';
    }
    joined += path;
    return joined;
}

} // namespace zemvar::telemetry
