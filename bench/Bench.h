#pragma once

// Workloads are pairs of Google Benchmark entries, "<workload>/ours" and "<workload>/reference"
// (and "<workload>/reference_mt" where the reference also runs multi-threaded); bench/run turns
// their medians into one line per workload. References whose code is Python are timed by
// bench/references.py on the inputs that the C++ side writes to ORVA_BENCH_DATA.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tarsel.h"

namespace bench {

// Runs a node of the utility module the way a host does, without the host.
class CNodeRunner {
  public:
    CNodeRunner(const std::string& name, const ORVA::CValueMap& parameters = {});
    void SetInput(int pin, ORVA::CValue* value) { m_node->SetStackInput(pin, value); }
    void Run() { m_node->Run(); }
    ORVA::CValue* Output(int pin) const { return m_node->StackOutput(pin); }
    ORVA::CPNode& Node() { return *m_node; }

  private:
    std::unique_ptr<ORVA::CPNode> m_node;
};

// A 4096 x 4096 image is the common size of the workloads.
constexpr int64_t SIZE = 4096;

// Images filled from fixed seeds, so every run measures the same data.
std::unique_ptr<ORVA::CImage> UniformFloat(ORVA::CSize size, float low, float high, unsigned seed);
std::unique_ptr<ORVA::CImage> UniformBytes(ORVA::CSize size, unsigned seed);

// Uniform noise (seed 42) blurred by a 9 x 9 box: a smooth IMAGE_GREY_F image.
const ORVA::CImage& BlurredNoise();
// Blobs: the blurred noise as IMAGE_GREY_8, 255 above its median and 0 elsewhere.
const ORVA::CImage& Blobs();

// The directory shared with bench/references.py.
std::string DataDirectory();
// The image's pixel bytes as the file NAME of that directory, for the Python side.
void WriteData(const std::string& name, const ORVA::CImage& image);

}  // namespace bench
