// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <filesystem>
#include <string_view>

namespace zemvar::core {

/// Replaces the file at `destination`, which lives in one of the user's own folders, with
/// `bytes`, atomically (a temporary file beside it, flushed, renamed over it).
///
/// A symbolic link is followed, so the file it names receives the bytes and the link stays in
/// place. The temporary file takes a name beside the target that nothing uses yet
/// ("<file>.tmp", else "<file>.1.tmp", ...), so none of the user's files is ever clobbered,
/// not even one left over from an interrupted save. A folder at the destination is refused
/// with "<path>: Is a directory" before anything is written.
/// Other failures are std::system_error with the operating system's message; the destination is
/// unchanged after any failure.
void writeUserFileAtomically(const std::filesystem::path& destination, std::string_view bytes);

} // namespace zemvar::core
