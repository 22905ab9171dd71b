// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_document.h"

#include <string>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

NoteDocument withText(std::string text) {
    return NoteDocument{Uuid(),         std::move(text),        Date{}, Date{}, false,
                        NoteMode::text, NoteCodeLanguage::swift};
}

TEST(NoteDocumentTest, TitleIsTheFirstNonBlankLineTrimmed) {
    struct Case {
        const char* text;
        const char* title;
    } cases[] = {
        {"", ""},
        {"\n\n\n", ""},
        {" \t \n\t\t\n", ""},
        {"\n\n   \n  Groceries  \nmilk\n", "Groceries"},
        {"Rent\r\nmore", "Rent"},               // a carriage return is white space
        {"\u00A0\u2003Budget\u3000", "Budget"}, // Unicode spaces are trimmed too
        {"first\nsecond", "first"},
        {"a\rb", "a\rb"}, // only line feeds split lines
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(withText(c.text).title(), c.title);
    }
}

TEST(NoteDocumentTest, TitleIsCutToSixtyUserPerceivedCharacters) {
    EXPECT_EQ(withText(std::string(100, 'x')).title(), std::string(60, 'x'));
    EXPECT_EQ(withText(std::string(60, 'y') + "\nz").title(), std::string(60, 'y'));

    std::string emoji;
    std::string combined;
    for (int i = 0; i < 70; ++i) {
        emoji += "\U0001F468\u200D\U0001F469\u200D\U0001F467"; // one family emoji
        combined += "e\u0301";
    }
    std::string sixtyEmoji;
    std::string sixtyCombined;
    for (int i = 0; i < 60; ++i) {
        sixtyEmoji += "\U0001F468\u200D\U0001F469\u200D\U0001F467";
        sixtyCombined += "e\u0301";
    }
    EXPECT_EQ(withText(emoji).title(), sixtyEmoji);
    EXPECT_EQ(withText(combined).title(), sixtyCombined);
}

TEST(NoteDocumentTest, EqualityComparesEveryField) {
    NoteDocument a = withText("x");
    NoteDocument b = a;
    EXPECT_EQ(a, b);
    b.codeLanguage = NoteCodeLanguage::sql;
    EXPECT_NE(a, b);
}

TEST(NoteModeTest, RawValuesLabelsAndOrder) {
    ASSERT_EQ(allNoteModes.size(), 4u);
    EXPECT_EQ(rawValue(allNoteModes[1]), "calculations");
    EXPECT_EQ(label(NoteMode::markdown), "Markdown");
    EXPECT_EQ(symbolName(NoteMode::code), "chevron.left.forwardslash.chevron.right");
    EXPECT_EQ(noteModeFromRawValue("code"), NoteMode::code);
    EXPECT_EQ(noteModeFromRawValue("Code"), std::nullopt); // exact and case-sensitive
    ASSERT_EQ(allNoteCodeLanguages.size(), 9u);
    EXPECT_EQ(allNoteCodeLanguages.back(), NoteCodeLanguage::sql);
    EXPECT_EQ(label(NoteCodeLanguage::javascript), "JavaScript");
    EXPECT_EQ(noteCodeLanguageFromRawValue("typescript"), NoteCodeLanguage::typescript);
    EXPECT_EQ(noteCodeLanguageFromRawValue("ts"), std::nullopt);
    for (const NoteCodeLanguage language : allNoteCodeLanguages) {
        EXPECT_EQ(noteCodeLanguageFromRawValue(rawValue(language)), language);
    }
}

} // namespace
} // namespace zemvar::core
