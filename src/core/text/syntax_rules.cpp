// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/text/syntax_rules.h"

namespace zemvar::core {

namespace {

constexpr std::string_view cStyleComment = R"re(//[^\n]*|/\*[\s\S]*?(?:\*/|$))re";
constexpr std::string_view hashComment = R"re(#[^\n]*)re";
// An empty negative look-ahead never matches: JSON has no comments.
constexpr std::string_view noComment = R"re((?!))re";
constexpr std::string_view htmlComment = R"re(<!--[\s\S]*?(?:-->|$))re";
constexpr std::string_view blockComment = R"re(/\*[\s\S]*?(?:\*/|$))re";
constexpr std::string_view sqlComment = R"re(--[^\n]*|/\*[\s\S]*?(?:\*/|$))re";

// Triple-quoted blocks (to the end of the text when unterminated), quoted strings with
// backslash escapes that stop at a line break, and back-quoted strings that may span lines.
constexpr std::string_view stringPattern =
    R"re(\"\"\"[\s\S]*?(?:\"\"\"|$)|'''[\s\S]*?(?:'''|$)|\"(?:\\.|[^\"\\\n])*\"?|'(?:\\.|[^'\\\n])*'?|`(?:\\.|[^`\\])*`?)re";

constexpr std::string_view numberPattern =
    R"re(\b(?:0[xX][0-9a-fA-F]+|\d+(?:\.\d+)?(?:[eE][+-]?\d+)?)\b)re";

// A word followed, after optional white space, by an opening parenthesis.
constexpr std::string_view functionPattern = R"re(\b[A-Za-z_][\w]*(?=\s*\())re";
// An opening or closing tag name with its angle bracket, or a closing "/>" or ">".
constexpr std::string_view tagPattern = R"re(</?[A-Za-z][\w:-]*|/?>)re";

std::string_view commentPattern(NoteCodeLanguage language) {
    switch (language) {
    case NoteCodeLanguage::swift:
    case NoteCodeLanguage::javascript:
    case NoteCodeLanguage::typescript:
        return cStyleComment;
    case NoteCodeLanguage::python:
    case NoteCodeLanguage::shell:
        return hashComment;
    case NoteCodeLanguage::json:
        return noComment;
    case NoteCodeLanguage::html:
        return htmlComment;
    case NoteCodeLanguage::css:
        return blockComment;
    case NoteCodeLanguage::sql:
        return sqlComment;
    }
    return noComment;
}

// "\b(?:a|b|c)\b" from "a b c"; empty pieces (doubled spaces) are dropped.
std::string keywordPattern(std::string_view keywords) {
    std::string pattern = R"(\b(?:)";
    bool first = true;
    std::size_t start = 0;
    while (start <= keywords.size()) {
        std::size_t end = keywords.find(' ', start);
        if (end == std::string_view::npos) {
            end = keywords.size();
        }
        if (end > start) {
            if (!first) {
                pattern += '|';
            }
            pattern += keywords.substr(start, end - start);
            first = false;
        }
        start = end + 1;
    }
    pattern += R"()\b)";
    return pattern;
}

} // namespace

std::string_view SyntaxRules::keywords(NoteCodeLanguage language) {
    switch (language) {
    case NoteCodeLanguage::swift:
        return "actor associatedtype async await break case catch class continue default defer "
               "deinit do else enum extension false fileprivate final for func guard if import in "
               "init inout internal is let nil nonisolated open override private protocol public "
               "repeat rethrows return self Self some static struct subscript super switch throw "
               "throws true try typealias var weak where while";
    case NoteCodeLanguage::javascript:
    case NoteCodeLanguage::typescript:
        return "abstract any as async await boolean break case catch class const continue "
               "debugger declare default delete do else enum export extends false finally for "
               "from function if implements import in instanceof interface keyof let never new "
               "null number of private protected public readonly return static string super "
               "switch this throw true try type typeof undefined var void while yield";
    case NoteCodeLanguage::python:
        return "and as assert async await break class continue def del elif else except False "
               "finally for from global if import in is lambda None nonlocal not or pass raise "
               "return True try while with yield";
    case NoteCodeLanguage::json:
        return "true false null";
    case NoteCodeLanguage::shell:
        return "case do done elif else esac export fi for function if in local readonly return "
               "then until while";
    case NoteCodeLanguage::html:
        return "DOCTYPE html head body title meta link script style div span p a img ul ol li "
               "section main header footer nav button input form label";
    case NoteCodeLanguage::css:
        return "important inherit initial unset auto none block flex grid relative absolute "
               "fixed sticky solid transparent var calc media supports root";
    case NoteCodeLanguage::sql:
        return "SELECT FROM WHERE AND OR NOT NULL AS JOIN LEFT RIGHT INNER OUTER ON GROUP BY "
               "ORDER HAVING LIMIT OFFSET INSERT INTO VALUES UPDATE SET DELETE CREATE TABLE "
               "INDEX DROP ALTER PRIMARY KEY REFERENCES DISTINCT UNION ALL CASE WHEN THEN ELSE "
               "END ASC DESC TRUE FALSE";
    }
    return {};
}

std::string SyntaxRules::groupPattern(NoteCodeLanguage language, SyntaxTokenClass tokenClass) {
    switch (tokenClass) {
    case SyntaxTokenClass::comment:
        return std::string(commentPattern(language));
    case SyntaxTokenClass::string:
        return std::string(stringPattern);
    case SyntaxTokenClass::number:
        return std::string(numberPattern);
    case SyntaxTokenClass::keyword:
        return keywordPattern(keywords(language));
    case SyntaxTokenClass::function:
        return std::string(language == NoteCodeLanguage::html ? tagPattern : functionPattern);
    }
    return {};
}

SyntaxRules SyntaxRules::forLanguage(NoteCodeLanguage language) {
    SyntaxRules rules;
    for (const SyntaxTokenClass tokenClass :
         {SyntaxTokenClass::comment, SyntaxTokenClass::string, SyntaxTokenClass::number,
          SyntaxTokenClass::keyword, SyntaxTokenClass::function}) {
        if (!rules.pattern.empty()) {
            rules.pattern += '|';
        }
        rules.pattern += '(';
        rules.pattern += groupPattern(language, tokenClass);
        rules.pattern += ')';
    }
    rules.caseInsensitive = language == NoteCodeLanguage::html || language == NoteCodeLanguage::sql;
    return rules;
}

std::array<std::uint32_t, syntaxTokenClassCount> SyntaxRules::palette(bool dark) {
    if (dark) {
        return {0xA7B3AD, 0xF1AB94, 0xDCC28A, 0xDDB1F0, 0x9DCFEA};
    }
    return {0x526158, 0x9B3525, 0x745200, 0x793D9B, 0x1A5E85};
}

} // namespace zemvar::core
