// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/text/note_markdown_block.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {

// Failure messages show blocks as, for example, list("•", "milk", 1).
void PrintTo(const NoteMarkdownBlock& block, std::ostream* out) {
    *out << kindName(block.kind) << "(";
    switch (block.kind) {
    case NoteMarkdownBlock::Kind::heading:
        *out << block.level << ", " << ::testing::PrintToString(block.text);
        break;
    case NoteMarkdownBlock::Kind::paragraph:
    case NoteMarkdownBlock::Kind::quote:
        *out << ::testing::PrintToString(block.text);
        break;
    case NoteMarkdownBlock::Kind::list:
        *out << ::testing::PrintToString(block.marker) << ", "
             << ::testing::PrintToString(block.text) << ", " << block.indent;
        break;
    case NoteMarkdownBlock::Kind::code:
        *out << ::testing::PrintToString(block.language) << ", "
             << ::testing::PrintToString(block.text);
        break;
    case NoteMarkdownBlock::Kind::divider:
        break;
    }
    *out << ")";
}

namespace {

using Block = NoteMarkdownBlock;
using Blocks = std::vector<NoteMarkdownBlock>;

const std::string bullet = "\u2022";

struct Row {
    const char* text;
    Blocks blocks;
};

void check(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(std::string(row.text)));
        EXPECT_EQ(Block::parse(row.text), row.blocks);
    }
}

TEST(NoteMarkdownBlockTest, Headings) {
    check({
        {"# Title", {Block::heading(1, "Title")}},
        {"###### six", {Block::heading(6, "six")}},
        {"####### x", {Block::paragraph("####### x")}},
        {"#x", {Block::paragraph("#x")}},
        {"#", {Block::paragraph("#")}},
        {"#  two spaces", {Block::heading(1, " two spaces")}}, // only one space is taken
        {"  ## indented  ", {Block::heading(2, "indented")}},
        {"#\u0301 x", {Block::paragraph("#\u0301 x")}}, // "#" with an accent is no "#"
        {"Title\n---", {Block::heading(2, "Title")}},
        {"  Title \n ===== ", {Block::heading(1, "Title")}},
        {"A\n===\nB", {Block::heading(1, "A"), Block::paragraph("B")}},
        {"Title\n= =", {Block::paragraph("Title\n= =")}},
        {"one\ntwo\n---", {Block::paragraph("one"), Block::heading(2, "two")}},
        {"# T\n---", {Block::heading(1, "T"), Block::divider()}},
        // The underline is looked for before dividers and list items are.
        {"- item\n---", {Block::heading(2, "- item")}},
        {"---\n---", {Block::heading(2, "---")}},
    });
}

TEST(NoteMarkdownBlockTest, DividersComeBeforeListItems) {
    check({
        {"---", {Block::divider()}},
        {"\n---", {Block::divider()}},
        {"- - -", {Block::divider()}},
        {"* * *", {Block::divider()}},
        {"__ _", {Block::divider()}},
        {"-\t-\u00A0-", {Block::divider()}},
        {"--", {Block::paragraph("--")}},
        {"-*-", {Block::paragraph("-*-")}},
        {"-\u0301--", {Block::paragraph("-\u0301--")}},
    });
}

TEST(NoteMarkdownBlockTest, ListItems) {
    check({
        {"- item", {Block::list(bullet, "item", 0)}},
        {"* item", {Block::list(bullet, "item", 0)}},
        {"+ item", {Block::list(bullet, "item", 0)}},
        {"1. one", {Block::list("1.", "one", 0)}},
        {"1) item", {Block::list("1.", "item", 0)}},
        {"42. answer", {Block::list("42.", "answer", 0)}},
        {"\u0663. arabic-indic", {Block::list("\u0663.", "arabic-indic", 0)}},
        {"\u00BD) half", {Block::list("\u00BD.", "half", 0)}},
        {"- ", {Block::paragraph("-")}},
        {"-item", {Block::paragraph("-item")}},
        {"1.item", {Block::paragraph("1.item")}},
        {"a. letter", {Block::paragraph("a. letter")}},
        {"-  two spaces", {Block::list(bullet, " two spaces", 0)}},
        {"  - two", {Block::list(bullet, "two", 1)}},
        {"   - three", {Block::list(bullet, "three", 1)}},
        {"    - four", {Block::list(bullet, "four", 2)}},
        {"\t- tab", {Block::list(bullet, "tab", 2)}},
        {" \t1. mixed", {Block::list("1.", "mixed", 2)}},
        {"- a\n- b", {Block::list(bullet, "a", 0), Block::list(bullet, "b", 0)}},
        {"text\n- a\nmore",
         {Block::paragraph("text"), Block::list(bullet, "a", 0), Block::paragraph("more")}},
    });
}

