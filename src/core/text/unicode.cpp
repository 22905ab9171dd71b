// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/text/unicode.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

namespace zemvar::core::text {

namespace {

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char ch) { return static_cast<unsigned char>(ch) < 0x80; });
}

constexpr bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

int clusterBreak(char32_t c) {
    return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

bool isExtendedPictographic(char32_t c) {
    return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_EXTENDED_PICTOGRAPHIC) != 0;
}

// ICU keeps Indic aksaras together: a consonant, a virama and a following consonant of the
// Devanagari, Bengali, Gujarati, Oriya, Telugu and Malayalam scripts form one cluster.
enum class Aksara {
    none,
    linkingConsonant,
    virama,
    extender,
};

Aksara aksaraClass(char32_t c, int clusterBreakClass) {
    const auto codePoint = static_cast<UChar32>(c);
    if (c >= 0x900 && c <= 0xDFF) {
        UErrorCode status = U_ZERO_ERROR;
        const UScriptCode script = uscript_getScript(codePoint, &status);
        if (script == USCRIPT_DEVANAGARI || script == USCRIPT_BENGALI ||
            script == USCRIPT_GUJARATI || script == USCRIPT_ORIYA || script == USCRIPT_TELUGU ||
            script == USCRIPT_MALAYALAM) {
            const int category = u_getIntPropertyValue(codePoint, UCHAR_INDIC_SYLLABIC_CATEGORY);
            if (category == U_INSC_VIRAMA) {
                return Aksara::virama;
            }
            if (category == U_INSC_CONSONANT) {
                return Aksara::linkingConsonant;
            }
        }
    }
    const bool extender = clusterBreakClass == U_GCB_ZWJ || (clusterBreakClass == U_GCB_EXTEND &&
                                                             u_getCombiningClass(codePoint) != 0);
    return extender ? Aksara::extender : Aksara::none;
}

// Decides whether the cluster continues with `current`, given the break class of the code
// point before it and the state gathered since the cluster started (rules GB3 to GB13).
struct ClusterState {
    int previous = U_GCB_OTHER;
    int regionalIndicators = 0;           // run of regional indicators ending at `previous`
    bool pictographicRun = false;         // Extended_Pictographic Extend* ends at `previous`
    bool joinerAfterPictographic = false; // ... followed by a ZWJ at `previous`
    bool consonantRun = false;            // linking consonant, then extenders, ends at `previous`
    bool viramaRun = false;               // ... then a virama and extenders

    bool joins(int current, char32_t c) const {
        if (previous == U_GCB_CR) {
            return current == U_GCB_LF;
        }
        if (previous == U_GCB_CONTROL || previous == U_GCB_LF) {
            return false;
        }
        if (current == U_GCB_CONTROL || current == U_GCB_CR || current == U_GCB_LF) {
            return false;
        }
        if (previous == U_GCB_L && (current == U_GCB_L || current == U_GCB_V ||
                                    current == U_GCB_LV || current == U_GCB_LVT)) {
            return true;
        }
        if ((previous == U_GCB_LV || previous == U_GCB_V) &&
            (current == U_GCB_V || current == U_GCB_T)) {
            return true;
        }
        if ((previous == U_GCB_LVT || previous == U_GCB_T) && current == U_GCB_T) {
            return true;
        }
        if (current == U_GCB_EXTEND || current == U_GCB_ZWJ || current == U_GCB_SPACING_MARK) {
            return true;
        }
        if (previous == U_GCB_PREPEND) {
            return true;
        }
        if (previous == U_GCB_ZWJ && joinerAfterPictographic && isExtendedPictographic(c)) {
            return true;
        }
        if (viramaRun && aksaraClass(c, current) == Aksara::linkingConsonant) {
            return true;
        }
        return previous == U_GCB_REGIONAL_INDICATOR && current == U_GCB_REGIONAL_INDICATOR &&
               regionalIndicators % 2 == 1;
    }

