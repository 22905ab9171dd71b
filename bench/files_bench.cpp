// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Outside text files and the markdown block parser on inputs of the largest size the app
// accepts (2 MiB). BM_CopyBytes is the reference: a plain copy of the same number of bytes.
#include "core/notes/external_text_file.h"
#include "core/text/note_markdown_block.h"
#include "core/text/unicode.h"

#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using zemvar::core::ExternalTextFile;
using zemvar::core::NoteMarkdownBlock;

constexpr std::size_t fileSize = ExternalTextFile::maximumBytes;

// Source-code-like lines, some with accented letters, CJK and emoji in strings and comments.
const std::vector<std::string> codeLines = {
    "import Foundation",
    "",
    "/// Returns the total of all line items, in cents.",
    "func total(of items: [LineItem]) -> Int {",
    "    var sum = 0",
    "    for item in items where item.quantity > 0 {",
    "        sum += item.price * item.quantity // caf\u00E9 cr\u00E8me br\u00FBl\u00E9e",
    "    }",
    "    return sum",
    "}",
    "    let greeting = \"Gr\u00FC\u00DFe aus M\u00FCnchen \u2014 \u20AC 12,50\"",
    "    let title = \"\u6771\u4EAC\u306E\u5929\u6C17\"  // weather in Tokyo",
    "\tif (value >= limit && !done) { return compute(value - 1, \"\u2713 ok\"); }",
    "    print(\"Launching \U0001F680 at \\(Date())\")",
    "        .map { $0.trimmingCharacters(in: .whitespaces) }",
    "# comment: configuration for the na\u00EFve resolver",
    "SELECT id, name FROM notes WHERE updated_at > NOW() - INTERVAL '7 days';",
};

const std::vector<std::string> markdownBlocks = {
    "# Weekly planning\n",
    "## Notes from the caf\u00E9 meeting\n",
    "Paragraph text with **bold**, *emphasis*, `code` and a [link](https://example.com).\n"
    "It continues on a second line with some more words to make it realistic.\n",
    "- first item\n- second item with more text\n  - nested item\n    - deeper item\n",
    "1. one\n2. two\n3) three\n",
    "> A quotation that spans\n> two lines of text.\n",
    "```swift\nlet x = total(of: items)\nprint(x)\n```\n",
    "~~~\nplain fenced block\n~~~\n",
    "---\n",
    "Title\n=====\n",
    "\u00DCberschrift mit Umlauten und \u6F22\u5B57 in the middle of a sentence.\n",
    "\n",
};

// Concatenates randomly chosen pieces, each followed by `separator`, while the total stays
// within `size` in the measure given by `length`.
template <typename Length>
std::string generate(const std::vector<std::string>& pieces, std::string_view separator,
                     std::size_t size, Length length) {
    std::mt19937 random(2026);
    std::string text;
    std::size_t total = 0;
    for (;;) {
        std::string piece = pieces[random() % pieces.size()];
        piece += separator;
        if (total + length(piece) > size) {
            return text;
        }
        total += length(piece);
        text += piece;
    }
}

std::size_t utf16Length(std::string_view text) {
    std::size_t units = 0;
    for (std::size_t pos = 0; pos < text.size();) {
        units += zemvar::core::text::decodeUtf8(text, pos) >= 0x10000 ? 2 : 1;
    }
    return 2 * units;
}

std::string utf16LittleEndian(std::string_view text) {
    // The mark tells the reader the byte order; encoding through a decoded value reuses the
    // conversion under test only for building the input, not for measuring it.
    const ExternalTextFile empty(std::string("\xFF\xFE"));
    return empty.encoded(text);
}

const std::string& utf8File() {
    static const std::string data = [] {
        std::string text =
            generate(codeLines, "\r\n", fileSize, [](std::string_view s) { return s.size(); });
        text.append(fileSize - text.size(), ' ');
        return text;
    }();
    return data;
}

const std::string& utf16File() {
    static const std::string data = [] {
        std::string text = generate(codeLines, "\n", fileSize - 2, utf16Length);
        text.append((fileSize - 2 - utf16Length(text)) / 2, ' ');
        return utf16LittleEndian(text);
    }();
    return data;
}

// Decoding takes over the buffer it is given, as reading a file does; the copy that gives each
// round its own buffer is not measured.
void BM_DecodeExternal(benchmark::State& state, const std::string& (*file)()) {
    const std::string& data = file();
    for (auto _ : state) {
        state.PauseTiming();
        std::string bytes = data;
        state.ResumeTiming();
        const ExternalTextFile decoded(std::move(bytes));
        benchmark::DoNotOptimize(decoded.text().data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data.size()));
}
BENCHMARK_CAPTURE(BM_DecodeExternal, utf8, utf8File)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_DecodeExternal, utf16, utf16File)->Unit(benchmark::kMicrosecond);

void BM_EncodeExternal(benchmark::State& state, const std::string& (*file)()) {
    const ExternalTextFile decoded(file());
    for (auto _ : state) {
        const std::string bytes = decoded.encoded(decoded.text());
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * file().size()));
}
BENCHMARK_CAPTURE(BM_EncodeExternal, utf8, utf8File)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_EncodeExternal, utf16, utf16File)->Unit(benchmark::kMicrosecond);

void BM_CopyBytes(benchmark::State& state) {
    const std::string& source = utf8File();
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        std::string copy(source.data(), size);
        benchmark::DoNotOptimize(copy.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}
BENCHMARK(BM_CopyBytes)->Arg(fileSize)->Unit(benchmark::kMicrosecond);

void BM_ParseMarkdown(benchmark::State& state) {
    const std::string text =
        generate(markdownBlocks, "\n", fileSize, [](std::string_view s) { return s.size(); });
    for (auto _ : state) {
        const std::vector<NoteMarkdownBlock> blocks = NoteMarkdownBlock::parse(text);
        benchmark::DoNotOptimize(blocks.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseMarkdown)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
