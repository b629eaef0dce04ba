// Accumulators whose size a parameter sets fail at once above the memory limit, at the node's
// location, instead of filling the machine's memory.
#include "NodeTesting.h"
#include "PHistogram.h"
#include "PHistogram2d.h"
#include "PHough.h"
#include "PHoughCircle.h"
#include "PMutualInformation.h"

using namespace ORVA;
using namespace testing_support;

namespace {

template <class Node>
std::unique_ptr<CPNode> Make() {
    return std::make_unique<Node>();
}

}  // namespace

TEST(MemoryLimit, HugeAccumulatorsFailAtOnce) {
    auto byte = Grey8(CSize(1, 1), {7});
    auto square = Grey8(CSize(4, 4), {1, 2, 3});
    auto lines = GreyF(CSize(1, 3), {40000.0f, 40000.0f, 0.0f});  // asks for 40000 x 40000
    struct SCase {
        std::unique_ptr<CPNode> (*make)();
        std::vector<CValue*> inputs;
        std::vector<SParameter> parameters;
        std::string error;  // before ": above the memory limit of 1.0 GiB (ORVA_MEMORY_LIMIT)"
        uint64_t limit = 1 << 30;
    };
    const SCase cases[] = {
        {Make<CPHoughCircle>,
         {byte.get()},
         {{"radius_min", 1}, {"radius_max", 2147483647}, {"radius_step", 1}},
         "HoughCircle::Run | cannot allocate 8.0 GiB for an IMAGE_GREY_F image of size (1, 1, "
         "2147483647)"},
        {Make<CPHistogram>,
         {square.get()},
         {{"bin_count", 2147483647}},
         "Histogram::Run | cannot allocate 24.0 GiB for a histogram of 2147483647 bins"},
        {Make<CPHistogram2d>,
         {square.get(), square.get()},
         {{"bin_count", 20000}},
         "Histogram2d | cannot allocate 1.5 GiB for an IMAGE_GREY_F image of size (20000, 20000, "
         "1)"},
        {Make<CPMutualInformation>,
         {square.get(), square.get()},
         {{"bin_count", 4096}},
         "MutualInformation::Run | cannot allocate 192.0 MiB for a joint histogram of 4096 x 4096 "
         "bins",
         64 << 20},
        {Make<CPHough>,
         {lines.get()},
         {{"direction", "BACKWARD"}, {"in_type", "SMART"}},
         "Hough::Run | cannot allocate 6.0 GiB for an IMAGE_GREY_F image of size (40000, 40000, "
         "1)"},
    };
    const CMemoryPool::SSettings saved = CMemoryPool::Settings();
    for (const SCase& c : cases) {
        std::unique_ptr<CPNode> node = c.make();
        Configure(*node, ParameterMap(c.parameters));
        CMemoryPool::Configure({0, c.limit, false});
        const std::string limit = c.limit >> 30 ? "1.0 GiB" : "64.0 MiB";
        EXPECT_EQ(RunError(*node, c.inputs), "(utility plugins) " + c.error +
                                                 ": above the memory limit of " + limit +
                                                 " (ORVA_MEMORY_LIMIT)");
        CMemoryPool::Configure(saved);
        EXPECT_FALSE(node->IsStackOutputSet(0)) << c.error;
    }
}
