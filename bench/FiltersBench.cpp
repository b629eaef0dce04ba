// The kernels of the filters module against OpenCV doing the same work on one thread, with
// OpenCV on every processor as a further column. OpenCV writes into a destination it reuses,
// as we do. Before timing, each workload compares our result with OpenCV's and stops the bench
// when they differ by more than stated (bit-exact, or a number of units in the last place).
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <set>
#include <string>
#include <vector>

#include "Bench.h"
#include "Blur.h"
#include "Distance.h"
#include "Edges.h"
#include "Geometry.h"
#include "Median.h"
#include "Morphology.h"
#include "Regions.h"
#include "Threshold.h"

using namespace ORVA;
using namespace ORVA::Filters;

namespace {

constexpr int N = static_cast<int>(bench::SIZE);

template <class T>
SPlane<const T> In(const cv::Mat& m) {
    return {m.ptr<T>(), m.cols, m.rows, static_cast<int64_t>(m.step1())};
}
template <class T>
SPlane<T> Out(cv::Mat& m) {
    return {m.ptr<T>(), m.cols, m.rows, static_cast<int64_t>(m.step1())};
}

const cv::Mat& NoiseBytes() {
    static std::unique_ptr<CImage> image = bench::UniformBytes(CSize(N, N), 31);
    static cv::Mat m(N, N, CV_8U, image->Bytes());
    return m;
}
const cv::Mat& NoiseFloat() {
    static std::unique_ptr<CImage> image = bench::UniformFloat(CSize(N, N), 0.0f, 255.0f, 37);
    static cv::Mat m(N, N, CV_32F, image->Bytes());
    return m;
}
// The smooth noise of the other workloads as bytes: edges and thresholds with structure.
const cv::Mat& SmoothBytes() {
    static cv::Mat m = [] {
        cv::Mat source(N, N, CV_32F, const_cast<uint8_t*>(bench::BlurredNoise().Bytes())), out;
        cv::normalize(source, out, 0, 255, cv::NORM_MINMAX);
        out.convertTo(out, CV_8U);
        return out;
    }();
    return m;
}
const cv::Mat& SmoothFloat() {
    static cv::Mat m(N, N, CV_32F, const_cast<uint8_t*>(bench::BlurredNoise().Bytes()));
    return m;
}

[[noreturn]] void Mismatch(const std::string& workload, const std::string& what) {
    std::fprintf(stderr, "\n*** %s: our result differs from OpenCV's: %s ***\n", workload.c_str(),
                 what.c_str());
    std::exit(1);
}

// Distance of two floats in units in the last place.
int64_t Ulps(float a, float b) {
    if (a == b) return 0;
    int32_t ia, ib;
    std::memcpy(&ia, &a, 4);
    std::memcpy(&ib, &b, 4);
    if (ia < 0) ia = INT32_MIN - ia;
    if (ib < 0) ib = INT32_MIN - ib;
    return std::llabs(static_cast<int64_t>(ia) - ib);
}

int64_t FloatDistance(float a, float b, float floor) {
    if (std::max(std::abs(a), std::abs(b)) >= floor) return Ulps(a, b);
    return static_cast<int64_t>(std::ceil(std::abs(a - b) / (floor * 0x1p-23f)));
}

// Bytes must agree within `tolerance`; floats within `tolerance` ulps, counted at `floor` for
// values smaller than it (sums that cancel lose the digits of their terms, not of the result).
void Compare(const std::string& workload, const cv::Mat& ours, const cv::Mat& reference,
             int64_t tolerance, float floor) {
    if (ours.size() != reference.size() || ours.type() != reference.type())
        Mismatch(workload, "size or type");
    int64_t worst = 0, count = 0, wx = 0, wy = 0;
    for (int y = 0; y < ours.rows; ++y)
        for (int x = 0; x < ours.cols; ++x) {
            int64_t d =
                ours.depth() == CV_8U
                    ? std::abs(int(ours.at<uint8_t>(y, x)) - int(reference.at<uint8_t>(y, x)))
                    : FloatDistance(ours.at<float>(y, x), reference.at<float>(y, x), floor);
            if (d > 0) ++count;
            if (d > worst) worst = d, wx = x, wy = y;
        }
    if (worst > tolerance)
        Mismatch(workload, std::to_string(count) + " samples differ, worst by " +
                               std::to_string(worst) + " at (" + std::to_string(wx) + ", " +
                               std::to_string(wy) + ")");
    // Said once per workload, not once per repetition.
    static std::set<std::string> told;
    if (worst > 0 && told.insert(workload).second)
        std::fprintf(stderr, "%s: %lld samples differ from OpenCV by at most %lld (allowed %lld)\n",
                     workload.c_str(), static_cast<long long>(count), static_cast<long long>(worst),
                     static_cast<long long>(tolerance));
}

// One workload: the input, our kernel, OpenCV's call and the difference allowed.
struct SWorkload {
    std::string name;
    std::function<const cv::Mat&()> input;
    cv::Size size;  // of the output; empty: the input's
    int type;       // of the output
    std::function<void(const cv::Mat&, cv::Mat&)> ours, reference;
    int64_t tolerance;
    float floor = 0;
};

void RunOurs(benchmark::State& state, const SWorkload& w) {
    const cv::Mat& src = w.input();
    const cv::Size size = w.size.empty() ? src.size() : w.size;
    cv::Mat ours(size, w.type), reference(size, w.type);
    w.ours(src, ours);
    w.reference(src, reference);
    Compare(w.name, ours, reference, w.tolerance, w.floor);
    for (auto _ : state) {
        w.ours(src, ours);
        benchmark::DoNotOptimize(ours.data);
    }
}

void RunReference(benchmark::State& state, const SWorkload& w, int threads) {
    const cv::Mat& src = w.input();
    cv::Mat reference(w.size.empty() ? src.size() : w.size, w.type);
    cv::setNumThreads(threads);
    for (auto _ : state) {
        w.reference(src, reference);
        benchmark::DoNotOptimize(reference.data);
    }
    cv::setNumThreads(1);
}

const cv::Mat& Rect5() {
    static cv::Mat k = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(5, 5));
    return k;
}

