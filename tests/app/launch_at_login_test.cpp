// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/launch_at_login_controller.h"
#include "app_test_support.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using zemvar::app::LaunchAtLoginController;
using zemvar::testing::AppSandbox;

class LaunchAtLoginTest : public QObject {
    Q_OBJECT

private:
    // An installed copy: <prefix>/bin/zemvar-notes beside its desktop entry.
    static QString install(const AppSandbox& sandbox, const QString& prefix) {
        const QString program = sandbox.path(prefix + QStringLiteral("/bin/zemvar-notes"));
        AppSandbox::writeFile(program, "#!/bin/sh\n");
        AppSandbox::writeFile(
            sandbox.path(prefix + QStringLiteral("/share/applications/zemvar-notes.desktop")),
            "[Desktop Entry]\n");
        return program;
    }

private Q_SLOTS:
    void anInstalledCopyAddsAndRemovesItsAutostartEntry() {
        AppSandbox sandbox;
        const QString program = install(sandbox, QStringLiteral("my apps"));
        LaunchAtLoginController controller(program, QStringLiteral("zemvar-notes"),
                                           sandbox.path(QStringLiteral("autostart")));
        QVERIFY(controller.unavailableReason().isEmpty());
        QVERIFY(!controller.isRegistered());
        QSignalSpy changed(&controller, &LaunchAtLoginController::changed);

        controller.setEnabled(true);
        QVERIFY(controller.isRegistered());
        QVERIFY(changed.count() >= 1);
        const QByteArray entry = AppSandbox::readFile(controller.entryPath());
        QVERIFY(entry.startsWith("[Desktop Entry]\n"));
        QVERIFY2(entry.contains("\nExec=\"" + program.toUtf8() + "\"\n"), entry.constData());

        // Changed by hand meanwhile: hidden, then removed.
        AppSandbox::writeFile(controller.entryPath(), entry + "Hidden=true\n");
        controller.refresh();
        QVERIFY(!controller.isRegistered());
        controller.setEnabled(true);
        QVERIFY(controller.isRegistered());
        QFile::remove(controller.entryPath());
        controller.refresh();
        QVERIFY(!controller.isRegistered());
        controller.setEnabled(true);
        controller.setEnabled(false);
        QVERIFY(!QFile::exists(controller.entryPath()));
        QVERIFY(controller.errorMessage().isEmpty());
    }

    void aCopyInABuildTreeOrAReviewBuildIsUnavailable() {
        AppSandbox sandbox;
        const QString autostart = sandbox.path(QStringLiteral("autostart"));
        const QString built = sandbox.path(QStringLiteral("build/src/app/zemvar-notes"));
        LaunchAtLoginController fromBuild(built, QStringLiteral("zemvar-notes"), autostart);
        QCOMPARE(fromBuild.unavailableReason(),
                 QStringLiteral("Install this app and reopen it to enable launch at login."));
        fromBuild.setEnabled(true);
        QVERIFY(!QFile::exists(fromBuild.entryPath()));

        LaunchAtLoginController review(install(sandbox, QStringLiteral("usr")),
                                       QStringLiteral("zemvar-notes.review"), autostart);
        QCOMPARE(review.unavailableReason(),
                 QStringLiteral("Launch at login is unavailable in review builds."));
    }

    void aFailureIsShown() {
        AppSandbox sandbox;
        const QString blocked = sandbox.path(QStringLiteral("autostart"));
        AppSandbox::writeFile(blocked, "a file where the folder should be");
        LaunchAtLoginController controller(install(sandbox, QStringLiteral("usr")),
                                           QStringLiteral("zemvar-notes"), blocked);
        controller.setEnabled(true);
        QVERIFY(!controller.isRegistered());
        QVERIFY2(controller.errorMessage().startsWith(
                     QStringLiteral("Could not change launch at login: ")),
                 qPrintable(controller.errorMessage()));
    }
};

QTEST_MAIN(LaunchAtLoginTest)
#include "launch_at_login_test.moc"
