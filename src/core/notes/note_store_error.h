// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/uuid.h"

#include <exception>
#include <string>

namespace zemvar::core {

/// A refusal of the note store. what() is the complete message shown to the user, for
/// example "This note could not be found; it may have been deleted.". Errors of the file
/// system are not wrapped: they reach the caller as std::system_error.
class NoteStoreError : public std::exception {
public:
    enum class Case {
        unknownNote,    ///< an operation named an ID the store does not hold
        unreadableNote, ///< a note file could not be read or is not UTF-8
        ambiguousNote,  ///< two files name the same note ID
        notLoaded,      ///< the library has not been loaded successfully
        changedOnDisk,  ///< another program changed or removed the note file since it was read
    };

    explicit NoteStoreError(Case errorCase, const Uuid& id = Uuid());

    Case errorCase() const { return m_case; }
    /// The note concerned; the nil UUID for notLoaded.
    const Uuid& id() const { return m_id; }
    const char* what() const noexcept override { return m_message.c_str(); }

    /// Equal when the case and the UUID are equal.
    friend bool operator==(const NoteStoreError& a, const NoteStoreError& b) {
        return a.m_case == b.m_case && a.m_id == b.m_id;
    }

private:
    Case m_case;
    Uuid m_id;
    std::string m_message;
};

} // namespace zemvar::core
