// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/korvit_configuration.h"

#include <curl/curl.h>
#include <memory>

namespace zemvar::telemetry {

namespace {

struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, UrlDeleter>;

struct CurlStringDeleter {
    void operator()(char* text) const { curl_free(text); }
};

// The part of `url`, or nothing when it has none (or it cannot be read).
std::optional<std::string> part(const Url& url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url.get(), which, &text, 0) != CURLUE_OK || text == nullptr) {
        return std::nullopt;
    }
    const std::unique_ptr<char, CurlStringDeleter> owned(text);
    return std::string(text);
}

Url parse(const std::string& text) {
    Url url(curl_url());
    if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
        return nullptr;
    }
    return url;
}

} // namespace

std::optional<KorvitConfiguration> KorvitConfiguration::make(std::string_view endpoint,
                                                             std::string_view key) {
    const std::string text(endpoint);
    const Url url = parse(text);
    // The URL parser lowercases the scheme, and finds a host in "https:///api" or
    // "https:host": the rules ask for "https" exactly as written, with the host after "//".
    constexpr std::string_view prefix = "https://";
    if (url == nullptr || !text.starts_with(prefix) || text.size() == prefix.size() ||
        text[prefix.size()] == '/' || part(url, CURLUPART_SCHEME) != "https") {
        return std::nullopt;
    }
    const std::optional<std::string> host = part(url, CURLUPART_HOST);
    if (!host || host->empty() || part(url, CURLUPART_USER) || part(url, CURLUPART_PASSWORD) ||
        part(url, CURLUPART_QUERY) || part(url, CURLUPART_FRAGMENT)) {
        return std::nullopt;
    }
    if (key.empty() || key.find('\n') != std::string_view::npos) {
        return std::nullopt;
    }
    return KorvitConfiguration(text, std::string(key));
}

std::string KorvitConfiguration::url(std::string_view path) const {
    const Url url = parse(m_endpoint);
    std::string joined = url != nullptr ? part(url, CURLUPART_PATH).value_or("/") : "/";
    if (!joined.ends_with('/')) {
        joined += '/';
    }
    joined += path;
    char* result = nullptr;
    // Only fails when out of memory; the request then goes nowhere and fails.
    if (url == nullptr || curl_url_set(url.get(), CURLUPART_PATH, joined.c_str(), 0) != CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_URL, &result, 0) != CURLUE_OK) {
        return {};
    }
    const std::unique_ptr<char, CurlStringDeleter> owned(result);
    return result;
}

} // namespace zemvar::telemetry
