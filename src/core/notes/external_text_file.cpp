// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/external_text_file.h"

#include "core/notes/file_io.h"
#include "core/notes/user_file.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zemvar::core {

namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view utf16LittleEndianMark = "\xFF\xFE";
constexpr std::string_view utf16BigEndianMark = "\xFE\xFF";

constexpr std::string_view crlf = "\r\n";
constexpr std::string_view cr = "\r";

[[noreturn]] void fail(ExternalTextFileError::Case errorCase) {
    throw ExternalTextFileError(errorCase);
}

// What the decoder learns about the characters below U+0020 while it walks the text: whether
// any of them makes the file binary, and which line breaks occur. A "\r\n" pair counts as one
// break; a "\r" or "\n" outside such a pair is a lone one.
struct ControlScan {
    bool binary = false;
    bool pairs = false;
    bool loneCarriageReturns = false;
    bool loneLineFeeds = false;

    // Records the control character `c`; returns how many characters it consumed (2 for the
    // carriage return of a "\r\n" pair).
    std::size_t record(char32_t c, bool followedByLineFeed) {
        switch (c) {
        case '\n':
            loneLineFeeds = true;
            return 1;
        case '\r':
            if (followedByLineFeed) {
                pairs = true;
                return 2;
            }
            loneCarriageReturns = true;
            return 1;
        case '\t':
        case '\f':
            return 1;
        default:
            binary = true;
            return 1;
        }
    }

    std::optional<std::string_view> lineEnding() const {
        if (pairs && !loneCarriageReturns && !loneLineFeeds) {
            return crlf;
        }
        if (loneCarriageReturns && !pairs && !loneLineFeeds) {
            return cr;
        }
        return std::nullopt;
    }
};

#if defined(__SSE2__)
// Bit i is set when byte i of the 16 at `p` is below 0x20 or at least 0x80 (a signed
// comparison catches both), i.e. when it is not printable ASCII.
inline unsigned specialBytes(const char* p) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20))));
}
#endif

// Checks that `bytes` is strict UTF-8 and scans its control characters. Returns false on the
// first malformed sequence (overlong forms, surrogates, values above U+10FFFF, truncation).
bool scanUtf8(std::string_view bytes, ControlScan& scan) {
    const char* const data = bytes.data();
    const std::size_t size = bytes.size();
    std::size_t i = 0;
    while (i < size) {
#if defined(__SSE2__)
        // Printable ASCII is by far the most common; skip it sixteen bytes at a time.
        while (size - i >= 16) {
            const unsigned mask = specialBytes(data + i);
            if (mask != 0) {
                i += static_cast<std::size_t>(__builtin_ctz(mask));
                break;
            }
            i += 16;
        }
        if (i == size) {
            break;
        }
#endif
        const auto byte = static_cast<unsigned char>(data[i]);
        if (byte >= 0x80) {
            const std::size_t start = i;
            // U+FFFD from its own three bytes is genuine; from fewer it marks a bad sequence.
            if (text::decodeUtf8(bytes, i) == text::replacementCharacter && i - start != 3) {
                return false;
            }
        } else if (byte >= 0x20) {
            ++i;
        } else {
            i += scan.record(byte, i + 1 < size && data[i + 1] == '\n');
        }
    }
    return true;
}

// Decodes UTF-16 in the given byte order into UTF-8 and scans its control characters. Gives no
// value for an odd number of bytes or an unpaired surrogate.
std::optional<std::string> decodeUtf16(std::string_view bytes, bool bigEndian, ControlScan& scan) {
    if (bytes.size() % 2 != 0) {
        return std::nullopt;
    }
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t units = bytes.size() / 2;
    const auto unitAt = [&](std::size_t k) -> char32_t {
        const unsigned first = data[2 * k];
        const unsigned second = data[2 * k + 1];
        return bigEndian ? (first << 8 | second) : (second << 8 | first);
    };

    // Sized for ASCII (one byte per unit) and grown when wider characters need more.
    std::string out(units + 16, '\0');
    std::size_t written = 0;
    std::size_t k = 0;
    while (k < units) {
#if defined(__SSE2__)
        // Eight printable ASCII units at a time, narrowed to eight bytes.
        while (units - k >= 8 && out.size() - written >= 8) {
            __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 2 * k));
            if (bigEndian) {
                v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
            }
            // Signed comparisons: units from 0x8000 up are negative and count as "below".
            const __m128i special = _mm_or_si128(_mm_cmplt_epi16(v, _mm_set1_epi16(0x20)),
                                                 _mm_cmpgt_epi16(v, _mm_set1_epi16(0x7F)));
            const auto mask = static_cast<unsigned>(_mm_movemask_epi8(special));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out.data() + written),
                             _mm_packus_epi16(v, v));
            if (mask != 0) {
                const auto plain = static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
                written += plain;
                k += plain;
                break;
            }
            written += 8;
            k += 8;
        }
        if (k == units) {
            break;
        }
