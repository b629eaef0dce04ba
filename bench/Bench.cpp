#include "Bench.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <opencv2/imgproc.hpp>

namespace bench {

using namespace ORVA;

CNodeRunner::CNodeRunner(const std::string& name, const CValueMap& parameters) {
    const char* root = std::getenv("ORVADIR");
    CPluginModule& module = CPluginModule::Load(std::string(root ? root : ".") + "/bin/utility.so");
    m_node = module.Create(name);
    if (!m_node) throw CException("bench", "no node " + name);
    CValueMap setup;
    m_node->GetPluginSetup(setup);
    CValueMap values = ParameterValues(setup, parameters);
    m_node->Init(&values);
    m_node->NodeInit();
}

std::unique_ptr<CImage> UniformFloat(CSize size, float low, float high, unsigned seed) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, size);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(low, high);
    float* data = image->Data<float>();
    for (int64_t i = 0; i < image->Pixels(); ++i)
        data[i] = uniform(random);
    return image;
}

std::unique_ptr<CImage> UniformBytes(CSize size, unsigned seed) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, size);
    std::mt19937 random(seed);
    uint8_t* data = image->Data<uint8_t>();
    for (int64_t i = 0; i < image->Pixels(); ++i)
        data[i] = static_cast<uint8_t>(random() >> 24);
    return image;
}

const CImage& BlurredNoise() {
    static std::unique_ptr<CImage> blurred = [] {
        auto noise = UniformFloat(CSize(SIZE, SIZE), 0.0f, 1.0f, 42);
        auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(SIZE, SIZE));
        cv::Mat source(SIZE, SIZE, CV_32F, noise->Data<float>());
        cv::Mat target(SIZE, SIZE, CV_32F, image->Data<float>());
        cv::blur(source, target, cv::Size(9, 9));
        return image;
    }();
    return *blurred;
}

const CImage& Blobs() {
    static std::unique_ptr<CImage> blobs = [] {
        const CImage& blurred = BlurredNoise();
        const float* in = blurred.Data<float>();
        std::vector<float> values(in, in + blurred.Pixels());
        std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
        float median = values[values.size() / 2];
        auto image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(SIZE, SIZE));
        uint8_t* out = image->Data<uint8_t>();
        for (int64_t i = 0; i < image->Pixels(); ++i)
            out[i] = in[i] > median ? 255 : 0;
        return image;
    }();
    return *blobs;
}

std::string DataDirectory() {
    const char* directory = std::getenv("ORVA_BENCH_DATA");
    std::string path = directory ? directory : "/tmp/orva-bench";
    std::filesystem::create_directories(path);
    return path;
}

void WriteData(const std::string& name, const CImage& image) {
    std::ofstream(DataDirectory() + "/" + name, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.Bytes()),
               static_cast<std::streamsize>(image.ByteCount()));
}

}  // namespace bench
