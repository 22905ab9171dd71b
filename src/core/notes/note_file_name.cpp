// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_file_name.h"

namespace zemvar::core {

NoteFileName NoteFileName::parse(std::string_view name) {
    constexpr std::string_view extension = ".txt";
    if (name.size() < Uuid::stringLength + extension.size() || !name.ends_with(extension)) {
        return {};
    }
    const auto id = Uuid::parse(name.substr(0, Uuid::stringLength));
    if (!id) {
        return {};
    }
    // What lies between the ID and the extension.
    const std::string_view middle =
        name.substr(Uuid::stringLength, name.size() - Uuid::stringLength - extension.size());
    if (middle.empty()) {
        return {Kind::note, *id};
    }
    const bool syncthing = middle.starts_with(".sync-conflict-");
    const bool bracketed = middle.starts_with(" (") && middle.ends_with(")") &&
                           middle.find("conflicted copy") != std::string_view::npos;
    if (syncthing || bracketed) {
        return {Kind::conflictCopy, *id};
    }
    return {};
}

} // namespace zemvar::core
