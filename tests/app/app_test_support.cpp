// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app_test_support.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace zemvar::testing {

namespace {

// XDG_DATA_HOME before the first of the sandboxes alive now, and how many are alive: a test
// often makes its next sandbox before the last one goes.
QByteArray dataHomeBeforeSandboxes;
int sandboxesAlive = 0;

} // namespace

AppSandbox::AppSandbox()
    : m_settings(std::make_unique<QSettings>(m_folder.filePath(QStringLiteral("settings.ini")),
                                             QSettings::IniFormat)) {
    QVERIFY2(m_folder.isValid(), "cannot create a temporary folder");
    if (sandboxesAlive++ == 0) {
        dataHomeBeforeSandboxes = qgetenv("XDG_DATA_HOME");
    }
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("data"))));
}

AppSandbox::~AppSandbox() {
    if (--sandboxesAlive > 0) {
        return;
    }
    if (dataHomeBeforeSandboxes.isNull()) {
        qunsetenv("XDG_DATA_HOME");
    } else {
        qputenv("XDG_DATA_HOME", dataHomeBeforeSandboxes);
    }
}

QString AppSandbox::path(const QString& relative) const {
    return relative.isEmpty() ? m_folder.path() : m_folder.filePath(relative);
}

QString AppSandbox::noteFile(const QString& id) const {
    return library() + QStringLiteral("/notes/") + id + QStringLiteral(".txt");
}

void AppSandbox::writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray AppSandbox::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return file.readAll();
}

unsigned long long AppSandbox::inode(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

FileSizeLimit::FileSizeLimit(unsigned long bytes)
    : m_previousHandler(std::signal(SIGXFSZ, SIG_IGN)) {
    rlimit limit{};
    QVERIFY(::getrlimit(RLIMIT_FSIZE, &limit) == 0);
    m_previous = limit.rlim_cur;
    limit.rlim_cur = bytes;
    QVERIFY(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
}

FileSizeLimit::~FileSizeLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = m_previous;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, m_previousHandler);
}

} // namespace zemvar::testing
