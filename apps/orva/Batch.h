#pragma once

// `orva run GRAPH --each PATTERN`: the graph once per matching file, in child processes.
#include <string>

#include "Commands.h"

namespace orva {

// `text` with {} replaced by `path`, {stem}, {name} and {dir} by its parts ("." for no
// directory).
std::string Substitute(const std::string& text, const std::string& path);

int RunBatch(const SRunOptions& options);

}  // namespace orva
