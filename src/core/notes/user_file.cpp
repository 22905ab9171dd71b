// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/user_file.h"

#include "core/notes/external_text_file.h"
#include "core/notes/file_io.h"
#include "core/notes/library_path.h"

#include <sys/stat.h>
#include <system_error>

namespace zemvar::core {

void writeUserFileAtomically(const std::filesystem::path& destination, std::string_view bytes) {
    const std::filesystem::path target = resolvedPath(destination);

    // Renaming over a FIFO or device would silently replace it with a plain file.
    struct stat info {};
    if (::stat(target.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        throw ExternalTextFileError(ExternalTextFileError::Case::notRegular);
    }
    try {
        writeFileAtomically(target, bytes);
    } catch (const std::system_error& error) {
        throwFileError(error.code().value(), destination); // the name the user chose
    }
}

} // namespace zemvar::core
