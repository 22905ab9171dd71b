// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/text_scan.h"

#include "core/text/unicode.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define ZEMVAR_AVX2_KERNELS 1
#include <immintrin.h>
#endif

namespace zemvar::core::detail {

namespace {

constexpr std::string_view crlf = "\r\n";
constexpr std::string_view cr = "\r";

// Records the control character `c`; returns how many characters it consumed (2 for the
// carriage return of a "\r\n" pair).
std::size_t recordControl(TextScan& scan, char32_t c, bool followedByLineFeed) {
    switch (c) {
    case '\n':
        ++scan.loneLineFeeds;
        return 1;
    case '\r':
        if (followedByLineFeed) {
            ++scan.pairs;
            return 2;
        }
        ++scan.loneCarriageReturns;
        return 1;
    case '\t':
    case '\f':
        return 1;
    default:
        scan.binary = true;
        return 1;
    }
}

// The UTF-16 unit at index `k` of `data`.
inline char32_t unitIn(const unsigned char* data, std::size_t k, bool bigEndian) {
    const unsigned first = data[2 * k];
    const unsigned second = data[2 * k + 1];
    return bigEndian ? (first << 8 | second) : (second << 8 | first);
}

// Length of the strict UTF-8 sequence that starts with the non-ASCII byte at `p`, with
// `available` bytes left, or 0 when it is malformed (overlong, surrogate, above U+10FFFF,
// truncated). Inline because decoding walks every non-ASCII character of files up to 2 MiB;
// the tests and the fuzz target hold it to text::isValidUtf8.
inline std::size_t utf8SequenceLength(const unsigned char* p, std::size_t available) {
    const unsigned lead = p[0];
    const auto continuation = [&](std::size_t i) {
        return (p[i] & 0xC0) == 0x80;
    };
    if (lead < 0xC2) {
        return 0;
    }
    if (lead < 0xE0) {
        return available >= 2 && continuation(1) ? 2 : 0;
    }
    if (lead < 0xF0) {
        if (available < 3) {
            return 0;
        }
        const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;
        const unsigned high = lead == 0xED ? 0x9F : 0xBF;
        return p[1] >= low && p[1] <= high && continuation(2) ? 3 : 0;
    }
    if (lead < 0xF5) {
        if (available < 4) {
            return 0;
        }
        const unsigned low = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;
        return p[1] >= low && p[1] <= high && continuation(2) && continuation(3) ? 4 : 0;
    }
    return 0;
}

#if defined(__SSE2__)
inline __m128i load16(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

// Bit i is set when byte i of the 16 is below 0x20 or at least 0x80 (a signed comparison
// catches both), i.e. when it is not printable ASCII.
inline unsigned specialBytes(__m128i bytes) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20))));
}

// Loads eight UTF-16 units in the machine's order.
inline __m128i loadUnits(const unsigned char* p, bool bigEndian) {
    const __m128i v = load16(p);
    return bigEndian ? _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8)) : v;
}

// Two bits per unit, set when the unit is not printable ASCII (units from 0x8000 up are
// negative and count as "below").
inline unsigned specialUnits(__m128i units) {
    const __m128i special = _mm_or_si128(_mm_cmplt_epi16(units, _mm_set1_epi16(0x20)),
                                         _mm_cmpgt_epi16(units, _mm_set1_epi16(0x7F)));
    return static_cast<unsigned>(_mm_movemask_epi8(special));
}
#endif

// Checks that `bytes` is strict UTF-8 and scans it. Returns false on the first malformed
// sequence.
bool scanUtf8Portable(std::string_view bytes, TextScan& scan) {
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t size = bytes.size();
    std::size_t continuationBytes = 0;
    // Handles the character that starts with the special byte at `pos`; returns its length in
    // bytes, 0 when it is malformed.
    const auto special = [&](std::size_t pos) -> std::size_t {
        const unsigned byte = data[pos];
        if (byte < 0x80) {
            return recordControl(scan, byte, pos + 1 < size && data[pos + 1] == '\n');
        }
        const std::size_t length = utf8SequenceLength(data + pos, size - pos);
        if (length != 0) {
            continuationBytes += length - 1;
            scan.supplementary += length == 4 ? 1 : 0;
        }
        return length;
    };

    std::size_t i = 0;
#if defined(__SSE2__)
    while (size - i >= 16) {
        unsigned mask = specialBytes(load16(data + i));
        const std::size_t base = i;
        std::size_t next = i; // first byte not consumed yet
        while (mask != 0) {
            const std::size_t pos = base + static_cast<std::size_t>(__builtin_ctz(mask));
            mask &= mask - 1;
            if (pos < next) {
                continue; // part of a character handled already
            }
            const std::size_t length = special(pos);
            if (length == 0) {
                return false;
            }
            next = pos + length;
        }
        i = std::max(base + 16, next);
    }
#endif
    while (i < size) {
        if (data[i] >= 0x20 && data[i] < 0x80) {
            ++i;
            continue;
        }
        const std::size_t length = special(i);
        if (length == 0) {
            return false;
        }
        i += length;
    }
    scan.characters = size - continuationBytes;
    scan.utf8Bytes = size;
    return true;
}

