#pragma once

// `orva run GRAPH --each PATTERN`: the graph once per matching file, in child processes.
#include "Commands.h"

namespace orva {

int RunBatch(const SRunOptions& options);

}  // namespace orva
