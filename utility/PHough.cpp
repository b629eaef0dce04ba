#include "PHough.h"

#include <cmath>
#include <limits>

#include "algorithms/HoughLines.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Hough::Run";

// A line list may ask for at most this many pixels (8 GiB of floats), and no side longer
// than 31 bits.
constexpr int64_t MAX_SMART_PIXELS = std::numeric_limits<int32_t>::max();
constexpr double MAX_SMART_SIDE = std::numeric_limits<int32_t>::max();

// The output size a line list asks for: trunc of rows 0 and 1 of column 0.
CSize SmartSize(const CImage& list) {
    const CSize& size = list.Size();
    if (list.Pixels() == 0 || size.x < 1 || size.y < 3)
        throw CException(WHERE, CString("SMART line list must have at least one column and three "
                                        "rows, but it has %1 x %2!")
                                    .Arg(size.x)
                                    .Arg(size.y));
    const float* data = list.Data<float>();
    double extents[2] = {0, 0};
    const char* names[2] = {"width", "height"};
    for (int i = 0; i < 2; ++i) {
        float value = data[i * size.x];
        double extent = std::trunc(static_cast<double>(value));
        if (!(extent >= 0.0 && extent <= MAX_SMART_SIDE))
            throw CException(WHERE, CString("SMART line list asks for an output %1 of %2; it must "
                                            "be a number from 0 to 2147483647!")
                                        .Arg(names[i])
                                        .Arg(value));
        extents[i] = extent;
    }
    const auto width = static_cast<int64_t>(extents[0]);
    const auto height = static_cast<int64_t>(extents[1]);
    if (width * height > MAX_SMART_PIXELS)
        throw CException(WHERE, CString("SMART line list asks for an output of %1 x %2 pixels; "
                                        "more than 2147483647 pixels are not supported!")
                                    .Arg(width)
                                    .Arg(height));
    return CSize(width, height);
}

}  // namespace

void CPHough::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Transformation", "Hough");
    doc.Brief(
        "Hough transform for straight lines, forward and backward.",
        "FORWARD maps an image into an accumulator of the same size: row k stands for the angle "
        "k * pi / height, column j for a signed distance from the image centre, scaled so that "
        "the half diagonal fills half the width. Every pixel greater than 0 adds 1 to one bin of "
        "every row; its value is not used otherwise.\n\n"
        "BACKWARD draws lines into an image. With in_type STANDARD the input is such an "
        "accumulator: each positive cell becomes a line of its value across an image of the "
        "accumulator's size. With in_type SMART the input is a compact line list of at least "
        "three rows: column 0 holds the width (row 0) and height (row 1) of the image to draw, "
        "and each further column i one line with its distance bin (row 0), its angle bin, "
        "perhaps fractional (row 1), and the weight added along it (row 2). A list asking for a "
        "negative, non-finite or larger size than 2147483647 pixels in all is refused.\n\n"
        "Any other direction gives an image of zeros of the input's size. Only the first plane "
        "of a 3-D input is transformed; votes that would fall outside the accumulator are "
        "dropped.");
    doc.Parameter("direction", m_direction, "Direction of the transform: FORWARD or BACKWARD.")
        .Values("FORWARD, BACKWARD");
    doc.Parameter("in_type", m_inType,
                  "Input of the backward transform: STANDARD for an accumulator, SMART for a "
                  "compact line list.")
        .Values("STANDARD, SMART");
    // Descriptions of the transform's routines that the document has always carried.
    for (const char* text :
         {"pImgIn pointer to input image", "pImgIn pointer to input image (accumulator)",
          "pImgIn pointer to input image (line list)", "sinus sinus value of the angle theta",
          "cosinus cosinus value of the angle theta",
          "radius distance of the line from the image centre", "value value added along the line",
          "nWidth width of the output image", "nHeight height of the output image"})
        doc.DocumentationOnly("in]", "string", text, true);
    for (const char* text :
         {"pImgOut pointer to output image (accumulator)", "pImgOut pointer to output image",
          "pImgOut pointer to output image", "pImgOut pointer to the image the line is drawn into"})
        doc.DocumentationOnly("out]", "string", text, true);
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of the same type as the input image.");
}

void CPHough::Run() {
    const CImage* input = InputImage(0, {.where = WHERE, .missing = "Input image is NULL."});
    if (input->Type() != IMAGE_GREY_F)
        throw CException(WHERE, "Input image is not of type IMAGE_GREY_F!");

    const bool forward = m_direction == "FORWARD";
    const bool backward = m_direction == "BACKWARD";
    const bool smart = backward && m_inType == "SMART";
    const CSize& size = input->Size();
    if (forward && size.x > std::numeric_limits<int32_t>::max())
        throw CException(
            WHERE, CString("Input image is too wide for the transform: %1 columns!").Arg(size.x));
    const CSize outputSize = smart ? SmartSize(*input) : size;
    CImage::CheckMemory(IMAGE_GREY_F, outputSize, WHERE);
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, outputSize);

    // An image without pixels has no first plane to transform.
    const float* in = input->Data<float>();
    float* out = output->Data<float>();
    if (input->Pixels() > 0) {
        if (forward)
            HoughForward(in, size.x, size.y, out);
        else if (smart)
            HoughBackwardSmart(in, size.x, out, output->Size().x, output->Size().y);
        else if (backward)
            HoughBackward(in, size.x, size.y, out);
    }
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
