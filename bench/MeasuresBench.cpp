// Region measures: balance points against scikit-image's regionprops, mutual information
// against numpy's histogram2d (both in bench/refs/measures.py, on the inputs written here) and
// local maxima against OpenCV's dilation and against scikit-image's peak_local_max.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "Bench.h"

using namespace ORVA;

namespace {

void Write(const CImage& image, const std::string& name) {
    std::ofstream(bench::DataDirectory() + "/" + name, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.Bytes()),
               static_cast<std::streamsize>(image.ByteCount()));
}

// The blobs labelled in the 8-neighbourhood, as IMAGE_GREY_F labels.
const CImage& BlobLabels() {
    static std::unique_ptr<CImage> labels = [] {
        CValueMap parameters;
        parameters.SetEntry("neighbourhood", new CValueLong(8));
        parameters.SetEntry("upcast", new CValueBool(true));
        bench::CNodeRunner node("Labeling", parameters);
        CValuePointer<CImage> input(const_cast<CImage*>(&bench::Blobs()));
        node.SetInput(0, &input);
        node.Run();
        return std::make_unique<CImage>(*UnwrapPointer<CImage>(node.Output(0)));
    }();
    return *labels;
}

// Centroids by area of every blob; the table only, as the reference gives them.
void BalancePoint_ours(benchmark::State& state) {
    const CImage& labels = BlobLabels();
    Write(labels, "blob_labels.f32");
    bench::CNodeRunner node("FindBalancePoint");
    node.Node().SetStackOutputWanted(1, false);
    CValuePointer<CImage> input(const_cast<CImage*>(&labels));
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}
BENCHMARK(BalancePoint_ours)->Name("BalancePointBlobs/ours")->Unit(benchmark::kMillisecond);

// Two byte images that share half their value: 256 bins over 0 .. 255.
void MutualInformation_ours(benchmark::State& state) {
    auto first = bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 11);
    auto second = bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 12);
    uint8_t* a = first->Data<uint8_t>();
    uint8_t* b = second->Data<uint8_t>();
    for (int64_t i = 0; i < first->Pixels(); ++i)
        b[i] = static_cast<uint8_t>(a[i] / 2 + b[i] / 2);
    Write(*first, "mi_first.u8");
    Write(*second, "mi_second.u8");
    bench::CNodeRunner node("MutualInformation");
    CValuePointer<CImage> input0(first.get()), input1(second.get());
    node.SetInput(0, &input0);
    node.SetInput(1, &input1);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}
BENCHMARK(MutualInformation_ours)->Name("MutualInformation256/ours")->Unit(benchmark::kMillisecond);

// The local maxima of `image`, radius 1 and threshold 0, as the sorted table (label, x, y, z,
// value) only.
void RunFindMax(benchmark::State& state, const CImage& image) {
    bench::CNodeRunner node("FindMax");
    node.Node().SetStackOutputWanted(1, false);
    CValuePointer<CImage> input(const_cast<CImage*>(&image));
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
    state.counters["maxima"] = static_cast<double>(UnwrapPointer<CImage>(node.Output(0))->Size().y);
}

// Of the blurred noise: about a million maxima.
void FindMax_ours(benchmark::State& state) {
    RunFindMax(state, bench::BlurredNoise());
}
BENCHMARK(FindMax_ours)->Name("FindMaxRadius1/ours")->Unit(benchmark::kMillisecond);

// Of its top left 512 x 512 pixels, for scikit-image's peak_local_max (bench/refs/measures.py),
// whose spacing step takes minutes for a million maxima.
void FindMaxCrop_ours(benchmark::State& state) {
    constexpr int64_t SIDE = 512;
    CImage crop(IMAGE_GREY_F, CSize(SIDE, SIDE));
    for (int64_t y = 0; y < SIDE; ++y)
        std::memcpy(crop.Data<float>() + y * SIDE,
                    bench::BlurredNoise().Data<float>() + y * bench::SIZE, SIDE * sizeof(float));
    Write(crop, "blurred_noise_512.f32");
    RunFindMax(state, crop);
}
BENCHMARK(FindMaxCrop_ours)->Name("FindMaxRadius1At512/ours")->Unit(benchmark::kMillisecond);

// The same table with OpenCV and the standard library: a 3 x 3 grey dilation, the pixels where
// it equals the image and that are above 0, their coordinates in raster order, each plateau by
// its first pixel (a maximum next to an earlier one is left out), sorted by descending value
// with std::stable_sort. Leaving out neighbours is not a flood fill: a plateau whose first
// pixels do not touch would count more than once. On this input it finds exactly what the node
// finds, which the setup checks. Every intermediate and the table are kept from run to run.
struct SFindMaxReference {
    struct SMaximum {
        float value;
        cv::Point at;
    };
    cv::Mat dilated, maxima, positive, table;
    std::vector<cv::Point> points;
    std::vector<SMaximum> found;

    const cv::Mat& Run(const cv::Mat& source) {
        cv::dilate(source, dilated, cv::Mat());
        cv::compare(source, dilated, maxima, cv::CMP_GE);
        cv::compare(source, 0.0f, positive, cv::CMP_GT);
        cv::bitwise_and(maxima, positive, maxima);
        cv::findNonZero(maxima, points);
        auto earlier = [&](const cv::Point& p) {
            for (int dx = -1; dx <= 1; ++dx)
                if (p.y > 0 && p.x + dx >= 0 && p.x + dx < maxima.cols &&
                    maxima.at<uint8_t>(p.y - 1, p.x + dx))
                    return true;
            return p.x > 0 && maxima.at<uint8_t>(p.y, p.x - 1);
        };
        found.clear();
        for (const cv::Point& p : points)
            if (!earlier(p)) found.push_back({source.at<float>(p), p});
        std::stable_sort(found.begin(), found.end(),
                         [](const SMaximum& a, const SMaximum& b) { return a.value > b.value; });
        table.create(static_cast<int>(found.size()), 5, CV_32F);
        for (int i = 0; i < table.rows; ++i) {
            const SMaximum& m = found[static_cast<size_t>(i)];
            const float row[5] = {0.0f, static_cast<float>(m.at.x), static_cast<float>(m.at.y),
                                  0.0f, m.value};
            std::copy(row, row + 5, table.ptr<float>(i));
        }
        return table;
    }
};

void FindMax_reference(benchmark::State& state) {
    const CImage& image = bench::BlurredNoise();
    cv::Mat source(bench::SIZE, bench::SIZE, CV_32F, const_cast<uint8_t*>(image.Bytes()));
    bench::CNodeRunner node("FindMax");
    CValuePointer<CImage> input(const_cast<CImage*>(&image));
    node.SetInput(0, &input);
    node.Run();
    const CImage& ours = *UnwrapPointer<CImage>(node.Output(0));
    SFindMaxReference reference;
    const cv::Mat& table = reference.Run(source);
    if (static_cast<size_t>(table.total() * sizeof(float)) != ours.ByteCount() ||
        std::memcmp(table.data, ours.Bytes(), ours.ByteCount()) != 0)
        state.SkipWithError("the reference finds other maxima than the node");
    for (auto _ : state)
        benchmark::DoNotOptimize(reference.Run(source).data);
}
BENCHMARK(FindMax_reference)->Name("FindMaxRadius1/reference")->Unit(benchmark::kMillisecond);

}  // namespace
