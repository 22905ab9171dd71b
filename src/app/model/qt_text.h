// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <QFile>
#include <QString>

/// The one place where the core's UTF-8 strings and Qt's strings meet.
namespace zemvar::app {

inline QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string toStdString(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

/// A file path for the core, in the file system's own encoding.
inline std::filesystem::path toFilesystemPath(const QString& path) {
    return std::filesystem::path(QFile::encodeName(path).toStdString());
}

inline QString fromFilesystemPath(const std::filesystem::path& path) {
    return QFile::decodeName(QByteArray::fromStdString(path.native()));
}

} // namespace zemvar::app
