// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The app as built for a telemetry service, for the tests: the service's URL comes from
// $ZEMVAR_TEST_KORVIT_ENDPOINT (a local server with a port of its own) instead of the build.
#include "app/shell/notes_application.h"

#include <cstdlib>

int main(int argc, char** argv) {
    const char* endpoint = std::getenv("ZEMVAR_TEST_KORVIT_ENDPOINT");
    return zemvar::app::runNotesApplication(argc, argv,
                                            zemvar::telemetry::KorvitConfiguration::make(
                                                endpoint != nullptr ? endpoint : "", "test-key"));
}
