// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/termination_signals.h"

#include <array>
#include <csignal>
#include <memory>

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using zemvar::app::TerminationSignals;

namespace {

// The handler now installed for `signal`.
void (*currentHandler(int signal))(int) {
    struct sigaction current {};
    ::sigaction(signal, nullptr, &current);
    return current.sa_handler;
}

} // namespace

class TerminationSignalsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void eachSignalArrivesOnTheEventLoop_data() {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }
    void eachSignalArrivesOnTheEventLoop() {
        QFETCH(int, signal);
        TerminationSignals termination;
        QSignalSpy spy(&termination, &TerminationSignals::terminationRequested);
        QCOMPARE(::raise(signal), 0);
        QCOMPARE(spy.count(), 0); // not from inside the handler
        QTRY_COMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), signal);
    }

    void signalsInQuickSuccessionEachArriveInOrder() {
        TerminationSignals termination;
        QSignalSpy spy(&termination, &TerminationSignals::terminationRequested);
        for (const int signal : {SIGTERM, SIGINT, SIGTERM, SIGHUP}) {
            QCOMPARE(::raise(signal), 0);
        }
        QTRY_COMPARE(spy.count(), 4);
        QCOMPARE(spy.at(0).at(0).toInt(), SIGTERM);
        QCOMPARE(spy.at(1).at(0).toInt(), SIGINT);
        QCOMPARE(spy.at(2).at(0).toInt(), SIGTERM);
        QCOMPARE(spy.at(3).at(0).toInt(), SIGHUP);
    }

    void aReceiverMayDestroyTheObject() {
        const auto before = currentHandler(SIGTERM);
        auto termination = std::make_unique<TerminationSignals>();
        int calls = 0;
        connect(termination.get(), &TerminationSignals::terminationRequested, this, [&] {
            ++calls;
            termination.reset();
        });
        QCOMPARE(::raise(SIGTERM), 0);
        QCOMPARE(::raise(SIGTERM), 0);
        QTRY_VERIFY(!termination);
        QCoreApplication::processEvents();
        QCOMPARE(calls, 1);
        QVERIFY(currentHandler(SIGTERM) == before);
    }

    void destructionRestoresTheEarlierHandlers() {
        // Qt Test has handlers of its own for some of these signals.
        std::array<void (*)(int), TerminationSignals::handledSignals.size()> before{};
        for (std::size_t i = 0; i < before.size(); ++i) {
            before[i] = currentHandler(TerminationSignals::handledSignals[i]);
        }
        {
            TerminationSignals termination;
            for (std::size_t i = 0; i < before.size(); ++i) {
                QVERIFY(currentHandler(TerminationSignals::handledSignals[i]) != before[i]);
            }
        }
        for (std::size_t i = 0; i < before.size(); ++i) {
            QVERIFY(currentHandler(TerminationSignals::handledSignals[i]) == before[i]);
        }
    }

    void anIgnoredSignalStaysIgnored() {
        struct sigaction earlier {};
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN; // as under nohup
        ::sigaction(SIGHUP, &ignore, &earlier);
        {
            TerminationSignals termination;
            QSignalSpy spy(&termination, &TerminationSignals::terminationRequested);
            QVERIFY(currentHandler(SIGHUP) == SIG_IGN);
            QCOMPARE(::raise(SIGHUP), 0);
            QCOMPARE(::raise(SIGTERM), 0); // delivered after SIGHUP would have been
            QTRY_COMPARE(spy.count(), 1);
            QCOMPARE(spy.at(0).at(0).toInt(), SIGTERM);
        }
        QVERIFY(currentHandler(SIGHUP) == SIG_IGN);
        ::sigaction(SIGHUP, &earlier, nullptr);
    }

    void aSignalledProcessQuitsNormally_data() {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }
    void aSignalledProcessQuitsNormally() {
        QFETCH(int, signal);
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral(ZEMVAR_PLATFORM_HELPER), {QStringLiteral("signals")});
        QByteArray output;
        QTRY_VERIFY((output += process.readAllStandardOutput()).contains("ready\n"));
        QCOMPARE(::kill(static_cast<pid_t>(process.processId()), signal), 0);
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        output += process.readAllStandardOutput();
        QCOMPARE(output, "ready\nterminating " + QByteArray::number(signal) + '\n');
    }
};

QTEST_GUILESS_MAIN(TerminationSignalsTest)
#include "termination_signals_test.moc"