#endif
        if (out.size() - written < 4) {
            out.resize(out.size() * 2);
        }
        char32_t c = unitAt(k);
        std::size_t consumed = 1;
        if (c >= 0xD800 && c <= 0xDBFF) {
            if (k + 1 == units) {
                return std::nullopt;
            }
            const char32_t low = unitAt(k + 1);
            if (low < 0xDC00 || low > 0xDFFF) {
                return std::nullopt;
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            consumed = 2;
        } else if (c >= 0xDC00 && c <= 0xDFFF) {
            return std::nullopt;
        } else if (c < 0x20) {
            consumed = scan.record(c, k + 1 < units && unitAt(k + 1) == '\n');
            if (consumed == 2) {
                out[written++] = '\r';
                c = '\n';
            }
        }
        char* const target = out.data() + written;
        if (c < 0x80) {
            target[0] = static_cast<char>(c);
            written += 1;
        } else if (c < 0x800) {
            target[0] = static_cast<char>(0xC0 | (c >> 6));
            target[1] = static_cast<char>(0x80 | (c & 0x3F));
            written += 2;
        } else if (c < 0x10000) {
            target[0] = static_cast<char>(0xE0 | (c >> 12));
            target[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            target[2] = static_cast<char>(0x80 | (c & 0x3F));
            written += 3;
        } else {
            target[0] = static_cast<char>(0xF0 | (c >> 18));
            target[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            target[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            target[3] = static_cast<char>(0x80 | (c & 0x3F));
            written += 4;
        }
        k += consumed;
    }
    out.resize(written);
    out.shrink_to_fit();
    return out;
}

// Returns the position of the first "\r" or "\n" in `text` at or after `from`, or text.size().
std::size_t findLineBreak(std::string_view text, std::size_t from) {
    const char* const data = text.data();
    std::size_t i = from;
#if defined(__SSE2__)
    const __m128i carriageReturn = _mm_set1_epi8('\r');
    const __m128i lineFeed = _mm_set1_epi8('\n');
    while (text.size() - i >= 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(
            _mm_or_si128(_mm_cmpeq_epi8(bytes, carriageReturn), _mm_cmpeq_epi8(bytes, lineFeed))));
        if (mask != 0) {
            return i + static_cast<std::size_t>(__builtin_ctz(mask));
        }
        i += 16;
    }
#endif
    while (i < text.size() && data[i] != '\r' && data[i] != '\n') {
        ++i;
    }
    return i;
}

// Rewrites every line break of `text` ("\r\n", a lone "\r" or a lone "\n") to `style`.
std::string withLineEndings(std::string_view text, std::string_view style) {
    std::string out;
    out.reserve(text.size() + text.size() / 16);
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t lineBreak = findLineBreak(text, start);
        out.append(text, start, lineBreak - start);
        if (lineBreak == text.size()) {
            break;
        }
        out.append(style);
        const bool pair =
            text[lineBreak] == '\r' && lineBreak + 1 < text.size() && text[lineBreak + 1] == '\n';
        start = lineBreak + (pair ? 2 : 1);
    }
    return out;
}

