// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/notes_export_sheet.h"

#include "app/qt_text.h"

#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>

namespace zemvar::app {

namespace {

// The name without its extension ("notes.txt" gives "notes"); a name without one stays whole.
QString withoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

QString extensionOf(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.mid(dot + 1) : QString();
}

} // namespace

NotesExportSheet::NotesExportSheet(const core::NoteDocument& note, QWidget* parent)
    : QFileDialog(parent)
    , m_note(note)
    , m_formats(core::NoteExport::formats(note)) {
    setObjectName(QStringLiteral("export-sheet"));
    // Qt's own dialog, so that the format menu, the name rewriting and the checks all apply.
    setOption(QFileDialog::DontUseNativeDialog);
    setAcceptMode(QFileDialog::AcceptSave);
    setFileMode(QFileDialog::AnyFile);
    setWindowTitle(QStringLiteral("Export Note"));
    setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
    // The extension is policed here, not by a filter: any file may be chosen.
    setNameFilter(QStringLiteral("All files (*)"));
    setOption(QFileDialog::DontConfirmOverwrite, false);

    m_picker = new QComboBox(this);
    m_picker->setObjectName(QStringLiteral("format"));
    m_picker->setAccessibleName(QStringLiteral("File format"));
    for (const core::NoteExportFormat& format : m_formats) {
        m_picker->addItem(toQString(format.label()));
    }
    m_picker->addItem(QStringLiteral("Custom (any extension)"));
    connect(m_picker, &QComboBox::activated, this, &NotesExportSheet::formatChanged);

    auto* accessory = new QWidget(this);
    auto* row = new QHBoxLayout(accessory);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    row->addWidget(new QLabel(QStringLiteral("File format:"), accessory));
    row->addWidget(m_picker);
    row->addStretch(1);
    if (auto* grid = qobject_cast<QGridLayout*>(layout())) {
        grid->addWidget(accessory, grid->rowCount(), 0, 1, grid->columnCount());
    }
    selectFile(toQString(core::NoteExport::suggestedFilename(m_note, m_formats.front())));
}

std::optional<core::NoteExportFormat> NotesExportSheet::selectedFormat() const {
    const int index = m_picker->currentIndex();
    if (index < 0 || index >= static_cast<int>(m_formats.size())) {
        return std::nullopt;
    }
    return m_formats[static_cast<std::size_t>(index)];
}

void NotesExportSheet::selectFormat(int index) {
    m_picker->setCurrentIndex(index);
    formatChanged(index);
}

QString NotesExportSheet::fileName() const {
    const auto* edit = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    return edit != nullptr ? edit->text() : QString();
}

void NotesExportSheet::formatChanged(int) {
    const auto format = selectedFormat();
    if (!format) {
        return; // the custom item leaves the name as it is
    }
    selectFile(withoutExtension(fileName()) + QLatin1Char('.') + toQString(format->fileExtension));
}

QString NotesExportSheet::confirmedName(const QString& typed) const {
    const auto format = selectedFormat();
    if (!format) {
        return typed;
    }
    return withoutExtension(typed) + QLatin1Char('.') + toQString(format->fileExtension);
}

QString NotesExportSheet::validationError(const QString& path) const {
    const auto format = selectedFormat();
    if (!format || extensionOf(path).toLower() == toQString(format->fileExtension)) {
        return {};
    }
    return QStringLiteral("Use the selected .") + toQString(format->fileExtension) +
           QStringLiteral(" file extension.");
}

void NotesExportSheet::accept() {
    // A typed extension is replaced by the format's, never doubled.
    const QString typed = fileName();
    const QString name = confirmedName(typed);
    if (name != typed) {
        selectFile(name);
    }
    const QStringList chosen = selectedFiles();
    const QString error = chosen.isEmpty() ? QString() : validationError(chosen.constFirst());
    if (!error.isNull()) {
        QMessageBox::warning(this, windowTitle(), error);
        return;
    }
    QFileDialog::accept();
}

} // namespace zemvar::app
