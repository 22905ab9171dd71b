// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <memory>
#include <string>

#include <QSettings>
#include <QString>
#include <QTemporaryDir>

namespace zemvar::testing {

/// A private world for one interface test: a temporary folder holding a notes library, a
/// settings file and the data folder ($XDG_DATA_HOME while it lives, so that nothing reaches
/// the desktop's own lists), removed afterwards.
class AppSandbox {
public:
    AppSandbox();
    AppSandbox(const AppSandbox&) = delete;
    AppSandbox& operator=(const AppSandbox&) = delete;
    ~AppSandbox();

    QString path(const QString& relative = {}) const;
    /// The library folder ("Zemvar Notes" inside the sandbox).
    QString library() const { return path(QStringLiteral("Zemvar Notes")); }
    /// The note file of `id` (upper-case UUID string) in the library.
    QString noteFile(const QString& id) const;
    QSettings& settings() { return *m_settings; }

    static void writeFile(const QString& path, const QByteArray& bytes);
    static QByteArray readFile(const QString& path);
    /// The inode of `path`: an atomic replace gives the file a new one, so a change counts writes.
    static unsigned long long inode(const QString& path);

private:
    QTemporaryDir m_folder;
    std::unique_ptr<QSettings> m_settings;
};

/// Lets this process write files of at most `bytes` bytes while it lives: a larger write fails
/// with EFBIG ("File too large"), a save failure that no permission, not even root's, gets
/// round, and that leaves the files as they were.
class FileSizeLimit {
public:
    explicit FileSizeLimit(unsigned long bytes);
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit();

private:
    unsigned long m_previous = 0;
    void (*m_previousHandler)(int) = nullptr;
};

} // namespace zemvar::testing
