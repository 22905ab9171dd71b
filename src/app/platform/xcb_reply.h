// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstdlib>
#include <memory>

namespace zemvar::app::platform {

/// Frees what xcb allocated for a reply or an error.
struct XcbFree {
    void operator()(void* pointer) const { std::free(pointer); }
};

/// An xcb reply or error, freed when it goes out of scope.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

} // namespace zemvar::app::platform
