#include <cstdlib>
#include <cstring>

#include "Bench.h"

using namespace ORVA;

namespace {

// Deep copy of a 4096 x 4096 float image against copying the same bytes into fresh memory.
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
    for (auto _ : state) {
        void* copy = std::malloc(image->ByteCount());
        std::memcpy(copy, image->Bytes(), image->ByteCount());
        benchmark::DoNotOptimize(copy);
        std::free(copy);
    }
}
BENCHMARK(ImageCopy_reference)->Name("ImageCopy/reference")->Unit(benchmark::kMillisecond);

}  // namespace
