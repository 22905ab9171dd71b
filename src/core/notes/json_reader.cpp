// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/json_reader.h"

#include "core/text/unicode.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <locale.h>

namespace zemvar::core::detail {

namespace {

bool isDigit(char ch) {
    return ch >= '0' && ch <= '9';
}

int hexValue(char ch) {
    if (isDigit(ch)) {
        return ch - '0';
    }
    if (ch >= 'a' && ch <= 'f') {
        return ch - 'a' + 10;
    }
    if (ch >= 'A' && ch <= 'F') {
        return ch - 'A' + 10;
    }
    return -1;
}

// Number text must be read the same whatever locale the process runs in.
locale_t cLocale() {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

} // namespace

JsonReader::JsonReader(std::string_view text)
    : m_text(text) {
    if (m_text.starts_with("\xEF\xBB\xBF")) {
        m_pos = 3;
    }
}

bool JsonReader::fail() {
    m_failed = true;
    return false;
}

void JsonReader::skipSpace() {
    while (m_pos < m_text.size()) {
        const char ch = m_text[m_pos];
        if (ch != ' ' && ch != '\n' && ch != '\r' && ch != '\t') {
            return;
        }
        ++m_pos;
    }
}

bool JsonReader::consume(char expected) {
    skipSpace();
    if (m_failed || m_pos >= m_text.size() || m_text[m_pos] != expected) {
        return fail();
    }
    ++m_pos;
    return true;
}

bool JsonReader::consumeWord(std::string_view word) {
    skipSpace();
    if (m_failed || m_text.substr(m_pos, word.size()) != word) {
        return fail();
    }
    m_pos += word.size();
    return true;
}

JsonReader::Kind JsonReader::peek() {
    skipSpace();
    if (m_failed || m_pos >= m_text.size()) {
        return Kind::invalid;
    }
    switch (m_text[m_pos]) {
    case '{':
        return Kind::object;
    case '[':
        return Kind::array;
    case '"':
        return Kind::string;
    case 't':
    case 'f':
        return Kind::boolean;
    case 'n':
        return Kind::null;
    default:
        return m_text[m_pos] == '-' || isDigit(m_text[m_pos]) ? Kind::number : Kind::invalid;
    }
}

bool JsonReader::beginObject() {
    return consume('{');
}

bool JsonReader::nextMember(std::string& key, bool& first) {
    skipSpace();
    if (m_failed || m_pos >= m_text.size()) {
        return fail();
    }
    if (m_text[m_pos] == '}') {
        ++m_pos;
        return false;
    }
    if (!first && !consume(',')) {
        return false;
    }
    first = false;
    return readString(key) && consume(':');
}

bool JsonReader::beginArray() {
    return consume('[');
}

bool JsonReader::nextElement(bool& first) {
    skipSpace();
    if (m_failed || m_pos >= m_text.size()) {
        return fail();
    }
    if (m_text[m_pos] == ']') {
        ++m_pos;
        return false;
    }
    if (!first && !consume(',')) {
        return false;
    }
    first = false;
    return true;
}

bool JsonReader::readString(std::string& out) {
    if (!consume('"')) {
        return false;
    }
    out.clear();
    for (;;) {
        // Copy the longest run that needs no attention in one go.
        std::size_t run = m_pos;
        while (run < m_text.size()) {
            const auto byte = static_cast<unsigned char>(m_text[run]);
            if (byte == '"' || byte == '\\' || byte < 0x20 || byte >= 0x80) {
                break;
            }
            ++run;
        }
        out.append(m_text, m_pos, run - m_pos);
        m_pos = run;
        if (m_pos >= m_text.size()) {
            return fail();
        }
        const auto byte = static_cast<unsigned char>(m_text[m_pos]);
        if (byte == '"') {
            ++m_pos;
            return true;
        }
        if (byte < 0x20) {
            return fail();
        }
        if (byte >= 0x80) {
            const std::size_t start = m_pos;
            if (text::decodeUtf8(m_text, m_pos) == text::replacementCharacter &&
                m_pos - start != 3) {
                return fail();
            }
            out.append(m_text, start, m_pos - start);
            continue;
        }
        // An escape.
        if (m_pos + 1 >= m_text.size()) {
            return fail();
        }
        const char kind = m_text[m_pos + 1];
        m_pos += 2;
        switch (kind) {
        case '"':
        case '\\':
        case '/':
            out += kind;
            continue;
        case 'b':
            out += '\b';
            continue;
        case 'f':
            out += '\f';
            continue;
        case 'n':
            out += '\n';
            continue;
        case 'r':
            out += '\r';
            continue;
        case 't':
            out += '\t';
            continue;
        case 'u':
            break;
        default:
            return fail();
        }
        const auto readHex4 = [this](char32_t& unit) {
            if (m_text.size() - m_pos < 4) {
                return false;
            }
            unit = 0;
            for (int i = 0; i < 4; ++i) {
                const int digit = hexValue(m_text[m_pos + static_cast<std::size_t>(i)]);
                if (digit < 0) {
                    return false;
                }
                unit = unit * 16 + static_cast<char32_t>(digit);
            }
            m_pos += 4;
            return true;
        };
        char32_t unit = 0;
        if (!readHex4(unit) || (unit >= 0xDC00 && unit <= 0xDFFF)) {
            return fail();
        }
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            char32_t low = 0;
            if (m_text.substr(m_pos, 2) != "\\u") {
                return fail();
            }
            m_pos += 2;
            if (!readHex4(low) || low < 0xDC00 || low > 0xDFFF) {
                return fail();
            }
            unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
        }
        text::appendUtf8(out, unit);
    }
}

bool JsonReader::readNumber(Number& out) {
    skipSpace();
    if (m_failed) {
        return false;
    }
    const std::size_t start = m_pos;
    const auto digitsFrom = [this](std::size_t at) {
        while (at < m_text.size() && isDigit(m_text[at])) {
            ++at;
        }
        return at;
    };
    std::size_t at = m_pos;
    const bool negative = at < m_text.size() && m_text[at] == '-';
    at += negative ? 1 : 0;
    const std::size_t integerStart = at;
    at = digitsFrom(at);
    if (at == integerStart || (m_text[integerStart] == '0' && at - integerStart > 1)) {
        return fail(); // no digits, or a leading zero
    }
    bool integral = true;
    if (at < m_text.size() && m_text[at] == '.') {
        const std::size_t fraction = at + 1;
        at = digitsFrom(fraction);
        if (at == fraction) {
            return fail();
        }
        integral = false;
    }
    if (at < m_text.size() && (m_text[at] == 'e' || m_text[at] == 'E')) {
        ++at;
        if (at < m_text.size() && (m_text[at] == '+' || m_text[at] == '-')) {
            ++at;
        }
        const std::size_t exponent = at;
        at = digitsFrom(exponent);
        if (at == exponent) {
            return fail();
        }
        integral = false;
    }
    m_pos = at;

    out = Number{};
    if (integral && at - integerStart <= 18) {
        // Up to 18 digits always fit in 64 bits.
        std::int64_t magnitude = 0;
        for (std::size_t i = integerStart; i < at; ++i) {
            magnitude = magnitude * 10 + (m_text[i] - '0');
        }
        out.isInteger = true;
        out.integer = negative ? -magnitude : magnitude;
        out.value = static_cast<double>(out.integer);
        return true;
    }
    const std::string literal(m_text.substr(start, at - start));
    out.value = ::strtod_l(literal.c_str(), nullptr, cLocale());
    if (!std::isfinite(out.value)) {
        return fail();
    }
    if (integral) {
        // 19 or more digits: exact only when the value is inside the 64-bit range.
        errno = 0;
        const long long exact = ::strtoll(literal.c_str(), nullptr, 10);
        if (errno == 0) {
            out.isInteger = true;
            out.integer = exact;
        }
    }
    return true;
}

bool JsonReader::readBoolean(bool& out) {
    skipSpace();
    if (m_failed || m_pos >= m_text.size()) {
        return fail();
    }
    out = m_text[m_pos] == 't';
    return consumeWord(out ? "true" : "false");
}

bool JsonReader::readNull() {
    return consumeWord("null");
}

bool JsonReader::skipValue() {
    return skipValue(0);
}

bool JsonReader::skipValue(int depth) {
    if (depth > maximumDepth) {
        return fail();
    }
    std::string scratch;
    switch (peek()) {
    case Kind::object:
        beginObject();
        for (bool first = true; nextMember(scratch, first);) {
            if (!skipValue(depth + 1)) {
                return false;
            }
        }
        return !m_failed;
    case Kind::array:
        beginArray();
        for (bool first = true; nextElement(first);) {
            if (!skipValue(depth + 1)) {
                return false;
            }
        }
        return !m_failed;
    case Kind::string:
        return readString(scratch);
    case Kind::number: {
        Number ignored;
        return readNumber(ignored);
    }
    case Kind::boolean: {
        bool ignored = false;
        return readBoolean(ignored);
    }
    case Kind::null:
        return readNull();
    case Kind::invalid:
        return fail();
    }
    return fail();
}

bool JsonReader::atEnd() {
    skipSpace();
    return !m_failed && m_pos == m_text.size();
}

} // namespace zemvar::core::detail
