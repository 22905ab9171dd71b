// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zemvar::core {

/// One block of a markdown note as the preview lays it out: a small fixed rule set applied
/// line by line, not a full CommonMark parser. Inline markup stays in `text` untouched.
///
/// Only the fields of the block's kind carry meaning; the others keep their defaults, and
/// equality compares the kind and its own fields only.
struct NoteMarkdownBlock {
    enum class Kind {
        heading,   ///< level and text
        paragraph, ///< text: consecutive ordinary lines, trimmed, joined with "\n"
        list,      ///< marker, text and indent of one list item
        quote,     ///< text: consecutive ">" lines joined with "\n"
        code,      ///< language and text of a fenced block
        divider,   ///< no payload
    };

    Kind kind = Kind::paragraph;
    int level = 0;        ///< heading level, 1 to 6
    std::string text;     ///< every kind but divider
    std::string marker;   ///< list: "•" (U+2022) or the item's digits followed by "."
    int indent = 0;       ///< list: leading width (space 1, tab 4) halved, rounded down
    std::string language; ///< code: the word after the opening fence, possibly empty

    static NoteMarkdownBlock heading(int level, std::string text);
    static NoteMarkdownBlock paragraph(std::string text);
    static NoteMarkdownBlock list(std::string marker, std::string text, int indent);
    static NoteMarkdownBlock quote(std::string text);
    static NoteMarkdownBlock code(std::string language, std::string text);
    static NoteMarkdownBlock divider();

    /// Splits a markdown text (UTF-8, any of "\n", "\r\n" and "\r" line endings) into blocks
    /// in reading order. Never fails. Example: "# Plan\n- milk\n\n1) eggs" gives a heading
    /// (1, "Plan"), a list item ("•", "milk", 0) and a list item ("1.", "eggs", 0).
    static std::vector<NoteMarkdownBlock> parse(std::string_view text);

    friend bool operator==(const NoteMarkdownBlock& a, const NoteMarkdownBlock& b);
};

/// Returns the name of a kind as the command line's JSON spells it: "heading", "paragraph",
/// "list", "quote", "code" or "divider".
std::string_view kindName(NoteMarkdownBlock::Kind kind);

} // namespace zemvar::core