TEST(NoteMarkdownBlockTest, Quotes) {
    check({
        {"> quote", {Block::quote("quote")}},
        {">  spaced ", {Block::quote("spaced")}},
        {">", {Block::quote("")}},
        // Exactly one character after ">" is dropped, whatever it is.
        {">quote", {Block::quote("uote")}},
        {">\u00E9t\u00E9", {Block::quote("t\u00E9")}},
        {">e\u0301x", {Block::quote("x")}},
        {"> a\n  > b\nc", {Block::quote("a\nb"), Block::paragraph("c")}},
        {"p\n> q", {Block::paragraph("p"), Block::quote("q")}},
        {">\u0301 x", {Block::paragraph(">\u0301 x")}},
    });
}

TEST(NoteMarkdownBlockTest, FencedCode) {
    check({
        {"```swift\nlet x = 1\n  indented\n```", {Block::code("swift", "let x = 1\n  indented")}},
        {"~~~ python \n# not a heading\n~~~", {Block::code("python", "# not a heading")}},
        {"```\n```", {Block::code("", "")}},
        {"````\n```\n````", {Block::code("", "```")}}, // a shorter run does not close
        {"```\nbody\n~~~\n```", {Block::code("", "body\n~~~")}},
        {"```\ncode\n   ````more\nafter", {Block::code("", "code"), Block::paragraph("after")}},
        {"```\nunterminated\n\n- x", {Block::code("", "unterminated\n\n- x")}},
        {"```js\nx\n", {Block::code("js", "x\n")}},
        {"para\n```\nc\n```\n", {Block::paragraph("para"), Block::code("", "c")}},
        {"``\u0300`\nx", {Block::paragraph("``\u0300`\nx")}},
    });
}

TEST(NoteMarkdownBlockTest, ParagraphsAndLineEndings) {
    const Blocks mixed = {Block::heading(1, "Plan"), Block::paragraph("first\nsecond"),
                          Block::list(bullet, "item", 1), Block::code("", "a\n\nb"),
                          Block::paragraph("end")};
    check({
        {"", {}},
        {"\n \n\t\n\u3000", {}},
        {"  one  \n\ttwo\n\nthree", {Block::paragraph("one\ntwo"), Block::paragraph("three")}},
        {"# Plan\nfirst\n  second\n  - item\n```\na\n\nb\n```\nend", mixed},
        {"# Plan\r\nfirst\r\n  second\r\n  - item\r\n```\r\na\r\n\r\nb\r\n```\r\nend", mixed},
        {"# Plan\rfirst\r  second\r  - item\r```\ra\r\rb\r```\rend", mixed},
        {"a\r\n\r\nb\n\rc", {Block::paragraph("a"), Block::paragraph("b"), Block::paragraph("c")}},
    });
}

TEST(NoteMarkdownBlockTest, EqualityIgnoresFieldsOfOtherKinds) {
    Block stray = Block::paragraph("x");
    stray.level = 3;
    stray.language = "swift";
    EXPECT_EQ(stray, Block::paragraph("x"));
    EXPECT_NE(Block::quote("x"), Block::paragraph("x"));
    EXPECT_NE(Block::list("1.", "x", 0), Block::list("1.", "x", 1));

    const std::vector<std::pair<Block::Kind, const char*>> names = {
        {Block::Kind::heading, "heading"}, {Block::Kind::paragraph, "paragraph"},
        {Block::Kind::list, "list"},       {Block::Kind::quote, "quote"},
        {Block::Kind::code, "code"},       {Block::Kind::divider, "divider"},
    };
    for (const auto& [kind, name] : names) {
        EXPECT_EQ(kindName(kind), name);
    }
}

} // namespace
} // namespace zemvar::core
