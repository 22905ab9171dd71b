// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/zemvar_event.h"

namespace zemvar::telemetry {

std::string_view rawValue(ZemvarEvent event) {
    switch (event) {
    case ZemvarEvent::appOpened:
        return "app.opened";
    case ZemvarEvent::appUncleanExit:
        return "app.uncleanexit";
    case ZemvarEvent::noteCreated:
        return "note.created";
    case ZemvarEvent::noteFileOpened:
        return "note.fileopened";
    case ZemvarEvent::noteFileOpenFailed:
        return "note.fileopenfailed";
    case ZemvarEvent::noteFileSaved:
        return "note.filesaved";
    case ZemvarEvent::noteFileSaveFailed:
        return "note.filesavefailed";
    case ZemvarEvent::noteExported:
        return "note.exported";
    case ZemvarEvent::noteExportFailed:
        return "note.exportfailed";
    case ZemvarEvent::noteImported:
        return "note.imported";
    case ZemvarEvent::noteImportFailed:
        return "note.importfailed";
    case ZemvarEvent::updateFound:
        return "update.found";
    case ZemvarEvent::updateDownloaded:
        return "update.downloaded";
    case ZemvarEvent::updateInstalled:
        return "update.installed";
    case ZemvarEvent::updateFailed:
        return "update.failed";
    }
    return {};
}

} // namespace zemvar::telemetry
