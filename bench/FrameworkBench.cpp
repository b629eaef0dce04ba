#include <cstring>
#include <vector>

#include "Bench.h"

using namespace ORVA;

namespace {

// Deep copy of a 4096 x 4096 float image, again and again, against copying the same bytes into
// memory made once, as a memcpy user would.
void ImageCopy_ours(benchmark::State& state) {
    auto image = bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 1.0f, 1);
    for (auto _ : state) {
        std::unique_ptr<CImage> copy = CImageExtraction::Clone(*image);
        benchmark::DoNotOptimize(copy->Bytes());
    }
}
BENCHMARK(ImageCopy_ours)->Name("ImageCopy/ours")->Unit(benchmark::kMillisecond);

void ImageCopy_reference(benchmark::State& state) {
    auto image = bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 1.0f, 1);
    std::vector<uint8_t> copy(image->ByteCount());
    for (auto _ : state) {
        std::memcpy(copy.data(), image->Bytes(), copy.size());
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(ImageCopy_reference)->Name("ImageCopy/reference")->Unit(benchmark::kMillisecond);

}  // namespace
