// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/commands.h"
#include "cli/library_access.h"
#include "core/notes/external_text_file.h"
#include "core/notes/file_io.h"
#include "core/notes/library_path.h"
#include "core/notes/note_export.h"
#include "core/text/note_markdown_block.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace zemvar::cli {

namespace {

// The whole of FILE, or of standard input when FILE is absent or "-"; refuses text that is
// not UTF-8.
std::string readTextArgument(const Invocation& invocation, Streams& streams) {
    std::string text;
    if (invocation.positionals.empty() || invocation.positionals[0] == "-") {
        text.assign(std::istreambuf_iterator<char>(streams.in), std::istreambuf_iterator<char>());
    } else {
        text = core::readFileBytes(invocation.positionals[0]);
    }
    if (!core::text::isValidUtf8(text)) {
        throw std::runtime_error("The text is not valid UTF-8.");
    }
    return text;
}

std::string lineEndingName(std::optional<std::string_view> style) {
    if (!style) {
        return {};
    }
    return *style == "\r\n" ? "crlf" : "cr";
}

int inspectFile(const Invocation& invocation, Streams& streams) {
    const std::string& location = invocation.positionals.at(0);
    const core::ExternalTextFile file = core::ExternalTextFile::readLocation(location);
    const auto path = core::localPathFromLocation(location);
    const core::NotePresentation presentation =
        core::ExternalTextFile::presentation(path ? path->filename().string() : location);
    const std::string lineEnding = lineEndingName(file.lineEnding());
    if (invocation.flag("json")) {
        printJson(streams.out, {
                                   {"encoding", core::rawValue(file.encoding())},
                                   {"bom", !file.prefix().empty()},
                                   {"lineEnding", lineEnding.empty() ? nlohmann::json()
                                                                     : nlohmann::json(lineEnding)},
                                   {"mode", core::rawValue(presentation.mode)},
                                   {"codeLanguage", core::rawValue(presentation.language)},
                                   {"bytes", file.originalData().size()},
                               });
        return exitSuccess;
    }
    streams.out << "encoding:        " << core::rawValue(file.encoding()) << '\n'
                << "byte-order mark: " << (file.prefix().empty() ? "no" : "yes") << '\n'
                << "line ending:     "
                << (lineEnding.empty() ? "none (line feeds, mixed or no line breaks)" : lineEnding)
                << '\n'
                << "mode:            " << core::rawValue(presentation.mode) << '\n'
                << "language:        " << core::rawValue(presentation.language) << '\n'
                << "bytes:           " << file.originalData().size() << '\n';
    return exitSuccess;
}

std::string formatList(const std::vector<core::NoteExportFormat>& formats) {
    std::string list;
    for (std::size_t i = 0; i < formats.size(); ++i) {
        list += (i == 0 ? "" : i + 1 == formats.size() ? " or " : ", ") + formats[i].label();
    }
    return list;
}

// Where the note goes, and in which format. As in the app's export dialog, an extension typed
// in PATH is replaced by the chosen format's, never doubled; without --format the extension of
// PATH must be one the note offers. An existing folder receives the suggested file name.
std::pair<std::filesystem::path, core::NoteExportFormat>
exportTarget(const Invocation& invocation, const core::NoteDocument& note) {
    const std::vector<core::NoteExportFormat> formats = core::NoteExport::formats(note);
    const auto offered = [&](std::string extension) -> std::optional<core::NoteExportFormat> {
        extension =
            core::text::lowercase(extension.starts_with(".") ? extension.substr(1) : extension);
        const auto found = std::find_if(formats.begin(), formats.end(), [&](const auto& format) {
            return format.fileExtension == extension;
        });
        return found == formats.end() ? std::nullopt : std::optional(*found);
    };
    const std::string modeName(core::rawValue(note.mode));
    std::filesystem::path path = invocation.positionals.at(1);
    std::optional<core::NoteExportFormat> format;
    if (const auto given = invocation.value("format")) {
        format = offered(*given);
        if (!format) {
            throw UsageError("a " + modeName + " note cannot be exported as '" + *given +
                             "'; choose " + formatList(formats));
        }
    }
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        const core::NoteExportFormat chosen = format.value_or(formats.front());
        return {path / core::NoteExport::suggestedFilename(note, chosen), chosen};
    }
    if (format) {
        return {path.replace_extension(format->fileExtension), *format};
    }
    format = offered(path.extension().string());
    if (!format) {
        throw UsageError("the extension of '" + path.string() + "' is not one a " + modeName +
                         " note offers; end the name with " + formatList(formats) +
                         " or give --format");
    }
    return {path, *format};
}

