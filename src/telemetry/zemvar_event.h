// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <string_view>

namespace zemvar::telemetry {

/// The usage events this application sends; rawValue() gives each one's name on the wire.
enum class ZemvarEvent {
    appOpened,          ///< "app.opened": the program started
    appUncleanExit,     ///< "app.uncleanexit": the run before this one did not finish cleanly
    noteCreated,        ///< "note.created"
    noteFileOpened,     ///< "note.fileopened"
    noteFileOpenFailed, ///< "note.fileopenfailed"
    noteFileSaved,      ///< "note.filesaved"
    noteFileSaveFailed, ///< "note.filesavefailed"
    noteExported,       ///< "note.exported"
    noteExportFailed,   ///< "note.exportfailed"
    noteImported,       ///< "note.imported"
    noteImportFailed,   ///< "note.importfailed"
    updateFound,        ///< "update.found"
    updateDownloaded,   ///< "update.downloaded"
    updateInstalled,    ///< "update.installed": a recorded update is now running
    updateFailed,       ///< "update.failed"
};

/// The event's name as sent: "note.created" for ZemvarEvent::noteCreated.
std::string_view rawValue(ZemvarEvent event);

} // namespace zemvar::telemetry