// Checks that `bytes` is UTF-16 in the given byte order without unpaired surrogates, and
// scans it.
bool scanUtf16Portable(std::string_view bytes, bool bigEndian, TextScan& scan) {
    if (bytes.size() % 2 != 0) {
        return false;
    }
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t units = bytes.size() / 2;
    const auto unitAt = [&](std::size_t k) {
        return unitIn(data, k, bigEndian);
    };
    std::size_t extraUtf8Bytes = 0; // beyond one per unit
    // Handles the unit at `k`; returns how many units it consumed, 0 when it is invalid.
    const auto special = [&](std::size_t k) -> std::size_t {
        const char32_t unit = unitAt(k);
        if (unit < 0x80) {
            return recordControl(scan, unit, k + 1 < units && unitAt(k + 1) == '\n');
        }
        if (unit < 0x800) {
            extraUtf8Bytes += 1;
            return 1;
        }
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (k + 1 == units) {
                return 0;
            }
            const char32_t low = unitAt(k + 1);
            if (low < 0xDC00 || low > 0xDFFF) {
                return 0;
            }
            extraUtf8Bytes += 2;
            scan.supplementary += 1;
            return 2;
        }
        if (unit >= 0xDC00 && unit <= 0xDFFF) {
            return 0;
        }
        extraUtf8Bytes += 2;
        return 1;
    };

    std::size_t k = 0;
#if defined(__SSE2__)
    while (units - k >= 8) {
        // Only the first bit of each unit's pair is looked at.
        unsigned mask = specialUnits(loadUnits(data + 2 * k, bigEndian)) & 0x5555;
        const std::size_t base = k;
        std::size_t next = k;
        while (mask != 0) {
            const std::size_t unit = base + static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
            mask &= mask - 1;
            if (unit < next) {
                continue;
            }
            const std::size_t consumed = special(unit);
            if (consumed == 0) {
                return false;
            }
            next = unit + consumed;
        }
        k = std::max(base + 8, next);
    }
#endif
    while (k < units) {
        const char32_t unit = unitAt(k);
        if (unit >= 0x20 && unit < 0x80) {
            ++k;
            continue;
        }
        const std::size_t consumed = special(k);
        if (consumed == 0) {
            return false;
        }
        k += consumed;
    }
    scan.characters = units - scan.supplementary;
    scan.utf8Bytes = units + extraUtf8Bytes;
    return true;
}

// Writes the UTF-8 form of `c` at `out`; returns the position after it.
inline char* putUtf8(char* out, char32_t c) {
    if (c < 0x80) {
        *out++ = static_cast<char>(c);
    } else if (c < 0x800) {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (c >> 12));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else {
        *out++ = static_cast<char>(0xF0 | (c >> 18));
        *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

// Decodes the character of valid UTF-8 at `p` and advances `p` past it.
inline char32_t decodeValidUtf8(const unsigned char*& p) {
    const char32_t lead = *p++;
    if (lead < 0x80) {
        return lead;
    }
    if (lead < 0xE0) {
        return (lead & 0x1F) << 6 | (*p++ & 0x3F);
    }
    if (lead < 0xF0) {
        const char32_t c = (lead & 0x0F) << 12 | (p[0] & 0x3F) << 6 | (p[1] & 0x3F);
        p += 2;
        return c;
    }
    const char32_t c =
        (lead & 0x07) << 18 | (p[0] & 0x3F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F);
    p += 3;
    return c;
}

// Converts the character of valid UTF-16 at unit `k` to UTF-8 at `out` and advances `out`;
// returns the unit after it.
inline std::size_t putUtf16Character(std::string_view bytes, bool bigEndian, std::size_t k,
                                     char*& out) {
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    const auto unitAt = [&](std::size_t i) {
        return unitIn(data, i, bigEndian);
    };
    char32_t c = unitAt(k++);
    if (c >= 0xD800 && c <= 0xDBFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (unitAt(k++) - 0xDC00);
    }
    out = putUtf8(out, c);
    return k;
}

void convertUtf16ToUtf8Portable(std::string_view bytes, bool bigEndian, char* out) {
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t units = bytes.size() / 2;
    const auto unitAt = [&](std::size_t k) {
        return unitIn(data, k, bigEndian);
    };
    std::size_t k = 0;
    while (k < units) {
#if defined(__SSE2__)
        // Eight units narrow to eight bytes as far as they are ASCII (controls included); each
        // unit takes at least one byte, so the store stays within the output.
        if (units - k >= 8) {
            const __m128i v = loadUnits(data + 2 * k, bigEndian);
            const __m128i wide = _mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xFF80)));
            const auto ascii = static_cast<unsigned>(
                _mm_movemask_epi8(_mm_cmpeq_epi16(wide, _mm_setzero_si128())));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(v, v));
            // A constant step when all are ASCII keeps the next load independent of this one.
            if (ascii == 0xFFFF) {
                out += 8;
                k += 8;
                continue;
            }
            const auto plain = static_cast<std::size_t>(__builtin_ctz(~ascii)) / 2;
            out += plain;
            k += plain;
        }
#endif
        // A run of wider characters, up to the next ASCII unit.
        do {
            k = putUtf16Character(bytes, bigEndian, k, out);
        } while (k < units && unitAt(k) >= 0x80);
    }
}

#if defined(ZEMVAR_AVX2_KERNELS)
#define ZEMVAR_AVX2 __attribute__((target("avx2")))