std::vector<SWorkload> Workloads() {
    const SStructure rect5 = StructuringElement(EnShape::RECTANGLE, 5, 5);
    return {
        {"GaussianBlurSigma2Bytes",
         NoiseBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) { GaussianBlur(In<uint8_t>(s), Out<uint8_t>(d), 2.0); },
         [](const cv::Mat& s, cv::Mat& d) { cv::GaussianBlur(s, d, cv::Size(0, 0), 2.0); },
         0},
        {"GaussianBlurSigma2Float",
         NoiseFloat,
         {},
         CV_32F,
         [](const cv::Mat& s, cv::Mat& d) { GaussianBlur(In<float>(s), Out<float>(d), 2.0); },
         [](const cv::Mat& s, cv::Mat& d) { cv::GaussianBlur(s, d, cv::Size(0, 0), 2.0); },
         8,
         255},
        {"BoxBlur5Bytes",
         NoiseBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) { BoxBlur(In<uint8_t>(s), Out<uint8_t>(d), 5, 5); },
         [](const cv::Mat& s, cv::Mat& d) { cv::blur(s, d, cv::Size(5, 5)); },
         0},
        {"BoxBlur5Float",
         NoiseFloat,
         {},
         CV_32F,
         [](const cv::Mat& s, cv::Mat& d) { BoxBlur(In<float>(s), Out<float>(d), 5, 5); },
         [](const cv::Mat& s, cv::Mat& d) { cv::blur(s, d, cv::Size(5, 5)); },
         1},
        {"MedianBlur5Bytes",
         NoiseBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) { MedianBlur(In<uint8_t>(s), Out<uint8_t>(d), 5); },
         [](const cv::Mat& s, cv::Mat& d) { cv::medianBlur(s, d, 5); },
         0},
        {"MedianBlur5Float",
         NoiseFloat,
         {},
         CV_32F,
         [](const cv::Mat& s, cv::Mat& d) { MedianBlur(In<float>(s), Out<float>(d), 5); },
         [](const cv::Mat& s, cv::Mat& d) { cv::medianBlur(s, d, 5); },
         0},
        {"Erode5x5RectBytes",
         NoiseBytes,
         {},
         CV_8U,
         [rect5](const cv::Mat& s, cv::Mat& d) {
             Morphology(In<uint8_t>(s), Out<uint8_t>(d), EnMorphology::ERODE, rect5);
         },
         [](const cv::Mat& s, cv::Mat& d) { cv::erode(s, d, Rect5()); },
         0},
        {"Erode5x5RectFloat",
         NoiseFloat,
         {},
         CV_32F,
         [rect5](const cv::Mat& s, cv::Mat& d) {
             Morphology(In<float>(s), Out<float>(d), EnMorphology::ERODE, rect5);
         },
         [](const cv::Mat& s, cv::Mat& d) { cv::erode(s, d, Rect5()); },
         0},
        {"SobelDxBytes",
         NoiseBytes,
         {},
         CV_32F,
         [](const cv::Mat& s, cv::Mat& d) { Sobel(In<uint8_t>(s), Out<float>(d), 1, 0, 3); },
         [](const cv::Mat& s, cv::Mat& d) { cv::Sobel(s, d, CV_32F, 1, 0, 3); },
         0},
        {"SobelDxFloat",
         NoiseFloat,
         {},
         CV_32F,
         [](const cv::Mat& s, cv::Mat& d) { Sobel(In<float>(s), Out<float>(d), 1, 0, 3); },
         [](const cv::Mat& s, cv::Mat& d) { cv::Sobel(s, d, CV_32F, 1, 0, 3); },
         8,
         255},
        {"CannyBytes",
         SmoothBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) { Canny(In<uint8_t>(s), Out<uint8_t>(d), 10, 30); },
         [](const cv::Mat& s, cv::Mat& d) { cv::Canny(s, d, 10, 30); },
         0},
        {"CannyL2Bytes",
         SmoothBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) { Canny(In<uint8_t>(s), Out<uint8_t>(d), 10, 30, true); },
         [](const cv::Mat& s, cv::Mat& d) { cv::Canny(s, d, 10, 30, 3, true); },
         0},
        {"ResizeBilinearHalfBytes", NoiseBytes, cv::Size(N / 2, N / 2), CV_8U,
         [](const cv::Mat& s, cv::Mat& d) {
             Resize(In<uint8_t>(s), Out<uint8_t>(d), EnInterpolation::BILINEAR);
         },
         [](const cv::Mat& s, cv::Mat& d) { cv::resize(s, d, d.size(), 0, 0, cv::INTER_LINEAR); },
         0},
        {"ResizeBilinearHalfFloat", NoiseFloat, cv::Size(N / 2, N / 2), CV_32F,
         [](const cv::Mat& s, cv::Mat& d) {
             Resize(In<float>(s), Out<float>(d), EnInterpolation::BILINEAR);
         },
         [](const cv::Mat& s, cv::Mat& d) { cv::resize(s, d, d.size(), 0, 0, cv::INTER_LINEAR); },
         1},
        {"ResizeBilinear0.7Bytes", NoiseBytes, cv::Size(N * 7 / 10, N * 7 / 10), CV_8U,
         [](const cv::Mat& s, cv::Mat& d) {
             Resize(In<uint8_t>(s), Out<uint8_t>(d), EnInterpolation::BILINEAR);
         },
         [](const cv::Mat& s, cv::Mat& d) { cv::resize(s, d, d.size(), 0, 0, cv::INTER_LINEAR); },
         1},
        {"ThresholdOtsuBytes",
         SmoothBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) {
             double t = OtsuThreshold(In<uint8_t>(s));
             Threshold(In<uint8_t>(s), Out<uint8_t>(d), t, 255, EnThreshold::BINARY);
         },
         [](const cv::Mat& s, cv::Mat& d) {
             cv::threshold(s, d, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
         },
         0},
        {"ThresholdTriangleBytes",
         SmoothBytes,
         {},
         CV_8U,
         [](const cv::Mat& s, cv::Mat& d) {
             double t = TriangleThreshold(In<uint8_t>(s));
             Threshold(In<uint8_t>(s), Out<uint8_t>(d), t, 255, EnThreshold::BINARY);
         },
         [](const cv::Mat& s, cv::Mat& d) {
             cv::threshold(s, d, 0, 255, cv::THRESH_BINARY | cv::THRESH_TRIANGLE);
         },
         0},
        {"DistanceTransformBlobs",
         []() -> const cv::Mat& {
             static cv::Mat m(N, N, CV_8U, const_cast<uint8_t*>(bench::Blobs().Bytes()));
             return m;
         },
         {},
         CV_32F,
         [](const cv::Mat& s, cv::Mat& d) { DistanceTransform(In<uint8_t>(s), Out<float>(d)); },
         [](const cv::Mat& s, cv::Mat& d) {
             cv::distanceTransform(s, d, cv::DIST_L2, cv::DIST_MASK_PRECISE, CV_32F);
         },
         0},
    };
}

