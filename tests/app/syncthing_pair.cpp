// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "syncthing_pair.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>
#include <QTimer>
#include <QUrl>

namespace zemvar::testing {

namespace {

const QString folderID = QStringLiteral("zemvar-library");
const QByteArray apiKey = "zemvar-test-key";

// The README's example: the lock belongs to one machine, temporary files are half-written.
const QByteArray ignores = ".zemvar-notes.lock\n*.tmp\n";

// A port nothing listens on now.
int freePort() {
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
}

// A device entry; `address` "dynamic" for one that is never dialled.
QString device(const QString& id, const QString& name, const QString& address) {
    return QStringLiteral(R"(<device id="%1" name="%2"><address>%3</address></device>)")
        .arg(id, name, address);
}

} // namespace

SyncthingPair::SyncthingPair(const QString& folder)
    : m_folder(folder) {
    for (int i = 0; i < 2; ++i) {
        const QString name = QStringLiteral("side-%1").arg(i);
        m_sides[i].home = QDir(folder).filePath(name + QStringLiteral("/syncthing"));
        m_sides[i].library = QDir(folder).filePath(name + QStringLiteral("/Zemvar Notes"));
    }
}

SyncthingPair::~SyncthingPair() {
    for (Side& side : m_sides) {
        if (side.process.state() != QProcess::NotRunning) {
            side.process.terminate();
            if (!side.process.waitForFinished(10000)) {
                side.process.kill();
                side.process.waitForFinished();
            }
        }
    }
}

bool SyncthingPair::available() {
    return !QStandardPaths::findExecutable(QStringLiteral("syncthing")).isEmpty();
}

QString SyncthingPair::library(int side) const {
    return m_sides.at(static_cast<std::size_t>(side)).library;
}

QString SyncthingPair::log(int side) const {
    QFile file(m_sides.at(static_cast<std::size_t>(side)).home + QStringLiteral("/log.txt"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
}

QString SyncthingPair::start() {
    for (Side& side : m_sides) {
        QProcess generate;
        generate.setProcessChannelMode(QProcess::MergedChannels);
        generate.start(QStringLiteral("syncthing"),
                       {QStringLiteral("generate"), QStringLiteral("--no-default-folder"),
                        QStringLiteral("--home=") + side.home});
        if (!generate.waitForFinished(30000) || generate.exitCode() != 0) {
            return QStringLiteral("syncthing generate failed: ") +
                   QString::fromLocal8Bit(generate.readAll());
        }
        const auto id = QRegularExpression(QStringLiteral("Device ID: ([A-Z0-9-]+)"))
                            .match(QString::fromLocal8Bit(generate.readAll()));
        side.deviceID = id.captured(1);
        side.listenPort = freePort();
        side.apiPort = freePort();
        if (side.deviceID.isEmpty() || side.listenPort == 0 || side.apiPort == 0) {
            return QStringLiteral("no device ID or no free port");
        }
        if (!QDir().mkpath(side.library)) {
            return QStringLiteral("cannot create ") + side.library;
        }
        QFile ignoreFile(QDir(side.library).filePath(QStringLiteral(".stignore")));
        if (!ignoreFile.open(QIODevice::WriteOnly) || ignoreFile.write(ignores) != ignores.size()) {
            return QStringLiteral("cannot write ") + ignoreFile.fileName();
        }
    }
    const Side& a = m_sides[0];
    const Side& b = m_sides[1];
    for (Side& side : m_sides) {
        // Side 1 dials side 0, never both at once: two connections made at the same moment
        // stall Syncthing's handshake for 20 s. A folder needs maxConflicts spelt out: without
        // it Syncthing keeps no conflict copy, and one side's edit is lost. Besides, a short
        // watch delay and nothing that leaves the host.
        const QString config =
            QStringLiteral(R"(<configuration version="36">
  <folder id="%1" label="Zemvar Notes" path="%2" type="sendreceive" rescanIntervalS="60"
          fsWatcherEnabled="true" fsWatcherDelayS="1">
    <device id="%3"></device><device id="%4"></device>
    <maxConflicts>10</maxConflicts>
  </folder>
  %5
  %6
  <gui enabled="true" tls="false"><address>127.0.0.1:%7</address><apikey>%8</apikey></gui>
  <options>
    <listenAddress>tcp://127.0.0.1:%9</listenAddress>
    <globalAnnounceEnabled>false</globalAnnounceEnabled>
    <localAnnounceEnabled>false</localAnnounceEnabled>
    <relaysEnabled>false</relaysEnabled>
    <natEnabled>false</natEnabled>
    <urAccepted>-1</urAccepted>
    <startBrowser>false</startBrowser>
    <autoUpgradeIntervalH>0</autoUpgradeIntervalH>
    <crashReportingEnabled>false</crashReportingEnabled>
    <reconnectionIntervalS>1</reconnectionIntervalS>
  </options>
</configuration>
)")
                .arg(folderID, side.library, a.deviceID, b.deviceID,
                     device(a.deviceID, QStringLiteral("a"),
                            QStringLiteral("tcp://127.0.0.1:%1").arg(a.listenPort)),
                     device(b.deviceID, QStringLiteral("b"), QStringLiteral("dynamic")))
                .arg(side.apiPort)
                .arg(QString::fromLatin1(apiKey))
                .arg(side.listenPort);
        QFile file(QDir(side.home).filePath(QStringLiteral("config.xml")));
        const QByteArray bytes = config.toUtf8();
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(bytes) != bytes.size()) {
            return QStringLiteral("cannot write ") + file.fileName();
        }
        file.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("STNOUPGRADE"), QStringLiteral("1"));
        environment.insert(QStringLiteral("HOME"), side.home);
        side.process.setProcessEnvironment(environment);
        side.process.setProcessChannelMode(QProcess::MergedChannels);
        side.process.setStandardOutputFile(side.home + QStringLiteral("/log.txt"));
        side.process.start(QStringLiteral("syncthing"),
                           {QStringLiteral("serve"), QStringLiteral("--home=") + side.home,
                            QStringLiteral("--no-browser"), QStringLiteral("--no-restart")});
        if (!side.process.waitForStarted()) {
            return QStringLiteral("syncthing does not start: ") + side.process.errorString();
        }
    }
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < 30000) {
        const QJsonObject connections = get(m_sides[0], QStringLiteral("/rest/system/connections"));
        if (connections.value(QStringLiteral("connections"))
                .toObject()
                .value(m_sides[1].deviceID)
                .toObject()
                .value(QStringLiteral("connected"))
                .toBool()) {
            return QString();
        }
        QTest::qWait(100);
    }
    return QStringLiteral("the two instances did not connect:\n") + log(0) + log(1);
}