    void advance(int current, char32_t c) {
        if (isExtendedPictographic(c)) {
            pictographicRun = true;
            joinerAfterPictographic = false;
        } else if (current == U_GCB_EXTEND && pictographicRun) {
            // Extend characters keep a pictographic run open.
        } else if (current == U_GCB_ZWJ && pictographicRun) {
            pictographicRun = false;
            joinerAfterPictographic = true;
        } else {
            pictographicRun = false;
            joinerAfterPictographic = false;
        }
        switch (aksaraClass(c, current)) {
        case Aksara::linkingConsonant:
            consonantRun = true;
            viramaRun = false;
            break;
        case Aksara::virama:
            viramaRun = consonantRun || viramaRun;
            consonantRun = false;
            break;
        case Aksara::extender:
            break;
        case Aksara::none:
            consonantRun = false;
            viramaRun = false;
            break;
        }
        regionalIndicators = current == U_GCB_REGIONAL_INDICATOR ? regionalIndicators + 1 : 0;
        previous = current;
    }
};

} // namespace

char32_t decodeUtf8(std::string_view text, std::size_t& pos) {
    const auto byteAt = [&](std::size_t i) {
        return static_cast<unsigned char>(text[i]);
    };
    const unsigned char lead = byteAt(pos);
    if (lead < 0x80) {
        ++pos;
        return lead;
    }
    std::size_t length = 0;
    char32_t c = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        c = lead & 0x1F;
        minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        c = lead & 0x0F;
        minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        c = lead & 0x07;
        minimum = 0x10000;
    } else {
        ++pos;
        return replacementCharacter;
    }
    if (text.size() - pos < length) {
        ++pos;
        return replacementCharacter;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char byte = byteAt(pos + i);
        if (!isContinuation(byte)) {
            ++pos;
            return replacementCharacter;
        }
        c = (c << 6) | (byte & 0x3F);
    }
    if (c < minimum || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        ++pos;
        return replacementCharacter;
    }
    pos += length;
    return c;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

bool isValidUtf8(std::string_view text) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        // Runs of ASCII, eight bytes at a time: most text is mostly ASCII.
        while (text.size() - pos >= 8) {
            std::uint64_t block = 0;
            std::memcpy(&block, text.data() + pos, 8);
            if ((block & 0x8080808080808080ULL) != 0) {
                break;
            }
            pos += 8;
        }
        if (pos == text.size()) {
            break;
        }
        if (static_cast<unsigned char>(text[pos]) < 0x80) {
            ++pos;
            continue;
        }
        const std::size_t start = pos;
        // U+FFFD decoded from its own three bytes is valid; from one bad byte it is not.
        if (decodeUtf8(text, pos) == replacementCharacter && pos - start != 3) {
            return false;
        }
    }
    return true;
}

std::size_t nextGraphemeBoundary(std::string_view text, std::size_t pos) {
    if (pos >= text.size()) {
        return text.size();
    }
    // ASCII fast path: an ASCII character followed by ASCII (or the end) is a cluster of its
    // own, except CR LF. Only a non-ASCII follower (a combining mark, say) needs the rules.
    const auto lead = static_cast<unsigned char>(text[pos]);
    if (lead < 0x80) {
        if (pos + 1 == text.size()) {
            return pos + 1;
        }
        const auto next = static_cast<unsigned char>(text[pos + 1]);
        if (lead == '\r') {
            return next == '\n' ? pos + 2 : pos + 1;
        }
        if (next < 0x80 || lead < 0x20 || lead == 0x7F) {
            return pos + 1;
        }
    }
    ClusterState state;
    const char32_t first = decodeUtf8(text, pos);
    state.advance(clusterBreak(first), first);
    while (pos < text.size()) {
        std::size_t next = pos;
        const char32_t c = decodeUtf8(text, next);
        const int current = clusterBreak(c);
        if (!state.joins(current, c)) {
            break;
        }
        state.advance(current, c);
        pos = next;
    }
    return pos;
}

