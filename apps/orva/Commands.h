#pragma once

// The commands of orva, each with the options its command line gave.
#include <string>
#include <vector>

#include "Host.h"

namespace orva {

struct SPipeOptions {
    bool quiet = false, time = false, pixels = false, lenient = false;
    std::string output, save;  // empty: standard output, no images saved
    std::vector<std::string> arguments;
};

struct SRunOptions {
    bool time = false, pixels = false, lenient = false;
    std::string graph, repeat = "1", output, each, jobs = "1";
    std::vector<std::string> sets, prints;
};

int List(const std::string& module, bool details);
int Search(const std::string& word);
int Describe(const std::string& node, bool json);
int Doc(const std::vector<std::string>& arguments);
int Pipe(const SPipeOptions& options);
int Run(const SRunOptions& options);

// A count given on the command line: decimal digits only, at least `minimum`, and no more than
// a long holds. Anything else is a usage error naming `option`.
long ParseCount(const std::string& option, const std::string& text, long minimum);

// Writes `text` to `path` through a temporary name in the same directory, so that readers see
// the old file or the whole new one and never a part.
void WriteWhole(const std::string& path, const std::string& text);

}  // namespace orva
