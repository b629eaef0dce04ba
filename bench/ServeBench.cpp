// The editor's preview of a 4096 x 4096 float image: its range found, shrunk to a thumbnail the
// size the editor asks for, stretched to bytes and written as PNG. The reference does the same
// with OpenCV: minMaxLoc, nearest-neighbour resize, convertTo and imencode with the same zlib
// settings (level 1, run-length matching, the Sub filter).
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "Bench.h"
#include "Preview.h"

using namespace ORVA;

namespace {

constexpr int64_t THUMBNAIL = 206;  // the editor's longest side

void Preview_ours(benchmark::State& state, int64_t longest) {
    const CImage& image = bench::BlurredNoise();
    for (auto _ : state) {
        const orva::SImageSummary summary = orva::Summarize(image);
        std::string png =
            orva::PreviewPng(image, summary, orva::EnPreviewMode::STRETCH, 0, longest);
        benchmark::DoNotOptimize(png.data());
    }
}

void Preview_reference(benchmark::State& state, int64_t longest) {
    const CImage& image = bench::BlurredNoise();
    const cv::Mat mat(static_cast<int>(image.Size().y), static_cast<int>(image.Size().x), CV_32FC1,
                      const_cast<uint8_t*>(image.Bytes()));
    const int64_t step = longest ? (bench::SIZE + longest - 1) / longest : 1;
    const int side = static_cast<int>((bench::SIZE + step - 1) / step);
    const std::vector<int> settings = {cv::IMWRITE_PNG_COMPRESSION, 1, cv::IMWRITE_PNG_STRATEGY,
                                       cv::IMWRITE_PNG_STRATEGY_RLE};
    cv::Mat small, bytes;
    std::vector<uchar> png;
    for (auto _ : state) {
        double low = 0.0, high = 0.0;
        cv::minMaxLoc(mat, &low, &high);
        if (step > 1)
            cv::resize(mat, small, cv::Size(side, side), 0, 0, cv::INTER_NEAREST);
        else
            small = mat;
        const double scale = high > low ? 255.0 / (high - low) : 0.0;
        small.convertTo(bytes, CV_8U, scale, -low * scale);
        cv::imencode(".png", bytes, png, settings);
        benchmark::DoNotOptimize(png.data());
    }
}

}  // namespace

BENCHMARK_CAPTURE(Preview_ours, thumbnail, THUMBNAIL)
    ->Name("ServePreviewFloat4096/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Preview_reference, thumbnail, THUMBNAIL)
    ->Name("ServePreviewFloat4096/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Preview_ours, full, 0)
    ->Name("ServePreviewFloat4096Full/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Preview_reference, full, 0)
    ->Name("ServePreviewFloat4096Full/reference")
    ->Unit(benchmark::kMillisecond);
