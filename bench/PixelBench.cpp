// Pixel-type conversion and per-pixel nodes against OpenCV doing the same work. OpenCV runs as
// its users run it: on one thread, writing into a destination made once. The nodes make a new
// result per run, as they must; the framework's buffer pool makes that nearly free.
#include <cstring>
#include <opencv2/core.hpp>
#include <vector>

#include "Bench.h"

using namespace ORVA;

namespace {

// An image value the runner can borrow.
struct SInput {
    explicit SInput(std::unique_ptr<CImage> image)
        : value(std::make_unique<CValueOwnedPointer<CImage>>(std::move(image))) {}
    CImage& Image() const { return *static_cast<CImage*>(value->VoidPointer()); }
    std::unique_ptr<CValue> value;
};

// A Mat header on the pixels of an image of `rows` rows.
cv::Mat Header(const CImage& image, int type, int64_t rows) {
    int64_t columns = image.Pixels() / rows;
    return cv::Mat(static_cast<int>(rows), static_cast<int>(columns), type,
                   const_cast<uint8_t*>(image.Bytes()));
}

CValueMap Parameters(const char* key, CValue* value) {
    CValueMap parameters;
    parameters.SetEntry(key, value);
    return parameters;
}

void RunNode(benchmark::State& state, bench::CNodeRunner& node) {
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}

std::unique_ptr<CImage> FloatImage() {
    return bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 255.0f, 7);
}

// ---- ConvertType IMAGE_GREY_F to IMAGE_GREY_8 ----

void Convert_ours(benchmark::State& state) {
    SInput input(FloatImage());
    bench::CNodeRunner node("ConvertType",
                            Parameters("out_type", new CValueString("IMAGE_GREY_8")));
    node.SetInput(0, input.value.get());
    RunNode(state, node);
}

void Convert_reference(benchmark::State& state) {
    SInput input(FloatImage());
    cv::Mat source = Header(input.Image(), CV_32F, bench::SIZE), result;
    for (auto _ : state) {
        source.convertTo(result, CV_8U);
        benchmark::DoNotOptimize(result.data);
    }
}

// Copying the input bytes into memory that is already there: the least any pass over the
// input can take.
void Memcpy_reference(benchmark::State& state) {
    SInput input(FloatImage());
    std::vector<uint8_t> copy(input.Image().ByteCount());
    for (auto _ : state) {
        std::memcpy(copy.data(), input.Image().Bytes(), copy.size());
        benchmark::DoNotOptimize(copy.data());
    }
}

// ---- ConvertType IMAGE_GREY_F to IMAGE_GREY_F and CopyImage: copies ----

void ConvertSame_ours(benchmark::State& state) {
    SInput input(FloatImage());
    bench::CNodeRunner node("ConvertType");
    node.SetInput(0, input.value.get());
    RunNode(state, node);
}

void Copy_ours(benchmark::State& state) {
    SInput input(FloatImage());
    bench::CNodeRunner node("CopyImage");
    node.SetInput(0, input.value.get());
    RunNode(state, node);
}

