// Labelling, histograms and statistics against OpenCV.
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "Bench.h"

using namespace ORVA;

namespace {

// A worst case for merges: bands of four rows, each a comb of one-pixel teeth that a bar joins
// only in the band's last row, and all bands joined by the last column.
const CImage& Comb() {
    static std::unique_ptr<CImage> comb = [] {
        auto image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(bench::SIZE, bench::SIZE));
        uint8_t* out = image->Data<uint8_t>();
        for (int64_t y = 0; y < bench::SIZE; ++y)
            for (int64_t x = 0; x < bench::SIZE; ++x)
                out[y * bench::SIZE + x] =
                    (y % 4 == 3 || x % 2 == 0 || x == bench::SIZE - 1) ? 255 : 0;
        return image;
    }();
    return *comb;
}

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

CValueMap Neighbourhood(int neighbourhood) {
    CValueMap parameters;
    parameters.SetEntry("neighbourhood", new CValueLong(neighbourhood));
    return parameters;
}

void Labeling_ours(benchmark::State& state, const CImage& image, int neighbourhood) {
    RunNode(state, "Labeling", image, Neighbourhood(neighbourhood));
}

void Labeling_reference(benchmark::State& state, int neighbourhood, int threads) {
    cv::Mat image = AsMat(bench::Blobs(), CV_8U), labels;
    cv::setNumThreads(threads);
    for (auto _ : state)
        benchmark::DoNotOptimize(cv::connectedComponents(image, labels, neighbourhood, CV_32S));
    cv::setNumThreads(1);
}

void Labeling8_ours(benchmark::State& state) {
    bench::WriteData("blobs.u8", bench::Blobs());  // for the same workload through Python
    Labeling_ours(state, bench::Blobs(), 8);
}
void Labeling8_reference(benchmark::State& state) {
    Labeling_reference(state, 8, 1);
}
void Labeling8_reference_mt(benchmark::State& state) {
    Labeling_reference(state, 8, cv::getNumberOfCPUs());
}
BENCHMARK(Labeling8_ours)->Name("Labeling8/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Labeling8_reference)->Name("Labeling8/reference")->Unit(benchmark::kMillisecond);

void Labeling4_ours(benchmark::State& state) {
    Labeling_ours(state, bench::Blobs(), 4);
}
void Labeling4_reference(benchmark::State& state) {
    Labeling_reference(state, 4, 1);
}
void Labeling4_reference_mt(benchmark::State& state) {
    Labeling_reference(state, 4, cv::getNumberOfCPUs());
}
BENCHMARK(Labeling4_ours)->Name("Labeling4/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Labeling4_reference)->Name("Labeling4/reference")->Unit(benchmark::kMillisecond);

// The comb against the blobs, both ours: the worst case may take up to twice as long.
void LabelingComb_ours(benchmark::State& state) {
    Labeling_ours(state, Comb(), 8);
}
BENCHMARK(LabelingComb_ours)->Name("LabelingComb/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Labeling8_ours)->Name("LabelingComb/reference")->Unit(benchmark::kMillisecond);

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
BENCHMARK(Labeling8_reference_mt)->Name("Labeling8/reference_mt")->Unit(benchmark::kMillisecond);
BENCHMARK(Labeling4_reference_mt)->Name("Labeling4/reference_mt")->Unit(benchmark::kMillisecond);

}  // namespace
