// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/recent_files.h"

#include "app/model/app_settings.h"
#include "app/model/qt_text.h"
#include "core/notes/file_io.h"

#include <exception>
#include <utility>

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <QUrl>

namespace zemvar::app {

namespace {

const QString applicationName = QStringLiteral("Zemvar Notes");

// The first child element of `parent` named `name` whose attribute `key` is `value` (any
// when `key` is empty); a new one appended when there is none.
QDomElement childElement(QDomDocument& document, QDomElement parent, const QString& name,
                         const QString& key = {}, const QString& value = {}) {
    for (QDomElement child = parent.firstChildElement(name); !child.isNull();
         child = child.nextSiblingElement(name)) {
        if (key.isEmpty() || child.attribute(key) == value) {
            return child;
        }
    }
    QDomElement child = document.createElement(name);
    if (!key.isEmpty()) {
        child.setAttribute(key, value);
    }
    parent.appendChild(child);
    return child;
}

} // namespace

RecentFiles::RecentFiles(QSettings& settings, QString recentlyUsedFile)
    : m_settings(settings)
    , m_recentlyUsedFile(std::move(recentlyUsedFile)) {
}

QStringList RecentFiles::files() const {
    QStringList files;
    for (const QString& path : m_settings.value(settings::recentFiles).toStringList()) {
        if (QFileInfo(path).isFile() && files.size() < maximumCount) {
            files.append(path);
        }
    }
    return files;
}

void RecentFiles::add(const QString& path) {
    QStringList files = this->files();
    files.removeAll(path);
    files.prepend(path);
    m_settings.setValue(settings::recentFiles, files.mid(0, maximumCount));
    if (!m_recentlyUsedFile.isEmpty()) {
        if (const auto problem =
                addToRecentlyUsed(m_recentlyUsedFile, path, QDateTime::currentDateTimeUtc())) {
            qWarning("The desktop's list of recent files was not updated: %s",
                     qPrintable(*problem));
        }
    }
}

QString RecentFiles::recentlyUsedFile() {
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return data.isEmpty() ? QString() : QDir(data).filePath(QStringLiteral("recently-used.xbel"));
}

std::optional<QString> addToRecentlyUsed(const QString& xbelFile, const QString& path,
                                         const QDateTime& now) {
    QDomDocument document;
    QFile existing(xbelFile);
    if (existing.exists()) {
        if (!existing.open(QIODevice::ReadOnly)) {
            return xbelFile + QStringLiteral(": ") + existing.errorString();
        }
        // Without namespace processing the prefixed names ("bookmark:application") stay as
        // written, and every other program's entries are copied through untouched.
        QString error;
        if (!document.setContent(existing.readAll(), &error)) {
            return xbelFile + QStringLiteral(": not a recently-used list (") + error +
                   QLatin1Char(')');
        }
        if (document.documentElement().tagName() != QLatin1String("xbel")) {
            return xbelFile + QStringLiteral(": not a recently-used list");
        }
    } else {
        document.appendChild(document.createProcessingInstruction(
            QStringLiteral("xml"), QStringLiteral("version=\"1.0\" encoding=\"UTF-8\"")));
        QDomElement root = document.createElement(QStringLiteral("xbel"));
        root.setAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        root.setAttribute(QStringLiteral("xmlns:bookmark"),
                          QStringLiteral("http://www.freedesktop.org/standards/desktop-bookmarks"));
        root.setAttribute(QStringLiteral("xmlns:mime"),
                          QStringLiteral("http://www.freedesktop.org/standards/shared-mime-info"));
        document.appendChild(root);
    }

    const QString stamp = now.toUTC().toString(Qt::ISODateWithMs);
    const QString href = QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded());
    QDomElement root = document.documentElement();
    QDomElement bookmark =
        childElement(document, root, QStringLiteral("bookmark"), QStringLiteral("href"), href);
    if (!bookmark.hasAttribute(QStringLiteral("added"))) {
        bookmark.setAttribute(QStringLiteral("added"), stamp);
    }
    bookmark.setAttribute(QStringLiteral("modified"), stamp);
    bookmark.setAttribute(QStringLiteral("visited"), stamp);
    QDomElement metadata =
        childElement(document, childElement(document, bookmark, QStringLiteral("info")),
                     QStringLiteral("metadata"), QStringLiteral("owner"),
                     QStringLiteral("http://freedesktop.org"));
    QDomElement mime = childElement(document, metadata, QStringLiteral("mime:mime-type"));
    if (!mime.hasAttribute(QStringLiteral("type"))) {
        mime.setAttribute(QStringLiteral("type"), QMimeDatabase().mimeTypeForFile(path).name());
    }
    QDomElement application = childElement(
        document, childElement(document, metadata, QStringLiteral("bookmark:applications")),
        QStringLiteral("bookmark:application"), QStringLiteral("name"), applicationName);
    application.setAttribute(QStringLiteral("exec"), QStringLiteral("'zemvar-notes %u'"));
    application.setAttribute(QStringLiteral("modified"), stamp);
    application.setAttribute(QStringLiteral("count"),
                             application.attribute(QStringLiteral("count")).toInt() + 1);

    if (!QDir().mkpath(QFileInfo(xbelFile).absolutePath())) {
        return xbelFile + QStringLiteral(": cannot create its folder");
    }
    try {
        core::writeFileAtomically(toFilesystemPath(xbelFile),
                                  document.toByteArray(2).toStdString());
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
    return std::nullopt;
}

} // namespace zemvar::app
