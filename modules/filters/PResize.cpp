#include "PResize.h"

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

namespace {

constexpr SChoice<EnInterpolation> INTERPOLATIONS[] = {{"NEAREST", EnInterpolation::NEAREST},
                                                       {"BILINEAR", EnInterpolation::BILINEAR},
                                                       {"AREA", EnInterpolation::AREA},
                                                       {"BICUBIC", EnInterpolation::BICUBIC}};

}  // namespace

void CPResize::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Resize").HelpPage("filters", "PResize");
    doc.Brief(
        "Resizes an image to a given size or by factors.",
        "The output is width x height, or, when either is 0, round(fx w) x round(fy h) (half to "
        "even), at least 1 x 1. Output pixel (x, y) samples the input at ((x + 0.5) w / W - "
        "0.5, (y + 0.5) h / H - 0.5), as OpenCV's resize, except NEAREST, which takes the "
        "sample (floor(x w / W), floor(y h / H)) as OpenCV does; BILINEAR weighs the four "
        "neighbours (8-bit samples in OpenCV's 11-bit fixed "
        "point, an exact halving as the mean of 2 x 2); AREA averages the input pixels each "
        "output pixel covers (bilinear when enlarging); BICUBIC uses the cubic kernel with "
        "a = -0.75 on 4 x 4 neighbours. Integer results round half to even and saturate. "
        "Slices and colour channels are resized alike.");
    doc.Parameter("width", m_width, "output width in pixels; 0 to use fx").Range(0, 1 << 20);
    doc.Parameter("height", m_height, "output height in pixels; 0 to use fy").Range(0, 1 << 20);
    doc.Parameter("fx", m_fx, "horizontal factor when width or height is 0").DoubleOrLong();
    doc.Parameter("fy", m_fy, "vertical factor when width or height is 0").DoubleOrLong();
    doc.Parameter("interpolation", m_interpolation, "NEAREST, BILINEAR, AREA or BICUBIC")
        .Values(ChoiceList(INTERPOLATIONS));
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Resized image of the input's type.").Label("resized");
    doc.Keywords({"resize", "scale", "zoom", "interpolation", "downsample", "upsample"});
}

void CPResize::Run() {
    const char* where = "(filters) Resize::Run";
    const EnInterpolation interpolation =
        Choose(where, "interpolation", m_interpolation, INTERPOLATIONS);
    const CImage* input = Input(*this, 0, where);
    const CSize size = input->Size();
    int64_t width = m_width, height = m_height;
    if (width <= 0 || height <= 0) {
        CheckRange(where, "fx", m_fx, 1e-6, 1e6);
        CheckRange(where, "fy", m_fy, 1e-6, 1e6);
        width = std::max<int64_t>(1, RoundEven(m_fx * static_cast<double>(size.x)));
        height = std::max<int64_t>(1, RoundEven(m_fy * static_cast<double>(size.y)));
    }
    CheckRange(where, "width", static_cast<double>(width), 1, 1 << 20);
    CheckRange(where, "height", static_cast<double>(height), 1, 1 << 20);
    if (size.x == 0 || size.y == 0) throw CException(where, "the input image is empty");
    auto output = NewImage(input->Type(), CSize(width, height, size.z));
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { Resize(in, out, interpolation); });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
