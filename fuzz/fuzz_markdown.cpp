// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Parses arbitrary text as markdown blocks: never crashes, and the blocks keep their simple
// invariants (heading levels 1 to 6, list markers, valid UTF-8 out of valid UTF-8 in, the
// same blocks for any line-ending style).
#include "core/text/note_markdown_block.h"
#include "core/text/unicode.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using zemvar::core::NoteMarkdownBlock;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::string withLineFeeds(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r') {
            out.push_back('\n');
            if (i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::vector<NoteMarkdownBlock> blocks = NoteMarkdownBlock::parse(text);
    const bool valid = zemvar::core::text::isValidUtf8(text);
    for (const NoteMarkdownBlock& block : blocks) {
        switch (block.kind) {
        case NoteMarkdownBlock::Kind::heading:
            require(block.level >= 1 && block.level <= 6);
            break;
        case NoteMarkdownBlock::Kind::list:
            require(block.indent >= 0);
            require(block.marker == "\u2022" ||
                    (block.marker.size() >= 2 && block.marker.back() == '.'));
            break;
        case NoteMarkdownBlock::Kind::paragraph:
            require(!block.text.empty());
            break;
        case NoteMarkdownBlock::Kind::quote:
        case NoteMarkdownBlock::Kind::code:
        case NoteMarkdownBlock::Kind::divider:
            break;
        }
        if (valid) {
            require(zemvar::core::text::isValidUtf8(block.text));
            require(zemvar::core::text::isValidUtf8(block.marker));
            require(zemvar::core::text::isValidUtf8(block.language));
        }
    }
    require(NoteMarkdownBlock::parse(withLineFeeds(text)) == blocks);
    return 0;
}
