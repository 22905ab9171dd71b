// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/external_text_file.h"

#include "core/notes/file_io.h"
#include "core/notes/text_scan.h"
#include "core/notes/user_file.h"
#include "core/text/unicode.h"

#include <cstring>
#include <utility>
#include <vector>

namespace zemvar::core {

using detail::convertUtf16ToUtf8;
using detail::convertUtf8ToUtf16;
using detail::copyWithLineEndings;
using detail::scanUtf16;
using detail::scanUtf8;
using detail::TextScan;

namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view utf16LittleEndianMark = "\xFF\xFE";
constexpr std::string_view utf16BigEndianMark = "\xFE\xFF";

[[noreturn]] void fail(ExternalTextFileError::Case errorCase) {
    throw ExternalTextFileError(errorCase);
}

std::optional<int> hexValue(char ch) {
    if (ch >= '0' && ch <= '9') {
        return ch - '0';
    }
    if (ch >= 'a' && ch <= 'f') {
        return ch - 'a' + 10;
    }
    if (ch >= 'A' && ch <= 'F') {
        return ch - 'A' + 10;
    }
    return std::nullopt;
}

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char ch) {
            return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch - 'A' + 'a') : ch;
        };
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

// Length of the URL scheme at the start of `location` ("https" gives 5), or 0 when there is
// none: a letter, then letters, digits, "+", "-" or ".", then ":".
std::size_t schemeLength(std::string_view location) {
    const auto isAlpha = [](char ch) {
        return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
    };
    if (location.empty() || !isAlpha(location[0])) {
        return 0;
    }
    std::size_t i = 1;
    while (i < location.size() &&
           (isAlpha(location[i]) || (location[i] >= '0' && location[i] <= '9') ||
            location[i] == '+' || location[i] == '-' || location[i] == '.')) {
        ++i;
    }
    return i < location.size() && location[i] == ':' ? i : 0;
}

} // namespace

std::string_view rawValue(TextEncoding encoding) {
    switch (encoding) {
    case TextEncoding::utf8:
        return "utf-8";
    case TextEncoding::utf16LittleEndian:
        return "utf-16le";
    case TextEncoding::utf16BigEndian:
        return "utf-16be";
    }
    return {};
}

std::string_view ExternalTextFileError::message(Case errorCase) noexcept {
    switch (errorCase) {
    case Case::tooLarge:
        return "Choose a text file smaller than 2 MB.";
    case Case::unsupportedEncoding:
        return "This file is not valid UTF-8 or UTF-16 text. Its contents have not been changed.";
    case Case::binary:
        return "This looks like a binary file. Open a text or source-code file instead.";
    case Case::notRegular:
        return "Choose a regular text file, not a folder or device.";
    case Case::changed:
        return "The original file changed outside Notes or is no longer available. Reload it or "
               "use Save As to keep your edits in a separate file.";
    }
    return {};
}

const char* ExternalTextFileError::what() const noexcept {
    // Every message is a string literal, hence terminated.
    return message(m_case).data();
}

ExternalTextFile::ExternalTextFile(std::string data) {
    if (data.size() > maximumBytes) {
        fail(ExternalTextFileError::Case::tooLarge);
    }
    const std::string_view bytes = data;
    if (bytes.starts_with(utf8Mark)) {
        m_prefix = utf8Mark;
    } else if (bytes.starts_with(utf16LittleEndianMark)) {
        m_encoding = TextEncoding::utf16LittleEndian;
        m_prefix = utf16LittleEndianMark;
    } else if (bytes.starts_with(utf16BigEndianMark)) {
        m_encoding = TextEncoding::utf16BigEndian;
        m_prefix = utf16BigEndianMark;
    }
    const std::string_view body = bytes.substr(m_prefix.size());

    const bool bigEndian = m_encoding == TextEncoding::utf16BigEndian;
    TextScan scan;
    const bool valid =
        m_encoding == TextEncoding::utf8 ? scanUtf8(body, scan) : scanUtf16(body, bigEndian, scan);
    if (!valid) {
        fail(ExternalTextFileError::Case::unsupportedEncoding);
    }
    if (scan.binary) {
        fail(ExternalTextFileError::Case::binary);
    }
    if (m_encoding != TextEncoding::utf8) {
        m_decodedText.resize(scan.utf8Bytes);
        convertUtf16ToUtf8(body, bigEndian, m_decodedText.data(), m_decodedText.size());
    }
    m_lineEnding = scan.lineEnding();
    m_originalData = std::move(data);
}

