// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/notes_application.h"

int main(int argc, char** argv) {
    return zemvar::app::runNotesApplication(
        argc, argv,
        zemvar::telemetry::KorvitConfiguration::make(ZEMVAR_KORVIT_ENDPOINT, ZEMVAR_KORVIT_KEY));
}
