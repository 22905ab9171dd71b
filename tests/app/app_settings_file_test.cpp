// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/app_settings.h"
#include "app/model/qt_text.h"
#include "app_test_support.h"
#include "core/settings/ini_settings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScopeGuard>
#include <QTest>

using namespace zemvar::app;
using zemvar::core::IniSettings;
using zemvar::testing::AppSandbox;

// The app writes its settings through QSettings; the command-line tool reads the same file
// without Qt. Both must find the file and agree on every value.
class AppSettingsFileTest : public QObject {
    Q_OBJECT

private:
    AppSandbox m_sandbox;
    QString m_config;

private Q_SLOTS:
    void initTestCase() {
        m_config = m_sandbox.path(QStringLiteral("config"));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_config));
    }

    void whatTheAppWritesTheReaderReadsAlike() {
        const QList<std::pair<QString, QVariant>> stored = {
            {settings::decimalSeparator, QStringLiteral("comma")},
            {QStringLiteral("quoted"), QStringLiteral("1,5; a=b")},
            {QStringLiteral("padded"), QStringLiteral("  two spaces each side  ")},
            {QStringLiteral("escaped"), QStringLiteral("say \"hi\" \\ back\nnext\tline")},
            {QStringLiteral("control"), QStringLiteral("\x01"
                                                       "A")}, // escaped, and the A too
            {QStringLiteral("unicode"), QStringLiteral("caf\u00e9 \u20ac \U0001F600")},
            {QStringLiteral("at"), QStringLiteral("@not a type")},
            {QStringLiteral("empty"), QStringLiteral("")},
            {QStringLiteral("number"), 0.65},
            {QStringLiteral("flag"), true},
            {QStringLiteral("Group/key with space"), QStringLiteral("in a section")},
            {QStringLiteral("General/x"), QStringLiteral("a section named General")},
            {QStringLiteral("\u043a\u043b\u044e\u0447"), QStringLiteral("Cyrillic key")},
            {QStringLiteral("list"), QStringList{QStringLiteral("a"), QStringLiteral("b")}},
            {QStringLiteral("bytes"), QByteArray("\x00\xff", 2)},
        };
        {
            const std::unique_ptr<QSettings> app = settings::openAppSettings();
            for (const auto& [key, value] : stored) {
                app->setValue(key, value);
            }
            app->sync();
            QCOMPARE(app->status(), QSettings::NoError);
            QCOMPARE(app->fileName(), m_config + QStringLiteral("/Zemvar/Zemvar Notes.ini"));
        }
        const IniSettings read = IniSettings::load(zemvar::core::appSettingsPath());
        for (const auto& [key, value] : stored) {
            const auto text = read.string(toStdString(key));
            const bool isText = value.metaType() != QMetaType::fromType<QStringList>() &&
                                value.metaType() != QMetaType::fromType<QByteArray>();
            QVERIFY2(text.has_value() == isText, qPrintable(key));
            if (isText) {
                QCOMPARE(toQString(*text), value.toString());
            }
        }
        QCOMPARE(read.string("missing"), std::nullopt);
    }

    void theToolEvaluatesWithTheSeparatorChosenInTheApp() {
        settings::openAppSettings()->setValue(settings::decimalSeparator, QStringLiteral("comma"));
        QProcess cli;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("en_US.UTF-8"));
        cli.setProcessEnvironment(environment);
        cli.start(QStringLiteral(ZEMVAR_CLI_PATH),
                  {QStringLiteral("eval"), QStringLiteral("--json")});
        QVERIFY(cli.waitForStarted());
        cli.write("1,5 * 2\n");
        cli.closeWriteChannel();
        QVERIFY(cli.waitForFinished());
        QCOMPARE(cli.exitCode(), 0);
        const QJsonArray results = QJsonDocument::fromJson(cli.readAllStandardOutput()).array();
        QCOMPARE(results.size(), 1);
        QCOMPARE(results.at(0).toObject().value(QStringLiteral("text")).toString(),
                 QStringLiteral("3"));
    }
};

QTEST_MAIN(AppSettingsFileTest)
#include "app_settings_file_test.moc"
