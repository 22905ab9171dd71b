// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/notes_export_sheet.h"

#include "app/editor/labelled_picker.h"
#include "app/model/qt_text.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QStandardPaths>

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

// `typed` as an absolute path: relative to `folder`, with "~" standing for home.
QString absolutePath(const QString& folder, const QString& typed) {
    if (typed == QLatin1String("~") || typed.startsWith(QLatin1String("~/"))) {
        return QDir::cleanPath(QDir::homePath() + typed.mid(1));
    }
    return QDir::cleanPath(QDir(folder).absoluteFilePath(typed));
}

// The folder the dialog starts in: the user's Documents folder when it exists, else home.
QString startFolder() {
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return !documents.isEmpty() && QFileInfo(documents).isDir() ? documents : QDir::homePath();
}

} // namespace

NotesExportSheet::NotesExportSheet(const core::NoteDocument& note, QWidget* parent)
    : QFileDialog(parent)
    , m_note(note)
    , m_formats(core::NoteExport::formats(note)) {
    setObjectName(QStringLiteral("export-sheet"));
    // Qt's own dialog, so that it can live inside the panel and the checks below all apply.
    setOption(QFileDialog::DontUseNativeDialog);
    setAcceptMode(QFileDialog::AcceptSave);
    setFileMode(QFileDialog::AnyFile);
    // Replacing an existing file is confirmed inside the sheet (see accept), not by a window.
    setOption(QFileDialog::DontConfirmOverwrite);
    setWindowTitle(QStringLiteral("Export Note"));
    setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
    // The extension is policed by the format menu, not by a filter: every file is listed.
    setNameFilter(QStringLiteral("All files (*)"));
    setDirectory(startFolder());
    m_nameField = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    Q_ASSERT(m_nameField != nullptr);

    m_picker = new LabelledPicker(this);
    m_picker->setObjectName(QStringLiteral("format"));
    m_picker->setAccessibleName(QStringLiteral("File format"));
    for (const core::NoteExportFormat& format : m_formats) {
        m_picker->addItem(toQString(format.label()));
    }
    m_picker->addItem(QStringLiteral("Custom (any extension)"));
    connect(m_picker, &QComboBox::activated, this, &NotesExportSheet::formatChanged);
    auto* label = new QLabel(QStringLiteral("File format:"), this);
    label->setBuddy(m_picker);

    m_problem = new QLabel(this);
    m_problem->setObjectName(QStringLiteral("export-problem"));
    m_problem->setWordWrap(true);
    m_problem->hide();
    connect(m_nameField, &QLineEdit::textEdited, this, [this] { showProblem(QString()); });
    connect(this, &QFileDialog::directoryEntered, this, [this] { showProblem(QString()); });

    // One type picker: ours takes the place of Qt's "Files of type" row (or goes below, should
    // a later Qt name that row differently).
    auto* grid = qobject_cast<QGridLayout*>(layout());
    Q_ASSERT(grid != nullptr);
    auto* qtLabel = findChild<QWidget*>(QStringLiteral("fileTypeLabel"));
    auto* qtPicker = findChild<QWidget*>(QStringLiteral("fileTypeCombo"));
    int row = grid->rowCount();
    int column = 0;
    int rowSpan = 1;
    int columnSpan = 1;
    if (qtLabel != nullptr && qtPicker != nullptr) {
        qtLabel->hide();
        qtPicker->hide();
        grid->getItemPosition(grid->indexOf(qtPicker), &row, &column, &rowSpan, &columnSpan);
    }
    grid->addWidget(label, row, 0);
    grid->addWidget(m_picker, row, 1, rowSpan, columnSpan);
    grid->addWidget(m_problem, grid->rowCount(), 0, 1, grid->columnCount());

    m_nameField->setText(proposedName());
}

QString NotesExportSheet::proposedName() const {
    return confirmedName(toQString(core::NoteExport::suggestedFilename(m_note, m_formats.front())));
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
    formatChanged();
}

void NotesExportSheet::formatChanged() {
    showProblem(QString());
    if (selectedFormat()) { // the custom item leaves the name as it is
        m_nameField->setText(confirmedName(m_nameField->text()));
    }
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

void NotesExportSheet::showProblem(const QString& text) {
    m_problem->setText(text);
    m_problem->setVisible(!text.isEmpty());
    m_replaceConfirmed.clear();
}

void NotesExportSheet::accept() {
    // Return in the name field and the Export button both come here. QFileDialog's own accept
    // is bypassed: it reads the name back through selectFile, which leaves the field alone
    // while it has the focus, so a rewritten name would only count after a click.
    const QString typed = m_nameField->text();
    if (typed.isEmpty()) {
        return;
    }
    const QString path = absolutePath(directory().absolutePath(), typed);
    const QFileInfo target(path);
    if (target.isDir()) {
        // A folder's name opens the folder and proposes the note's name again; nothing is
        // written.
        setDirectory(path);
        m_nameField->setText(proposedName());
        return;
    }
    const QString name = confirmedName(target.fileName());
    const QString chosen = QDir(target.absolutePath()).filePath(name);
    const QString problem = validationError(chosen);
    if (!problem.isNull()) {
        showProblem(problem);
        return;
    }
    if (name != target.fileName()) {
        m_nameField->setText(target.absolutePath() == directory().absolutePath() ? name : chosen);
    }
    if (QFileInfo::exists(chosen) && chosen != m_replaceConfirmed) {
        showProblem(QLatin1Char('"') + name +
                    QStringLiteral("\" already exists. Choose Export again to replace it."));
        m_replaceConfirmed = chosen;
        return;
    }
    m_chosenPath = chosen;
    QDialog::accept();
}

} // namespace zemvar::app
