// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <memory>
#include <string>

#include <QLocale>
#include <QSettings>
#include <QString>

/// The app's preferences (QSettings, INI format, in $XDG_CONFIG_HOME/Zemvar/Zemvar Notes.ini)
/// and where its notes live.
namespace zemvar::app::settings {

// Keys, with their types and defaults.
inline const QString notesShortcutPreset = QStringLiteral("notesShortcutPreset");   ///< string
inline const QString panelPinned = QStringLiteral("panelPinned");                   ///< bool, false
inline const QString decimalSeparator = QStringLiteral("decimalSeparator");         ///< "automatic"
inline const QString appearance = QStringLiteral("appearance");                     ///< "system"
inline const QString backgroundStyle = QStringLiteral("backgroundStyle");           ///< "glass"
inline const QString glassOpacity = QStringLiteral("glassOpacity");                 ///< 0.65
inline const QString smokeOpacity = QStringLiteral("smokeOpacity");                 ///< 0.35
inline const QString imageDimming = QStringLiteral("imageDimming");                 ///< 0.35
inline const QString backgroundImageName = QStringLiteral("backgroundImageName");   ///< ""
inline const QString editorFontSize = QStringLiteral("editorFontSize");             ///< double, 14
inline const QString notebookLines = QStringLiteral("notebookLines");               ///< bool, false
inline const QString focusBackdropEnabled = QStringLiteral("focusBackdropEnabled"); ///< false
inline const QString lastOpenNoteID = QStringLiteral("lastOpenNoteID");     ///< upper-case UUID
inline const QString panelGeometry = QStringLiteral("NotesPanel/geometry"); ///< saved frame
/// string list: the outside files opened last, absolute paths, newest first
inline const QString recentFiles = QStringLiteral("recentFiles");
/// string list: rescue files written at the last termination, not yet reported to the user
inline const QString rescuedNotes = QStringLiteral("rescuedNotes");

inline constexpr double defaultEditorFontSize = 14;
inline constexpr double defaultGlassOpacity = 0.65;
inline constexpr double defaultSmokeOpacity = 0.35;
inline constexpr double defaultImageDimming = 0.35;

/// Opens the app's own settings: the INI file core::appSettingsPath() names
/// ($XDG_CONFIG_HOME/Zemvar/Zemvar Notes.ini), which the command-line tool reads too.
std::unique_ptr<QSettings> openAppSettings();

/// The notes library folder: $ZEMVAR_NOTES_LIBRARY when set, else "Zemvar Notes" in the
/// generic data location (~/.local/share). Empty when the platform offers no such location.
QString libraryFolder();

/// Where the unsaved text of a note that could not be saved is kept when the program is
/// terminated: "Zemvar Notes/rescued" in $XDG_STATE_HOME (~/.local/state when that is unset or
/// not absolute). Outside the library, so that a failing library does not take it down too.
QString rescueFolder();

/// `locale` as an ICU locale name for the calculation engine: "de_DE" for German (Germany);
/// the C locale becomes "en_US".
std::string icuLocaleName(const QLocale& locale);

} // namespace zemvar::app::settings
