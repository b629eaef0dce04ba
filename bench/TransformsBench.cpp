// Line transforms: Hough forward against OpenCV's accumulation, Radon against scikit-image
// (bench/refs/transforms.py, on the phantom written here).
#include <climits>
#include <cmath>
#include <fstream>
#include <numbers>
#include <opencv2/imgproc.hpp>

#include "Bench.h"

using namespace ORVA;

namespace {

constexpr int64_t EDGE_SIZE = 1024;
constexpr int64_t PHANTOM_SIZE = 256;

// An edge image: random line segments of ones until about 2% of the pixels are set.
std::unique_ptr<CImage> EdgeImage() {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(EDGE_SIZE, EDGE_SIZE));
    float* data = image->Data<float>();
    std::mt19937 random(5);
    std::uniform_real_distribution<double> position(0.0, EDGE_SIZE - 1);
    std::uniform_real_distribution<double> angle(0.0, std::numbers::pi);
    std::uniform_real_distribution<double> length(20.0, 200.0);
    int64_t set = 0;
    while (set < EDGE_SIZE * EDGE_SIZE / 50) {
        const double x0 = position(random), y0 = position(random), a = angle(random);
        const double steps = length(random);
        for (double t = 0; t < steps; t += 1.0) {
            const auto x = static_cast<int64_t>(x0 + t * std::cos(a));
            const auto y = static_cast<int64_t>(y0 + t * std::sin(a));
            if (x < 0 || y < 0 || x >= EDGE_SIZE || y >= EDGE_SIZE) break;
            float& pixel = data[y * EDGE_SIZE + x];
            if (pixel == 0.0f) ++set;
            pixel = 1.0f;
        }
    }
    return image;
}

// Hough forward on 1024 x 1024: 1024 angles, 1024 distance bins.
void HoughForward_ours(benchmark::State& state) {
    std::unique_ptr<CImage> image = EdgeImage();
    CValuePointer<CImage> input(image.get());
    bench::CNodeRunner node("Hough");
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}
BENCHMARK(HoughForward_ours)->Name("HoughForward1024/ours")->Unit(benchmark::kMillisecond);

// cv::HoughLines with rho 4 (numrho = round((2 * (1024 + 1024) + 1) / 4) = 1024) and a
// threshold no bin reaches: the accumulation and the scan for maxima, no lines.
void HoughForward_reference(benchmark::State& state) {
    std::unique_ptr<CImage> image = EdgeImage();
    cv::Mat edges(EDGE_SIZE, EDGE_SIZE, CV_32F, image->Data<float>());
    cv::Mat bytes;
    edges.convertTo(bytes, CV_8U, 255.0);
    std::vector<cv::Vec2f> lines;
    for (auto _ : state) {
        cv::HoughLines(bytes, lines, 4.0, std::numbers::pi / 1024, INT_MAX);
        benchmark::DoNotOptimize(lines.data());
    }
    if (!lines.empty()) state.SkipWithError("the threshold let lines through");
}
BENCHMARK(HoughForward_reference)
    ->Name("HoughForward1024/reference")
    ->Unit(benchmark::kMillisecond);

// A Shepp-Logan head phantom: (value, semi-axes, centre, rotation in degrees) per ellipse, on
// [-1, 1] x [-1, 1].
std::unique_ptr<CImage> Phantom() {
    struct Ellipse {
        double value, a, b, x0, y0, degrees;
    };
    const Ellipse ellipses[] = {
        {1.0, 0.69, 0.92, 0.0, 0.0, 0.0},      {-0.8, 0.6624, 0.874, 0.0, -0.0184, 0.0},
        {-0.2, 0.11, 0.31, 0.22, 0.0, -18.0},  {-0.2, 0.16, 0.41, -0.22, 0.0, 18.0},
        {0.1, 0.21, 0.25, 0.0, 0.35, 0.0},     {0.1, 0.046, 0.046, 0.0, 0.1, 0.0},
        {0.1, 0.046, 0.046, 0.0, -0.1, 0.0},   {0.1, 0.046, 0.023, -0.08, -0.605, 0.0},
        {0.1, 0.023, 0.023, 0.0, -0.606, 0.0}, {0.1, 0.023, 0.046, 0.06, -0.605, 0.0},
    };
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(PHANTOM_SIZE, PHANTOM_SIZE));
    float* data = image->Data<float>();
    for (int64_t row = 0; row < PHANTOM_SIZE; ++row)
        for (int64_t column = 0; column < PHANTOM_SIZE; ++column) {
            const double x = (2.0 * column + 1.0) / PHANTOM_SIZE - 1.0;
            const double y = 1.0 - (2.0 * row + 1.0) / PHANTOM_SIZE;
            double value = 0.0;
            for (const Ellipse& e : ellipses) {
                const double phi = e.degrees * std::numbers::pi / 180.0;
                const double u = (x - e.x0) * std::cos(phi) + (y - e.y0) * std::sin(phi);
                const double v = -(x - e.x0) * std::sin(phi) + (y - e.y0) * std::cos(phi);
                if (u * u / (e.a * e.a) + v * v / (e.b * e.b) <= 1.0) value += e.value;
            }
            data[row * PHANTOM_SIZE + column] = static_cast<float>(value);
        }
    return image;
}

// Radon "RADON" on the 256 x 256 phantom: 256 angles. The reference, scikit-image's radon
// with circle=False, reads the phantom written here (raw float32, row by row).
void Radon_ours(benchmark::State& state) {
    std::unique_ptr<CImage> image = Phantom();
    std::ofstream(bench::DataDirectory() + "/radon_phantom.f32", std::ios::binary)
        .write(reinterpret_cast<const char*>(image->Bytes()),
               static_cast<std::streamsize>(image->ByteCount()));
    CValuePointer<CImage> input(image.get());
    bench::CNodeRunner node("Radon");
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}
BENCHMARK(Radon_ours)->Name("RadonPhantom256/ours")->Unit(benchmark::kMillisecond);

}  // namespace
