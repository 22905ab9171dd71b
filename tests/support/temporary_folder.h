// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zemvar::testing {

/// A fresh folder under the system's temporary directory, removed with everything in it
/// when the object goes away.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const {
        return m_path / relative;
    }

private:
    std::filesystem::path m_path;
};

/// Writes `bytes` to `path` (plainly, creating parent folders), failing the test on error.
void writeFile(const std::filesystem::path& path, std::string_view bytes);
/// Reads the whole file at `path`, failing the test on error.
std::string readFile(const std::filesystem::path& path);
/// Names of the entries of `folder`, sorted.
std::string listFolder(const std::filesystem::path& folder);

} // namespace zemvar::testing