// Per-block validation of UTF-8 after Keiser and Lemire, "Validating UTF-8 in less than one
// instruction per byte" (2021): three table look-ups on the nibbles of each byte and of the
// byte before it give the error classes that pair of bytes can be in; their intersection is
// empty for valid text. Bytes that must be the 2nd or 3rd continuation of a longer sequence
// are checked against the bytes two and three positions back.
constexpr std::uint8_t tooShort = 1 << 0;     // a lead not followed by a continuation
constexpr std::uint8_t tooLong = 1 << 1;      // ASCII followed by a continuation
constexpr std::uint8_t overlong3 = 1 << 2;    // E0 followed by 80..9F
constexpr std::uint8_t tooLarge = 1 << 3;     // above U+10FFFF
constexpr std::uint8_t surrogate = 1 << 4;    // ED followed by A0..BF
constexpr std::uint8_t overlong2 = 1 << 5;    // C0 or C1
constexpr std::uint8_t tooLarge1000 = 1 << 6; // F5.. followed by 80..8F
constexpr std::uint8_t overlong4 = 1 << 6;    // F0 followed by 80..8F
constexpr std::uint8_t twoContinuations = 1 << 7;
constexpr std::uint8_t carry = tooShort | tooLong | twoContinuations;

ZEMVAR_AVX2 inline __m256i table16(std::uint8_t b0, std::uint8_t b1, std::uint8_t b2,
                                   std::uint8_t b3, std::uint8_t b4, std::uint8_t b5,
                                   std::uint8_t b6, std::uint8_t b7, std::uint8_t b8,
                                   std::uint8_t b9, std::uint8_t b10, std::uint8_t b11,
                                   std::uint8_t b12, std::uint8_t b13, std::uint8_t b14,
                                   std::uint8_t b15) {
    const __m128i half = _mm_setr_epi8(
        static_cast<char>(b0), static_cast<char>(b1), static_cast<char>(b2), static_cast<char>(b3),
        static_cast<char>(b4), static_cast<char>(b5), static_cast<char>(b6), static_cast<char>(b7),
        static_cast<char>(b8), static_cast<char>(b9), static_cast<char>(b10),
        static_cast<char>(b11), static_cast<char>(b12), static_cast<char>(b13),
        static_cast<char>(b14), static_cast<char>(b15));
    return _mm256_broadcastsi128_si256(half);
}

// State carried from one block to the next. The counters hold one 8-bit count per byte
// position and are added up (flushed) before any of them can overflow.
struct Utf8Blocks {
    __m256i previous;
    __m256i error;
    __m256i disallowed; // controls other than tab, LF, FF and CR
    __m256i lineFeeds;
    __m256i pairs; // line feeds directly after a carriage return
    __m256i carriageReturns;
    __m256i continuationBytes;
    __m256i fourByteLeads;
};

// Adds the 8-bit counts of `counter` to `total` and clears the counter.
ZEMVAR_AVX2 inline void flushCounter(__m256i& counter, std::size_t& total) {
    const __m256i sums = _mm256_sad_epu8(counter, _mm256_setzero_si256());
    alignas(32) std::uint64_t lanes[4];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), sums);
    total += static_cast<std::size_t>(lanes[0] + lanes[1] + lanes[2] + lanes[3]);
    counter = _mm256_setzero_si256();
}

struct Utf8Totals {
    std::size_t lineFeeds = 0;
    std::size_t pairs = 0;
    std::size_t carriageReturns = 0;
    std::size_t continuationBytes = 0;
    std::size_t fourByteLeads = 0;
};

ZEMVAR_AVX2 void flushCounters(Utf8Blocks& state, Utf8Totals& totals) {
    flushCounter(state.lineFeeds, totals.lineFeeds);
    flushCounter(state.pairs, totals.pairs);
    flushCounter(state.carriageReturns, totals.carriageReturns);
    flushCounter(state.continuationBytes, totals.continuationBytes);
    flushCounter(state.fourByteLeads, totals.fourByteLeads);
}

// Counts the lanes of `mask` (all ones or zero) in `counter`.
ZEMVAR_AVX2 inline void count(__m256i& counter, __m256i mask) {
    counter = _mm256_sub_epi8(counter, mask);
}

