// Region measures: balance points against scikit-image's regionprops, mutual information
// against numpy's histogram2d (both in bench/refs/measures.py, on the inputs written here) and
// local maxima against OpenCV's dilation.
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

// The local maxima of the smooth blurred noise, radius 1: the sorted table only, since the
// reference lists none.
void FindMax_ours(benchmark::State& state) {
    bench::CNodeRunner node("FindMax");
    node.Node().SetStackOutputWanted(1, false);
    CValuePointer<CImage> input(const_cast<CImage*>(&bench::BlurredNoise()));
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
    state.counters["maxima"] =
        static_cast<double>(UnwrapPointer<CImage>(node.Output(0))->Size().y);
}
BENCHMARK(FindMax_ours)->Name("FindMaxRadius1/ours")->Unit(benchmark::kMillisecond);

// A 3 x 3 grey dilation and the comparison that marks where it equals the image.
void FindMax_reference(benchmark::State& state) {
    const CImage& image = bench::BlurredNoise();
    cv::Mat source(bench::SIZE, bench::SIZE, CV_32F, const_cast<uint8_t*>(image.Bytes()));
    cv::Mat dilated, maxima;
    for (auto _ : state) {
        cv::dilate(source, dilated, cv::Mat());
        cv::compare(source, dilated, maxima, cv::CMP_GE);
        benchmark::DoNotOptimize(maxima.data);
    }
}
BENCHMARK(FindMax_reference)->Name("FindMaxRadius1/reference")->Unit(benchmark::kMillisecond);

}  // namespace
