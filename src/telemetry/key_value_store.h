// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <string>
#include <variant>

namespace zemvar::telemetry {

/// The preferences store that telemetry keeps its state in (the app's settings file). Values
/// are typed: a key holds nothing, a boolean, a string, or something else.
///
/// Implementations write through at once, so that a value survives the process being killed
/// right after; a write that fails is the store's to report. Not thread-safe: call from one
/// thread.
class KeyValueStore {
public:
    /// A stored value of a type telemetry does not use (a number, a list, ...).
    struct Other {
        bool operator==(const Other&) const = default;
    };
    /// Nothing stored (std::monostate), a boolean, a string, or another type.
    using Value = std::variant<std::monostate, bool, std::string, Other>;

    virtual ~KeyValueStore() = default;

    virtual Value value(const std::string& key) const = 0;
    virtual void setBool(const std::string& key, bool value) = 0;
    virtual void setString(const std::string& key, const std::string& value) = 0;
    /// Removes `key`; nothing happens when it is not stored.
    virtual void remove(const std::string& key) = 0;
};

} // namespace zemvar::telemetry
