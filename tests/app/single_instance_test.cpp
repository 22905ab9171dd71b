// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/notes_command_line.h"
#include "app/shell/single_instance.h"

#include <future>
#include <memory>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using zemvar::app::NotesRequest;
using zemvar::app::SingleInstance;
using Action = zemvar::app::NotesRequest::Action;
using Role = zemvar::app::SingleInstance::Role;

namespace {

// The socket file behind a server name.
QString socketPath(const QString& name) {
    return QDir::isAbsolutePath(name) ? name : QDir(QDir::tempPath()).filePath(name);
}

// A launch of the helper program, which starts like the app: `arguments` are the app's.
class Launch {
public:
    // `environment` holds "VARIABLE=value" items beyond the test's own, which has no
    // activation tokens.
    Launch(const QString& library, const QStringList& arguments,
           const QString& workingDirectory = {}, const QStringList& environment = {}) {
        m_process.setWorkingDirectory(workingDirectory);
        m_process.setEnvironment(QProcess::systemEnvironment() + environment);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(
            QStringLiteral(ZEMVAR_PLATFORM_HELPER),
            QStringList{QStringLiteral("launch"), QStringLiteral("--library"), library} +
                arguments);
    }
    ~Launch() {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }
    QProcess& process() { return m_process; }
    // Everything printed so far.
    const QByteArray& output() {
        m_output += m_process.readAllStandardOutput();
        return m_output;
    }
    bool exitedWithSuccess() const {
        return m_process.state() == QProcess::NotRunning &&
               m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }

private:
    QProcess m_process;
    QByteArray m_output;
};

} // namespace

class SingleInstanceTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_runtime; // stands in for $XDG_RUNTIME_DIR
    std::unique_ptr<QTemporaryDir> m_folder;

    QString library() const { return m_folder->filePath(QStringLiteral("Zemvar Notes")); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_runtime.isValid());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
    }

    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void requestsReachTheFirstInstance_data() {
        QTest::addColumn<NotesRequest>("request");
        QTest::newRow("reopen") << NotesRequest{};
        QTest::newRow("show") << NotesRequest{Action::show, {}};
        QTest::newRow("toggle") << NotesRequest{Action::toggle, {}};
        QTest::newRow("files") << NotesRequest{
            Action::openFiles,
            {QStringLiteral("/home/ada/to do.txt"), QStringLiteral("/tmp/\"Grüße\"\n.md")}};
        QTest::newRow("toggle with a file")
            << NotesRequest{Action::toggle, {QStringLiteral("/tmp/a.txt")}};
    }
    void requestsReachTheFirstInstance() {
        QFETCH(NotesRequest, request);
        SingleInstance first(library());
        QCOMPARE(first.start(NotesRequest{Action::show, {}}), Role::primary);
        QVERIFY(first.isListening());
        QSignalSpy received(&first, &SingleInstance::requestReceived);

        // The second launch blocks until acknowledged, so it needs a thread of its own here.
        auto second = std::async(std::launch::async, [this, request] {
            SingleInstance instance(library());
            return instance.start(request);
        });
        QTRY_COMPARE(received.count(), 1);
        QCOMPARE(second.get(), Role::handedOver);
        QCOMPARE(received.at(0).at(0).value<NotesRequest>(), request);
    }

    // The launch's command line, and the keyboard focus its desktop granted it.
    void aSecondProcessHandsOverItsCommandLineAndExits_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("environment");
        QTest::addColumn<QByteArray>("received");
        QTest::newRow("no arguments")
            << QStringList{} << QStringList{}
            << QByteArray(R"({"action":"reopen","files":[],"protocol":1})");
        QTest::newRow("toggle and a relative file")
            << QStringList{QStringLiteral("--toggle"), QStringLiteral("notes.txt")} << QStringList{}
            << QByteArray(R"({"action":"toggle","files":["CWD/notes.txt"],"protocol":1})");
        QTest::newRow("Wayland activation token")
            << QStringList{QStringLiteral("--toggle")}
            << QStringList{QStringLiteral("XDG_ACTIVATION_TOKEN=weston-7f3a")}
            << QByteArray(
                   R"({"action":"toggle","activationToken":"weston-7f3a","files":[],"protocol":1})");
        QTest::newRow("X11 startup id")
            << QStringList{QStringLiteral("--show")}
            << QStringList{QStringLiteral("DESKTOP_STARTUP_ID=gnome-shell-12_TIME4711")}
            << QByteArray(
                   R"({"action":"show","files":[],"protocol":1,"startupId":"gnome-shell-12_TIME4711"})");
    }
    void aSecondProcessHandsOverItsCommandLineAndExits() {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, environment);
        QFETCH(QByteArray, received);
        SingleInstance first(library());
        QCOMPARE(first.start({}), Role::primary);
        QSignalSpy spy(&first, &SingleInstance::requestReceived);

        const QString workingDirectory = m_folder->filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkpath(workingDirectory));
        Launch second(library(), arguments, workingDirectory, environment);
        QTRY_COMPARE(spy.count(), 1);
        QTRY_VERIFY(second.exitedWithSuccess());
        received.replace("CWD", workingDirectory.toUtf8());
        QCOMPARE(SingleInstance::encode(spy.at(0).at(0).value<NotesRequest>()).trimmed(), received);
    }

    void aSocketLeftByACrashIsTakenOver() {
        {
            Launch crashing(library(), {});
            QTRY_VERIFY(crashing.output().contains("primary\n"));
            crashing.process().kill(); // SIGKILL: nothing gets cleaned up
            QVERIFY(crashing.process().waitForFinished());
        }
        QVERIFY(QFileInfo::exists(socketPath(SingleInstance::serverName(library()))));

        SingleInstance successor(library());
        QCOMPARE(successor.start({}), Role::primary);
        QVERIFY(successor.isListening());
        QSignalSpy spy(&successor, &SingleInstance::requestReceived);
        Launch next(library(), {QStringLiteral("--show")});
        QTRY_COMPARE(spy.count(), 1);
        QTRY_VERIFY(next.exitedWithSuccess());
    }

    void anInstanceThatDoesNotAnswerFailsTheLaunch() {
        QLocalServer mute; // accepts connections, never replies
        QVERIFY(mute.listen(SingleInstance::serverName(library())));
        SingleInstance launch(library());
        QCOMPARE(launch.start({}, 300), Role::failed);
        QCOMPARE(launch.errorString(),
                 QStringLiteral(
                     "Zemvar Notes is already running for this library but does not answer."));
        QVERIFY(!launch.isListening());
    }

    void foreignMessagesAreRefused_data() {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("reply");
        const QByteArray refused("refused: not a version 1 request\n");
        QTest::newRow("newer protocol")
            << QByteArray(R"({"protocol":2,"action":"show"})") << refused;
        QTest::newRow("not JSON") << QByteArray("show") << refused;
        QTest::newRow("unknown action")
            << QByteArray(R"({"protocol":1,"action":"quit"})") << refused;
        QTest::newRow("relative file")
            << QByteArray(R"({"protocol":1,"action":"openFiles","files":["a.txt"]})") << refused;
        QTest::newRow("token not a string")
            << QByteArray(R"({"protocol":1,"action":"show","activationToken":7})") << refused;
        QTest::newRow("unknown keys are fine")
            << QByteArray(R"({"protocol":1,"action":"show","from":"a later version"})")
            << QByteArray("ok\n");
    }
    void foreignMessagesAreRefused() {
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, reply);
        SingleInstance first(library());
        QCOMPARE(first.start({}), Role::primary);
        QSignalSpy spy(&first, &SingleInstance::requestReceived);
        QLocalSocket client;
        client.connectToServer(SingleInstance::serverName(library()));
        QVERIFY(client.waitForConnected());
        client.write(message + '\n');
        QTRY_VERIFY(client.canReadLine());
        QCOMPARE(client.readLine(), reply);
        QCOMPARE(spy.count(), reply == "ok\n" ? 1 : 0);
    }

    void eachLibraryHasItsOwnInstance() {
        const QString other = m_folder->filePath(QStringLiteral("Other Notes"));
        const QString name = SingleInstance::serverName(library());
        QVERIFY(name.startsWith(m_runtime.path() + QStringLiteral("/zemvar-notes-")));
        QCOMPARE(QFileInfo(name).fileName().size(), 13 + 16);
        QCOMPARE(SingleInstance::serverName(library() + QStringLiteral("/")), name);
        QCOMPARE(SingleInstance::serverName(other + QStringLiteral("/../Zemvar Notes")), name);
        QVERIFY(SingleInstance::serverName(other) != name);
        QVERIFY(QDir().mkpath(library()));
        const QString link = m_folder->filePath(QStringLiteral("link"));
        QVERIFY(QFile::link(library(), link));
        QCOMPARE(SingleInstance::serverName(link), name);

        SingleInstance first(library());
        SingleInstance second(other);
        QCOMPARE(first.start({}), Role::primary);
        QCOMPARE(second.start({}), Role::primary);
        QVERIFY(first.isListening() && second.isListening());
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "single_instance_test.moc"
