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
/// place. The temporary file takes a fresh random name beside the target that nothing uses
/// (see writeFileAtomically), so none of the user's files is ever clobbered or written through.
/// A destination that exists but is not a regular file (a folder, FIFO, socket or device) is
/// refused with ExternalTextFileError::notRegular before anything is written. Other failures
/// are std::system_error with the operating system's message about `destination` as given
/// ("/media/usb/plan.md: Read-only file system"); the destination is unchanged after any
/// failure.
void writeUserFileAtomically(const std::filesystem::path& destination, std::string_view bytes);

} // namespace zemvar::core
