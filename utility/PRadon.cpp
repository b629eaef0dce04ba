#include "PRadon.h"

#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Radon::Run";

// Cosines and sines of the angles k * pi / count, and the transform's scale.
struct SRadonGeometry {
    SRadonGeometry(int64_t width, int64_t height)
        : cos(static_cast<size_t>(height)),
          sin(cos.size()),
          distance(std::sqrt(static_cast<double>(height) * static_cast<double>(height) +
                             static_cast<double>(width) * static_cast<double>(width))),
          halfWidth(static_cast<double>(width) * 0.5) {
        for (int64_t k = 0; k < height; ++k) {
            const double theta =
                static_cast<double>(k) * std::numbers::pi / static_cast<double>(height);
            cos[k] = std::cos(theta);
            sin[k] = std::sin(theta);
        }
    }

    // The bin before truncation of a point whose distance along the angle is `t`.
    double Position(double t) const { return (t / distance + 1.0) * halfWidth + 0.555; }

    std::vector<double> cos, sin;
    double distance, halfWidth;
};

// Bins up to `width` reach column 0 of the next row; the last row has none.
int64_t BinLimit(int64_t k, int64_t width, int64_t height) {
    return k + 1 < height ? width + 1 : width;
}

struct SFileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

CPRadon::CPRadon() : m_mode("RADON"), m_rawOutPath("NULL") {}

void CPRadon::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Transformation", "Radon");
    doc.Brief(
        "Radon or Hough transform of an image into line space.",
        "Each plane of the input becomes the same plane of the output, an image of the same "
        "size: row k stands for the angle k * pi / height, column j for the distance of a line "
        "from the image origin, scaled so that the diagonal spans the width and the origin "
        "falls in the middle.\n\n"
        "Mode RADON adds every pixel's value to its bin of every angle, which is the Radon "
        "transform [1]. Mode HOUGH does the same for the non-zero pixels only, as in the Hough "
        "transform [2, 3], and can write every vote to a text file: one line \"angle position\" "
        "per pixel and angle, position being the bin before truncation. A file that cannot be "
        "written is skipped without an error.\n\n"
        "A vote for bin W (the image width) counts in column 0 of the next angle row; in the "
        "last angle row of a plane, which has no next row, it is dropped.\n\n"
        "[1] J. Radon: On the determination of functions from their integral values along "
        "certain manifolds. IEEE Transactions on Medical Imaging 5(4), 170-176, 1986 (English "
        "translation by P. C. Parks of: Ueber die Bestimmung von Funktionen durch ihre "
        "Integralwerte laengs gewisser Mannigfaltigkeiten. Berichte ueber die Verhandlungen der "
        "Koeniglich-Saechsischen Gesellschaft der Wissenschaften zu Leipzig, "
        "Mathematisch-Physische Klasse 69, 262-277, 1917).\n"
        "[2] P. V. C. Hough: Machine Analysis of Bubble Chamber Pictures. Proceedings of the "
        "International Conference on High Energy Accelerators and Instrumentation, CERN, "
        "Geneva, 554-556, 1959.\n"
        "[3] R. O. Duda, P. E. Hart: Use of the Hough Transformation to Detect Lines and Curves "
        "in Pictures. Communications of the ACM 15(1), 11-15, 1972.");
    doc.Parameter("mode", m_mode,
                  "RADON sums every pixel, HOUGH lets the non-zero pixels vote and can write "
                  "the votes to raw_out_path.")
        .Values("RADON, HOUGH");
    doc.Parameter("raw_out_path", m_rawOutPath,
                  "Text file that receives every vote in mode HOUGH, one line \"angle position\" "
                  "each; NULL writes none. Environment variables written as %NAME% are expanded.");
    doc.ParameterText("run_flag", "bool",
                      "INTERNAL Indicates whether the plugin already run before.", false);
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F containing the Radon or Hough space.");
    doc.Keywords(
        {"Radon transform", "Hough transform", "sinogram", "detect lines", "line detector"});
    doc.WriteTo(setup);
}

void CPRadon::NodeInit() {
    m_runOnce.Reset(Parameters().EntryBool("run_once", false));
    m_mode = Parameters().EntryString("mode", m_mode);
    m_rawOutPath = Parameters().EntryString("raw_out_path", "NULL");
}

void CPRadon::Run() {
    if (m_runOnce.Skip()) return;
    const CImage* input = RequiredInputImage(GetStackInput(0, false), WHERE);
    if (input->Type() != IMAGE_GREY_F)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F");
    const CSize& size = input->Size();
    if (size.x >= std::numeric_limits<int32_t>::max())
        throw CException(
            WHERE, CString("input image is too wide for the transform: %1 columns").Arg(size.x));

    CImage::CheckMemory(input->Type(), size, WHERE);
    auto output = std::make_unique<CImage>(input->Type(), size);
    const float* in = input->Data<float>();
    float* out = output->Data<float>();
    const int64_t planeSize = size.x * size.y;
    if (m_mode == "HOUGH") {
        std::unique_ptr<std::FILE, SFileCloser> raw;
        if (m_rawOutPath != "NULL")
            raw.reset(std::fopen(CStringTools::UnwrapEnvVars(m_rawOutPath).c_str(), "w"));
        for (int64_t z = 0; z < size.z; ++z)
            RadonVote(in + z * planeSize, size.x, size.y, out + z * planeSize, raw.get());
    } else {
        for (int64_t z = 0; z < size.z; ++z)
            RadonSum(in + z * planeSize, size.x, size.y, out + z * planeSize);
    }
    SetStackOutput(0, OwnedImage(std::move(output)));
    m_runOnce.MarkDone();
}

void RadonSum(const float* plane, int64_t width, int64_t height, float* out) {
    const SRadonGeometry geometry(width, height);
    // The running sum x cos depends on the angle and x only: it is formed once per angle,
    // then every row reuses it, which keeps the row loop free of the chain of additions.
    std::vector<double> xCos(static_cast<size_t>(width));
    std::vector<int32_t> bins(xCos.size());
    for (int64_t k = 0; k < height; ++k) {
        double sum = 0.0;
        for (double& entry : xCos) {
            entry = sum;
            sum += geometry.cos[k];
        }
        float* row = out + k * width;
        const int64_t limit = BinLimit(k, width, height);
        double ySin = 0.0;
        for (int64_t y = 0; y < height; ++y) {
            for (int64_t x = 0; x < width; ++x)
                bins[x] = static_cast<int32_t>(geometry.Position(xCos[x] + ySin));
            const float* line = plane + y * width;
            for (int64_t x = 0; x < width; ++x)
                if (bins[x] < limit) row[bins[x]] += line[x];
            ySin += geometry.sin[k];
        }
    }
}

void RadonVote(const float* plane, int64_t width, int64_t height, float* out, std::FILE* raw) {
    const SRadonGeometry geometry(width, height);
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x) {
            const float value = plane[y * width + x];
            if (value == 0.0f) continue;
            for (int64_t k = 0; k < height; ++k) {
                const double position = geometry.Position(static_cast<double>(x) * geometry.cos[k] +
                                                          static_cast<double>(y) * geometry.sin[k]);
                if (raw) std::fprintf(raw, "%f %f\n", static_cast<double>(k), position);
                if (position < static_cast<double>(BinLimit(k, width, height)))
                    out[k * width + static_cast<int64_t>(position)] += value;
            }
        }
}

}  // namespace ORVA
