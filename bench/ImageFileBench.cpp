#include <map>
#include <opencv2/imgcodecs.hpp>
#include <random>

#include "Bench.h"

using namespace ORVA;

namespace {

// A photograph-like 4096 x 4096 picture: smooth ramps with a little noise, 8 or 16 bits.
std::unique_ptr<CImage> Picture(IImage::CType type) {
    auto image = std::make_unique<CImage>(type, CSize(bench::SIZE, bench::SIZE));
    std::mt19937 random(5);
    for (int64_t y = 0; y < bench::SIZE; ++y)
        for (int64_t x = 0; x < bench::SIZE; ++x) {
            uint32_t value = static_cast<uint32_t>(x * 3 + y * 5 + (x * y >> 12)) + random() % 4;
            int64_t i = y * bench::SIZE + x;
            if (type == IMAGE_GREY_8)
                image->Data<uint8_t>()[i] = static_cast<uint8_t>(value >> 4);
            else
                image->Data<uint16_t>()[i] = static_cast<uint16_t>(value * 2);
        }
    return image;
}

cv::Mat AsMat(const CImage& image) {
    return cv::Mat(static_cast<int>(image.Size().y), static_cast<int>(image.Size().x),
                   image.Type() == IMAGE_GREY_8 ? CV_8UC1 : CV_16UC1,
                   const_cast<uint8_t*>(image.Bytes()));
}

// Both sides write the same file: PNG with OpenCV's default settings (zlib level 1, run-length
// matching, the Sub filter), which SaveImage uses by default; TIFF uncompressed.
const std::vector<int> TIFF_NONE = {cv::IMWRITE_TIFF_COMPRESSION, 1};

struct SWorkload {
    const char* name;
    IImage::CType type;
    const char* extension;
    std::vector<int> reference;  // cv::imwrite's parameters
};
const SWorkload PNG8 = {"Png8", IMAGE_GREY_8, ".png", {}};
const SWorkload TIFF16 = {"Tiff16", IMAGE_GREY_16, ".tif", TIFF_NONE};
// Both read through libjpeg-turbo.
const SWorkload JPEG8 = {"Jpeg8", IMAGE_GREY_8, ".jpg", {cv::IMWRITE_JPEG_QUALITY, 95}};

const std::string& InputFile(const SWorkload& workload) {
    static std::map<std::string, std::string> files;
    std::string& path = files[workload.name];
    if (path.empty()) {
        path = bench::DataDirectory() + "/image_" + workload.name + workload.extension;
        cv::imwrite(path, AsMat(*Picture(workload.type)), workload.reference);
    }
    return path;
}

void Read_ours(benchmark::State& state, const SWorkload& workload) {
    CValueMap parameters;
    parameters.SetEntry("filename", new CValueString(InputFile(workload)));
    bench::CNodeRunner node("ReadImage", parameters);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}

void Read_reference(benchmark::State& state, const SWorkload& workload) {
    const std::string& path = InputFile(workload);
    for (auto _ : state) {
        cv::Mat image = cv::imread(path, cv::IMREAD_UNCHANGED);
        benchmark::DoNotOptimize(image.data);
    }
}

void Save_ours(benchmark::State& state, const SWorkload& workload) {
    std::unique_ptr<CImage> image = Picture(workload.type);
    CValuePointer<CImage> input(image.get());
    CValueMap parameters;
    parameters.SetEntry(
        "filename", new CValueString(bench::DataDirectory() + "/saved_ours" + workload.extension));
    bench::CNodeRunner node("SaveImage", parameters);
    node.SetInput(0, &input);
    for (auto _ : state)
        node.Run();
}

void Save_reference(benchmark::State& state, const SWorkload& workload) {
    std::unique_ptr<CImage> image = Picture(workload.type);
    std::string path = bench::DataDirectory() + "/saved_reference" + workload.extension;
    for (auto _ : state)
        cv::imwrite(path, AsMat(*image), workload.reference);
}

BENCHMARK_CAPTURE(Read_ours, png8, PNG8)->Name("ReadImagePng8/ours")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_reference, png8, PNG8)
    ->Name("ReadImagePng8/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_ours, tiff16, TIFF16)
    ->Name("ReadImageTiff16/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_reference, tiff16, TIFF16)
    ->Name("ReadImageTiff16/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_ours, jpeg8, JPEG8)
    ->Name("ReadImageJpeg8/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Read_reference, jpeg8, JPEG8)
    ->Name("ReadImageJpeg8/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save_ours, png8, PNG8)->Name("SaveImagePng8/ours")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save_reference, png8, PNG8)
    ->Name("SaveImagePng8/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save_ours, tiff16, TIFF16)
    ->Name("SaveImageTiff16/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save_reference, tiff16, TIFF16)
    ->Name("SaveImageTiff16/reference")
    ->Unit(benchmark::kMillisecond);

}  // namespace
