// Labelling, histograms and statistics against OpenCV.
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdlib>
#include <iterator>

#include "Bench.h"

using namespace ORVA;

namespace {

cv::Mat AsMat(const CImage& image, int type) {
    return cv::Mat(static_cast<int>(image.Size().y), static_cast<int>(image.Size().x), type,
                   const_cast<uint8_t*>(image.Bytes()));
}

void RunNode(benchmark::State& state, const char* name, const CImage& image,
             const CValueMap& parameters = {}) {
    bench::CNodeRunner node(name, parameters);
    CValuePointer<CImage> input(const_cast<CImage*>(&image));
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}

// A binary byte image, 255 where `inside(x, y)` holds.
template <class Inside>
std::unique_ptr<CImage> Pattern(Inside inside) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(bench::SIZE, bench::SIZE));
    uint8_t* out = image->Data<uint8_t>();
    for (int64_t y = 0; y < bench::SIZE; ++y)
        for (int64_t x = 0; x < bench::SIZE; ++x)
            out[y * bench::SIZE + x] = inside(x, y) ? 255 : 0;
    return image;
}

// The labelling inputs: blobs, and patterns that are hard for one labelling method or another
// (short runs, many merges, many regions, one region). Made when first used.
const char* const LABELING_IMAGES[] = {"Blobs", "Noise", "Comb", "Checker",
                                       "Dots",  "Rings", "Ones"};

const CImage& LabelingImage(size_t index) {
    static std::unique_ptr<CImage> made[std::size(LABELING_IMAGES)];
    if (index == 0) return bench::Blobs();
    if (made[index]) return *made[index];
    const int64_t c = bench::SIZE / 2;
    switch (index) {
        case 1: {
            auto noise = bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 17);
            const uint8_t* random = noise->Data<uint8_t>();
            made[index] =
                Pattern([&](int64_t x, int64_t y) { return random[y * bench::SIZE + x] >= 128; });
            break;
        }
        case 2:
            // Bands of four rows, each a comb of one-pixel teeth joined by a bar in its last
            // row, all bands joined by the last column: a worst case for merges.
            made[index] = Pattern([](int64_t x, int64_t y) {
                return y % 4 == 3 || x % 2 == 0 || x == bench::SIZE - 1;
            });
            break;
        case 3:
            made[index] = Pattern([](int64_t x, int64_t y) { return (x + y) % 2 == 0; });
            break;
        case 4:
            made[index] = Pattern([](int64_t x, int64_t y) { return x % 2 == 0 && y % 2 == 0; });
            break;
        case 5:
            made[index] = Pattern([c](int64_t x, int64_t y) {
                return std::max(std::abs(x - c), std::abs(y - c)) % 2 == 0;
            });
            break;
        default:
            made[index] = Pattern([](int64_t, int64_t) { return true; });
            break;
    }
    return *made[index];
}

void LabelingOurs(benchmark::State& state, size_t image, int neighbourhood, bool upcast) {
    if (image == 0)
        bench::WriteData("blobs.u8", bench::Blobs());  // for the same workload through Python
    CValueMap parameters;
    parameters.SetEntry("neighbourhood", new CValueLong(neighbourhood));
    parameters.SetEntry("upcast", new CValueBool(upcast));
    RunNode(state, "Labeling", LabelingImage(image), parameters);
}

void LabelingReference(benchmark::State& state, size_t image, int neighbourhood, int threads) {
    cv::Mat input = AsMat(LabelingImage(image), CV_8U), labels;
    cv::setNumThreads(threads);
    for (auto _ : state)
        benchmark::DoNotOptimize(cv::connectedComponents(input, labels, neighbourhood, CV_32S));
    cv::setNumThreads(1);
}

// LabelingBlobs4, LabelingBlobs8, ...; the multi-threaded references are registered last.
void RegisterLabeling(bool multiThreaded) {
    for (size_t image = 0; image < std::size(LABELING_IMAGES); ++image)
        for (int neighbourhood : {4, 8}) {
            const std::string workload =
                std::string("Labeling") + LABELING_IMAGES[image] + std::to_string(neighbourhood);
            if (multiThreaded) {
                benchmark::RegisterBenchmark((workload + "/reference_mt").c_str(),
                                             LabelingReference, image, neighbourhood,
                                             cv::getNumberOfCPUs())
                    ->Unit(benchmark::kMillisecond);
                continue;
            }
            benchmark::RegisterBenchmark((workload + "/ours").c_str(), LabelingOurs, image,
                                         neighbourhood, false)
                ->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark((workload + "/reference").c_str(), LabelingReference,
                                         image, neighbourhood, 1)
                ->Unit(benchmark::kMillisecond);
        }
    if (multiThreaded) return;
    // Float labels, as wide as the reference's, in the 8-neighbourhood.
    for (size_t image : {0, 2, 3, 4, 5}) {
        const std::string workload = std::string("Labeling") + LABELING_IMAGES[image] + "8Float";
        benchmark::RegisterBenchmark((workload + "/ours").c_str(), LabelingOurs, image, 8, true)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((workload + "/reference").c_str(), LabelingReference, image, 8,
                                     1)
            ->Unit(benchmark::kMillisecond);
    }
}
[[maybe_unused]] const bool labelingRegistered = (RegisterLabeling(false), true);

// 256 bins over 0..255 of byte noise.
void Histogram_ours(benchmark::State& state) {
    auto noise = bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 3);
    RunNode(state, "Histogram", *noise);
}
BENCHMARK(Histogram_ours)->Name("Histogram/ours")->Unit(benchmark::kMillisecond);

void Histogram_reference(benchmark::State& state) {
    auto noise = bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 3);
    cv::Mat image = AsMat(*noise, CV_8U), histogram;
    const int channels[] = {0}, bins[] = {256};
    const float range[] = {0.0f, 256.0f};
    const float* ranges[] = {range};
    for (auto _ : state) {
        cv::calcHist(&image, 1, channels, cv::Mat(), histogram, 1, bins, ranges);
        benchmark::DoNotOptimize(histogram.data);
    }
}
BENCHMARK(Histogram_reference)->Name("Histogram/reference")->Unit(benchmark::kMillisecond);

// Mean and standard deviation of float noise.
void Statistics_ours(benchmark::State& state) {
    auto noise = bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 100.0f, 5);
    RunNode(state, "Statistics", *noise);
}
BENCHMARK(Statistics_ours)->Name("Statistics/ours")->Unit(benchmark::kMillisecond);

void Statistics_reference(benchmark::State& state) {
    auto noise = bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 100.0f, 5);
    cv::Mat image = AsMat(*noise, CV_32F);
    cv::Scalar mean, deviation;
    for (auto _ : state) {
        cv::meanStdDev(image, mean, deviation);
        benchmark::DoNotOptimize(deviation[0]);
    }
}
BENCHMARK(Statistics_reference)->Name("Statistics/reference")->Unit(benchmark::kMillisecond);

// Last, so that OpenCV's idle worker threads cannot slow down the single-threaded runs.
[[maybe_unused]] const bool labelingMtRegistered = (RegisterLabeling(true), true);

}  // namespace
