// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <csignal>
#include <sys/resource.h>

#include <gtest/gtest.h>

namespace zemvar::testing {

/// Lets this process write files of at most `bytes` bytes while it lives: a larger write fails
/// with EFBIG ("File too large"), which no permission, not even root's, gets round.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
        : m_previousHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &m_previous), 0);
        const rlimit limit{bytes, m_previous.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }

private:
    rlimit m_previous{};
    void (*m_previousHandler)(int);
};

} // namespace zemvar::testing
