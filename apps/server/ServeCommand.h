#pragma once

// `orva serve [GRAPH.json] [--port N] [--host ADDR] [--root DIR]`: the browser editor.
#include <CLI/CLI.hpp>

namespace orva {

// Adds the "serve" subcommand; it serves until the process is stopped. A bad option or an
// address that cannot be served is a UsageError.
void AddServeCommand(CLI::App& app);

}  // namespace orva
