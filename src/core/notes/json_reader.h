// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zemvar::core::detail {

/// A strict pull reader of JSON text (RFC 8259), for decoders that know the shape they expect
/// and want no intermediate tree.
///
/// It accepts exactly what a conforming parser accepts: a leading UTF-8 byte-order mark is
/// skipped; strings must be valid UTF-8 without raw control characters, escapes must be
/// complete and surrogate pairs matched; numbers follow the JSON grammar and must be finite.
/// Every method returns false on malformed input and the reader then stays failed. Nesting
/// deeper than `maximumDepth` is refused rather than risking the stack.
///
///     JsonReader reader(R"({"a": [1, 2]})");
///     std::string key;
///     reader.beginObject();
///     for (bool first = true; reader.nextMember(key, first);) { reader.skipValue(); }
class JsonReader {
public:
    static constexpr int maximumDepth = 512;

    enum class Kind {
        object,
        array,
        string,
        number,
        boolean,
        null,
        invalid, ///< malformed input or the end of the text
    };

    /// A number: `integer` is set when the text is an integer that fits in 64 bits.
    struct Number {
        bool isInteger = false;
        std::int64_t integer = 0;
        double value = 0; ///< the number as a double, always set
    };

    explicit JsonReader(std::string_view text);

    /// The kind of the next value, after white space; does not consume it.
    Kind peek();

    /// Consumes "{". Then call nextMember until it returns false.
    bool beginObject();
    /// Reads the next member's key and its ":" (after a "," when `first` is false, which it
    /// then becomes); returns false at the closing "}" (consumed) or on error.
    bool nextMember(std::string& key, bool& first);
    /// Consumes "[". Then call nextElement until it returns false.
    bool beginArray();
    /// Moves to the next element; returns false at the closing "]" (consumed) or on error.
    bool nextElement(bool& first);

    bool readString(std::string& out);
    bool readNumber(Number& out);
    bool readBoolean(bool& out);
    bool readNull();
    /// Consumes the next value of any kind, checking it as strictly as the rest.
    bool skipValue();

    /// True when nothing but white space is left and no error occurred.
    bool atEnd();
    bool failed() const { return m_failed; }

private:
    bool fail();
    void skipSpace();
    bool consume(char expected);
    bool consumeWord(std::string_view word);
    bool skipValue(int depth);

    std::string_view m_text;
    std::size_t m_pos = 0;
    bool m_failed = false;
};

} // namespace zemvar::core::detail
