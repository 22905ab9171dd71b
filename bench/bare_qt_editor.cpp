// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The reference the app is measured against: the least a Qt Widgets program with a text editor
// does. A window the panel's size holding one QPlainTextEdit, optionally filled with a file.
// scripts/app-bench measures its cold start, idle memory and keystroke echo in the same run as
// the app's.
//
//   zemvar_bare_qt_editor [FILE]
#include <cstdio>

#include <QApplication>
#include <QFile>
#include <QPlainTextEdit>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QPlainTextEdit editor;
    if (argc > 1) {
        QFile file(QString::fromLocal8Bit(argv[1]));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "zemvar_bare_qt_editor: cannot read %s: %s\n", argv[1],
                         qPrintable(file.errorString()));
            return 1;
        }
        editor.setPlainText(QString::fromUtf8(file.readAll()));
    }
    editor.setWindowTitle(QStringLiteral("Bare Qt editor"));
    editor.resize(680, 520); // the panel's size
    editor.show();
    return QApplication::exec();
}