// Scans one block of 32 bytes. No branches: which way one would go changes from block to
// block in ordinary text.
ZEMVAR_AVX2 inline void scanUtf8Block(__m256i input, Utf8Blocks& state) {
    const __m256i joined = _mm256_permute2x128_si256(state.previous, input, 0x21);
    const __m256i previous1 = _mm256_alignr_epi8(input, joined, 15);
    const __m256i previous2 = _mm256_alignr_epi8(input, joined, 14);
    const __m256i previous3 = _mm256_alignr_epi8(input, joined, 13);
    const __m256i lowNibbleMask = _mm256_set1_epi8(0x0F);
    const __m256i inputHigh = _mm256_and_si256(_mm256_srli_epi16(input, 4), lowNibbleMask);

    const __m256i byte1High = _mm256_shuffle_epi8(
        table16(tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, tooLong,
                twoContinuations, twoContinuations, twoContinuations, twoContinuations,
                tooShort | overlong2, tooShort, tooShort | overlong3 | surrogate,
                tooShort | tooLarge | tooLarge1000 | overlong4),
        _mm256_and_si256(_mm256_srli_epi16(previous1, 4), lowNibbleMask));
    const __m256i byte1Low = _mm256_shuffle_epi8(
        table16(carry | overlong3 | overlong2 | overlong4, carry | overlong2, carry, carry,
                carry | tooLarge, carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                carry | tooLarge | tooLarge1000, carry | tooLarge | tooLarge1000,
                carry | tooLarge | tooLarge1000 | surrogate, carry | tooLarge | tooLarge1000,
                carry | tooLarge | tooLarge1000),
        _mm256_and_si256(previous1, lowNibbleMask));
    constexpr std::uint8_t continuation = tooLong | overlong2 | twoContinuations;
    const __m256i byte2High = _mm256_shuffle_epi8(
        table16(tooShort, tooShort, tooShort, tooShort, tooShort, tooShort, tooShort, tooShort,
                continuation | overlong3 | tooLarge1000 | overlong4,
                continuation | overlong3 | tooLarge, continuation | surrogate | tooLarge,
                continuation | surrogate | tooLarge, tooShort, tooShort, tooShort, tooShort),
        inputHigh);
    const __m256i special = _mm256_and_si256(_mm256_and_si256(byte1High, byte1Low), byte2High);
    // Bytes two or three after a lead of a three- or four-byte sequence must be continuations.
    const __m256i third =
        _mm256_subs_epu8(previous2, _mm256_set1_epi8(static_cast<char>(0xE0 - 0x80)));
    const __m256i fourth =
        _mm256_subs_epu8(previous3, _mm256_set1_epi8(static_cast<char>(0xF0 - 0x80)));
    const __m256i mustContinue =
        _mm256_and_si256(_mm256_or_si256(third, fourth), _mm256_set1_epi8(static_cast<char>(0x80)));
    state.error = _mm256_or_si256(state.error, _mm256_xor_si256(mustContinue, special));

    // Controls: high nibble 1 is always disallowed, high nibble 0 unless the low nibble is
    // that of tab, LF, FF or CR. Bytes from 0x80 have their look-ups zeroed by the shuffle.
    constexpr std::uint8_t first = 1;
    constexpr std::uint8_t second = 2;
    const __m256i controlHigh = _mm256_shuffle_epi8(
        table16(first, second, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), inputHigh);
    const __m256i controlLow = _mm256_shuffle_epi8(
        table16(first | second, first | second, first | second, first | second, first | second,
                first | second, first | second, first | second, first | second, second, second,
                first | second, second, second, first | second, first | second),
        input);
    state.disallowed = _mm256_or_si256(state.disallowed, _mm256_and_si256(controlHigh, controlLow));

    const __m256i lineFeeds = _mm256_cmpeq_epi8(input, _mm256_set1_epi8('\n'));
    const __m256i carriageReturns = _mm256_cmpeq_epi8(input, _mm256_set1_epi8('\r'));
    count(state.lineFeeds, lineFeeds);
    count(state.pairs,
          _mm256_and_si256(lineFeeds, _mm256_cmpeq_epi8(previous1, _mm256_set1_epi8('\r'))));
    count(state.carriageReturns, carriageReturns);
    // Continuation bytes are 0x80 to 0xBF, below -64 as signed bytes.
    count(state.continuationBytes, _mm256_cmpgt_epi8(_mm256_set1_epi8(-64), input));
    count(state.fourByteLeads,
          _mm256_cmpeq_epi8(_mm256_max_epu8(input, _mm256_set1_epi8(static_cast<char>(0xF0))),
                            input));
    state.previous = input;
}

ZEMVAR_AVX2 bool scanUtf8Avx2(std::string_view bytes, TextScan& scan) {
    const __m256i zero = _mm256_setzero_si256();
    Utf8Blocks state{zero, zero, zero, zero, zero, zero, zero, zero};
    Utf8Totals totals;

    const char* const data = bytes.data();
    const std::size_t size = bytes.size();
    std::size_t i = 0;
    while (size - i >= 32) {
        const std::size_t end = i + 32 * std::min<std::size_t>((size - i) / 32, 255);
        for (; i < end; i += 32) {
            scanUtf8Block(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + i)), state);
        }
        flushCounters(state, totals);
    }
    // Always one more block, padded with spaces: they count for nothing, and being ASCII they
    // end a sequence cut off by the end of the text.
    alignas(32) char last[32];
    std::memset(last, ' ', sizeof last);
    std::memcpy(last, data + i, size - i);
    scanUtf8Block(_mm256_load_si256(reinterpret_cast<const __m256i*>(last)), state);
    flushCounters(state, totals);

    if (!_mm256_testz_si256(state.error, state.error)) {
        return false;
    }
    scan.binary = !_mm256_testz_si256(state.disallowed, state.disallowed);
    scan.pairs = totals.pairs;
    scan.loneLineFeeds = totals.lineFeeds - totals.pairs;
    scan.loneCarriageReturns = totals.carriageReturns - totals.pairs;
    scan.characters = size - totals.continuationBytes;
    scan.supplementary = totals.fourByteLeads;
    scan.utf8Bytes = size;
    return true;
}

// State carried from one block of sixteen units to the next; the counters hold one 16-bit
// count per unit position.
struct Utf16Blocks {
    __m256i previous;
    __m256i error;
    __m256i disallowed;
    __m256i lineFeeds;
    __m256i pairs;
    __m256i carriageReturns;
    __m256i ascii;    // units below 0x80
    __m256i below800; // units below 0x800
    __m256i highSurrogates;
};

struct Utf16Totals {
    std::size_t lineFeeds = 0;
    std::size_t pairs = 0;
    std::size_t carriageReturns = 0;
    std::size_t ascii = 0;
    std::size_t below800 = 0;
    std::size_t highSurrogates = 0;
};

// Adds the 16-bit counts of `counter` to `total` and clears the counter.
ZEMVAR_AVX2 inline void flushUnitCounter(__m256i& counter, std::size_t& total) {
    const __m256i sums = _mm256_madd_epi16(counter, _mm256_set1_epi16(1));
    alignas(32) std::uint32_t lanes[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), sums);
    for (const std::uint32_t lane : lanes) {
        total += lane;
    }
    counter = _mm256_setzero_si256();
}

