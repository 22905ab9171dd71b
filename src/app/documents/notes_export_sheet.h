// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"
#include "core/notes/note_export.h"

#include <optional>
#include <vector>

#include <QFileDialog>

class QComboBox;
class QLabel;
class QLineEdit;

namespace zemvar::app {

/// The dialog through which a note is exported: Qt's own file dialog, made to be shown as a
/// sheet of the panel, starting in the user's Documents folder (or home), with one type picker
/// "File format:" (the formats the note offers, then "Custom (any extension)"), a name proposed
/// from the note's title and the name's extension kept in step with the chosen format. It only
/// picks the location; writing is the caller's.
///
/// Return in the name field and the Export button take the same way (accept): a name that is
/// an existing folder opens that folder; otherwise the name gets the chosen format's extension
/// ("notes.txt" with .md gives "notes.md"), an extension that still contradicts the format is
/// refused ("Use the selected .md file extension."), and an existing file is only replaced
/// when Export is chosen a second time for it. Refusals show inside the dialog.
class NotesExportSheet : public QFileDialog {
    Q_OBJECT

public:
    explicit NotesExportSheet(const core::NoteDocument& note, QWidget* parent = nullptr);

    const core::NoteDocument& note() const { return m_note; }
    /// The chosen format, or nothing when the custom item is selected.
    std::optional<core::NoteExportFormat> selectedFormat() const;
    /// Selects the format at `index` of the menu (the custom item is the last one).
    void selectFormat(int index);
    /// The field holding the file name.
    QLineEdit* nameField() const { return m_nameField; }
    /// The file the user chose (absolute), once the dialog was accepted; empty before.
    const QString& chosenPath() const { return m_chosenPath; }

    /// The name the dialog takes when the user confirms `typed` (a file name): with a format
    /// selected, the name without its extension plus the format's ("notes.txt" with .md gives
    /// "notes.md"); with the custom item, the name unchanged.
    QString confirmedName(const QString& typed) const;
    /// The refusal of `path` for the selected format ("Use the selected .md file extension."),
    /// or a null string when it is acceptable.
    QString validationError(const QString& path) const;

    void accept() override;

private:
    void formatChanged();
    /// The name proposed from the note's title, with the selected format's extension.
    QString proposedName() const;
    void showProblem(const QString& text);

    core::NoteDocument m_note;
    std::vector<core::NoteExportFormat> m_formats;
    QComboBox* m_picker = nullptr;
    QLineEdit* m_nameField = nullptr;
    QLabel* m_problem = nullptr;
    QString m_replaceConfirmed; ///< the existing file that Export will replace when chosen again
    QString m_chosenPath;
};

} // namespace zemvar::app
