// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <array>

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QString>

namespace zemvar::testing {

/// Two Syncthing instances on 127.0.0.1 that share one folder, the notes library of each side:
/// two machines that keep a library in sync, on one host. Each side has its own home (keys,
/// configuration, database) under `folder`; they know each other's device ID and address, listen
/// and serve their REST API on free local ports, and never reach out (no discovery, relays, NAT,
/// usage reports or upgrades). The folders are watched with a one-second delay and carry the
/// .stignore of the README. GUI thread; the destructor stops both instances and waits for them.
class SyncthingPair {
public:
    explicit SyncthingPair(const QString& folder);
    SyncthingPair(const SyncthingPair&) = delete;
    SyncthingPair& operator=(const SyncthingPair&) = delete;
    ~SyncthingPair();

    /// Whether the `syncthing` program is installed.
    static bool available();

    /// Generates both identities and configurations, starts both instances and waits (up to 30 s)
    /// until they are connected. Returns why that failed; a null string on success.
    QString start();
    /// The library folder of side 0 or 1.
    QString library(int side) const;
    /// Whether both sides have nothing left to scan, pull or send, and hold the same library
    /// files (names and bytes under notes/, and index.json).
    bool settled();
    /// The log of side 0 or 1 so far, for a failure message.
    QString log(int side) const;

private:
    struct Side {
        QString home;
        QString library;
        QString deviceID;
        int listenPort = 0;
        int apiPort = 0;
        QProcess process;
    };
    /// GETs `path` of the REST API of `side`; an empty object when that fails.
    QJsonObject get(const Side& side, const QString& path);
    /// The files of a library that a sync must make equal, with their bytes.
    static QStringList contents(const QString& library);

    QString m_folder;
    std::array<Side, 2> m_sides;
    QNetworkAccessManager m_network;
};

} // namespace zemvar::testing
