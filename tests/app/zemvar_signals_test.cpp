// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Telemetry as a person meets it, against a real HTTPS service on 127.0.0.1 whose
// certificate is made for the test and trusted only through ZEMVAR_KORVIT_CA_FILE: the whole
// program started, killed and quit, and the feedback form.
#include "app/settings/notes_feedback_form.h"
#include "app/shell/single_instance.h"
#include "app/shell/zemvar_signals.h"
#include "telemetry/korvit_test_server.h"

#include <chrono>
#include <memory>

#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLocalSocket>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace std::chrono_literals;
using zemvar::app::NotesFeedbackForm;
using zemvar::app::ZemvarSignals;
using zemvar::testing::KorvitTestServer;

namespace {

QJsonObject documentOf(const KorvitTestServer::Request& request) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(request.body)).object();
}

QStringList eventNames(const std::vector<KorvitTestServer::Request>& requests) {
    QStringList names;
    for (const auto& request : requests) {
        names << documentOf(request).value(QStringLiteral("name")).toString();
    }
    return names;
}

} // namespace

class ZemvarSignalsTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_home;
    std::unique_ptr<KorvitTestServer> m_server;
    QProcess m_app;

    QString path(const QString& relative) const { return m_home.filePath(relative); }
    QSettings appSettings() const {
        return QSettings(path(QStringLiteral("config/Zemvar/Zemvar Notes.ini")),
                         QSettings::IniFormat);
    }

    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_home.path());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("data")));
        env.insert(QStringLiteral("ZEMVAR_TEST_KORVIT_ENDPOINT"),
                   QString::fromStdString(m_server->endpoint()));
        env.remove(QStringLiteral("ZEMVAR_NOTES_LIBRARY"));
        return env;
    }
    void startApp() {
        m_app.setProcessEnvironment(environment());
        m_app.setProcessChannelMode(QProcess::ForwardedChannels);
        m_app.start(QStringLiteral(ZEMVAR_KORVIT_TEST_APP), {});
        QVERIFY(m_app.waitForStarted());
        // Started once it takes the requests of later launches and its event loop answers one
        // (a launch before that would become the program itself).
        QTRY_VERIFY_WITH_TIMEOUT(accepting(), 10000);
        QVERIFY(answersALaterLaunch());
    }
    bool accepting() const {
        QLocalSocket socket;
        socket.connectToServer(
            zemvar::app::SingleInstance::serverName(path(QStringLiteral("data/Zemvar Notes"))));
        return socket.waitForConnected(100);
    }
    bool answersALaterLaunch() const {
        QProcess launch;
        launch.setProcessEnvironment(environment());
        launch.start(QStringLiteral(ZEMVAR_KORVIT_TEST_APP), {QStringLiteral("--show")});
        return launch.waitForFinished(5000) && launch.exitStatus() == QProcess::NormalExit &&
               launch.exitCode() == 0;
    }
    // Quits the program as the system does, which it takes as a clean quit.
    void quitApp() {
        m_app.terminate();
        QVERIFY(m_app.waitForFinished(10000));
        QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_app.exitCode(), 0);
    }
    void killApp() {
        m_app.kill();
        QVERIFY(m_app.waitForFinished(10000));
    }
    // The names of the events received since `seen` requests, once `count` more arrived.
    QStringList newEvents(std::size_t seen, std::size_t count) const {
        if (!m_server->waitForRequests(seen + count, 10s)) {
            return {QStringLiteral("(not received)")};
        }
        const auto requests = m_server->requests();
        return eventNames({requests.begin() + static_cast<std::ptrdiff_t>(seen), requests.end()});
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_home.isValid());
        QVERIFY(QDir().mkpath(path(QStringLiteral("server"))));
        m_server = std::make_unique<KorvitTestServer>(
            std::filesystem::path(path(QStringLiteral("server")).toStdString()));
        qputenv("ZEMVAR_KORVIT_CA_FILE", QByteArray::fromStdString(m_server->certificate()));
    }

    void cleanupTestCase() {
        if (m_app.state() != QProcess::NotRunning) {
            killApp();
        }
    }

    // Started, killed, started again, quit, started again: the service hears of every launch
    // and of the killed run only; with usage statistics off it hears nothing at all.
    void theServiceHearsOfLaunchesAndUncleanExitsWithConsentOnly() {
        startApp();
        QCOMPARE(newEvents(0, 1), QStringList{QStringLiteral("app.opened")});
        killApp();

        startApp();
        QCOMPARE(newEvents(1, 2),
                 (QStringList{QStringLiteral("app.opened"), QStringLiteral("app.uncleanexit")}));
        quitApp();

        startApp();
        QCOMPARE(newEvents(3, 1), QStringList{QStringLiteral("app.opened")});
        quitApp(); // all sent by then
        const auto requests = m_server->requests();
        QCOMPARE(requests.size(), 4u);
        // One installation throughout, and nothing but the documented fields.
        const QString installation = documentOf(requests[0])
                                         .value(QStringLiteral("metadata"))
                                         .toObject()
                                         .value(QStringLiteral("installation_id"))
                                         .toString();
        QVERIFY(!installation.isEmpty());
        for (const auto& request : requests) {
            const QJsonObject document = documentOf(request);
            QCOMPARE(request.path, std::string("/v1/events"));
            QCOMPARE(document.value(QStringLiteral("source")).toString(), QStringLiteral("notes"));
            QCOMPARE(document.value(QStringLiteral("metadata"))
                         .toObject()
                         .value(QStringLiteral("installation_id"))
                         .toString(),
                     installation);
        }

        {
            QSettings settings = appSettings();
            settings.setValue(QStringLiteral("zemvar.usageConsent.v1"), false);
        }
        startApp();
        killApp(); // not even the unclean exit is reported without consent
        startApp();
        quitApp();
        QCOMPARE(m_server->requests().size(), 4u);
        QVERIFY(!appSettings().contains(QString::fromLatin1(ZemvarSignals::installationKey)));
    }

    void feedbackIsSentOrKeptWithItsFailureSaid() {
        QSettings settings(path(QStringLiteral("form.ini")), QSettings::IniFormat);
        ZemvarSignals service(
            settings,
            zemvar::telemetry::KorvitConfiguration::make(m_server->endpoint(), "test-key"),
            QStringLiteral(ZEMVAR_KORVIT_SENDER));
        NotesFeedbackForm form(service, settings);
        form.open();
        auto* message = form.findChild<QPlainTextEdit*>(QStringLiteral("feedback-message"));
        auto* counter = form.findChild<QLabel*>(QStringLiteral("feedback-counter"));
        auto* problem = form.findChild<QLabel*>(QStringLiteral("feedback-problem"));
        auto* send = form.findChild<QPushButton*>(QStringLiteral("feedback-send"));
        QCOMPARE(counter->text(), QStringLiteral("0/2000 characters"));
        QVERIFY(!send->isEnabled());
        // Counted in UTF-16 code units, as the service counts: the emoji is two.
        message->setPlainText(QStringLiteral("  😀") + QString(1999, QLatin1Char('a')));
        QCOMPARE(counter->text(), QStringLiteral("2001/2000 characters"));
        QVERIFY(!send->isEnabled());
        message->setPlainText(QStringLiteral("The total is wrong 😀\n"));
        QCOMPARE(counter->text(), QStringLiteral("21/2000 characters"));
        QVERIFY(send->isEnabled());

        const std::size_t before = m_server->requests().size();
        m_server->setStatus(500);
        send->click();
        QTRY_VERIFY(problem->isVisible());
        QCOMPARE(problem->text(),
                 QStringLiteral("Delivery could not be confirmed. Your message is preserved; "
                                "retrying may duplicate a report."));
        QVERIFY(form.isVisible());
        QCOMPARE(message->toPlainText(), QStringLiteral("The total is wrong 😀\n"));

        m_server->setStatus(204);
        send->click();
        QTRY_VERIFY(!form.isVisible());
        QVERIFY(message->toPlainText().isEmpty());
        const auto requests = m_server->requests();
        QCOMPARE(requests.size(), before + 2);
        QCOMPARE(requests.back().path, std::string("/v1/feedback"));
        QCOMPARE(documentOf(requests.back()).value(QStringLiteral("message")).toString(),
                 QStringLiteral("The total is wrong 😀"));
        QCOMPARE(documentOf(requests.back()).value(QStringLiteral("category")).toString(),
                 QStringLiteral("feedback"));
    }
};

QTEST_MAIN(ZemvarSignalsTest)
#include "zemvar_signals_test.moc"
