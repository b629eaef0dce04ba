#include "PSampleLine.h"

#include <cmath>

#include "algorithms/Sampling.h"
#include "support/Enumerations.h"
#include "support/InputChecks.h"
#include "support/Tables.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) SampleLine::Run";

// More samples than this are refused: far more than any image's diagonal has pixels.
constexpr int64_t MAX_SAMPLES = int64_t(1) << 24;
}  // namespace

void CPSampleLine::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "SampleLine");
    doc.Brief(
        "Samples the input image along a straight segment (a profile).",
        "Takes count samples evenly spaced from (x0, y0) to (x1, y1), both ends included, or "
        "along the segment in the first row of the table on input 1 (columns x0, y0, x1, y1). "
        "With count 0 there is one sample per pixel of length and one more, ceil(length) + 1, "
        "as scikit-image's profile_line takes them; a single sample lies on the start. At most "
        "16777216 samples are taken.\n\n"
        "Pixel centres lie at integer coordinates. NEAREST takes the pixel whose centre is "
        "nearest (halves round up); BILINEAR interpolates between the four surrounding "
        "centres, and a sample exactly on a centre is that pixel's value. A sample outside the "
        "image takes outside_value: for NEAREST when its nearest pixel lies outside, for "
        "BILINEAR when it lies beyond the outermost pixel centres. Only the first plane of a 3-D "
        "image is sampled. Values are computed in double precision and stored as floats.");
    doc.Parameter("x0", m_x0, "column of the start").DoubleOrLong();
    doc.Parameter("y0", m_y0, "row of the start").DoubleOrLong();
    doc.Parameter("x1", m_x1, "column of the end").DoubleOrLong();
    doc.Parameter("y1", m_y1, "row of the end").DoubleOrLong();
    doc.Parameter("count", m_count, "number of samples; 0 for one per pixel of length plus one")
        .Range(0, MAX_SAMPLES);
    doc.Parameter("interpolation", m_interpolation,
                  "how values between pixel centres are read: BILINEAR or NEAREST")
        .Values(INTERPOLATIONS);
    doc.Parameter("outside_value", m_outsideValue, "value of samples outside the image")
        .DoubleOrLong();
    doc.Input(0,
              "Input image of a single-channel type (IMAGE_GREY_8, _16, _32, _64, _F, _D or "
              "binary).");
    doc.Input(1,
              "Optional table of type IMAGE_GREY_F whose first row holds the segment x0, y0, x1, "
              "y1; when present the parameters x0 to y1 are not used.")
        .Optional();
    doc.Output(0, "Table of type IMAGE_GREY_F with one row x, y, value per sample.");
    doc.Output(1, "The profile: an IMAGE_GREY_F image of count x 1 holding the values.");
    doc.Keywords({"profile", "line profile", "sample", "interpolation", "intensity profile"});
    doc.SeeAlso("SamplePoints");
}

void CPSampleLine::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    RequireSingleChannel(*input, SINGLE_CHANNEL_EXPECTED, WHERE);
    const auto mode = EnumerationEntry<EnInterpolation>(
        INTERPOLATIONS, m_interpolation, WHERE,
        "parameter interpolation must be NEAREST or BILINEAR, but it is '%1'");

    double ends[4] = {m_x0, m_y0, m_x1, m_y1};
    if (const CImage* table = InputTable(*this, 1, WHERE, 4)) {
        if (TableRows(*table) == 0) throw CException(WHERE, "input 1 has no rows");
        for (int i = 0; i < 4; ++i)
            ends[i] = table->Data<float>()[i];
    }
    for (double end : ends)
        if (!std::isfinite(end))
            throw CException(WHERE, CString("the segment from (%1, %2) to (%3, %4) has an end "
                                            "that is not finite")
                                        .Arg(ends[0])
                                        .Arg(ends[1])
                                        .Arg(ends[2])
                                        .Arg(ends[3]));
    if (m_count < 0)
        throw CException(WHERE,
                         CString("parameter count must be 0 or more, but it is %1").Arg(m_count));
    const double length = std::hypot(ends[2] - ends[0], ends[3] - ends[1]);
    const double count = m_count > 0 ? m_count : std::ceil(length) + 1.0;
    if (!(count <= static_cast<double>(MAX_SAMPLES)))
        throw CException(WHERE, CString("the segment asks for %1 samples; at most %2 are taken")
                                    .Arg(count, 0)
                                    .Arg(MAX_SAMPLES));
    const auto samples = static_cast<int64_t>(count);

    std::unique_ptr<CImage> table = MakeTable(3, samples);
    std::unique_ptr<CImage> profile;
    if (HasStackOutput(1))
        profile = std::make_unique<CImage>(IMAGE_GREY_F, CSize(samples, 1), CSize(0, 0, 0),
                                           CImage::NoInit{});
    DispatchSampling(input->Type(), mode,
                     [&]<EnInterpolation MODE, class T>(
                         std::integral_constant<EnInterpolation, MODE>, std::type_identity<T>) {
                         SampleSegment<MODE>(input->Data<T>(), input->Size(), ends[0], ends[1],
                                             ends[2], ends[3], samples, m_outsideValue,
                                             table->Data<float>(),
                                             profile ? profile->Data<float>() : nullptr);
                     });
    SetStackOutput(0, OwnedImage(std::move(table)));
    if (profile) SetStackOutput(1, OwnedImage(std::move(profile)));
}

}  // namespace ORVA
