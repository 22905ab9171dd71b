// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/text/note_markdown_block.h"

#include "core/text/unicode.h"

#include <cstddef>
#include <utility>

namespace zemvar::core {

namespace {

// The rules count and drop user-perceived characters, so an ASCII character followed by a
// combining mark is not that character. The ASCII look-ahead spares the segmentation rules for
// the common case.
bool characterIs(std::string_view text, std::size_t pos, char ch) {
    if (pos >= text.size() || text[pos] != ch) {
        return false;
    }
    if (pos + 1 == text.size() || static_cast<unsigned char>(text[pos + 1]) < 0x80) {
        return true;
    }
    return text::nextGraphemeBoundary(text, pos) == pos + 1;
}

struct Run {
    std::size_t count = 0; // characters
    std::size_t end = 0;   // byte offset just after the run
};

// Measures the run of `ch` characters that opens `text`.
Run leadingRun(std::string_view text, char ch) {
    Run run;
    while (characterIs(text, run.end, ch)) {
        ++run.count;
        ++run.end;
    }
    return run;
}

// Returns the byte offset after the first `count` characters of `text` (or its size).
std::size_t afterCharacters(std::string_view text, std::size_t count) {
    std::size_t pos = 0;
    for (std::size_t i = 0; i < count && pos < text.size(); ++i) {
        pos = text::nextGraphemeBoundary(text, pos);
    }
    return pos;
}

bool isSetext(std::string_view trimmed) {
    if (trimmed.empty() || (trimmed[0] != '=' && trimmed[0] != '-')) {
        return false;
    }
    return leadingRun(trimmed, trimmed[0]).end == trimmed.size();
}

constexpr bool isAsciiWhiteSpace(char ch) {
    return ch == ' ' || (ch >= '\t' && ch <= '\r');
}

// Trims White_Space from both ends, sparing the Unicode helper when both ends are ASCII.
std::string_view trimLine(std::string_view line) {
    std::size_t begin = 0;
    std::size_t end = line.size();
    while (begin < end && isAsciiWhiteSpace(line[begin])) {
        ++begin;
    }
    while (end > begin && isAsciiWhiteSpace(line[end - 1])) {
        --end;
    }
    const std::string_view rest = line.substr(begin, end - begin);
    if (!rest.empty() && (static_cast<unsigned char>(rest.front()) >= 0x80 ||
                          static_cast<unsigned char>(rest.back()) >= 0x80)) {
        return text::trimWhiteSpace(rest);
    }
    return rest;
}

// At least three characters once all white space is removed, all "-", all "*" or all "_".
bool isDivider(std::string_view trimmed) {
    // Trimmed text starts with no white space, so its first byte decides most lines at once.
    const char ch = trimmed.empty() ? '\0' : trimmed[0];
    if (ch != '-' && ch != '*' && ch != '_') {
        return false;
    }
    // Plain ASCII needs no segmentation: every byte is a character.
    std::size_t count = 0;
    bool ascii = true;
    for (const char byte : trimmed) {
        if (static_cast<unsigned char>(byte) >= 0x80) {
            ascii = false;
            break;
        }
        if (byte == ch) {
            ++count;
        } else if (!isAsciiWhiteSpace(byte)) {
            return false;
        }
    }
    if (ascii) {
        return count >= 3;
    }
    std::string rest;
    rest.reserve(trimmed.size());
    for (std::size_t pos = 0; pos < trimmed.size();) {
        const std::size_t start = pos;
        const char32_t c = text::decodeUtf8(trimmed, pos);
        if (!text::isWhiteSpace(c)) {
            rest.append(trimmed, start, pos - start);
        }
    }
    const Run run = leadingRun(rest, ch);
    return run.end == rest.size() && run.count >= 3;
}

// Leading spaces and tabs of the raw line: a space counts 1, a tab 4.
int indentWidth(std::string_view line) {
    int width = 0;
    for (const char ch : line) {
        if (ch == ' ') {
            width += 1;
        } else if (ch == '\t') {
            width += 4;
        } else {
            break;
        }
    }
    return width;
}

bool listItem(std::string_view line, std::string_view trimmed, NoteMarkdownBlock& item) {
    const int indent = indentWidth(line) / 2;
    if ((characterIs(trimmed, 0, '-') || characterIs(trimmed, 0, '*') ||
         characterIs(trimmed, 0, '+')) &&
        characterIs(trimmed, 1, ' ')) {
        item = NoteMarkdownBlock::list("\u2022", std::string(trimmed.substr(2)), indent);
        return true;
    }
    const auto lead = static_cast<unsigned char>(trimmed[0]);
    if (lead < 0x80 && (lead < '0' || lead > '9')) {
        return false;
    }
    // A character counts as a digit when its base code point has a numeric value (2, ٣, ½).
    std::size_t digitsEnd = 0;
    while (digitsEnd < trimmed.size()) {
        std::size_t next = digitsEnd;
        if (!text::isNumeric(text::decodeUtf8(trimmed, next))) {
            break;
        }
        digitsEnd = text::nextGraphemeBoundary(trimmed, digitsEnd);
    }
    if (digitsEnd == 0 ||
        !(characterIs(trimmed, digitsEnd, '.') || characterIs(trimmed, digitsEnd, ')')) ||
        !characterIs(trimmed, digitsEnd + 1, ' ')) {
        return false;
    }
    item = NoteMarkdownBlock::list(std::string(trimmed.substr(0, digitsEnd)) + ".",
                                   std::string(trimmed.substr(digitsEnd + 2)), indent);
    return true;
}

// Splits at "\r\n", "\r" and "\n" alike; a text ending in a line break ends with an empty
// line, as splitting the normalised text at "\n" would give.
std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    if (text.find('\r') == std::string_view::npos) {
        // The usual case: memchr finds the line feeds far faster than a loop over bytes.
        std::size_t start = 0;
        for (;;) {
            const std::size_t lineFeed = text.find('\n', start);
            lines.push_back(text.substr(start, lineFeed - start));
            if (lineFeed == std::string_view::npos) {
                return lines;
            }
            start = lineFeed + 1;
        }
    }
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char ch = text[i];
        if (ch != '\n' && ch != '\r') {
            continue;
        }
        lines.push_back(text.substr(start, i - start));
        if (ch == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            ++i;
        }
        start = i + 1;
    }
    lines.push_back(text.substr(start));
    return lines;
}

