// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/user_file.h"

#include "core/notes/file_io.h"
#include "core/notes/library_path.h"

#include <cerrno>
#include <sys/stat.h>

namespace zemvar::core {

void writeUserFileAtomically(const std::filesystem::path& destination, std::string_view bytes) {
    const std::filesystem::path target = resolvedPath(destination);

    struct stat info {};
    if (::stat(target.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        throwFileError(EISDIR, destination);
    }
    writeFileAtomically(target, bytes, TemporaryFile::unused);
}

} // namespace zemvar::core
