// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// The byte-level work behind ExternalTextFile: strict validation of UTF-8 and UTF-16, the
/// scan for control characters and line breaks, and the conversions. Files of up to 2 MiB go
/// through these on every open and save, so they work on whole blocks of bytes where the
/// processor allows it (AVX-512 or AVX2, chosen at run time, or SSE2).
namespace zemvar::core::detail {

/// What one pass over a text learns: whether a character makes it binary, its line breaks (a
/// "\r\n" pair counts once; a "\r" or "\n" outside a pair is lone) and the counts from which
/// the size of any re-encoding follows without converting.
struct TextScan {
    bool binary = false; ///< a character below U+0020 other than tab, LF, FF and CR
    std::size_t pairs = 0;
    std::size_t loneCarriageReturns = 0;
    std::size_t loneLineFeeds = 0;
    std::size_t characters = 0;    ///< Unicode scalars
    std::size_t supplementary = 0; ///< scalars above U+FFFF (two UTF-16 units, four UTF-8 bytes)
    std::size_t utf8Bytes = 0;     ///< the text's length in UTF-8

    /// Returns "\r\n" when every line break is a pair, "\r" when all are lone carriage
    /// returns, no value otherwise (line feeds, mixed endings, no line break at all).
    std::optional<std::string_view> lineEnding() const;

    /// Characters once every line break has been rewritten to `style`.
    std::size_t charactersWithLineEndings(std::string_view style) const {
        return characters - lineBreakCharacters() + lineBreaks() * style.size();
    }
    /// UTF-8 bytes once every line break has been rewritten to `style`.
    std::size_t utf8BytesWithLineEndings(std::string_view style) const {
        return utf8Bytes - lineBreakCharacters() + lineBreaks() * style.size();
    }
    std::size_t lineBreaks() const { return pairs + loneCarriageReturns + loneLineFeeds; }
    std::size_t lineBreakCharacters() const {
        return 2 * pairs + loneCarriageReturns + loneLineFeeds;
    }

    friend bool operator==(const TextScan&, const TextScan&) = default;
};

/// Which implementation runs: the fastest the processor supports, at most AVX2, or the
/// portable one. Tests compare them; a kernel the processor lacks falls back to a slower one.
enum class ScanKernel {
    fastest,
    avx2,
    portable,
};

/// Checks that `bytes` is strict UTF-8 (no overlong forms, surrogates, values above U+10FFFF
/// or truncated sequences) and fills `scan`. Returns false when it is not; `scan` is then
/// meaningless.
bool scanUtf8(std::string_view bytes, TextScan& scan, ScanKernel kernel = ScanKernel::fastest);

/// Checks that `bytes` is UTF-16 in the given byte order (an even number of bytes, every
/// surrogate paired) and fills `scan`. Returns false when it is not.
bool scanUtf16(std::string_view bytes, bool bigEndian, TextScan& scan,
               ScanKernel kernel = ScanKernel::fastest);

/// Converts UTF-16 that scanUtf16 accepted to UTF-8 at `out`; `outSize` is exactly
/// scan.utf8Bytes.
void convertUtf16ToUtf8(std::string_view bytes, bool bigEndian, char* out, std::size_t outSize,
                        ScanKernel kernel = ScanKernel::fastest);

/// Copies UTF-8 `text` to `out` with every line break rewritten to `style`; `outSize` is
/// exactly utf8BytesWithLineEndings(style).
void copyWithLineEndings(std::string_view text, std::string_view style, char* out,
                         std::size_t outSize);

/// Converts UTF-8 that scanUtf8 accepted to UTF-16 at `out`, line breaks rewritten to `style`
/// when there is one; `outSize` is exactly the size that the scan's counts give.
void convertUtf8ToUtf16(std::string_view text, bool bigEndian,
                        std::optional<std::string_view> style, char* out, std::size_t outSize);

} // namespace zemvar::core::detail