ZEMVAR_AVX2 void flushUnitCounters(Utf16Blocks& state, Utf16Totals& totals) {
    flushUnitCounter(state.lineFeeds, totals.lineFeeds);
    flushUnitCounter(state.pairs, totals.pairs);
    flushUnitCounter(state.carriageReturns, totals.carriageReturns);
    flushUnitCounter(state.ascii, totals.ascii);
    flushUnitCounter(state.below800, totals.below800);
    flushUnitCounter(state.highSurrogates, totals.highSurrogates);
}

// All ones in the units whose bits selected by `keep` equal `equals`.
ZEMVAR_AVX2 inline __m256i unitsWhere(__m256i units, int keep, int equals) {
    return _mm256_cmpeq_epi16(_mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(keep))),
                              _mm256_set1_epi16(static_cast<short>(equals)));
}

ZEMVAR_AVX2 inline void countUnits(__m256i& counter, __m256i mask) {
    counter = _mm256_sub_epi16(counter, mask);
}

// Scans sixteen units, branch-free like scanUtf8Block.
ZEMVAR_AVX2 inline void scanUtf16Block(__m256i units, Utf16Blocks& state) {
    const __m256i previous1 =
        _mm256_alignr_epi8(units, _mm256_permute2x128_si256(state.previous, units, 0x21), 14);
    const __m256i high = unitsWhere(units, 0xFC00, 0xD800);
    const __m256i low = unitsWhere(units, 0xFC00, 0xDC00);
    // A unit is a low surrogate exactly when the one before it is a high surrogate.
    state.error =
        _mm256_or_si256(state.error, _mm256_xor_si256(unitsWhere(previous1, 0xFC00, 0xD800), low));

    const __m256i lineFeeds = _mm256_cmpeq_epi16(units, _mm256_set1_epi16('\n'));
    const __m256i carriageReturns = _mm256_cmpeq_epi16(units, _mm256_set1_epi16('\r'));
    const __m256i allowed =
        _mm256_or_si256(_mm256_or_si256(lineFeeds, carriageReturns),
                        _mm256_or_si256(_mm256_cmpeq_epi16(units, _mm256_set1_epi16('\t')),
                                        _mm256_cmpeq_epi16(units, _mm256_set1_epi16('\f'))));
    const __m256i controls = unitsWhere(units, 0xFFE0, 0);
    state.disallowed = _mm256_or_si256(state.disallowed, _mm256_andnot_si256(allowed, controls));

    countUnits(state.lineFeeds, lineFeeds);
    countUnits(state.pairs,
               _mm256_and_si256(lineFeeds, _mm256_cmpeq_epi16(previous1, _mm256_set1_epi16('\r'))));
    countUnits(state.carriageReturns, carriageReturns);
    countUnits(state.ascii, unitsWhere(units, 0xFF80, 0));
    countUnits(state.below800, unitsWhere(units, 0xF800, 0));
    countUnits(state.highSurrogates, high);
    state.previous = units;
}

// Loads sixteen units in the machine's order.
ZEMVAR_AVX2 inline __m256i loadUnits(const char* p, bool bigEndian) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    if (!bigEndian) {
        return v;
    }
    return _mm256_shuffle_epi8(v, _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15,
                                                   14, 1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12,
                                                   15, 14));
}

ZEMVAR_AVX2 bool scanUtf16Avx2(std::string_view bytes, bool bigEndian, TextScan& scan) {
    if (bytes.size() % 2 != 0) {
        return false;
    }
    const __m256i zero = _mm256_setzero_si256();
    Utf16Blocks state{zero, zero, zero, zero, zero, zero, zero, zero, zero};
    Utf16Totals totals;
    const char* const data = bytes.data();
    const std::size_t size = bytes.size();
    std::size_t i = 0;
    while (size - i >= 32) {
        // The counters are added up as signed 16-bit numbers.
        const std::size_t end = i + 32 * std::min<std::size_t>((size - i) / 32, 32767);
        for (; i < end; i += 32) {
            scanUtf16Block(loadUnits(data + i, bigEndian), state);
        }
        flushUnitCounters(state, totals);
    }
    // Always one more block, padded with spaces: they are no low surrogates, so a final
    // unpaired high surrogate is caught, and they count only as ASCII (corrected below).
    alignas(32) char last[32];
    for (std::size_t k = 0; k < sizeof last; k += 2) {
        last[k] = bigEndian ? '\0' : ' ';
        last[k + 1] = bigEndian ? ' ' : '\0';
    }
    std::memcpy(last, data + i, size - i);
    const std::size_t padding = (sizeof last - (size - i)) / 2;
    scanUtf16Block(loadUnits(last, bigEndian), state);
    flushUnitCounters(state, totals);
    totals.ascii -= padding;
    totals.below800 -= padding;

    if (!_mm256_testz_si256(state.error, state.error)) {
        return false;
    }
    const std::size_t units = size / 2;
    scan.binary = !_mm256_testz_si256(state.disallowed, state.disallowed);
    scan.pairs = totals.pairs;
    scan.loneLineFeeds = totals.lineFeeds - totals.pairs;
    scan.loneCarriageReturns = totals.carriageReturns - totals.pairs;
    scan.supplementary = totals.highSurrogates;
    scan.characters = units - totals.highSurrogates;
    // One byte per unit, one more from U+0080, one more from U+0800, except that a surrogate
    // pair (a high and a low surrogate, now known to be paired) makes four bytes, not six.
    scan.utf8Bytes =
        units + (units - totals.ascii) + (units - totals.below800) - 2 * totals.highSurrogates;
    return true;
}

