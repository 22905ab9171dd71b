// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "telemetry/korvit_configuration.h"

#include <optional>

namespace zemvar::app {

/// Runs the app: reads the command line, hands the request to an instance already running for
/// the same library (and returns), or starts the program and runs its event loop, sending
/// usage events and feedback to `telemetry` (nothing without it). Returns the exit status: 0,
/// 1 when the program cannot start, 2 for a wrong command line.
int runNotesApplication(int& argc, char** argv,
                        std::optional<telemetry::KorvitConfiguration> telemetry);

} // namespace zemvar::app
