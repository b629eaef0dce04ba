// One workload of the scaling table at one size, in a process of its own so that its peak
// memory is its own. Prints "MEDIAN_MS PEAK_BYTES DATA_BYTES": the median time of REPEATS runs
// after two, the resident memory at the peak of that first run above what the process
// held before its input was made, and the bytes of that input and of the output. A run at
// 64 x 64 comes before all of them, for ours and the reference alike.
// Usage: orva_scaling WORKLOAD SIDE ours|reference REPEATS
//   WORKLOAD: Labeling, Normalize, Histogram, Hough, ReadImagePng
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numbers>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "Bench.h"

using namespace ORVA;

namespace {

// Resident bytes now, and the peak since the last reset.
uint64_t Resident() {
    std::ifstream statm("/proc/self/statm");
    uint64_t size = 0, resident = 0;
    statm >> size >> resident;
    return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

uint64_t PeakResident() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::stoull(line.substr(6)) * 1024;
    return 0;
}

// The peak starts again from what is resident now (Linux 4.0 and later).
void ResetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

// A cheap deterministic generator: inputs of 16k x 16k are made in a moment.
struct SXorShift {
    uint64_t state;
    uint64_t operator()() {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    }
};

cv::Mat AsMat(const CImage& image, int type) {
    return cv::Mat(static_cast<int>(image.Size().y), static_cast<int>(image.Size().x), type,
                   const_cast<uint8_t*>(image.Bytes()));
}

// Half the pixels 255 in blobs of a few pixels across: byte noise blurred and thresholded.
std::unique_ptr<CImage> Blobs(int side) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(side, side));
    SXorShift random{7};
    uint8_t* data = image->Bytes();
    for (int64_t i = 0; i < image->Pixels(); ++i)
        data[i] = static_cast<uint8_t>(random() >> 56);
    cv::Mat mat = AsMat(*image, CV_8U);
    cv::blur(mat, mat, cv::Size(9, 9));
    cv::threshold(mat, mat, 127, 255, cv::THRESH_BINARY);
    return image;
}

std::unique_ptr<CImage> Noise(int side, IImage::CType type) {
    auto image = std::make_unique<CImage>(type, CSize(side, side));
    SXorShift random{11};
    for (int64_t i = 0; i < image->Pixels(); ++i) {
        const uint64_t value = random();
        if (type == IMAGE_GREY_8)
            image->Bytes()[i] = static_cast<uint8_t>(value >> 56);
        else
            image->Data<float>()[i] = static_cast<float>(value >> 40) / float(1 << 24);
    }
    return image;
}

// Random segments of ones until a ten-thousandth of the pixels is set: the work of a line
// transform grows with its points times its angles, and the angles with the side.
std::unique_ptr<CImage> Edges(int side) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(side, side));
    float* data = image->Data<float>();
    SXorShift random{5};
    auto uniform = [&](double high) { return static_cast<double>(random() >> 11) / 0x1p53 * high; };
    for (int64_t set = 0; set < image->Pixels() / 10000;) {
        const double x0 = uniform(side - 1), y0 = uniform(side - 1);
        const double angle = uniform(std::numbers::pi), steps = 20.0 + uniform(180.0);
        for (double t = 0; t < steps; t += 1.0) {
            const auto x = static_cast<int64_t>(x0 + t * std::cos(angle));
            const auto y = static_cast<int64_t>(y0 + t * std::sin(angle));
            if (x < 0 || y < 0 || x >= side || y >= side) break;
            float& pixel = data[y * side + x];
            set += pixel == 0.0f;
            pixel = 1.0f;
        }
    }
    return image;
}

// A photograph-like picture as a PNG of OpenCV's default settings, made once per side.
std::string PngFile(int side) {
    const std::string path = bench::DataDirectory() + "/scaling_" + std::to_string(side) + ".png";
    if (std::filesystem::exists(path)) return path;
    cv::Mat picture(side, side, CV_8U);
    SXorShift random{3};
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            picture.at<uint8_t>(y, x) = static_cast<uint8_t>(
                (uint64_t(x) * 3 + uint64_t(y) * 5 + (uint64_t(x) * y >> 12) + random() % 4) >> 4);
    cv::imwrite(path + ".part.png", picture);
    std::filesystem::rename(path + ".part.png", path);
    return path;
}

uint64_t OutputBytes(bench::CNodeRunner& node) {
    auto* image = dynamic_cast<CValuePointer<CImage>*>(node.Output(0));
    return image && image->Get() ? image->Get()->ByteCount() : 0;
}

// The input image of a workload; none for reading a file.
std::unique_ptr<CImage> Input(const std::string& workload, int side) {
    if (workload == "Labeling") return Blobs(side);
    if (workload == "Normalize") return Noise(side, IMAGE_GREY_F);
    if (workload == "Histogram") return Noise(side, IMAGE_GREY_8);
    if (workload == "Hough") return Edges(side);
    return nullptr;
}