QJsonObject SyncthingPair::get(const Side& side, const QString& path) {
    QNetworkRequest request(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(side.apiPort) + path));
    request.setRawHeader("X-API-Key", apiKey);
    QNetworkReply* reply = m_network.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    loop.exec();
    const QJsonObject answer = reply->isFinished() && reply->error() == QNetworkReply::NoError
                                   ? QJsonDocument::fromJson(reply->readAll()).object()
                                   : QJsonObject();
    reply->abort();
    reply->deleteLater();
    return answer;
}

QStringList SyncthingPair::contents(const QString& library) {
    QStringList files;
    const QDir root(library);
    QDirIterator it(library, {QStringLiteral("index.json"), QStringLiteral("*.txt")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        files << root.relativeFilePath(path) + QLatin1Char('=') +
                     QString::fromLatin1(file.readAll().toHex());
    }
    files.sort();
    return files;
}

bool SyncthingPair::settled() {
    for (int i = 0; i < 2; ++i) {
        const Side& side = m_sides[static_cast<std::size_t>(i)];
        const Side& other = m_sides[static_cast<std::size_t>(1 - i)];
        const QJsonObject status = get(side, QStringLiteral("/rest/db/status?folder=") + folderID);
        const QJsonObject completion =
            get(side, QStringLiteral("/rest/db/completion?folder=%1&device=%2")
                          .arg(folderID, other.deviceID));
        if (status.value(QStringLiteral("state")).toString() != QLatin1String("idle") ||
            status.value(QStringLiteral("needTotalItems")).toInt(-1) != 0 ||
            completion.value(QStringLiteral("completion")).toDouble() != 100.0) {
            return false;
        }
    }
    return contents(m_sides[0].library) == contents(m_sides[1].library);
}

} // namespace zemvar::testing