// ---- region properties against OpenCV's statistics and scikit-image's regionprops ----

struct SLabels {
    cv::Mat labels;  // CV_32S
    int count = 0;
};

const SLabels& BlobLabels() {
    static SLabels l = [] {
        SLabels r;
        cv::Mat blobs(N, N, CV_8U, const_cast<uint8_t*>(bench::Blobs().Bytes()));
        r.count = cv::connectedComponents(blobs, r.labels, 8, CV_32S);
        return r;
    }();
    return l;
}

std::vector<SRegion> OurRegions(const cv::Mat& labels, const cv::Mat& intensity) {
    // The labels are CV_32S; read them as unsigned 32-bit samples (all are >= 0).
    SPlane<const uint32_t> plane{reinterpret_cast<const uint32_t*>(labels.data), labels.cols,
                                 labels.rows, static_cast<int64_t>(labels.step1())};
    return RegionProperties(plane, In<float>(intensity));
}

void RegionStats_ours(benchmark::State& state) {
    const SLabels& l = BlobLabels();
    std::vector<SRegion> regions = OurRegions(l.labels, SmoothFloat());
    cv::Mat labels, stats, centroids;
    cv::Mat blobs(N, N, CV_8U, const_cast<uint8_t*>(bench::Blobs().Bytes()));
    cv::connectedComponentsWithStats(blobs, labels, stats, centroids, 8, CV_32S);
    if (static_cast<int>(regions.size()) != stats.rows - 1) Mismatch("RegionStats", "region count");
    for (const SRegion& r : regions) {
        const int i = static_cast<int>(r.label);
        if (r.area != stats.at<int>(i, cv::CC_STAT_AREA) ||
            r.minX != stats.at<int>(i, cv::CC_STAT_LEFT) ||
            r.minY != stats.at<int>(i, cv::CC_STAT_TOP) ||
            r.maxX - r.minX + 1 != stats.at<int>(i, cv::CC_STAT_WIDTH) ||
            r.maxY - r.minY + 1 != stats.at<int>(i, cv::CC_STAT_HEIGHT) ||
            std::abs(r.centroidX - centroids.at<double>(i, 0)) > 1e-9 ||
            std::abs(r.centroidY - centroids.at<double>(i, 1)) > 1e-9)
            Mismatch("RegionStats", "region " + std::to_string(i));
    }
    // Inputs and our results for the scikit-image side, which compares them with its own.
    std::string directory = bench::DataDirectory();
    std::ofstream(directory + "/filters_labels.i32", std::ios::binary)
        .write(reinterpret_cast<const char*>(l.labels.data), N * N * 4);
    std::ofstream(directory + "/filters_intensity.f32", std::ios::binary)
        .write(reinterpret_cast<const char*>(SmoothFloat().data), N * N * 4);
    std::ofstream table(directory + "/filters_regions.txt");
    table.precision(17);
    for (const SRegion& r : regions)
        table << r.label << ' ' << r.area << ' ' << r.centroidY << ' ' << r.centroidX << ' '
              << r.minY << ' ' << r.minX << ' ' << r.maxY + 1 << ' ' << r.maxX + 1 << ' '
              << r.perimeter << ' ' << r.equivalentDiameter << ' ' << r.orientation << ' '
              << r.eccentricity << ' ' << r.mean << ' ' << r.minimum << ' ' << r.maximum << '\n';
    std::ofstream(directory + "/filters_noise.f32", std::ios::binary)
        .write(reinterpret_cast<const char*>(NoiseFloat().data), N * N * 4);
    std::ofstream otsu(directory + "/filters_otsu.txt");
    otsu.precision(17);
    otsu << OtsuThreshold(In<float>(NoiseFloat())) << '\n';
    for (auto _ : state)
        benchmark::DoNotOptimize(OurRegions(l.labels, SmoothFloat()).data());
}

