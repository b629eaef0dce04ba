#include <cstdio>
#include <fstream>

#include "Bench.h"

using namespace ORVA;

namespace {

// A 2048 x 2048 float matrix written with "%.8g" and a blank after each value (about 45 MB),
// and its raw floats for the references.
constexpr int64_t MATRIX = 2048;

const std::string& MatrixFile() {
    static const std::string path = [] {
        std::string directory = bench::DataDirectory();
        auto image = bench::UniformFloat(CSize(MATRIX, MATRIX), 0.0f, 1.0f, 8);
        const float* data = image->Data<float>();
        std::FILE* text = std::fopen((directory + "/ascii_matrix.txt").c_str(), "wb");
        for (int64_t y = 0; y < MATRIX; ++y) {
            for (int64_t x = 0; x < MATRIX; ++x)
                std::fprintf(text, "%.8g ", static_cast<double>(data[y * MATRIX + x]));
            std::fputc('\n', text);
        }
        std::fclose(text);
        std::ofstream(directory + "/ascii_matrix.f32", std::ios::binary)
            .write(reinterpret_cast<const char*>(data),
                   static_cast<std::streamsize>(image->ByteCount()));
        return directory + "/ascii_matrix.txt";
    }();
    return path;
}

// ReadASCII on the matrix against pandas' read_csv (C engine) and numpy's loadtxt.
void ReadASCII_ours(benchmark::State& state) {
    CValueMap parameters;
    parameters.SetEntry("filename", new CValueString(MatrixFile()));
    bench::CNodeRunner node("ReadASCII", parameters);
    for (auto _ : state) {
        node.Run();
        benchmark::DoNotOptimize(node.Output(0));
    }
}
BENCHMARK(ReadASCII_ours)->Name("ReadASCII/ours")->Unit(benchmark::kMillisecond);

// SaveASCII (precision 8, "dec") of the matrix against numpy's savetxt with "%.8g".
void SaveASCII_ours(benchmark::State& state) {
    MatrixFile();
    auto image = bench::UniformFloat(CSize(MATRIX, MATRIX), 0.0f, 1.0f, 8);
    CValuePointer<CImage> input(image.get());
    CValueMap parameters;
    parameters.SetEntry("filename", new CValueString(bench::DataDirectory() + "/ascii_saved.txt"));
    parameters.SetEntry("precision", new CValueLong(8));
    parameters.SetEntry("base_type", new CValueString("dec"));
    bench::CNodeRunner node("SaveASCII", parameters);
    node.SetInput(0, &input);
    for (auto _ : state)
        node.Run();
}
BENCHMARK(SaveASCII_ours)->Name("SaveASCII/ours")->Unit(benchmark::kMillisecond);

}  // namespace
