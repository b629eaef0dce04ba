// Circle transforms, convex hull and projection: HoughCircle against scikit-image's hough_circle
// and Projection against numpy (bench/refs/shape.py, on the inputs written here), HoughCircleTJ
// against cv::HoughCircles and ConvexHull against cv::convexHull.
#include <cmath>
#include <cstring>
#include <fstream>
#include <opencv2/imgproc.hpp>

#include "Bench.h"

using namespace ORVA;

namespace {

constexpr int64_t CIRCLE_SIZE = 512;
constexpr int64_t HULL_POINTS = 1000000;

void WriteData(const std::string& name, const CImage& image) {
    std::ofstream(bench::DataDirectory() + "/" + name, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.Bytes()),
               static_cast<std::streamsize>(image.ByteCount()));
}

// Twelve circles of radii 20 to 40 at random places, as outlines (`filled` false: an edge image
// of 0 and 1, with 0.5% of the pixels set at random as well) or as discs of grey values 80 to
// 240 on 30.
std::unique_ptr<CImage> Circles(bool filled) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(CIRCLE_SIZE, CIRCLE_SIZE));
    uint8_t* data = image->Data<uint8_t>();
    std::mt19937 random(17);
    std::uniform_int_distribution<int64_t> place(41, CIRCLE_SIZE - 42), radius(20, 40);
    std::uniform_int_distribution<int> grey(80, 240);
    if (filled) std::fill(data, data + image->Pixels(), uint8_t{30});
    for (int i = 0; i < 12; ++i) {
        const int64_t cx = place(random), cy = place(random), r = radius(random);
        const auto value = static_cast<uint8_t>(filled ? grey(random) : 1);
        for (int64_t dy = -r - 1; dy <= r + 1; ++dy)
            for (int64_t dx = -r - 1; dx <= r + 1; ++dx) {
                const double distance =
                    std::hypot(static_cast<double>(dx), static_cast<double>(dy));
                if (filled ? distance <= static_cast<double>(r)
                           : std::fabs(distance - static_cast<double>(r)) < 0.5)
                    data[(cy + dy) * CIRCLE_SIZE + cx + dx] = value;
            }
    }
    if (!filled)
        for (int64_t i = 0; i < CIRCLE_SIZE * CIRCLE_SIZE / 200; ++i)
            data[random() % (CIRCLE_SIZE * CIRCLE_SIZE)] = 1;
    return image;
}

// HoughCircle on the 512 x 512 edge image, radii 20 to 40: the accumulator and the peaks.
// scikit-image's hough_circle (the accumulator only) reads the image written here.
void HoughCircle_ours(benchmark::State& state) {
    std::unique_ptr<CImage> image = Circles(false);
    WriteData("hough_circle_edges.u8", *image);
    CValuePointer<CImage> input(image.get());
    CValueMap parameters;
    parameters.SetEntry("radius_min", new CValueLong(20));
    parameters.SetEntry("radius_max", new CValueLong(40));
    bench::CNodeRunner node("HoughCircle", parameters);
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(1));
    }
}
BENCHMARK(HoughCircle_ours)->Name("HoughCircle512/ours")->Unit(benchmark::kMillisecond);

// HoughCircleTJ on twelve discs, radii 20 to 40, against cv::HoughCircles (Canny, gradient
// votes, centres, radii) with a minimum distance of 20.
void HoughCircleTJ_ours(benchmark::State& state) {
    std::unique_ptr<CImage> image = Circles(true);
    CValuePointer<CImage> input(image.get());
    CValueMap parameters;
    parameters.SetEntry("radius_min", new CValueLong(20));
    parameters.SetEntry("radius_max", new CValueLong(40));
    parameters.SetEntry("edge_threshold", new CValueLong(10));  // the weakest disc: 3/8 of 50
    bench::CNodeRunner node("HoughCircleTJ", parameters);
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(1));
    }
    state.counters["circles"] =
        static_cast<double>(UnwrapPointer<CImage>(node.Output(1))->Size().y);
}
BENCHMARK(HoughCircleTJ_ours)->Name("HoughCircleTJ512/ours")->Unit(benchmark::kMillisecond);