int exportNote(const Invocation& invocation, Streams& streams) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    const std::filesystem::path library = libraryFolder(invocation);
    const OpenLibrary open = openForReading(invocation);
    const auto& notes = open.store.notes();
    const auto note = std::find_if(notes.begin(), notes.end(),
                                   [&](const auto& candidate) { return candidate.id == id; });
    if (note == notes.end()) {
        throw core::NoteStoreError(core::NoteStoreError::Case::unknownNote, id);
    }
    const auto [path, format] = exportTarget(invocation, *note);
    if (core::isInsideLibrary(path, library)) {
        streams.err << "Choose an export location outside the Notes library.\n";
        return exitFailure;
    }
    try {
        core::NoteExport::write(*note, path);
    } catch (const core::ExternalTextFileError& refusal) {
        streams.err << refusal.what() << '\n'; // a FIFO or device, refused as `inspect` does
        return exitFailure;
    } catch (const std::exception& error) {
        streams.err << "Could not export this note: " << error.what() << '\n';
        return exitFailure;
    }
    if (invocation.flag("json")) {
        printJson(streams.out, {{"path", path.string()}, {"format", format.fileExtension}});
    } else {
        streams.out << path.string() << '\n';
    }
    return exitSuccess;
}

// A block's text on one line: line breaks and backslashes escaped.
std::string oneLine(std::string_view text) {
    std::string out;
    for (const char ch : text) {
        if (ch == '\n') {
            out += "\\n";
        } else if (ch == '\\') {
            out += "\\\\";
        } else {
            out += ch;
        }
    }
    return out;
}

int parseMarkdown(const Invocation& invocation, Streams& streams) {
    const std::string text = readTextArgument(invocation, streams);
    const std::vector<core::NoteMarkdownBlock> blocks = core::NoteMarkdownBlock::parse(text);
    using Kind = core::NoteMarkdownBlock::Kind;
    if (invocation.flag("json")) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& block : blocks) {
            nlohmann::json object = {{"type", core::kindName(block.kind)}};
            switch (block.kind) {
            case Kind::heading:
                object["level"] = block.level;
                object["text"] = block.text;
                break;
            case Kind::list:
                object["marker"] = block.marker;
                object["text"] = block.text;
                object["indent"] = block.indent;
                break;
            case Kind::code:
                object["language"] = block.language;
                object["text"] = block.text;
                break;
            case Kind::paragraph:
            case Kind::quote:
                object["text"] = block.text;
                break;
            case Kind::divider:
                break;
            }
            list.push_back(std::move(object));
        }
        printJson(streams.out, list);
        return exitSuccess;
    }
    for (const auto& block : blocks) {
        streams.out << core::kindName(block.kind);
        switch (block.kind) {
        case Kind::heading:
            streams.out << ' ' << block.level << ": " << oneLine(block.text);
            break;
        case Kind::list:
            streams.out << ' ' << block.marker << " indent " << block.indent << ": "
                        << oneLine(block.text);
            break;
        case Kind::code:
            streams.out << (block.language.empty() ? "" : " ") << block.language << ": "
                        << oneLine(block.text);
            break;
        case Kind::paragraph:
        case Kind::quote:
            streams.out << ": " << oneLine(block.text);
            break;
        case Kind::divider:
            break;
        }
        streams.out << '\n';
    }
    return exitSuccess;
}

} // namespace

std::vector<CommandSpec> fileCommands() {
    return {
        {"inspect",
         "Show how the app would open an outside text file.",
         {"FILE"},
         {},
         "Prints the file's encoding (utf-8, utf-16le or utf-16be), whether it starts with a\n"
         "byte-order mark, its line-ending style (crlf, cr, or none for line feeds, mixed endings\n"
         "or no line break), the note mode and language its name suggests, and its size. A file\n"
         "the app would refuse prints the app's message and exits with 1.\n"
         "With --json: {\"encoding\", \"bom\", \"lineEnding\", \"mode\", \"codeLanguage\", "
         "\"bytes\"}.",
         inspectFile},
        {"export",
         "Export a note's text to a file outside the library.",
         {"ID", "PATH"},
         {{"format", "EXT",
           "one of the formats the note offers, for example md (default: PATH's extension)"}},
         "The text is written exactly as stored, as UTF-8; an existing file is replaced. With\n"
         "--format, an extension in PATH is replaced by the format's. When PATH is a folder, the\n"
         "file is named after the note's title. Prints the path written.",
         exportNote},
        {"markdown",
         "Show the blocks a markdown preview is made of (FILE, or standard input).",
         {"[FILE]"},
         {},
         "One block per line: heading, paragraph, list, quote, code or divider, with its details.\n"
         "With --json: an array of {\"type\", ...} objects.",
         parseMarkdown},
    };
}

} // namespace zemvar::cli
