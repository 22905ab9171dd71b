// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"
#include "core/notes/note_mode.h"

#include <cstddef>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace zemvar::core {

/// The encodings an outside text file may have; a save always uses the file's own.
enum class TextEncoding {
    utf8,
    utf16LittleEndian,
    utf16BigEndian,
};

/// The machine-readable name: "utf-8", "utf-16le" or "utf-16be".
std::string_view rawValue(TextEncoding encoding);

/// A refusal to open or save an outside text file. what() is the complete message shown to the
/// user; the case lets callers react without comparing texts.
class ExternalTextFileError : public std::exception {
public:
    enum class Case {
        tooLarge,
        unsupportedEncoding,
        binary,
        notRegular,
        changed,
    };

    explicit ExternalTextFileError(Case errorCase) noexcept
        : m_case(errorCase) {}

    Case errorCase() const noexcept { return m_case; }
    /// Returns the user message of this case, for example "Choose a text file smaller than 2 MB."
    const char* what() const noexcept override;
    /// Returns the user message of `errorCase`.
    static std::string_view message(Case errorCase) noexcept;

    friend bool operator==(const ExternalTextFileError& a, const ExternalTextFileError& b) {
        return a.m_case == b.m_case;
    }

private:
    Case m_case;
};

/// How a file is presented when opened: its note mode and, for code, the language.
struct NotePresentation {
    NoteMode mode = NoteMode::text;
    NoteCodeLanguage language = NoteCodeLanguage::swift;

    friend bool operator==(const NotePresentation&, const NotePresentation&) = default;
};

/// One text or source file outside the notes library, as read from disk: its exact bytes, the
/// decoded text and how it was stored (encoding, byte-order mark, line-ending style), so that a
/// save writes it back the same way and a changed file on disk is noticed.
///
/// An immutable value: every operation returns a new value or throws ExternalTextFileError
/// (file-system failures are std::system_error with the operating system's message). The usual
/// save sequence is checkUnchanged(path), encoded(editedText), write(path, bytes), then a new
/// value from the written bytes.
class ExternalTextFile {
public:
    /// Largest file accepted, in bytes (2 MiB): a file of exactly this size opens.
    static constexpr std::size_t maximumBytes = 2'097'152;

    /// Decodes the complete bytes of a file. Throws tooLarge (more than maximumBytes),
    /// unsupportedEncoding (not strict UTF-8, or UTF-16 after its mark) or binary (a decoded
    /// character below U+0020 other than tab, line feed, form feed and carriage return).
    /// Example: "\xEF\xBB\xBFa\r\nb" gives UTF-8, prefix EF BB BF, text "a\r\nb", style "\r\n".
    explicit ExternalTextFile(std::string data);

    /// Reads and decodes the file at `path`, following symbolic links. Throws notRegular for an
    /// empty path or anything but a regular file (folders, devices, FIFOs and sockets are never
    /// opened), std::system_error when the file cannot be examined, opened or read, and the
    /// decoding errors of the constructor. At most maximumBytes + 1 bytes are read.
    static ExternalTextFile read(const std::filesystem::path& path);

    /// Like read(), for a location given as text: a plain path or a "file:" URL. Any other URL
    /// (for example "https://...") throws notRegular.
    static ExternalTextFile readLocation(std::string_view location);

    /// Confirms that the file at `path` still holds exactly originalData(); throws `changed`
    /// when it does not, or when it can no longer be read at all (the cause is discarded).
    void checkUnchanged(const std::filesystem::path& path) const;

    /// Returns the bytes that store `text` (UTF-8) the way this file was stored: line endings
    /// rewritten to the file's style when it has one, converted to its encoding, with its
    /// byte-order mark in front. Throws unsupportedEncoding when `text` is not valid UTF-8 and
    /// tooLarge when the result exceeds maximumBytes.
    std::string encoded(std::string_view text) const;

    /// Writes `bytes` (the result of encoded()) over the file at `path` atomically; see
    /// writeUserFileAtomically for the details and failures.
    static void write(const std::filesystem::path& path, std::string_view bytes);

    /// Returns the note mode and code language proposed for a file name (its last path
    /// component is used), compared without regard to case: ".env.local" gives code/shell,
    /// "README.MD" markdown, "notes.txt" text.
    static NotePresentation presentation(std::string_view filename);

    /// Returns a new note (fresh id, both dates now, not pinned) holding the decoded text as
    /// read, with the mode and language that presentation(filename) proposes.
    NoteDocument note(std::string_view filename) const;

    /// The complete bytes as read, byte-order mark included.
    const std::string& originalData() const { return m_originalData; }
    /// The decoded text as UTF-8, without byte-order mark, line endings as in the file. Valid
    /// as long as this value is.
    std::string_view text() const {
        return m_encoding == TextEncoding::utf8
                   ? std::string_view(m_originalData).substr(m_prefix.size())
                   : std::string_view(m_decodedText);
    }
    TextEncoding encoding() const { return m_encoding; }
    /// The byte-order mark found at the start of the file: 3, 2 or 0 bytes.
    const std::string& prefix() const { return m_prefix; }
    /// "\r\n" or "\r" when the file uses that style consistently; no value for line feeds,
    /// mixed endings and text without line breaks.
    std::optional<std::string_view> lineEnding() const { return m_lineEnding; }

private:
    std::string m_originalData;
    std::string m_decodedText; // the text of a UTF-16 file; UTF-8 text is read in place
    TextEncoding m_encoding = TextEncoding::utf8;
    std::string m_prefix;
    std::optional<std::string_view> m_lineEnding;
};

/// Returns the local file path that `location` names: a "file:" URL (with an empty or
/// "localhost" host) as its percent-decoded path, without query or fragment; any other text
/// that does not begin with a URL scheme followed by "://" as the plain path it is (so
/// "draft:v2.txt" is a file name). Gives no value for an empty location, any other URL
/// ("https://..."), a malformed or remote "file:" URL, and a path containing NUL.
/// Example: "file:///home/ada/My%20Notes.md" gives "/home/ada/My Notes.md".
std::optional<std::filesystem::path> localPathFromLocation(std::string_view location);

/// Gives `edited`, a text whose every line break is "\n" (as an editor shows a file), the line
/// breaks of `original` where the two agree: the lines they share at their start and at their
/// end keep the break they had ("\r\n", "\r" or "\n"), and the lines in between take the break
/// of the line above the first changed one (or "\n" at the very start). So a file with mixed
/// line endings is written back with mixed endings, and unchanged when nothing was edited.
/// Example: original "a\r\nb\nc", edited "a\nx\nb\nc" gives "a\r\nx\r\nb\nc".
std::string withLineBreaksOf(std::string_view original, std::string_view edited);

} // namespace zemvar::core
