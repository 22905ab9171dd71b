// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// A program that saves an outside document again and again the way the app saves one: read it,
// then for every save confirm it is unchanged, encode the next text in the document's own
// encoding and line endings, write it atomically. The crash-safety test kills it at random.
//
// Usage: document_writer PATH [SAVES]. The document holds a crashText; each save writes the next
// generation of it. Without SAVES it saves until killed.
#include "core/notes/external_text_file.h"
#include "crash/crash_texts.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

using zemvar::core::ExternalTextFile;

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fputs("usage: document_writer PATH [SAVES]\n", stderr);
        return 2;
    }
    try {
        const std::string path = argv[1];
        const std::int64_t saves = argc == 3 ? std::stoll(argv[2]) : -1;
        ExternalTextFile file = ExternalTextFile::read(path);
        const auto header = zemvar::testing::crashTextHeader(file.text());
        if (!header) {
            std::fprintf(stderr, "%s holds no crash-test text\n", path.c_str());
            return 1;
        }
        std::int64_t generation = header->generation;
        for (std::int64_t done = 0; saves < 0 || done < saves; ++done) {
            file.checkUnchanged(path);
            const std::string bytes =
                file.encoded(zemvar::testing::crashText(header->slot, ++generation));
            ExternalTextFile::write(path, bytes);
            file = ExternalTextFile(bytes);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "document_writer: %s\n", error.what());
        return 1;
    }
    return 0;
}