ExternalTextFile ExternalTextFile::read(const std::filesystem::path& path) {
    if (path.empty()) {
        fail(ExternalTextFileError::Case::notRegular);
    }
    std::optional<std::string> data = readRegularFile(path, maximumBytes);
    if (!data) {
        fail(ExternalTextFileError::Case::notRegular);
    }
    return ExternalTextFile(std::move(*data)); // refuses more than maximumBytes
}

ExternalTextFile ExternalTextFile::readLocation(std::string_view location) {
    const std::optional<std::filesystem::path> path = localPathFromLocation(location);
    if (!path) {
        fail(ExternalTextFileError::Case::notRegular);
    }
    return read(*path);
}

void ExternalTextFile::checkUnchanged(const std::filesystem::path& path) const {
    bool same = false;
    try {
        same = read(path).originalData() == m_originalData;
    } catch (...) {
        // Whatever stops the file from being read again means it is not the file we read.
    }
    if (!same) {
        fail(ExternalTextFileError::Case::changed);
    }
}

std::string ExternalTextFile::encoded(std::string_view text) const {
    TextScan scan;
    if (!scanUtf8(text, scan)) {
        fail(ExternalTextFileError::Case::unsupportedEncoding);
    }
    // The exact size is known before converting, so an oversized text is refused cheaply.
    std::size_t size = 0;
    if (m_encoding == TextEncoding::utf8) {
        size = m_lineEnding ? scan.utf8BytesWithLineEndings(*m_lineEnding) : scan.utf8Bytes;
    } else {
        const std::size_t characters =
            m_lineEnding ? scan.charactersWithLineEndings(*m_lineEnding) : scan.characters;
        size = 2 * (characters + scan.supplementary);
    }
    if (size > maximumBytes - m_prefix.size()) {
        fail(ExternalTextFileError::Case::tooLarge);
    }

    // The mark is written by hand, never by a converter.
    std::string out(m_prefix.size() + size, '\0');
    std::memcpy(out.data(), m_prefix.data(), m_prefix.size());
    char* const target = out.data() + m_prefix.size();
    // A text whose line breaks all have the file's style already is written as it is.
    const bool rewrite =
        m_lineEnding && scan.lineBreaks() != 0 && scan.lineEnding() != m_lineEnding;
    if (m_encoding == TextEncoding::utf8) {
        if (rewrite) {
            copyWithLineEndings(text, *m_lineEnding, target, size);
        } else {
            std::memcpy(target, text.data(), text.size());
        }
    } else {
        convertUtf8ToUtf16(text, m_encoding == TextEncoding::utf16BigEndian,
                           rewrite ? m_lineEnding : std::nullopt, target, size);
    }
    return out;
}

void ExternalTextFile::write(const std::filesystem::path& path, std::string_view bytes) {
    writeUserFileAtomically(path, bytes);
}

NotePresentation ExternalTextFile::presentation(std::string_view filename) {
    const std::size_t slash = filename.rfind('/');
    if (slash != std::string_view::npos) {
        filename.remove_prefix(slash + 1);
    }
    const std::string name = text::lowercase(filename);
    if (name == ".env" || name.starts_with(".env.")) {
        return {NoteMode::code, NoteCodeLanguage::shell};
    }
    for (const std::string_view profile :
         {".bashrc", ".zshrc", ".bash_profile", ".zprofile", ".profile"}) {
        if (name == profile) {
            return {NoteMode::code, NoteCodeLanguage::shell};
        }
    }
    // A name whose only dot is its first character (".gitignore") has no extension.
    const std::size_t dot = name.rfind('.');
    const std::string_view extension = dot == std::string::npos || dot == 0
                                           ? std::string_view()
                                           : std::string_view(name).substr(dot + 1);
    if (extension == "md" || extension == "markdown" || extension == "mdown") {
        return {NoteMode::markdown, NoteCodeLanguage::swift};
    }
    struct Entry {
        std::string_view extension;
        NoteCodeLanguage language;
    };
    static constexpr Entry table[] = {
        {"swift", NoteCodeLanguage::swift},    {"js", NoteCodeLanguage::javascript},
        {"jsx", NoteCodeLanguage::javascript}, {"mjs", NoteCodeLanguage::javascript},
        {"cjs", NoteCodeLanguage::javascript}, {"ts", NoteCodeLanguage::typescript},
        {"tsx", NoteCodeLanguage::typescript}, {"mts", NoteCodeLanguage::typescript},
        {"cts", NoteCodeLanguage::typescript}, {"py", NoteCodeLanguage::python},
        {"pyw", NoteCodeLanguage::python},     {"json", NoteCodeLanguage::json},
        {"sh", NoteCodeLanguage::shell},       {"bash", NoteCodeLanguage::shell},
        {"zsh", NoteCodeLanguage::shell},      {"env", NoteCodeLanguage::shell},
        {"html", NoteCodeLanguage::html},      {"htm", NoteCodeLanguage::html},
        {"css", NoteCodeLanguage::css},        {"sql", NoteCodeLanguage::sql},
    };
    if (!extension.empty()) {
        for (const Entry& entry : table) {
            if (entry.extension == extension) {
                return {NoteMode::code, entry.language};
            }
        }
    }
    return {NoteMode::text, NoteCodeLanguage::swift};
}

