// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/uuid.h"

#include <cerrno>
#include <cstring>
#include <sys/random.h>
#include <system_error>

namespace zemvar::core {

namespace {

// Value of each hexadecimal digit in either case, -1 for every other byte.
constexpr std::array<std::int8_t, 256> hexValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (int i = 0; i < 10; ++i) {
        values[static_cast<std::size_t>('0' + i)] = static_cast<std::int8_t>(i);
    }
    for (int i = 0; i < 6; ++i) {
        values[static_cast<std::size_t>('a' + i)] = static_cast<std::int8_t>(10 + i);
        values[static_cast<std::size_t>('A' + i)] = static_cast<std::int8_t>(10 + i);
    }
    return values;
}();

int hexValue(char ch) {
    return hexValues[static_cast<unsigned char>(ch)];
}

constexpr bool isHyphenPosition(std::size_t i) {
    return i == 8 || i == 13 || i == 18 || i == 23;
}

} // namespace

Uuid Uuid::random() {
    std::array<std::uint8_t, 16> bytes{};
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (isHyphenPosition(i)) {
            if (text[i] != '-') {
                return std::nullopt;
            }
            ++i;
            continue;
        }
        const int high = hexValue(text[i]);
        const int low = hexValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes[byte++] = static_cast<std::uint8_t>(high * 16 + low);
        i += 2;
    }
    return Uuid(bytes);
}

std::string Uuid::string() const {
    std::string out(stringLength, ' ');
    writeString(out.data());
    return out;
}

void Uuid::writeString(char* out) const {
    static constexpr char digits[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < m_bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            *out++ = '-';
        }
        *out++ = digits[m_bytes[i] >> 4];
        *out++ = digits[m_bytes[i] & 0x0F];
    }
}

} // namespace zemvar::core

std::size_t
std::hash<zemvar::core::Uuid>::operator()(const zemvar::core::Uuid& uuid) const noexcept {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    std::memcpy(&high, uuid.bytes().data(), 8);
    std::memcpy(&low, uuid.bytes().data() + 8, 8);
    return static_cast<std::size_t>(high ^ (low * 0x9E3779B97F4A7C15ULL));
}
