// Nodes that keep state between runs. RingBuffer's mean against the plain way to get it: keep
// copies of the last images and sum them all again on every run. Both sides copy the new
// image and make a new mean image per run; only the summing differs.
#include <deque>
#include <vector>

#include "Bench.h"

using namespace ORVA;

namespace {

constexpr int64_t SIDE = 1024;
constexpr int INPUTS = 3;  // the images that come in turn

std::vector<std::unique_ptr<CValue>> Inputs() {
    std::vector<std::unique_ptr<CValue>> inputs;
    for (int i = 0; i < INPUTS; ++i)
        inputs.push_back(std::make_unique<CValueOwnedPointer<CImage>>(
            bench::UniformFloat(CSize(SIDE, SIDE), 0.0f, 255.0f, 29 + i)));
    return inputs;
}

template <int32_t size>
void RingBuffer_ours(benchmark::State& state) {
    std::vector<std::unique_ptr<CValue>> inputs = Inputs();
    CValueMap parameters;
    parameters.SetEntry("size", new CValueLong(size));
    bench::CNodeRunner node("RingBuffer", parameters);
    // Only the mean is wanted, as in a graph that leaves output 0 unconnected.
    node.Node().SetStackOutputWanted(0, false);
    int run = 0;
    for (; run < size; ++run) {  // full from the start
        node.SetInput(0, inputs[run % INPUTS].get());
        node.Run();
    }
    for (auto _ : state) {
        node.SetInput(0, inputs[run++ % INPUTS].get());
        node.Run();
        benchmark::DoNotOptimize(node.Output(1));
    }
}

template <size_t size>
void RingBuffer_reference(benchmark::State& state) {
    std::vector<std::unique_ptr<CValue>> inputs = Inputs();
    const size_t pixels = static_cast<size_t>(SIDE * SIDE);
    std::deque<std::vector<float>> kept;
    std::vector<double> sum(pixels);
    size_t run = 0;
    auto step = [&] {
        const float* input =
            static_cast<CImage*>(inputs[run++ % INPUTS]->VoidPointer())->Data<float>();
        kept.emplace_back(input, input + pixels);
        if (kept.size() > size) kept.pop_front();
        std::fill(sum.begin(), sum.end(), 0.0);
        for (const std::vector<float>& image : kept)
            for (size_t i = 0; i < pixels; ++i)
                sum[i] += image[i];
        std::vector<float> mean(pixels);
        const double count = static_cast<double>(kept.size());
        for (size_t i = 0; i < pixels; ++i)
            mean[i] = static_cast<float>(sum[i] / count);
        return mean;
    };
    while (kept.size() < size)
        step();
    for (auto _ : state) {
        std::vector<float> mean = step();
        benchmark::DoNotOptimize(mean.data());
    }
}

BENCHMARK(RingBuffer_ours<10>)->Name("RingBufferMean10/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(RingBuffer_reference<10>)
    ->Name("RingBufferMean10/reference")
    ->Unit(benchmark::kMillisecond);
// Four times as many kept images: ours stays, the reference grows.
BENCHMARK(RingBuffer_ours<40>)->Name("RingBufferMean40/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(RingBuffer_reference<40>)
    ->Name("RingBufferMean40/reference")
    ->Unit(benchmark::kMillisecond);

}  // namespace