BENCHMARK(Convert_ours)->Name("ConvertTypeFloatToByte/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Convert_reference)
    ->Name("ConvertTypeFloatToByte/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Convert_ours)->Name("ConvertTypeFloatToByteVsMemcpy/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Memcpy_reference)
    ->Name("ConvertTypeFloatToByteVsMemcpy/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ConvertSame_ours)->Name("ConvertTypeFloatToFloat/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Memcpy_reference)
    ->Name("ConvertTypeFloatToFloat/reference")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Copy_ours)->Name("CopyImage/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Memcpy_reference)->Name("CopyImage/reference")->Unit(benchmark::kMillisecond);

// ---- Normalize with its defaults ----

void Normalize_ours(benchmark::State& state) {
    SInput input(FloatImage());
    bench::CNodeRunner node("Normalize");
    node.SetInput(0, input.value.get());
    RunNode(state, node);
}

void Normalize_reference(benchmark::State& state) {
    SInput input(FloatImage());
    cv::Mat source = Header(input.Image(), CV_32F, bench::SIZE), result;
    for (auto _ : state) {
        cv::normalize(source, result, 0.0, 255.0, cv::NORM_MINMAX);
        benchmark::DoNotOptimize(result.data);
    }
}

BENCHMARK(Normalize_ours)->Name("NormalizeFloat/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Normalize_reference)->Name("NormalizeFloat/reference")->Unit(benchmark::kMillisecond);

// ---- Sort of a 1,000,000 x 4 float table by column 0 ----

constexpr int64_t TABLE_ROWS = 1000000;

std::unique_ptr<CImage> Table() {
    return bench::UniformFloat(CSize(4, TABLE_ROWS), -1000.0f, 1000.0f, 11);
}

void Sort_ours(benchmark::State& state) {
    SInput input(Table());
    bench::CNodeRunner node("Sort");
    node.SetInput(0, input.value.get());
    RunNode(state, node);
}

// An index sort of the keys and a gather of the rows.
void Sort_reference(benchmark::State& state) {
    SInput input(Table());
    cv::Mat table = Header(input.Image(), CV_32F, TABLE_ROWS), keys, order;
    cv::Mat result(table.rows, table.cols, table.type());
    for (auto _ : state) {
        table.col(0).copyTo(keys);
        cv::sortIdx(keys, order, cv::SORT_EVERY_COLUMN | cv::SORT_ASCENDING);
        const size_t rowBytes = table.cols * sizeof(float);
        for (int r = 0; r < table.rows; ++r)
            std::memcpy(result.ptr(r), table.ptr(order.at<int>(r)), rowBytes);
        benchmark::DoNotOptimize(result.data);
    }
}

BENCHMARK(Sort_ours)->Name("SortTable1Mx4/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Sort_reference)->Name("SortTable1Mx4/reference")->Unit(benchmark::kMillisecond);

// ---- RayMaximum of a 512 x 512 x 64 float image ----

constexpr int64_t RAY_SIDE = 512, RAY_DEPTH = 64;

std::unique_ptr<CImage> Volume() {
    return bench::UniformFloat(CSize(RAY_SIDE, RAY_SIDE, RAY_DEPTH), 0.0f, 1.0f, 13);
}

void Ray_ours(benchmark::State& state) {
    SInput input(Volume());
    bench::CNodeRunner node("RayMaximum");
    node.SetInput(0, input.value.get());
    RunNode(state, node);
}

void Ray_reference(benchmark::State& state) {
    SInput input(Volume());
    cv::Mat all = Header(input.Image(), CV_32F, RAY_SIDE * RAY_DEPTH), result;
    for (auto _ : state) {
        all.rowRange(0, RAY_SIDE).copyTo(result);
        for (int z = 1; z < RAY_DEPTH; ++z)
            cv::max(result, all.rowRange(z * RAY_SIDE, (z + 1) * RAY_SIDE), result);
        benchmark::DoNotOptimize(result.data);
    }
}

BENCHMARK(Ray_ours)->Name("RayMaximum512x512x64/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Ray_reference)->Name("RayMaximum512x512x64/reference")->Unit(benchmark::kMillisecond);

// ---- SelectPixel with a byte condition and two float sources ----

struct SSelection {
    SSelection()
        : condition(bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 17)),
          then(bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 1.0f, 19)),
          otherwise(bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 1.0f, 23)) {
        uint8_t* bytes = condition.Image().Bytes();
        for (int64_t i = 0; i < condition.Image().Pixels(); ++i)
            bytes[i] = bytes[i] >> 7;  // half of them set
    }
    SInput condition, then, otherwise;
};

void Select_ours(benchmark::State& state) {
    SSelection inputs;
    bench::CNodeRunner node("SelectPixel");
    node.SetInput(0, inputs.condition.value.get());
    node.SetInput(1, inputs.then.value.get());
    node.SetInput(2, inputs.otherwise.value.get());
    RunNode(state, node);
}

void Select_reference(benchmark::State& state) {
    SSelection inputs;
    cv::Mat mask = Header(inputs.condition.Image(), CV_8U, bench::SIZE);
    cv::Mat then = Header(inputs.then.Image(), CV_32F, bench::SIZE);
    cv::Mat otherwise = Header(inputs.otherwise.Image(), CV_32F, bench::SIZE), result;
    for (auto _ : state) {
        otherwise.copyTo(result);
        then.copyTo(result, mask);
        benchmark::DoNotOptimize(result.data);
    }
}

BENCHMARK(Select_ours)->Name("SelectPixelMask/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Select_reference)->Name("SelectPixelMask/reference")->Unit(benchmark::kMillisecond);

}  // namespace
