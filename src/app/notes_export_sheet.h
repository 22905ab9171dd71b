// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"
#include "core/notes/note_export.h"

#include <optional>
#include <vector>

#include <QFileDialog>

class QComboBox;

namespace zemvar::app {

/// The save dialog through which a note is exported: Qt's own file dialog with a "File format:"
/// menu (the formats the note offers, then "Custom (any extension)"), a name proposed from the
/// note's title, the name's extension kept in step with the chosen format, and a refusal of a
/// name whose extension contradicts it ("Use the selected .md file extension."). It only picks
/// the location; writing is the caller's.
class NotesExportSheet : public QFileDialog {
    Q_OBJECT

public:
    NotesExportSheet(const core::NoteDocument& note, QWidget* parent);

    const core::NoteDocument& note() const { return m_note; }
    /// The chosen format, or nothing when the custom item is selected.
    std::optional<core::NoteExportFormat> selectedFormat() const;
    /// Selects the format at `index` of the menu (the custom item is the last one).
    void selectFormat(int index);
    /// The file name typed so far.
    QString fileName() const;

    /// The name the dialog proposes when the user confirms `typed`: with a format selected, the
    /// name without its extension plus the format's ("notes.txt" with .md gives "notes.md");
    /// with the custom item, the name unchanged.
    QString confirmedName(const QString& typed) const;
    /// The refusal of `path` for the selected format ("Use the selected .md file extension."), or
    /// a null string when it is acceptable.
    QString validationError(const QString& path) const;

    void accept() override;

private:
    void formatChanged(int index);

    core::NoteDocument m_note;
    std::vector<core::NoteExportFormat> m_formats;
    QComboBox* m_picker = nullptr;
};

} // namespace zemvar::app