// Shuffles that pack four 32-bit lanes holding 1, 2 or 3 UTF-8 bytes each (lengths given as
// a base-3 number of digits 0, 1, 2 for 1, 2, 3 bytes, first lane lowest) into consecutive
// bytes, with the resulting length in byte 16.
struct PackTable {
    std::array<std::array<std::uint8_t, 17>, 81> rows{};

    constexpr PackTable() {
        for (std::size_t index = 0; index < rows.size(); ++index) {
            std::array<std::uint8_t, 17>& row = rows[index];
            row.fill(0x80); // a shuffle index with the top bit set writes zero
            std::size_t length = 0;
            std::size_t digits = index;
            for (std::uint8_t lane = 0; lane < 4; ++lane) {
                const std::size_t bytes = digits % 3 + 1;
                digits /= 3;
                for (std::uint8_t b = 0; b < bytes; ++b) {
                    row[length++] = static_cast<std::uint8_t>(4 * lane + b);
                }
            }
            row[16] = static_cast<std::uint8_t>(length);
        }
    }
};
constexpr PackTable packTable;

// The base-3 digits of a four-bit mask: bit j counts 3^j.
constexpr std::array<std::uint8_t, 16> baseThree = {0,  1,  3,  4,  9,  10, 12, 13,
                                                    27, 28, 30, 31, 36, 37, 39, 40};

// Converts eight units below U+10000 that are no surrogates; returns the new end of output.
// Writes up to 32 bytes at `out`.
ZEMVAR_AVX2 inline char* putEightUnits(__m128i eight, char* out) {
    const __m256i u = _mm256_cvtepu16_epi32(eight);
    const __m256i low6 =
        _mm256_or_si256(_mm256_and_si256(u, _mm256_set1_epi32(0x3F)), _mm256_set1_epi32(0x80));
    const __m256i shifted6 = _mm256_srli_epi32(u, 6);
    const __m256i middle6 = _mm256_or_si256(_mm256_and_si256(shifted6, _mm256_set1_epi32(0x3F)),
                                            _mm256_set1_epi32(0x80));
    const __m256i two = _mm256_or_si256(_mm256_or_si256(shifted6, _mm256_set1_epi32(0xC0)),
                                        _mm256_slli_epi32(low6, 8));
    const __m256i three = _mm256_or_si256(
        _mm256_or_si256(_mm256_srli_epi32(u, 12), _mm256_set1_epi32(0xE0)),
        _mm256_or_si256(_mm256_slli_epi32(middle6, 8), _mm256_slli_epi32(low6, 16)));
    const __m256i atLeastTwo = _mm256_cmpgt_epi32(u, _mm256_set1_epi32(0x7F));
    const __m256i atLeastThree = _mm256_cmpgt_epi32(u, _mm256_set1_epi32(0x7FF));
    const __m256i utf8 =
        _mm256_blendv_epi8(_mm256_blendv_epi8(u, two, atLeastTwo), three, atLeastThree);
    const auto twoMask = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(atLeastTwo)));
    const auto threeMask =
        static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(atLeastThree)));

    const auto& first = packTable.rows[baseThree[twoMask & 15] + baseThree[threeMask & 15]];
    const auto& second = packTable.rows[baseThree[twoMask >> 4] + baseThree[threeMask >> 4]];
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out),
        _mm_shuffle_epi8(_mm256_castsi256_si128(utf8),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(first.data()))));
    out += first[16];
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out),
        _mm_shuffle_epi8(_mm256_extracti128_si256(utf8, 1),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(second.data()))));
    return out + second[16];
}

ZEMVAR_AVX2 void convertUtf16ToUtf8Avx2(std::string_view bytes, bool bigEndian, char* out,
                                        std::size_t outSize) {
    const char* const data = bytes.data();
    const std::size_t units = bytes.size() / 2;
    char* const outEnd = out + outSize;
    std::size_t k = 0;
    // Sixteen units give at most 48 bytes, and the last store may write 16 more.
    while (units - k >= 16 && outEnd - out >= 64) {
        const __m256i v = loadUnits(data + 2 * k, bigEndian);
        const auto ascii = static_cast<unsigned>(_mm256_movemask_epi8(
            _mm256_cmpeq_epi16(_mm256_and_si256(v, _mm256_set1_epi16(static_cast<short>(0xFF80))),
                               _mm256_setzero_si256())));
        if (ascii == 0xFFFFFFFFu) {
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(v, v), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
            out += 16;
            k += 16;
            continue;
        }
        const auto surrogates = static_cast<unsigned>(_mm256_movemask_epi8(
            _mm256_cmpeq_epi16(_mm256_and_si256(v, _mm256_set1_epi16(static_cast<short>(0xF800))),
                               _mm256_set1_epi16(static_cast<short>(0xD800)))));
        if (surrogates == 0) {
            out = putEightUnits(_mm256_castsi256_si128(v), out);
            out = putEightUnits(_mm256_extracti128_si256(v, 1), out);
            k += 16;
            continue;
        }
        // Rare: characters beyond U+FFFF; a pair may also straddle the block's end.
        const std::size_t end = k + 16;
        while (k < end) {
            k = putUtf16Character(bytes, bigEndian, k, out);
        }
    }
    while (k < units) {
        k = putUtf16Character(bytes, bigEndian, k, out);
    }
}

#define ZEMVAR_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl")))

