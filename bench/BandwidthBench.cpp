// Every node whose output is as large as its input, against copying its output's bytes into
// memory that is already there: the least a pass that writes them can take. The ratio shows how
// far each node is from that physical limit. Nodes run repeatedly, as a host runs a graph, so
// the buffer pool hands each run the memory the run before gave back.
#include <cstring>
#include <functional>
#include <vector>

#include "Bench.h"

using namespace ORVA;

namespace {

using Inputs = std::vector<std::unique_ptr<CValue>>;

std::unique_ptr<CValue> Owned(std::unique_ptr<CImage> image) {
    return std::make_unique<CValueOwnedPointer<CImage>>(std::move(image));
}

std::unique_ptr<CValue> Borrowed(const CImage& image) {
    return std::make_unique<CValuePointer<CImage>>(const_cast<CImage*>(&image));
}

std::unique_ptr<CImage> Floats(unsigned seed) {
    return bench::UniformFloat(CSize(bench::SIZE, bench::SIZE), 0.0f, 255.0f, seed);
}

// Byte noise of which about half the pixels are 0.
std::unique_ptr<CImage> HalfZero() {
    auto image = bench::UniformBytes(CSize(bench::SIZE, bench::SIZE), 29);
    uint8_t* bytes = image->Bytes();
    for (int64_t i = 0; i < image->Pixels(); ++i)
        bytes[i] = bytes[i] >> 7;
    return image;
}

// Floats with a NaN or an infinity in every 97th pixel.
std::unique_ptr<CImage> NonFinite() {
    auto image = Floats(31);
    float* data = image->Data<float>();
    const float specials[] = {NAN, INFINITY, -INFINITY};
    for (int64_t i = 0; i < image->Pixels(); i += 97)
        data[i] = specials[(i / 97) % 3];
    return image;
}

struct SWorkload {
    const char* node;
    const char* name;  // the workload's name after "Bandwidth/"
    std::vector<std::pair<const char*, CValue*>> parameters;
    std::function<Inputs()> inputs;
};

CValueMap Parameters(const SWorkload& workload) {
    CValueMap parameters;
    for (const auto& [key, value] : workload.parameters)
        parameters.SetEntry(key, value->CloneUnique().release());
    return parameters;
}

void Ours(benchmark::State& state, const SWorkload& workload) {
    Inputs inputs = workload.inputs();
    bench::CNodeRunner node(workload.node, Parameters(workload));
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node.SetInput(static_cast<int>(pin), inputs[pin].get());
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}

// memcpy of as many bytes as the node's output has, into a destination made once.
void Reference(benchmark::State& state, const SWorkload& workload) {
    Inputs inputs = workload.inputs();
    bench::CNodeRunner node(workload.node, Parameters(workload));
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node.SetInput(static_cast<int>(pin), inputs[pin].get());
    node.Run();
    const size_t bytes = static_cast<CImage*>(node.Output(0)->VoidPointer())->ByteCount();
    std::vector<uint8_t> source(bytes, 1), target(bytes);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), bytes);
        benchmark::DoNotOptimize(target.data());
    }
}

const std::vector<SWorkload>& Workloads() {
    static const std::vector<SWorkload> workloads = [] {
        auto one = [](std::function<std::unique_ptr<CImage>()> make) {
            return [make] {
                Inputs inputs;
                inputs.push_back(Owned(make()));
                return inputs;
            };
        };
        auto floats = one([] { return Floats(7); });
        return std::vector<SWorkload>{
            {"CopyImage", "CopyImage", {}, floats},
            {"ConvertType", "ConvertTypeFloatToFloat", {}, floats},
            {"ConvertType",
             "ConvertTypeFloatToByte",
             {{"out_type", new CValueString("IMAGE_GREY_8")}},
             floats},
            {"Normalize", "Normalize", {}, floats},
            {"NormalizeLine", "NormalizeLine", {}, floats},
            {"ReplaceValue",
             "ReplaceValue",
             {{"src_value", new CValueDouble(0.0)}, {"dst_value", new CValueDouble(1.0)}},
             one([] {
                 auto image = HalfZero();
                 auto floats = std::make_unique<CImage>(IMAGE_GREY_F, image->Size(), CSize(0, 0, 0),
                                                        CImage::NoInit{});
                 CImageConversion::FastConvert(*floats, *image, true);
                 return floats;
             })},
            {"ReplaceNonFinite", "ReplaceNonFinite", {}, one(NonFinite)},
            {"SelectPixel",
             "SelectPixel",
             {},
             [] {
                 Inputs inputs;
                 inputs.push_back(Owned(HalfZero()));
                 inputs.push_back(Owned(Floats(19)));
                 inputs.push_back(Owned(Floats(23)));
                 return inputs;
             }},
            {"SelectImage",
             "SelectImage",
             {},
             [] {
                 Inputs inputs;
                 inputs.push_back(Owned(Floats(19)));
                 inputs.push_back(Owned(Floats(23)));
                 return inputs;
             }},
            {"FillWithValue",
             "FillWithValue",
             {{"value", new CValueDouble(5.0)}},
             [] {
                 Inputs inputs;
                 inputs.push_back(Owned(HalfZero()));
                 inputs.push_back(Owned(HalfZero()));
                 return inputs;
             }},
            {"Merge",
             "Merge",
             {},
             [] {
                 Inputs inputs;
                 inputs.push_back(Owned(Floats(19)));
                 inputs.push_back(Owned(Floats(23)));
                 return inputs;
             }},
            {"DrawString",
             "DrawString",
             {{"text", new CValueString("bandwidth")},
              {"x", new CValueLong(100)},
              {"y", new CValueLong(100)},
              {"scale", new CValueLong(40)}},
             floats},
            {"PaintMarks",
             "PaintMarks",
             {{"size", new CValueLong(10)}},
             [] {
                 Inputs inputs;
                 inputs.push_back(Owned(Floats(7)));
                 // 1000 points spread over the image, x and y per row.
                 inputs.push_back(Owned(bench::UniformFloat(CSize(2, 1000), 0.0f, 4095.0f, 37)));
                 return inputs;
             }},
            {"SetImageAttributes",
             "SetImageAttributes",
             {{"key", new CValueString("origin")}, {"value", new CValueString("bench")}},
             floats},
            {"Sort", "Sort", {}, one([] {
                 return bench::UniformFloat(CSize(4, 4000000), -1000.0f, 1000.0f, 11);
             })},
            {"Labeling",
             "Labeling",
             {},
             [] {
                 Inputs inputs;
                 inputs.push_back(Borrowed(bench::Blobs()));
                 return inputs;
             }},
            {"PixelLabel",
             "PixelLabel",
             {},
             [] {
                 Inputs inputs;
                 inputs.push_back(Borrowed(bench::BlurredNoise()));
                 return inputs;
             }},
        };
    }();
    return workloads;
}

[[maybe_unused]] const bool registered = [] {
    for (const SWorkload& workload : Workloads()) {
        const std::string name = std::string("Bandwidth/") + workload.name;
        benchmark::RegisterBenchmark((name + "/ours").c_str(), Ours, workload)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((name + "/reference").c_str(), Reference, workload)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
