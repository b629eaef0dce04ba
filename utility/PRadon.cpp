#include "PRadon.h"

#include <cstdio>
#include <limits>
#include <memory>

#include "algorithms/Radon.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Radon::Run";

struct SFileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

void CPRadon::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Transformation", "Radon");
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
    // Read first, and left out of the document, which describes a "run_flag" instead.
    doc.Undocumented("run_once", m_runOnce).Fallback(false);
    doc.Parameter("mode", m_mode,
                  "RADON sums every pixel, HOUGH lets the non-zero pixels vote and can write "
                  "the votes to raw_out_path.")
        .Values("RADON, HOUGH");
    doc.Parameter("raw_out_path", m_rawOutPath,
                  "Text file that receives every vote in mode HOUGH, one line \"angle position\" "
                  "each; NULL writes none. Environment variables written as %NAME% are expanded.")
        .Fallback("NULL");
    doc.DocumentationOnly("run_flag", "bool",
                          "INTERNAL Indicates whether the plugin already run before.", false);
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F containing the Radon or Hough space.");
    doc.Keywords(
        {"Radon transform", "Hough transform", "sinogram", "detect lines", "line detector"});
}

void CPRadon::Run() {
    if (m_runOnce.Skip()) return;
    const CImage* input = InputImage(0, {.where = WHERE});
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

}  // namespace ORVA
