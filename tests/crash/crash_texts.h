// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zemvar::testing {

/// The texts that the writers of the crash-safety test save: generation `generation` of the
/// text in slot `slot` (a note or a document). The first line names both, so a file tells
/// which text it should hold; the rest changes length with every generation (up to about
/// 16 KiB) and holds characters of two to four bytes, so that a torn or mixed file never
/// passes for a whole one.
inline std::string crashText(int slot, std::int64_t generation) {
    std::string text =
        "slot " + std::to_string(slot) + " generation " + std::to_string(generation) + "\n";
    const std::int64_t lines = (generation * 37 + slot * 11) % 400;
    for (std::int64_t line = 0; line < lines; ++line) {
        text += std::to_string(line) + " km in m \u00B7 caf\u00E9 \u20AC \U0001F600\n";
    }
    return text;
}

/// The slot and generation named by the first line of `text`, if it starts like a crashText.
struct CrashTextHeader {
    int slot = 0;
    std::int64_t generation = 0;
};

inline std::optional<CrashTextHeader> crashTextHeader(std::string_view text) {
    constexpr std::string_view slotWord = "slot ";
    constexpr std::string_view generationWord = " generation ";
    if (!text.starts_with(slotWord)) {
        return std::nullopt;
    }
    CrashTextHeader header;
    const char* end = text.data() + text.size();
    auto [next, error] = std::from_chars(text.data() + slotWord.size(), end, header.slot);
    if (error != std::errc() ||
        !std::string_view(next, static_cast<std::size_t>(end - next)).starts_with(generationWord)) {
        return std::nullopt;
    }
    if (std::from_chars(next + generationWord.size(), end, header.generation).ec != std::errc()) {
        return std::nullopt;
    }
    return header;
}

} // namespace zemvar::testing
