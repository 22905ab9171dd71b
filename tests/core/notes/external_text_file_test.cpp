// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/external_text_file.h"
#include "core/text/unicode.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

namespace fs = std::filesystem;
using Case = ExternalTextFileError::Case;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

constexpr std::size_t limit = ExternalTextFile::maximumBytes;

// Runs `action` and returns the case of the ExternalTextFileError it throws, if any.
template <typename Action>
std::optional<Case> refusal(Action&& action) {
    try {
        action();
    } catch (const ExternalTextFileError& error) {
        return error.errorCase();
    }
    return std::nullopt;
}

std::optional<Case> decodingRefusal(const std::string& bytes) {
    return refusal([&] { ExternalTextFile{bytes}; });
}

// The UTF-16 form of UTF-8 `text`, written independently of the code under test.
std::string utf16(std::string_view text, bool bigEndian) {
    std::string out;
    const auto put = [&](char32_t unit) {
        const char high = static_cast<char>(unit >> 8);
        const char low = static_cast<char>(unit & 0xFF);
        out += bigEndian ? std::string{high, low} : std::string{low, high};
    };
    for (std::size_t pos = 0; pos < text.size();) {
        const char32_t c = text::decodeUtf8(text, pos);
        if (c >= 0x10000) {
            put(0xD800 + ((c - 0x10000) >> 10));
            put(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            put(c);
        }
    }
    return out;
}

// Bytes given as numbers, so that NUL bytes need no care.
std::string bytes(std::initializer_list<unsigned char> values) {
    return std::string(values.begin(), values.end());
}

const std::string le = "\xFF\xFE";
const std::string be = "\xFE\xFF";
const std::string utf8Mark = "\xEF\xBB\xBF";

TEST(ExternalTextFileTest, DecodesEncodingMarkTextAndLineEndingStyle) {
    struct Expected {
        const char* name;
        std::string data;
        TextEncoding encoding;
        std::string prefix;
        std::string text;
        std::optional<std::string_view> lineEnding;
    } cases[] = {
        {"empty", "", TextEncoding::utf8, "", "", std::nullopt},
        {"mark only", utf8Mark, TextEncoding::utf8, utf8Mark, "", std::nullopt},
        {"crlf", "a\r\nb\r\n", TextEncoding::utf8, "", "a\r\nb\r\n", "\r\n"},
        {"crlf then lf", "a\r\nb\n", TextEncoding::utf8, "", "a\r\nb\n", std::nullopt},
        {"cr cr lf", "a\r\r\nb", TextEncoding::utf8, "", "a\r\r\nb", std::nullopt},
        {"cr", "a\rb\r", TextEncoding::utf8, "", "a\rb\r", "\r"},
        {"lf", "a\nb", TextEncoding::utf8, "", "a\nb", std::nullopt},
        {"tab form feed cr", "a\tb\fc\rd", TextEncoding::utf8, "", "a\tb\fc\rd", "\r"},
        {"del and next line", "\x7F\xC2\x85", TextEncoding::utf8, "", "\x7F\xC2\x85", std::nullopt},
        {"genuine U+FFFD", "\xEF\xBF\xBD", TextEncoding::utf8, "", "\xEF\xBF\xBD", std::nullopt},
        {"mark and accents", utf8Mark + "caf\xC3\xA9\r\n", TextEncoding::utf8, utf8Mark,
         "caf\xC3\xA9\r\n", "\r\n"},
        {"utf-16 le", le + utf16("h\xC3\xA9\r\n\xF0\x9F\x98\x80\r\n", false),
         TextEncoding::utf16LittleEndian, le, "h\xC3\xA9\r\n\xF0\x9F\x98\x80\r\n", "\r\n"},
        {"utf-16 be", be + utf16("\xE2\x82\xAC 5\rx", true), TextEncoding::utf16BigEndian, be,
         "\xE2\x82\xAC 5\rx", "\r"},
        // The UTF-8 mark is tested first, then FF FE, then FE FF.
        {"utf-16 text starting with a mark", le + utf16("\xEF\xBB\xBFx", false),
         TextEncoding::utf16LittleEndian, le, "\xEF\xBB\xBFx", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ExternalTextFile file(c.data);
        EXPECT_EQ(file.originalData(), c.data);
        EXPECT_EQ(file.encoding(), c.encoding);
        EXPECT_EQ(file.prefix(), c.prefix);
        EXPECT_EQ(file.text(), c.text);
        EXPECT_EQ(file.lineEnding(), c.lineEnding);
    }
}

TEST(ExternalTextFileTest, RefusesBadEncodingsAndBinaryContent) {
    struct Row {
        const char* name;
        std::string data;
        Case expected;
    } rows[] = {
        {"nul", std::string("a\0b", 3), Case::binary},
        {"vertical tab",
         "a\x0B"
         "b",
         Case::binary},
        {"escape", "\x1B[0m", Case::binary},
        {"utf-16 without mark", std::string("a\0b\0", 4), Case::binary},
        {"utf-32 le mark read as utf-16", std::string("\xFF\xFE\0\0", 4), Case::binary},
        {"bad continuation", "caf\xC3\x28", Case::unsupportedEncoding},
        {"overlong slash", "\xC0\xAF", Case::unsupportedEncoding},
        {"utf-8 surrogate", "\xED\xA0\x80", Case::unsupportedEncoding},
        {"encoding wins over binary", std::string("\0\xC3", 2), Case::unsupportedEncoding},
        {"utf-16 odd length", le + "a", Case::unsupportedEncoding},
        {"utf-16 le high surrogate at end", bytes({0xFF, 0xFE, 0x3D, 0xD8}),
         Case::unsupportedEncoding},
        {"utf-16 le lone low surrogate", bytes({0xFF, 0xFE, 0x61, 0x00, 0x00, 0xDE}),
         Case::unsupportedEncoding},
        {"utf-16 le reversed pair", bytes({0xFF, 0xFE, 0x00, 0xDE, 0x3D, 0xD8}),
         Case::unsupportedEncoding},
        {"utf-16 nul then lone surrogate", bytes({0xFF, 0xFE, 0x00, 0x00, 0x00, 0xDC}),
         Case::unsupportedEncoding},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(decodingRefusal(row.data), row.expected);
    }
}

TEST(ExternalTextFileTest, EncodingRefusesInvalidTextAndResultsOverTheLimit) {
    const ExternalTextFile plain("");
    const ExternalTextFile marked(utf8Mark);
    const ExternalTextFile wide(le);
    const ExternalTextFile crlfFile("a\r\n");
    struct Row {
        const char* name;
        const ExternalTextFile& file;
        std::string text;
        std::optional<Case> expected;
    } rows[] = {
        {"invalid utf-8", plain, "ok \xC3", Case::unsupportedEncoding},
        {"invalid utf-8 for utf-16", wide, "\xED\xA0\x80", Case::unsupportedEncoding},
        {"invalid beats too large", plain, std::string(limit + 5, 'a') + "\xFF",
         Case::unsupportedEncoding},
        {"exactly the limit", plain, std::string(limit, 'a'), std::nullopt},
        {"one byte over", plain, std::string(limit + 1, 'a'), Case::tooLarge},
        {"mark counts", marked, std::string(limit - 3, 'a'), std::nullopt},
        {"mark pushes over", marked, std::string(limit - 2, 'a'), Case::tooLarge},
        {"utf-16 exactly the limit", wide, std::string(limit / 2 - 1, 'a'), std::nullopt},
        {"utf-16 over", wide, std::string(limit / 2, 'a'), Case::tooLarge},
        {"line endings push over", crlfFile, std::string(limit - 1, 'a') + "\n", Case::tooLarge},
        {"line endings shrink under", crlfFile, std::string(limit - 2, 'a') + "\r\n", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(refusal([&] { row.file.encoded(row.text); }), row.expected);
    }
}

TEST(ExternalTextFileTest, ErrorsCarryTheExactMessages) {
    struct Row {
        Case errorCase;
        const char* message;
    } rows[] = {
        {Case::tooLarge, "Choose a text file smaller than 2 MB."},
        {Case::unsupportedEncoding,
         "This file is not valid UTF-8 or UTF-16 text. Its contents have not been changed."},
        {Case::binary, "This looks like a binary file. Open a text or source-code file instead."},
        {Case::notRegular, "Choose a regular text file, not a folder or device."},
        {Case::changed, "The original file changed outside Notes or is no longer available. "
                        "Reload it or use Save As to keep your edits in a separate file."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        EXPECT_STREQ(ExternalTextFileError(row.errorCase).what(), row.message);
        EXPECT_EQ(ExternalTextFileError(row.errorCase), ExternalTextFileError(row.errorCase));
    }
    EXPECT_EQ(rawValue(TextEncoding::utf16BigEndian), "utf-16be");
}

class ExternalTextFileDiskTest : public ::testing::Test {
protected:
    TemporaryFolder folder;
};

// The outside-file window's save: read, check, encode the editor's text, write, read again.
TEST_F(ExternalTextFileDiskTest, SavesFilesTheWayTheyWereStored) {
    const std::string emoji = "\xF0\x9F\x8E\x89";
    struct Row {
        const char* name;
        std::string original;
        std::string edited; // the editor's text
        std::string saved;
    } rows[] = {
        {"utf-8 unedited", "plain\ntext", "plain\ntext", "plain\ntext"},
        {"mark unedited", utf8Mark + "x\r\ny", "x\r\ny", utf8Mark + "x\r\ny"},
        {"mark only", utf8Mark, "", utf8Mark},
        {"utf-16 le unedited", le + utf16("\xC3\xA9t\xC3\xA9\r\n" + emoji, false),
         "\xC3\xA9t\xC3\xA9\r\n" + emoji, le + utf16("\xC3\xA9t\xC3\xA9\r\n" + emoji, false)},
        {"utf-16 be cr unedited", be + utf16("line\rline", true), "line\rline",
         be + utf16("line\rline", true)},
        {"lf typed into crlf", "a\r\nb", "a\r\nb\nc\n", "a\r\nb\r\nc\r\n"},
        {"lf and crlf typed into cr", "a\rb", "a\rb\nc\r\nd", "a\rb\rc\rd"},
        {"mixed stays as typed", "a\r\nb\n", "a\r\nb\nc\rd", "a\r\nb\nc\rd"},
        {"utf-16 be crlf edited", be + utf16("a\r\n", true), "a\nb" + emoji + "\n",
         be + utf16("a\r\nb" + emoji + "\r\n", true)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const fs::path path = folder / (std::string(row.name) + ".txt");
        writeFile(path, row.original);
        const ExternalTextFile opened = ExternalTextFile::read(path);
        EXPECT_EQ(opened.originalData(), row.original);

        opened.checkUnchanged(path);
        ExternalTextFile::write(path, opened.encoded(row.edited));
        EXPECT_EQ(readFile(path), row.saved);
        const ExternalTextFile reread = ExternalTextFile::read(path);
        EXPECT_EQ(reread.encoding(), opened.encoding());
        EXPECT_EQ(reread.prefix(), opened.prefix());
    }
}

TEST_F(ExternalTextFileDiskTest, SizeLimitIsTwoMebibytesInclusive) {
    std::string exact(limit, 'x');
    for (std::size_t i = 80; i < exact.size(); i += 81) {
        exact[i] = '\n';
    }
    writeFile(folder / "exact.txt", exact);
    EXPECT_EQ(ExternalTextFile::read(folder / "exact.txt").text().size(), limit);

    writeFile(folder / "over.txt", exact + "x");
    try {
        ExternalTextFile::read(folder / "over.txt");
        FAIL() << "expected tooLarge";
    } catch (const ExternalTextFileError& error) {
        EXPECT_STREQ(error.what(), "Choose a text file smaller than 2 MB.");
    }
    writeFile(folder / "huge.txt", std::string(3 * limit, 'x'));
    EXPECT_EQ(refusal([&] { ExternalTextFile::read(folder / "huge.txt"); }), Case::tooLarge);
    EXPECT_EQ(decodingRefusal(exact + "x"), Case::tooLarge);
}

TEST_F(ExternalTextFileDiskTest, OnlyRegularFilesAreOpened) {
    fs::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    fs::create_symlink(folder / "folder", folder / "link-to-folder");
    writeFile(folder / "real.txt", "linked");
    fs::create_symlink(folder / "real.txt", folder / "link-to-file");

    // A listening socket is one more kind of item that is not a file.
    const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(server, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string socketPath = (folder / "socket").string();
    ASSERT_LT(socketPath.size(), sizeof address.sun_path);
    socketPath.copy(address.sun_path, socketPath.size());
    ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    for (const fs::path& path : {folder / "folder", folder / "pipe", folder / "link-to-folder",
                                 fs::path("/dev/null"), folder / "socket", fs::path()}) {
        SCOPED_TRACE(path.string());
        // The FIFO has no writer: opening it would block, so this also proves it is not opened.
        EXPECT_EQ(refusal([&] { ExternalTextFile::read(path); }), Case::notRegular);
    }
    ::close(server);
    EXPECT_EQ(ExternalTextFile::read(folder / "link-to-file").text(), "linked");
}

TEST_F(ExternalTextFileDiskTest, SystemErrorsPassThroughWithTheirOwnMessage) {
    writeFile(folder / "file.txt", "x");
    fs::create_symlink(folder / "gone.txt", folder / "dangling");
    struct Row {
        fs::path path;
        std::errc code;
        const char* message;
    } rows[] = {
        {folder / "missing.txt", std::errc::no_such_file_or_directory, "No such file or directory"},
        {folder / "dangling", std::errc::no_such_file_or_directory, "No such file or directory"},
        {folder / "file.txt" / "inner.txt", std::errc::not_a_directory, "Not a directory"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path.string());
        try {
            ExternalTextFile::read(row.path);
            ADD_FAILURE() << "expected a system error";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), row.code);
            EXPECT_EQ(std::string(error.what()), row.path.string() + ": " + row.message);
        }
    }
}

TEST_F(ExternalTextFileDiskTest, ChangeDetectionComparesTheWholeContents) {
    const fs::path path = folder / "watched.txt";
    const std::string original = "stable contents\n";
    const auto reset = [&] {
        fs::remove_all(path);
        writeFile(path, original);
        return ExternalTextFile::read(path);
    };

    {
        const ExternalTextFile file = reset();
        // A new modification time and a rewrite with the same bytes are not changes.
        fs::last_write_time(path, fs::last_write_time(path) + std::chrono::hours(1));
        file.checkUnchanged(path);
        writeFile(path, original);
        file.checkUnchanged(path);
    }
    struct Row {
        const char* name;
        std::function<void()> change;
    } rows[] = {
        {"same size, other bytes",
         [&] {
             writeFile(path, "Stable contents\n");
         }},
        {"appended",
         [&] {
             writeFile(path, original + "x");
         }},
        {"emptied",
         [&] {
             writeFile(path, "");
         }},
        {"deleted",
         [&] {
             fs::remove(path);
         }},
        {"replaced by a folder",
         [&] {
             fs::remove(path);
             fs::create_directory(path);
         }},
        {"now binary",
         [&] {
             writeFile(path, std::string("stable\0", 7));
         }},
        {"now too large",
         [&] {
             writeFile(path, std::string(limit + 1, 'x'));
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const ExternalTextFile file = reset();
        row.change();
        EXPECT_EQ(refusal([&] { file.checkUnchanged(path); }), Case::changed);
    }
}

TEST_F(ExternalTextFileDiskTest, LocationsBecomeLocalPathsOrNothing) {
    struct Row {
        std::string location;
        std::optional<fs::path> path;
    } rows[] = {
        {"/home/ada/notes.txt", fs::path("/home/ada/notes.txt")},
        {"draft:v2.txt", fs::path("draft:v2.txt")}, // a colon alone is no scheme
        {"file:///home/ada/My%20Notes.md", fs::path("/home/ada/My Notes.md")},
        {"FILE://localhost/tmp/x", fs::path("/tmp/x")},
        {"file:/tmp/x%C3%A9", fs::path("/tmp/x\xC3\xA9")},
        {"file:///tmp/a.txt#part", fs::path("/tmp/a.txt")},
        {"", std::nullopt},
        {"https://example.com/a.txt", std::nullopt},
        {"file://server/share/a.txt", std::nullopt},
        {"file:relative.txt", std::nullopt},
        {"file:///bad%zz", std::nullopt},
        {"file:///nul%00byte", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.location);
        EXPECT_EQ(localPathFromLocation(row.location), row.path);
    }

    writeFile(folder / "with space.txt", "found");
    const std::string url = "file://" + folder.path().string() + "/with%20space.txt";
    EXPECT_EQ(ExternalTextFile::readLocation(url).text(), "found");
    EXPECT_EQ(refusal([] { ExternalTextFile::readLocation("https://example.com/a.txt"); }),
              Case::notRegular);
    EXPECT_EQ(refusal([] { ExternalTextFile::readLocation(""); }), Case::notRegular);
}

TEST(ExternalTextFilePresentationTest, FileNamesProposeModeAndLanguage) {
    struct Row {
        const char* name;
        NoteMode mode;
        NoteCodeLanguage language;
    } rows[] = {
        {".env", NoteMode::code, NoteCodeLanguage::shell},
        {".env.local", NoteMode::code, NoteCodeLanguage::shell},
        {"Production.ENV", NoteMode::code, NoteCodeLanguage::shell},
        {".zprofile", NoteMode::code, NoteCodeLanguage::shell},
        {".environment", NoteMode::text, NoteCodeLanguage::swift}, // not ".env."
        {".gitignore", NoteMode::text, NoteCodeLanguage::swift},   // leading dot only
        {"README.MD", NoteMode::markdown, NoteCodeLanguage::swift},
        {"notes.txt", NoteMode::text, NoteCodeLanguage::swift},
        {"archive.tar.gz", NoteMode::text, NoteCodeLanguage::swift},
        {"trailing.", NoteMode::text, NoteCodeLanguage::swift},
        {"index.cjs", NoteMode::code, NoteCodeLanguage::javascript},
        {"view.tsx", NoteMode::code, NoteCodeLanguage::typescript},
        {"tool.pyw", NoteMode::code, NoteCodeLanguage::python},
        {"page.HTM", NoteMode::code, NoteCodeLanguage::html},
        {"/home/ada/.zshrc", NoteMode::code, NoteCodeLanguage::shell}, // last component
        {"\xC3\x89T\xC3\x89.PY", NoteMode::code, NoteCodeLanguage::python},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(ExternalTextFile::presentation(row.name),
                  (NotePresentation{row.mode, row.language}));
    }
}

TEST(ExternalTextFileTest, CopyAsNoteKeepsTheTextAsRead) {
    const auto before = currentDate();
    const ExternalTextFile file(utf8Mark + "print(1)\r\n");
    const NoteDocument note = file.note("tool.py");
    const NoteDocument other = file.note("tool.py");
    EXPECT_EQ(note.text, "print(1)\r\n");
    EXPECT_EQ(note.mode, NoteMode::code);
    EXPECT_EQ(note.codeLanguage, NoteCodeLanguage::python);
    EXPECT_FALSE(note.pinned);
    EXPECT_NE(note.id, other.id);
    EXPECT_GE(note.createdAt, before);
    EXPECT_GE(note.updatedAt, note.createdAt);
}

} // namespace
} // namespace zemvar::core

TEST(ExternalTextFileTest, MixedLineBreaksStayWhereTheLinesWereNotEdited) {
    struct Case {
        const char* original;
        const char* edited;
        const char* expected;
    };
    const Case cases[] = {
        {"a\r\nb\nc\rd", "a\nb\nc\nd", "a\r\nb\nc\rd"},    // untouched
        {"a\r\nb\nc", "a\nx\nb\nc", "a\r\nx\r\nb\nc"},     // a line inserted
        {"a\r\nb\nc\r\n", "a\nB\nc\n", "a\r\nB\r\nc\r\n"}, // a line changed
        {"a\r\nb\nc", "a\nc", "a\r\nc"},                   // a line removed
        {"a\nb\r\n", "x\na\nb\n", "x\na\nb\r\n"},          // at the very start
        {"a\r\nb\n", "a\nb\nz", "a\r\nb\nz"},              // at the very end
        {"", "new\ntext", "new\ntext"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(zemvar::core::withLineBreaksOf(c.original, c.edited), c.expected) << c.original;
    }
}