std::size_t graphemeCount(std::string_view text, std::size_t limit) {
    std::size_t count = 0;
    std::size_t pos = 0;
    while (pos < text.size() && count <= limit) {
        pos = nextGraphemeBoundary(text, pos);
        ++count;
    }
    return count;
}

bool isWhiteSpace(char32_t c) {
    if (c < 0x80) {
        return c == ' ' || (c >= 0x09 && c <= 0x0D);
    }
    return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_WHITE_SPACE) != 0;
}

bool isSpaceOrTab(char32_t c) {
    if (c < 0x80) {
        return c == ' ' || c == '\t';
    }
    return u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR;
}

bool isNumeric(char32_t c) {
    if (c < 0x80) {
        return c >= '0' && c <= '9';
    }
    return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

bool isLetter(char32_t c) {
    if (c < 0x80) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    }
    return (U_GET_GC_MASK(static_cast<UChar32>(c)) & U_GC_L_MASK) != 0;
}

bool isDecimalDigit(char32_t c) {
    if (c < 0x80) {
        return c >= '0' && c <= '9';
    }
    return u_charType(static_cast<UChar32>(c)) == U_DECIMAL_DIGIT_NUMBER;
}

bool isControlOrFormat(char32_t c) {
    const auto mask = U_GET_GC_MASK(static_cast<UChar32>(c));
    return (mask & (U_GC_CC_MASK | U_GC_CF_MASK)) != 0;
}

namespace {

template <typename Predicate>
std::string_view trimCodePoints(std::string_view text, Predicate matches) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t next = begin;
        if (!matches(decodeUtf8(text, next))) {
            break;
        }
        begin = next;
    }
    std::size_t end = text.size();
    while (end > begin) {
        // Step back to the start of the last code point (at most three continuation bytes).
        std::size_t start = end - 1;
        while (start > begin && end - start < 4 &&
               isContinuation(static_cast<unsigned char>(text[start]))) {
            --start;
        }
        std::size_t next = start;
        const char32_t c = decodeUtf8(text, next);
        // A sequence that does not end exactly at `end` is invalid, hence no space.
        if (next != end || !matches(c)) {
            break;
        }
        end = start;
    }
    return text.substr(begin, end - begin);
}

} // namespace

std::string_view trimWhiteSpace(std::string_view text) {
    return trimCodePoints(text, isWhiteSpace);
}

std::string_view trimSpacesAndTabs(std::string_view text) {
    return trimCodePoints(text, isSpaceOrTab);
}

std::string lowercase(std::string_view text) {
    if (isAscii(text)) {
        std::string out(text);
        for (char& ch : out) {
            if (ch >= 'A' && ch <= 'Z') {
                ch = static_cast<char>(ch - 'A' + 'a');
            }
        }
        return out;
    }
    std::string out;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
        .toLower(icu::Locale::getRoot())
        .toUTF8String(out);
    return out;
}

std::string foldForSearch(std::string_view text) {
    if (isAscii(text)) {
        return lowercase(text);
    }
    icu::UnicodeString folded =
        icu::UnicodeString::fromUTF8(
            icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
            .foldCase(U_FOLD_CASE_DEFAULT);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString decomposed = U_SUCCESS(status) ? nfd->normalize(folded, status) : folded;
    if (U_FAILURE(status)) {
        decomposed = folded;
    }
    icu::UnicodeString withoutMarks;
    for (int32_t i = 0; i < decomposed.length();) {
        const UChar32 c = decomposed.char32At(i);
        if (u_charType(c) != U_NON_SPACING_MARK) {
            withoutMarks.append(c);
        }
        i += U16_LENGTH(c);
    }
    std::string out;
    withoutMarks.toUTF8String(out);
    return out;
}

} // namespace zemvar::core::text