// Adds the 16-bit counts of `counter` to `total` and clears the counter.
ZEMVAR_AVX512 inline void flushCounter512(__m512i& counter, std::size_t& total) {
    alignas(64) std::uint32_t lanes[16];
    _mm512_store_si512(lanes, _mm512_madd_epi16(counter, _mm512_set1_epi16(1)));
    for (const std::uint32_t lane : lanes) {
        total += lane;
    }
    counter = _mm512_setzero_si512();
}

// UTF-16 in blocks of 32 units with comparisons into bit masks: the pairing of surrogates and
// line breaks becomes plain arithmetic on the masks; counts are kept per unit position in
// 16-bit counters.
ZEMVAR_AVX512 bool scanUtf16Avx512(std::string_view bytes, bool bigEndian, TextScan& scan) {
    if (bytes.size() % 2 != 0) {
        return false;
    }
    const __m512i swap = _mm512_set_epi64(
        0x0E0F0C0D0A0B0809, 0x0607040502030001, 0x0E0F0C0D0A0B0809, 0x0607040502030001,
        0x0E0F0C0D0A0B0809, 0x0607040502030001, 0x0E0F0C0D0A0B0809, 0x0607040502030001);
    const __m512i one = _mm512_set1_epi16(1);
    const char* const data = bytes.data();
    const std::size_t units = bytes.size() / 2;
    std::uint32_t unpaired = 0;   // a low surrogate without a high one before it, or back
    std::uint32_t highBefore = 0; // 1 when the last unit of a block is a high surrogate
    std::uint32_t carriageReturnBefore = 0;
    std::uint32_t disallowed = 0;
    __m512i lineFeeds = _mm512_setzero_si512();
    __m512i pairs = _mm512_setzero_si512();
    __m512i carriageReturns = _mm512_setzero_si512();
    __m512i ascii = _mm512_setzero_si512();
    __m512i below800 = _mm512_setzero_si512();
    __m512i highs = _mm512_setzero_si512();
    std::size_t totalLineFeeds = 0;
    std::size_t totalCarriageReturns = 0;
    std::size_t totalAscii = 0;
    std::size_t totalBelow800 = 0;
    std::size_t k = 0;
    while (k < units) {
        // The counters hold 32767 blocks as signed 16-bit numbers.
        const std::size_t flushAt = k + std::min<std::size_t>(units - k, 32 * 32767);
        for (; k < flushAt; k += 32) {
            // The last block loads only the units that exist; the others read as NUL and are
            // masked out, except that a NUL is no low surrogate, so a final high one is caught.
            const std::size_t count = std::min<std::size_t>(32, units - k);
            const auto valid = static_cast<std::uint32_t>((std::uint64_t{1} << count) - 1);
            __m512i v = _mm512_maskz_loadu_epi16(valid, data + 2 * k);
            if (bigEndian) {
                v = _mm512_shuffle_epi8(v, swap);
            }
            const __m512i surrogateBits =
                _mm512_and_si512(v, _mm512_set1_epi16(static_cast<short>(0xFC00)));
            const std::uint32_t high = _mm512_cmpeq_epi16_mask(
                surrogateBits, _mm512_set1_epi16(static_cast<short>(0xD800)));
            const std::uint32_t low = _mm512_cmpeq_epi16_mask(
                surrogateBits, _mm512_set1_epi16(static_cast<short>(0xDC00)));
            unpaired |= (high << 1 | highBefore) ^ low;
            highBefore = high >> 31;

            const std::uint32_t lineFeed = _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('\n'));
            const std::uint32_t carriageReturn =
                _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('\r'));
            const std::uint32_t allowed = lineFeed | carriageReturn |
                                          _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('\t')) |
                                          _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('\f'));
            disallowed |= _mm512_cmplt_epu16_mask(v, _mm512_set1_epi16(0x20)) & valid & ~allowed;
            const std::uint32_t pair = lineFeed & (carriageReturn << 1 | carriageReturnBefore);
            carriageReturnBefore = carriageReturn >> 31;

            lineFeeds = _mm512_mask_add_epi16(lineFeeds, lineFeed, lineFeeds, one);
            pairs = _mm512_mask_add_epi16(pairs, pair, pairs, one);
            carriageReturns =
                _mm512_mask_add_epi16(carriageReturns, carriageReturn, carriageReturns, one);
            ascii = _mm512_mask_add_epi16(
                ascii, _mm512_cmplt_epu16_mask(v, _mm512_set1_epi16(0x80)) & valid, ascii, one);
            below800 = _mm512_mask_add_epi16(
                below800, _mm512_cmplt_epu16_mask(v, _mm512_set1_epi16(0x800)) & valid, below800,
                one);
            highs = _mm512_mask_add_epi16(highs, high, highs, one);
        }
        flushCounter512(lineFeeds, totalLineFeeds);
        flushCounter512(pairs, scan.pairs);
        flushCounter512(carriageReturns, totalCarriageReturns);
        flushCounter512(ascii, totalAscii);
        flushCounter512(below800, totalBelow800);
        flushCounter512(highs, scan.supplementary);
    }
    if (unpaired != 0 || highBefore != 0) {
        return false;
    }
    scan.binary = disallowed != 0;
    scan.loneLineFeeds = totalLineFeeds - scan.pairs;
    scan.loneCarriageReturns = totalCarriageReturns - scan.pairs;
    scan.characters = units - scan.supplementary;
    scan.utf8Bytes =
        units + (units - totalAscii) + (units - totalBelow800) - 2 * scan.supplementary;
    return true;
}