void appendLine(std::string& out, std::string_view line, bool first) {
    if (!first) {
        out.push_back('\n');
    }
    out.append(line);
}

} // namespace

NoteMarkdownBlock NoteMarkdownBlock::heading(int level, std::string text) {
    NoteMarkdownBlock block;
    block.kind = Kind::heading;
    block.level = level;
    block.text = std::move(text);
    return block;
}

NoteMarkdownBlock NoteMarkdownBlock::paragraph(std::string text) {
    NoteMarkdownBlock block;
    block.kind = Kind::paragraph;
    block.text = std::move(text);
    return block;
}

NoteMarkdownBlock NoteMarkdownBlock::list(std::string marker, std::string text, int indent) {
    NoteMarkdownBlock block;
    block.kind = Kind::list;
    block.marker = std::move(marker);
    block.text = std::move(text);
    block.indent = indent;
    return block;
}

NoteMarkdownBlock NoteMarkdownBlock::quote(std::string text) {
    NoteMarkdownBlock block;
    block.kind = Kind::quote;
    block.text = std::move(text);
    return block;
}

NoteMarkdownBlock NoteMarkdownBlock::code(std::string language, std::string text) {
    NoteMarkdownBlock block;
    block.kind = Kind::code;
    block.language = std::move(language);
    block.text = std::move(text);
    return block;
}

NoteMarkdownBlock NoteMarkdownBlock::divider() {
    NoteMarkdownBlock block;
    block.kind = Kind::divider;
    return block;
}

bool operator==(const NoteMarkdownBlock& a, const NoteMarkdownBlock& b) {
    if (a.kind != b.kind) {
        return false;
    }
    switch (a.kind) {
    case NoteMarkdownBlock::Kind::heading:
        return a.level == b.level && a.text == b.text;
    case NoteMarkdownBlock::Kind::paragraph:
    case NoteMarkdownBlock::Kind::quote:
        return a.text == b.text;
    case NoteMarkdownBlock::Kind::list:
        return a.marker == b.marker && a.text == b.text && a.indent == b.indent;
    case NoteMarkdownBlock::Kind::code:
        return a.language == b.language && a.text == b.text;
    case NoteMarkdownBlock::Kind::divider:
        return true;
    }
    return false;
}

