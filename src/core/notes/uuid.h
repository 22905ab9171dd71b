// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zemvar::core {

/// A 128-bit universally unique identifier, the identity of a note.
///
/// Written in the canonical upper-case 8-4-4-4-12 form ("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
/// read in either letter case. Ordering compares the bytes, which is the same as comparing the
/// upper-case strings.
class Uuid {
public:
    /// The nil UUID (all zero bits).
    Uuid() = default;
    explicit Uuid(const std::array<std::uint8_t, 16>& bytes)
        : m_bytes(bytes) {}

    /// Returns a fresh random (version 4) UUID from the kernel's random source.
    static Uuid random();
    /// Parses the 36-character 8-4-4-4-12 form in upper, lower or mixed case; anything else
    /// (braces, missing hyphens, surrounding spaces) gives no value.
    static std::optional<Uuid> parse(std::string_view text);

    /// Returns the canonical upper-case 36-character form.
    std::string string() const;
    /// Length of string()'s result.
    static constexpr std::size_t stringLength = 36;
    /// Writes string() to the stringLength characters at `out` (no terminator).
    void writeString(char* out) const;
    const std::array<std::uint8_t, 16>& bytes() const { return m_bytes; }

    friend auto operator<=>(const Uuid&, const Uuid&) = default;

private:
    std::array<std::uint8_t, 16> m_bytes{};
};

} // namespace zemvar::core

template <>
struct std::hash<zemvar::core::Uuid> {
    std::size_t operator()(const zemvar::core::Uuid& uuid) const noexcept;
};
