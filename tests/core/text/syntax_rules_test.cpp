// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/text/syntax_rules.h"

#include <string>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

TEST(SyntaxRulesTest, JsonPatternHasTheFiveGroupsInOrder) {
    const std::string expected =
        R"re(((?!))|(\"\"\"[\s\S]*?(?:\"\"\"|$)|'''[\s\S]*?(?:'''|$)|\"(?:\\.|[^\"\\\n])*\"?|)re"
        R"re('(?:\\.|[^'\\\n])*'?|`(?:\\.|[^`\\])*`?)|)re"
        R"re((\b(?:0[xX][0-9a-fA-F]+|\d+(?:\.\d+)?(?:[eE][+-]?\d+)?)\b)|)re"
        R"re((\b(?:true|false|null)\b)|(\b[A-Za-z_][\w]*(?=\s*\()))re";
    EXPECT_EQ(SyntaxRules::forLanguage(NoteCodeLanguage::json).pattern, expected);
}

TEST(SyntaxRulesTest, CommentAndFunctionGroupsFollowTheLanguage) {
    struct Row {
        NoteCodeLanguage language;
        const char* comment;
    };
    const Row rows[] = {
        {NoteCodeLanguage::swift, R"(//[^\n]*|/\*[\s\S]*?(?:\*/|$))"},
        {NoteCodeLanguage::typescript, R"(//[^\n]*|/\*[\s\S]*?(?:\*/|$))"},
        {NoteCodeLanguage::python, R"(#[^\n]*)"},
        {NoteCodeLanguage::shell, R"(#[^\n]*)"},
        {NoteCodeLanguage::html, R"(<!--[\s\S]*?(?:-->|$))"},
        {NoteCodeLanguage::css, R"(/\*[\s\S]*?(?:\*/|$))"},
        {NoteCodeLanguage::sql, R"(--[^\n]*|/\*[\s\S]*?(?:\*/|$))"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(rawValue(row.language)));
        EXPECT_EQ(SyntaxRules::groupPattern(row.language, SyntaxTokenClass::comment), row.comment);
    }
    EXPECT_EQ(SyntaxRules::groupPattern(NoteCodeLanguage::html, SyntaxTokenClass::function),
              R"(</?[A-Za-z][\w:-]*|/?>)");
    EXPECT_EQ(SyntaxRules::groupPattern(NoteCodeLanguage::css, SyntaxTokenClass::function),
              R"(\b[A-Za-z_][\w]*(?=\s*\())");
}

TEST(SyntaxRulesTest, KeywordsAreJoinedInStoredOrder) {
    const std::string sql =
        SyntaxRules::groupPattern(NoteCodeLanguage::sql, SyntaxTokenClass::keyword);
    EXPECT_EQ(sql.substr(0, 22), R"(\b(?:SELECT|FROM|WHERE)");
    EXPECT_EQ(sql.substr(sql.size() - 19), R"(|DESC|TRUE|FALSE)\b)");
    EXPECT_EQ(sql.find("||"), std::string::npos);
    EXPECT_NE(SyntaxRules::groupPattern(NoteCodeLanguage::swift, SyntaxTokenClass::keyword)
                  .find("|self|Self|"),
              std::string::npos);
}

TEST(SyntaxRulesTest, OnlyHtmlAndSqlIgnoreCase) {
    for (const NoteCodeLanguage language : allNoteCodeLanguages) {
        SCOPED_TRACE(std::string(rawValue(language)));
        const bool expected =
            language == NoteCodeLanguage::html || language == NoteCodeLanguage::sql;
        EXPECT_EQ(SyntaxRules::forLanguage(language).caseInsensitive, expected);
    }
}

TEST(SyntaxRulesTest, PalettesAreOpaqueRgbByTokenClass) {
    EXPECT_EQ(SyntaxRules::palette(false)[static_cast<int>(SyntaxTokenClass::comment)], 0x526158u);
    EXPECT_EQ(SyntaxRules::palette(false)[static_cast<int>(SyntaxTokenClass::function)], 0x1A5E85u);
    EXPECT_EQ(SyntaxRules::palette(true)[static_cast<int>(SyntaxTokenClass::string)], 0xF1AB94u);
    EXPECT_EQ(SyntaxRules::palette(true)[static_cast<int>(SyntaxTokenClass::keyword)], 0xDDB1F0u);
}

} // namespace
} // namespace zemvar::core