std::string_view kindName(NoteMarkdownBlock::Kind kind) {
    switch (kind) {
    case NoteMarkdownBlock::Kind::heading:
        return "heading";
    case NoteMarkdownBlock::Kind::paragraph:
        return "paragraph";
    case NoteMarkdownBlock::Kind::list:
        return "list";
    case NoteMarkdownBlock::Kind::quote:
        return "quote";
    case NoteMarkdownBlock::Kind::code:
        return "code";
    case NoteMarkdownBlock::Kind::divider:
        return "divider";
    }
    return {};
}

std::vector<NoteMarkdownBlock> NoteMarkdownBlock::parse(std::string_view text) {
    const std::vector<std::string_view> lines = splitLines(text);
    std::vector<NoteMarkdownBlock> blocks;
    // Never more blocks than lines; reserving spares moving the blocks as the list grows.
    blocks.reserve(lines.size());
    std::vector<std::string_view> paragraphLines;
    const auto flush = [&] {
        if (paragraphLines.empty()) {
            return;
        }
        std::string joined;
        for (std::size_t k = 0; k < paragraphLines.size(); ++k) {
            appendLine(joined, paragraphLines[k], k == 0);
        }
        blocks.push_back(paragraph(std::move(joined)));
        paragraphLines.clear();
    };

    std::size_t i = 0;
    while (i < lines.size()) {
        const std::string_view line = lines[i];
        const std::string_view trimmed = trimLine(line);
        if (trimmed.empty()) {
            flush();
            ++i;
            continue;
        }

        const char first = trimmed[0];
        if (first == '`' || first == '~') {
            const Run fence = leadingRun(trimmed, first);
            if (fence.count >= 3) {
                flush();
                std::string body;
                std::size_t j = i + 1;
                for (; j < lines.size(); ++j) {
                    if (leadingRun(trimLine(lines[j]), first).count >= fence.count) {
                        break;
                    }
                    appendLine(body, lines[j], j == i + 1);
                }
                blocks.push_back(
                    code(std::string(trimLine(trimmed.substr(fence.end))), std::move(body)));
                i = j < lines.size() ? j + 1 : j; // the closing fence is consumed
                continue;
            }
        }

        if (first == '#') {
            const Run hashes = leadingRun(trimmed, '#');
            if (hashes.count >= 1 && hashes.count <= 6 && characterIs(trimmed, hashes.end, ' ')) {
                flush();
                blocks.push_back(heading(static_cast<int>(hashes.count),
                                         std::string(trimmed.substr(hashes.end + 1))));
                ++i;
                continue;
            }
        }

        if (i + 1 < lines.size()) {
            const std::string_view underline = trimLine(lines[i + 1]);
            if (isSetext(underline)) {
                flush();
                blocks.push_back(heading(underline[0] == '=' ? 1 : 2, std::string(trimmed)));
                i += 2;
                continue;
            }
        }

        if (isDivider(trimmed)) {
            flush();
            blocks.push_back(divider());
            ++i;
            continue;
        }

        if (characterIs(trimmed, 0, '>')) {
            flush();
            std::string joined;
            std::size_t j = i;
            for (; j < lines.size(); ++j) {
                const std::string_view quoted = trimLine(lines[j]);
                if (!characterIs(quoted, 0, '>')) {
                    break;
                }
                // The ">" and the one character after it, whatever that is, are dropped.
                const std::string_view rest = quoted.substr(afterCharacters(quoted, 2));
                appendLine(joined, trimLine(rest), j == i);
            }
            blocks.push_back(quote(std::move(joined)));
            i = j;
            continue;
        }

        NoteMarkdownBlock item;
        if (listItem(line, trimmed, item)) {
            flush();
            blocks.push_back(std::move(item));
            ++i;
            continue;
        }

        paragraphLines.push_back(trimmed);
        ++i;
    }
    flush();
    return blocks;
}

} // namespace zemvar::core