void HoughCirclesOpenCV(benchmark::State& state, int threads) {
    std::unique_ptr<CImage> image = Circles(true);
    const cv::Mat mat(CIRCLE_SIZE, CIRCLE_SIZE, CV_8U, image->Data<uint8_t>());
    std::vector<cv::Vec3f> circles;
    cv::setNumThreads(threads);
    for (auto _ : state) {
        cv::HoughCircles(mat, circles, cv::HOUGH_GRADIENT, 1.0, 20.0, 100.0, 15.0, 20, 40);
        benchmark::DoNotOptimize(circles.data());
    }
    cv::setNumThreads(1);
    state.counters["circles"] = static_cast<double>(circles.size());
}
void HoughCircleTJ_reference(benchmark::State& state) {
    HoughCirclesOpenCV(state, 1);
}
BENCHMARK(HoughCircleTJ_reference)
    ->Name("HoughCircleTJ512/reference")
    ->Unit(benchmark::kMillisecond);
void HoughCircleTJ_reference_mt(benchmark::State& state) {
    HoughCirclesOpenCV(state, cv::getNumberOfCPUs());
}
BENCHMARK(HoughCircleTJ_reference_mt)
    ->Name("HoughCircleTJ512/reference_mt")
    ->Unit(benchmark::kMillisecond);

// A million points uniform in [0, 4096) x [0, 4096).
std::vector<cv::Point2f> HullPoints() {
    std::vector<cv::Point2f> points(HULL_POINTS);
    std::mt19937 random(23);
    std::uniform_real_distribution<float> uniform(0.0f, 4096.0f);
    for (cv::Point2f& p : points)
        p = {uniform(random), uniform(random)};
    return points;
}

// ConvexHull of the points as a 2 x 1000000 table, against cv::convexHull.
void ConvexHull_ours(benchmark::State& state) {
    const std::vector<cv::Point2f> points = HullPoints();
    auto table = std::make_unique<CImage>(IMAGE_GREY_F, CSize(2, HULL_POINTS));
    std::memcpy(table->Bytes(), points.data(), table->ByteCount());
    CValuePointer<CImage> input(table.get());
    CValueMap parameters;
    parameters.SetEntry("input_mode", new CValueString("POINTS"));
    bench::CNodeRunner node("ConvexHull", parameters);
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
    state.counters["vertices"] =
        static_cast<double>(UnwrapPointer<CImage>(node.Output(0))->Size().y);
}
BENCHMARK(ConvexHull_ours)->Name("ConvexHull1M/ours")->Unit(benchmark::kMillisecond);

void ConvexHull_reference(benchmark::State& state) {
    const std::vector<cv::Point2f> points = HullPoints();
    std::vector<cv::Point2f> hull;
    for (auto _ : state) {
        cv::convexHull(points, hull);
        benchmark::DoNotOptimize(hull.data());
    }
    state.counters["vertices"] = static_cast<double>(hull.size());
}
BENCHMARK(ConvexHull_reference)->Name("ConvexHull1M/reference")->Unit(benchmark::kMillisecond);

// Projection SUM along Y of a 4096 x 4096 float image; numpy's sum(axis=0) reads the image
// written here.
void ProjectionSumY_ours(benchmark::State& state) {
    std::unique_ptr<CImage> image =
        bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 1.0f, 29);
    WriteData("projection.f32", *image);
    CValuePointer<CImage> input(image.get());
    CValueMap parameters;
    parameters.SetEntry("axis", new CValueString("Y"));
    parameters.SetEntry("mode", new CValueString("SUM"));
    bench::CNodeRunner node("Projection", parameters);
    node.SetInput(0, &input);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}
BENCHMARK(ProjectionSumY_ours)->Name("ProjectionSumY4096/ours")->Unit(benchmark::kMillisecond);

}  // namespace