bool hasAvx512() {
    static const bool supported = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
               __builtin_cpu_supports("avx512vl") != 0;
    }();
    return supported;
}

bool hasAvx2() {
    static const bool supported = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return supported;
}
#endif

} // namespace

std::optional<std::string_view> TextScan::lineEnding() const {
    if (pairs != 0 && loneCarriageReturns == 0 && loneLineFeeds == 0) {
        return crlf;
    }
    if (loneCarriageReturns != 0 && pairs == 0 && loneLineFeeds == 0) {
        return cr;
    }
    return std::nullopt;
}

bool scanUtf8(std::string_view bytes, TextScan& scan, ScanKernel kernel) {
    scan = TextScan();
#if defined(ZEMVAR_AVX2_KERNELS)
    if ((kernel == ScanKernel::fastest || kernel == ScanKernel::avx2) && hasAvx2()) {
        return scanUtf8Avx2(bytes, scan);
    }
#endif
    static_cast<void>(kernel);
    return scanUtf8Portable(bytes, scan);
}

bool scanUtf16(std::string_view bytes, bool bigEndian, TextScan& scan, ScanKernel kernel) {
    scan = TextScan();
#if defined(ZEMVAR_AVX2_KERNELS)
    if (kernel == ScanKernel::fastest && hasAvx512()) {
        return scanUtf16Avx512(bytes, bigEndian, scan);
    }
    if ((kernel == ScanKernel::fastest || kernel == ScanKernel::avx2) && hasAvx2()) {
        return scanUtf16Avx2(bytes, bigEndian, scan);
    }
#endif
    static_cast<void>(kernel);
    return scanUtf16Portable(bytes, bigEndian, scan);
}

void convertUtf16ToUtf8(std::string_view bytes, bool bigEndian, char* out, std::size_t outSize,
                        ScanKernel kernel) {
#if defined(ZEMVAR_AVX2_KERNELS)
    if ((kernel == ScanKernel::fastest || kernel == ScanKernel::avx2) && hasAvx2()) {
        convertUtf16ToUtf8Avx2(bytes, bigEndian, out, outSize);
        return;
    }
#endif
    static_cast<void>(kernel);
    static_cast<void>(outSize);
    convertUtf16ToUtf8Portable(bytes, bigEndian, out);
}

void copyWithLineEndings(std::string_view text, std::string_view style, char* out,
                         std::size_t outSize) {
    const char* p = text.data();
    const char* const end = p + text.size();
    char* const outEnd = out + outSize;
    while (p < end) {
#if defined(__SSE2__)
        // Copy sixteen bytes at a time up to the next line break.
        if (end - p >= 16 && outEnd - out >= 16) {
            const __m128i bytes = load16(p);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
            const auto breaks = static_cast<unsigned>(
                _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')),
                                               _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')))));
            if (breaks == 0) {
                p += 16;
                out += 16;
                continue;
            }
            const auto plain = static_cast<std::size_t>(__builtin_ctz(breaks));
            p += plain;
            out += plain;
        }
#endif
        if (*p != '\r' && *p != '\n') {
            *out++ = *p++;
            continue;
        }
        std::memcpy(out, style.data(), style.size());
        out += style.size();
        p += p[0] == '\r' && p + 1 < end && p[1] == '\n' ? 2 : 1;
    }
}

void convertUtf8ToUtf16(std::string_view text, bool bigEndian,
                        std::optional<std::string_view> style, char* out, std::size_t outSize) {
    const auto putUnit = [&](char32_t unit) {
        const auto high = static_cast<char>(unit >> 8);
        const auto low = static_cast<char>(unit & 0xFF);
        *out++ = bigEndian ? high : low;
        *out++ = bigEndian ? low : high;
    };
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const auto* const end = p + text.size();
    char* const outEnd = out + outSize;
    while (p < end) {
#if defined(__SSE2__)
        // Sixteen bytes widen to sixteen units as far as they are ASCII (with a style, as far
        // as they are printable ASCII, so that line breaks are rewritten below).
        if (end - p >= 16 && outEnd - out >= 32) {
            const __m128i bytes = load16(p);
            const __m128i zero = _mm_setzero_si128();
            auto* const target = reinterpret_cast<__m128i*>(out);
            if (bigEndian) {
                _mm_storeu_si128(target, _mm_unpacklo_epi8(zero, bytes));
                _mm_storeu_si128(target + 1, _mm_unpackhi_epi8(zero, bytes));
            } else {
                _mm_storeu_si128(target, _mm_unpacklo_epi8(bytes, zero));
                _mm_storeu_si128(target + 1, _mm_unpackhi_epi8(bytes, zero));
            }
            const auto special =
                static_cast<unsigned>(style ? specialBytes(bytes) : _mm_movemask_epi8(bytes));
            if (special == 0) {
                p += 16;
                out += 32;
                continue;
            }
            const auto plain = static_cast<std::size_t>(__builtin_ctz(special));
            p += plain;
            out += 2 * plain;
        }
#endif
        const unsigned char ch = *p;
        if (style && (ch == '\r' || ch == '\n')) {
            for (const char styleCharacter : *style) {
                putUnit(static_cast<unsigned char>(styleCharacter));
            }
            p += ch == '\r' && p + 1 < end && p[1] == '\n' ? 2 : 1;
            continue;
        }
        const char32_t c = decodeValidUtf8(p);
        if (c < 0x10000) {
            putUnit(c);
        } else {
            putUnit(0xD800 + ((c - 0x10000) >> 10));
            putUnit(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
}

} // namespace zemvar::core::detail
