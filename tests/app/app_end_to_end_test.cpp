// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The installed program as a person uses it, on a real X server with a system tray: summoned
// with the global shortcut and with --toggle, typed into, quit, and started again.
#include "app/shell/single_instance.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class AppEndToEndTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_home;
    QProcess m_tray;
    QProcess m_app;

    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_home.path());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_home.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("disabled:"));
        env.remove(QStringLiteral("ZEMVAR_NOTES_LIBRARY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        return env;
    }
    QString library() const { return m_home.filePath(QStringLiteral("data/Zemvar Notes")); }

    bool accepting() const {
        QLocalSocket socket;
        socket.connectToServer(zemvar::app::SingleInstance::serverName(library()));
        return socket.waitForConnected(100);
    }

    static int run(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& env) {
        QProcess process;
        process.setProcessEnvironment(env);
        process.start(program, arguments);
        if (!process.waitForFinished(10000)) {
            process.kill();
            return -1;
        }
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    int xdotool(const QStringList& arguments) const {
        return run(QStringLiteral("xdotool"), arguments, environment());
    }
    // Types `text` into the focused window, pressing Return for each line break.
    void type(const QString& text) const {
        const QStringList lines = text.split(QLatin1Char('\n'));
        for (int i = 0; i < lines.size(); ++i) {
            if (i > 0) {
                QCOMPARE(xdotool({QStringLiteral("key"), QStringLiteral("Return")}), 0);
            }
            if (!lines[i].isEmpty()) {
                QCOMPARE(xdotool({QStringLiteral("type"), QStringLiteral("--delay"),
                                  QStringLiteral("15"), lines[i]}),
                         0);
            }
        }
    }
    // Whether the panel (a window titled "Zemvar Notes") is on screen.
    bool panelVisible() const {
        return xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                        QStringLiteral("--name"), QStringLiteral("^Zemvar Notes$")}) == 0;
    }
    void startApp() {
        m_app.setProcessEnvironment(environment());
        m_app.setProcessChannelMode(QProcess::ForwardedChannels);
        m_app.start(QStringLiteral(ZEMVAR_APP_PATH), {});
        QVERIFY(m_app.waitForStarted());
        // Ready once it takes the requests of later launches.
        QTRY_VERIFY_WITH_TIMEOUT(accepting(), 10000);
    }
    // The file of the first note in the index.
    QString noteFile() const {
        QFile index(library() + QStringLiteral("/index.json"));
        if (!index.open(QIODevice::ReadOnly)) {
            return {};
        }
        const QJsonArray notes = QJsonDocument::fromJson(index.readAll())
                                     .object()
                                     .value(QStringLiteral("notes"))
                                     .toArray();
        if (notes.isEmpty()) {
            return {};
        }
        return library() + QStringLiteral("/notes/") +
               notes.first().toObject().value(QStringLiteral("id")).toString() +
               QStringLiteral(".txt");
    }
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString noteText() const { return QString::fromUtf8(contents(noteFile())); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_home.isValid());
        if (QStandardPaths::findExecutable(QStringLiteral("trayer")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty()) {
            QSKIP("trayer and xdotool are needed (scripts/install-deps installs them)");
        }
        // A system tray, so that the program starts hidden in it.
        m_tray.setProcessEnvironment(environment());
        m_tray.start(QStringLiteral("trayer"), {QStringLiteral("--edge"), QStringLiteral("top")});
        QVERIFY(m_tray.waitForStarted());
    }

    void cleanupTestCase() {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.kill();
            m_app.waitForFinished();
        }
        m_tray.kill();
        m_tray.waitForFinished();
    }

    void summonTypeQuitAndFindTheTextAgain() {
        startApp();
        QTest::qWait(300);
        QVERIFY(!panelVisible()); // in the tray, not in the way

        // The global shortcut (Ctrl+Alt+Super+N by default) shows the panel.
        QCOMPARE(xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+super+n")}), 0);
        QTRY_VERIFY_WITH_TIMEOUT(panelVisible(), 5000);
        QTest::qWait(200);
        const QString typed = QStringLiteral("rent = 1450\nfood = 15% of rent\ntotal");
        type(typed);
        // Written within a second of the last keystroke: the note file, then the index.
        QTRY_COMPARE_WITH_TIMEOUT(noteText(), typed, 1500);

        // A second launch with --toggle hides the running panel and exits at once.
        QCOMPARE(run(QStringLiteral(ZEMVAR_APP_PATH), {QStringLiteral("--toggle")}, environment()),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(!panelVisible(), 5000);
        QCOMPARE(run(QStringLiteral(ZEMVAR_APP_PATH), {QStringLiteral("--toggle")}, environment()),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(panelVisible(), 5000);

        // Text typed a moment before a termination signal is on disk when the program ends.
        QTest::qWait(200);
        type(QStringLiteral("\n2 * 21"));
        m_app.terminate();
        QVERIFY(m_app.waitForFinished(10000));
        QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_app.exitCode(), 0);
        QCOMPARE(noteText(), typed + QStringLiteral("\n2 * 21"));

        // Started again, it shows the same note; Ctrl+Q in the panel quits.
        startApp();
        QCOMPARE(run(QStringLiteral(ZEMVAR_APP_PATH), {QStringLiteral("--show")}, environment()),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(panelVisible(), 5000);
        QTest::qWait(200);
        QCOMPARE(xdotool({QStringLiteral("key"), QStringLiteral("ctrl+q")}), 0);
        QVERIFY(m_app.waitForFinished(10000));
        QCOMPARE(m_app.exitCode(), 0);
        QCOMPARE(noteText(), typed + QStringLiteral("\n2 * 21"));
    }

    // A file handed to the running program by a second launch opens in its own window; typing
    // and Ctrl+S there change the file exactly: its UTF-16 encoding, mark and CR LF endings stay.
    void aFileGivenToASecondLaunchIsEditedInPlace() {
        startApp();
        const QString path = m_home.filePath(QStringLiteral("Shopping list.txt"));
        const auto utf16 = [](const QString& text) {
            QByteArray bytes("\xFF\xFE");
            for (const QChar unit : text) {
                bytes.append(static_cast<char>(unit.unicode() & 0xFF))
                    .append(static_cast<char>(unit.unicode() >> 8));
            }
            return bytes;
        };
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            const QByteArray bytes = utf16(QStringLiteral("milk\r\nbread\r\n"));
            QCOMPARE(file.write(bytes), bytes.size());
        }
        QCOMPARE(run(QStringLiteral(ZEMVAR_APP_PATH), {path}, environment()), 0);
        QTRY_VERIFY_WITH_TIMEOUT(
            xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                     QStringLiteral("--name"), QStringLiteral("^Shopping list\\.txt")}) == 0,
            5000);
        QTest::qWait(300);
        QCOMPARE(xdotool({QStringLiteral("key"), QStringLiteral("ctrl+End")}), 0);
        type(QStringLiteral("eggs\n"));
        QCOMPARE(xdotool({QStringLiteral("key"), QStringLiteral("ctrl+s")}), 0);
        QTRY_COMPARE_WITH_TIMEOUT(contents(path),
                                  utf16(QStringLiteral("milk\r\nbread\r\neggs\r\n")), 3000);
        m_app.terminate();
        QVERIFY(m_app.waitForFinished(10000));
        QCOMPARE(m_app.exitCode(), 0);
    }

    // Logging out while the note cannot be saved: the program still ends at once, and the text
    // is kept outside the library instead of being lost.
    void aTerminationWhileTheSaveFailsKeepsTheText() {
        startApp();
        QCOMPARE(run(QStringLiteral(ZEMVAR_APP_PATH), {QStringLiteral("--show")}, environment()),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(panelVisible(), 5000);
        QTest::qWait(200);
        const QString file = noteFile();
        const QByteArray saved = contents(file);
        const QByteArray unreadable("\xFF changed by another program");
        {
            QFile note(file);
            QVERIFY(note.open(QIODevice::WriteOnly | QIODevice::Truncate));
            QCOMPARE(note.write(unreadable), unreadable.size());
        }
        type(QStringLiteral("unsaved"));
        QTest::qWait(1000); // the save was tried and refused
        m_app.terminate();
        QVERIFY(m_app.waitForFinished(10000));
        QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_app.exitCode(), 0);
        QCOMPARE(contents(file), unreadable);
        const QDir rescued(m_home.filePath(QStringLiteral(".local/state/Zemvar Notes/rescued")));
        const QStringList files = rescued.entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        const QByteArray kept = contents(rescued.filePath(files.first()));
        QCOMPARE(kept.size(), saved.size() + 7);
        QVERIFY(kept.contains("unsaved"));
    }
};

QTEST_GUILESS_MAIN(AppEndToEndTest)
#include "app_end_to_end_test.moc"
