// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_path.h"

#include "core/notes/file_io.h"

#include <string>
#include <system_error>

namespace zemvar::core {

std::filesystem::path resolvedPath(const std::filesystem::path& path) {
    std::error_code error;
    // weakly_canonical leaves a path relative when not even its first component exists, so
    // anchor it first; the root always exists and is then the existing ancestor.
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (error) {
        throwFileError(error.value(), path);
    }
    std::filesystem::path resolved = std::filesystem::weakly_canonical(absolute, error);
    if (error) {
        throwFileError(error.value(), path);
    }
    resolved = resolved.lexically_normal();
    // "/a/b/" and "/a/b" name the same folder; only the root keeps its slash.
    std::string text = resolved.native();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

bool isInsideLibrary(const std::filesystem::path& candidate, const std::filesystem::path& library) {
    const std::string inner = resolvedPath(candidate).native();
    const std::string root = resolvedPath(library).native();
    if (inner == root) {
        return true;
    }
    if (root == "/") {
        return true; // every absolute path lies beneath the root folder
    }
    return inner.size() > root.size() && inner.compare(0, root.size(), root) == 0 &&
           inner[root.size()] == '/';
}

} // namespace zemvar::core