NoteDocument ExternalTextFile::note(std::string_view filename) const {
    const NotePresentation presentation = ExternalTextFile::presentation(filename);
    NoteDocument document;
    document.id = Uuid::random();
    document.text = text();
    document.createdAt = currentDate();
    document.updatedAt = currentDate();
    document.pinned = false;
    document.mode = presentation.mode;
    document.codeLanguage = presentation.language;
    return document;
}

namespace {

struct Line {
    std::string_view text;
    std::string_view lineBreak; // empty for the last line
};

std::vector<Line> splitLines(std::string_view text, bool onlyLineFeeds) {
    std::vector<Line> lines;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find_first_of(onlyLineFeeds ? "\n" : "\r\n", start);
        if (end == std::string_view::npos) {
            lines.push_back({text.substr(start), {}});
            return lines;
        }
        const std::size_t breakLength =
            text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1;
        lines.push_back({text.substr(start, end - start), text.substr(end, breakLength)});
        start = end + breakLength;
    }
}

} // namespace

std::string withLineBreaksOf(std::string_view original, std::string_view edited) {
    const std::vector<Line> before = splitLines(original, false);
    std::vector<Line> after = splitLines(edited, true);
    // Lines agree when their text and whether a break follows agree.
    const auto same = [](const Line& a, const Line& b) {
        return a.text == b.text && a.lineBreak.empty() == b.lineBreak.empty();
    };
    std::size_t head = 0;
    while (head < before.size() && head < after.size() && same(before[head], after[head])) {
        after[head].lineBreak = before[head].lineBreak;
        ++head;
    }
    std::size_t tail = 0;
    while (tail < before.size() - head && tail < after.size() - head &&
           same(before[before.size() - 1 - tail], after[after.size() - 1 - tail])) {
        after[after.size() - 1 - tail].lineBreak = before[before.size() - 1 - tail].lineBreak;
        ++tail;
    }
    const std::string_view inserted = head > 0 && !before[head - 1].lineBreak.empty()
                                          ? before[head - 1].lineBreak
                                          : std::string_view("\n");
    std::string result;
    result.reserve(edited.size() + edited.size() / 8);
    for (std::size_t k = 0; k < after.size(); ++k) {
        result += after[k].text;
        if (!after[k].lineBreak.empty()) {
            result += k >= head && k < after.size() - tail ? inserted : after[k].lineBreak;
        }
    }
    return result;
}

std::optional<std::filesystem::path> localPathFromLocation(std::string_view location) {
    const std::size_t scheme = schemeLength(location);
    const bool fileUrl = scheme != 0 && equalsIgnoringAsciiCase(location.substr(0, scheme), "file");
    if (!fileUrl) {
        // "https://host/x" is a URL; "draft:v2.txt" is an ordinary (relative) file name.
        if (scheme != 0 && location.substr(scheme).starts_with("://")) {
            return std::nullopt;
        }
        if (location.empty() || location.find('\0') != std::string_view::npos) {
            return std::nullopt;
        }
        return std::filesystem::path(location);
    }

    std::string_view rest = location.substr(scheme + 1);
    rest = rest.substr(0, rest.find_first_of("?#"));
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const std::size_t pathStart = rest.find('/');
        const std::string_view host = rest.substr(0, pathStart);
        if (!host.empty() && !equalsIgnoringAsciiCase(host, "localhost")) {
            return std::nullopt;
        }
        if (pathStart == std::string_view::npos) {
            return std::nullopt;
        }
        rest.remove_prefix(pathStart);
    }
    if (!rest.starts_with('/')) {
        return std::nullopt;
    }
    std::string path;
    path.reserve(rest.size());
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] != '%') {
            path.push_back(rest[i]);
            continue;
        }
        const std::optional<int> high = i + 1 < rest.size() ? hexValue(rest[i + 1]) : std::nullopt;
        const std::optional<int> low = i + 2 < rest.size() ? hexValue(rest[i + 2]) : std::nullopt;
        if (!high || !low || (*high == 0 && *low == 0)) {
            return std::nullopt;
        }
        path.push_back(static_cast<char>(*high * 16 + *low));
        i += 2;
    }
    return std::filesystem::path(path);
}

} // namespace zemvar::core