void RegionStats_reference(benchmark::State& state, int threads) {
    cv::Mat blobs(N, N, CV_8U, const_cast<uint8_t*>(bench::Blobs().Bytes()));
    cv::Mat labels, stats, centroids;
    cv::setNumThreads(threads);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            cv::connectedComponentsWithStats(blobs, labels, stats, centroids, 8, CV_32S));
    cv::setNumThreads(1);
}

void OtsuFloat_ours(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(OtsuThreshold(In<float>(NoiseFloat())));
}

// Registers every workload before main runs, as BENCHMARK does.
const bool registered = [] {
    static const std::vector<SWorkload> workloads = Workloads();
    for (const SWorkload& w : workloads) {
        benchmark::RegisterBenchmark((w.name + "/ours").c_str(), [&w](benchmark::State& s) {
            RunOurs(s, w);
        })->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((w.name + "/reference").c_str(), [&w](benchmark::State& s) {
            RunReference(s, w, 1);
        })->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((w.name + "/reference_mt").c_str(), [&w](benchmark::State& s) {
            RunReference(s, w, cv::getNumberOfCPUs());
        })->Unit(benchmark::kMillisecond);
    }
    // Our region properties measure more than OpenCV's statistics but do not label: OpenCV's
    // time includes its labelling. RegionPropsBlobs puts the same run against scikit-image.
    benchmark::RegisterBenchmark("RegionStatsBlobs/ours", RegionStats_ours)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("RegionStatsBlobs/reference", [](benchmark::State& s) {
        RegionStats_reference(s, 1);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("RegionStatsBlobs/reference_mt", [](benchmark::State& s) {
        RegionStats_reference(s, cv::getNumberOfCPUs());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("RegionPropsBlobs/ours", RegionStats_ours)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("ThresholdOtsuFloat/ours", OtsuFloat_ours)
        ->Unit(benchmark::kMillisecond);
    return true;
}();

}  // namespace