// A workload at one side, ready to run: its input made and, for ours, its node set up.
class CWork {
  public:
    CWork(const std::string& workload, int side, bool ours)
        : m_input(Input(workload, side)), m_inputValue(m_input.get()) {
        const std::string png = workload == "ReadImagePng" ? PngFile(side) : "";
        if (ours) {
            CValueMap parameters;
            if (workload == "Labeling") parameters.SetEntry("neighbourhood", new CValueLong(8));
            if (!png.empty()) parameters.SetEntry("filename", new CValueString(png));
            m_node = std::make_unique<bench::CNodeRunner>(png.empty() ? workload : "ReadImage",
                                                          parameters);
        }
        m_inputBytes = m_input ? m_input->ByteCount() : std::filesystem::file_size(png);
        if (ours) {
            if (m_input) m_node->SetInput(0, &m_inputValue);
            m_run = [this] { m_node->Run(); };
            return;
        }
        if (m_input) m_source = AsMat(*m_input, m_input->Type() == IMAGE_GREY_8 ? CV_8U : CV_32F);
        if (workload == "Hough") {
            // HoughLines takes bytes; the converted copy is its input.
            m_source.convertTo(m_source, CV_8U, 255.0);
            m_input.reset();
            m_inputBytes = m_source.total();
        }
        if (workload == "Labeling")
            m_run = [this] { cv::connectedComponents(m_source, m_result, 8, CV_32S); };
        if (workload == "Normalize")
            m_run = [this] { cv::normalize(m_source, m_result, 0.0, 255.0, cv::NORM_MINMAX); };
        if (workload == "Histogram")
            m_run = [this] {
                const int channels[] = {0}, bins[] = {256};
                const float range[] = {0.0f, 256.0f};
                const float* ranges[] = {range};
                cv::calcHist(&m_source, 1, channels, cv::Mat(), m_result, 1, bins, ranges);
            };
        if (workload == "Hough")
            m_run = [this, side] {
                cv::HoughLines(m_source, m_lines, 4.0, std::numbers::pi / side, INT_MAX);
            };
        if (!png.empty()) m_run = [this, png] { m_result = cv::imread(png, cv::IMREAD_UNCHANGED); };
    }
    CWork(const CWork&) = delete;
    CWork& operator=(const CWork&) = delete;

    void Run() { m_run(); }
    // Of the input and the output.
    uint64_t Bytes() const {
        return m_inputBytes +
               (m_node ? OutputBytes(*m_node) : uint64_t(m_result.total() * m_result.elemSize()));
    }

  private:
    std::unique_ptr<bench::CNodeRunner> m_node;
    std::unique_ptr<CImage> m_input;
    CValuePointer<CImage> m_inputValue;
    uint64_t m_inputBytes = 0;
    cv::Mat m_source, m_result;
    std::vector<cv::Vec2f> m_lines;
    std::function<void()> m_run;
};

// The side of the warm-up run.
constexpr int WARM_UP_SIDE = 64;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s WORKLOAD SIDE ours|reference REPEATS\n", argv[0]);
        return 2;
    }
    const std::string workload = argv[1];
    const int side = std::atoi(argv[2]);
    const bool ours = std::strcmp(argv[3], "ours") == 0;
    const int repeats = std::max(1, std::atoi(argv[4]));
    const std::vector<std::string> workloads = {"Labeling", "Normalize", "Histogram", "Hough",
                                                "ReadImagePng"};
    if (std::find(workloads.begin(), workloads.end(), workload) == workloads.end() || side < 1) {
        std::fprintf(stderr, "orva_scaling: no workload %s at side %s\n", argv[1], argv[2]);
        return 2;
    }
    cv::setNumThreads(1);
    try {
        // A run on a small input of its own first faults in what the process needs once at
        // any size (the code of the workload and of making its input, tables built on first
        // use), so that the peak is the work's. Its blocks are below the buffer pool's large
        // size: none of them is kept for the measured run.
        CWork(workload, WARM_UP_SIDE, ours).Run();
        const uint64_t before = Resident();
        CWork work(workload, side, ours);

        // Two runs untimed, the first the one whose peak counts: a node keeps its output until
        // the next run has made a new one, so only from the third run on do both find their
        // memory mapped already, as when a host runs the node again.
        ResetPeak();
        work.Run();
        const uint64_t peak = PeakResident() - std::min(PeakResident(), before);
        work.Run();
        std::vector<double> times;
        for (int i = 0; i < repeats; ++i) {
            const auto start = std::chrono::steady_clock::now();
            work.Run();
            times.push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count());
        }
        std::sort(times.begin(), times.end());
        std::printf("%.3f %llu %llu\n", times[times.size() / 2], (unsigned long long)peak,
                    (unsigned long long)work.Bytes());
    } catch (const CException& e) {
        std::fprintf(stderr, "orva_scaling: %s\n", e.what());
        return 1;
    }
    return 0;
}
