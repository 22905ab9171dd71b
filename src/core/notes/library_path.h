// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <filesystem>

namespace zemvar::core {

/// Returns true when `candidate` is the notes library folder `library` or lies anywhere beneath
/// it. This is the one rule by which opening, saving and exporting refuse locations in the
/// library.
///
/// Both paths are made absolute against the current folder, have their symbolic links resolved
/// (for a location that does not exist yet, those of its longest existing ancestor) and are
/// normalised, then compared as byte strings: the candidate is inside when it equals the library
/// or begins with the library followed by "/". So a link pointing into the library is inside,
/// while a sibling "Zemvar Notes 2" of "Zemvar Notes" is not.
///
/// Throws std::system_error ("<path>: <system message>") when a path cannot be resolved, for
/// example because of a loop of symbolic links; a refusal is then the safe outcome for callers.
bool isInsideLibrary(const std::filesystem::path& candidate, const std::filesystem::path& library);

/// Returns `path` made absolute, with symbolic links resolved as far as the path exists and
/// normalised ("." and ".." removed, no trailing "/"). Throws std::system_error on failure.
std::filesystem::path resolvedPath(const std::filesystem::path& path);

} // namespace zemvar::core
