#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>

int main(int argc, char** argv) {
    // Nodes run on one thread; so do the references, unless a workload asks for more.
    cv::setNumThreads(1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