// Appends the UTF-16 form of valid UTF-8 `text` to `out` in the given byte order.
void appendUtf16(std::string& out, std::string_view text, bool bigEndian) {
    std::size_t written = out.size();
    out.resize(written + 2 * text.size() + 16);
    const auto putUnit = [&](char32_t unit) {
        const auto high = static_cast<char>(unit >> 8);
        const auto low = static_cast<char>(unit & 0xFF);
        out[written++] = bigEndian ? high : low;
        out[written++] = bigEndian ? low : high;
    };
    std::size_t i = 0;
    while (i < text.size()) {
#if defined(__SSE2__)
        // Sixteen ASCII bytes widen to sixteen units; every multi-byte sequence shrinks or
        // keeps its size in UTF-16, so the buffer sized above always has room.
        while (text.size() - i >= 16) {
            const __m128i bytes =
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
            const auto mask = static_cast<unsigned>(_mm_movemask_epi8(bytes));
            if (mask != 0) {
                break;
            }
            const __m128i zero = _mm_setzero_si128();
            __m128i* const target = reinterpret_cast<__m128i*>(out.data() + written);
            if (bigEndian) {
                _mm_storeu_si128(target, _mm_unpacklo_epi8(zero, bytes));
                _mm_storeu_si128(target + 1, _mm_unpackhi_epi8(zero, bytes));
            } else {
                _mm_storeu_si128(target, _mm_unpacklo_epi8(bytes, zero));
                _mm_storeu_si128(target + 1, _mm_unpackhi_epi8(bytes, zero));
            }
            written += 32;
            i += 16;
        }
        if (i == text.size()) {
            break;
        }
#endif
        const char32_t c = text::decodeUtf8(text, i);
        if (c < 0x10000) {
            putUnit(c);
        } else {
            putUnit(0xD800 + ((c - 0x10000) >> 10));
            putUnit(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    out.resize(written);
}

bool isValidUtf8Fast(std::string_view text) {
    ControlScan ignored;
    return scanUtf8(text, ignored);
}

// Closes a descriptor on every path out of read(); a failing close changes nothing that was
// read, so it is ignored.
class ReadDescriptor {
public:
    explicit ReadDescriptor(int fd)
        : m_fd(fd) {}
    ReadDescriptor(const ReadDescriptor&) = delete;
    ReadDescriptor& operator=(const ReadDescriptor&) = delete;
    ~ReadDescriptor() { ::close(m_fd); }
    int get() const { return m_fd; }

private:
    int m_fd;
};

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

    ControlScan scan;
    if (m_encoding == TextEncoding::utf8) {
        if (!scanUtf8(body, scan)) {
            fail(ExternalTextFileError::Case::unsupportedEncoding);
        }
        m_text = body;
    } else {
        std::optional<std::string> decoded =
            decodeUtf16(body, m_encoding == TextEncoding::utf16BigEndian, scan);
        if (!decoded) {
            fail(ExternalTextFileError::Case::unsupportedEncoding);
        }
        m_text = std::move(*decoded);
    }
    if (scan.binary) {
        fail(ExternalTextFileError::Case::binary);
    }
    m_lineEnding = scan.lineEnding();
    m_originalData = std::move(data);
}

ExternalTextFile ExternalTextFile::read(const std::filesystem::path& path) {
    if (path.empty()) {
        fail(ExternalTextFileError::Case::notRegular);
    }
    // Decide on the kind of item before opening it: opening a FIFO would wait for a writer.
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        throwFileError(errno, path);
    }
    if (!S_ISREG(info.st_mode)) {
        fail(ExternalTextFileError::Case::notRegular);
    }
    int fd = -1;
    do {
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        throwFileError(errno, path);
    }
    const ReadDescriptor file(fd);
    // The item may have been swapped between stat and open; judge what was actually opened.
    if (::fstat(file.get(), &info) != 0) {
        throwFileError(errno, path);
    }
    if (!S_ISREG(info.st_mode)) {
        fail(ExternalTextFileError::Case::notRegular);
    }

    // One byte beyond the limit is enough to know that a file is too large.
    constexpr std::size_t wanted = maximumBytes + 1;
    std::string data;
    char buffer[65536];
    while (data.size() < wanted) {
        const std::size_t chunk = std::min(sizeof buffer, wanted - data.size());
        const ssize_t got = ::read(file.get(), buffer, chunk);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwFileError(errno, path);
        }
        if (got == 0) {
            break;
        }
        data.append(buffer, static_cast<std::size_t>(got));
    }
    return ExternalTextFile(std::move(data));
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
    if (!isValidUtf8Fast(text)) {
        fail(ExternalTextFileError::Case::unsupportedEncoding);
    }
    std::string normalised;
    if (m_lineEnding) {
        normalised = withLineEndings(text, *m_lineEnding);
        text = normalised;
    }
    std::string out = m_prefix;
    if (m_encoding == TextEncoding::utf8) {
        if (text.size() > maximumBytes - out.size()) {
            fail(ExternalTextFileError::Case::tooLarge);
        }
        out.append(text);
    } else {
        // UTF-16 never takes fewer than two bytes for three of UTF-8; refuse hopeless sizes
        // before converting them.
        if (text.size() / 3 * 2 > maximumBytes) {
            fail(ExternalTextFileError::Case::tooLarge);
        }
        appendUtf16(out, text, m_encoding == TextEncoding::utf16BigEndian);
    }
    if (out.size() > maximumBytes) {
        fail(ExternalTextFileError::Case::tooLarge);
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
    document.text = m_text;
    document.createdAt = std::chrono::system_clock::now();
    document.updatedAt = std::chrono::system_clock::now();
    document.pinned = false;
    document.mode = presentation.mode;
    document.codeLanguage = presentation.language;
    return document;
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
