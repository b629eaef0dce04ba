#include "Batch.h"

namespace orva {

int RunBatch(const SRunOptions&) {
    throw UsageError("--each is not available yet");
}

}  // namespace orva
