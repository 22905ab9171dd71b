// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/app_settings.h"
#include "app/panel/panel_background.h"
#include "app_test_support.h"

#include <cmath>
#include <limits>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace zemvar::app;
using zemvar::testing::AppSandbox;

Q_DECLARE_METATYPE(BackgroundStyle)

class PanelBackgroundTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void storedFractionsAreClamped_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<double>("shown");
        QTest::newRow("in range") << QVariant(0.65) << 0.65;
        QTest::newRow("too large") << QVariant(2.0) << 0.95;
        QTest::newRow("too small") << QVariant(-1.0) << 0.05;
        QTest::newRow("not a number") << QVariant(std::numeric_limits<double>::quiet_NaN()) << 0.5;
        QTest::newRow("infinite") << QVariant(std::numeric_limits<double>::infinity()) << 0.5;
        QTest::newRow("text") << QVariant(QStringLiteral("much")) << 0.5;
    }

    void storedFractionsAreClamped() {
        QFETCH(QVariant, stored);
        QFETCH(double, shown);
        QCOMPARE(clampedFraction(stored, 0.05, 0.95), shown);
    }

    void theEffectiveStyle_data() {
        QTest::addColumn<BackgroundStyle>("style");
        QTest::addColumn<bool>("reduceTransparency");
        QTest::addColumn<bool>("imageThere");
        QTest::addColumn<BackgroundStyle>("drawn");
        using enum BackgroundStyle;
        QTest::newRow("glass") << glass << false << false << glass;
        QTest::newRow("glass, reduced") << glass << true << true << solid;
        QTest::newRow("smoke, reduced") << smoke << true << true << solid;
        QTest::newRow("image") << image << true << true << image;
        QTest::newRow("image missing") << image << false << false << solid;
        QTest::newRow("solid") << solid << false << true << solid;
    }

    void theEffectiveStyle() {
        QFETCH(BackgroundStyle, style);
        QFETCH(bool, reduceTransparency);
        QFETCH(bool, imageThere);
        QFETCH(BackgroundStyle, drawn);
        BackgroundPreferences preferences;
        preferences.style = style;
        preferences.reduceTransparency = reduceTransparency;
        if (imageThere) {
            preferences.imagePath = QStringLiteral("/some/image.png");
        }
        QCOMPARE(preferences.effectiveStyle(), drawn);
    }

    // The speckle is part of the look: it must not change from one build to the next.
    void theSmokeGrainIsTheSameBitForBit() {
        const QImage& grain = smokeGrain();
        QCOMPARE(grain.size(), QSize(64, 64));
        QCOMPARE(grain.format(), QImage::Format_RGBA8888_Premultiplied);
        QCOMPARE(grain.sizeInBytes(), qsizetype{64 * 64 * 4});
        const QByteArray bytes(reinterpret_cast<const char*>(grain.constBits()),
                               grain.sizeInBytes());
        QCOMPARE(bytes.first(8), QByteArray("\x06\x06\x06\x06\x02\x02\x02\x02", 8));
        QCOMPARE(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex(),
                 QByteArray("a00f0dacee92b16b8199ae28132c2ac42b9e6aad8a3d3ebfc4dd97027072ed2e"));
    }

    void theStoreKeepsOneImageAndAFailedCopyKeepsTheOld() {
        AppSandbox sandbox;
        const QString first = sandbox.path(QStringLiteral("first.png"));
        const QString second = sandbox.path(QStringLiteral("second.jpg"));
        AppSandbox::writeFile(first, "one");
        AppSandbox::writeFile(second, "two");
        const QString stored = BackgroundImageStore::importImage(first, sandbox.library());
        QCOMPARE(QFileInfo(stored).fileName(), QStringLiteral("first.png"));
        QCOMPARE(BackgroundImageStore::imagePath(sandbox.library(), QStringLiteral("first.png")),
                 stored);

        const QString replaced = BackgroundImageStore::importImage(second, sandbox.library());
        QCOMPARE(QDir(BackgroundImageStore::folder(sandbox.library())).entryList(QDir::Files),
                 QStringList{QStringLiteral("second.jpg")});
        QCOMPARE(AppSandbox::readFile(replaced), QByteArray("two"));

        QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                                 BackgroundImageStore::importImage(
                                     sandbox.path(QStringLiteral("gone.png")), sandbox.library()));
        QCOMPARE(AppSandbox::readFile(replaced), QByteArray("two"));

        // A stored name whose file was deleted is no image: the panel draws solid.
        QFile::remove(replaced);
        sandbox.settings().setValue(settings::backgroundStyle, QStringLiteral("image"));
        sandbox.settings().setValue(settings::backgroundImageName, QStringLiteral("second.jpg"));
        QCOMPARE(
            BackgroundPreferences::read(sandbox.settings(), sandbox.library()).effectiveStyle(),
            BackgroundStyle::solid);
    }
};

QTEST_MAIN(PanelBackgroundTest)
#include "panel_background_test.moc"
