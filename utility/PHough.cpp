#include "PHough.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Hough::Run";

// A line list may ask for at most this many pixels (8 GiB of floats), and no side longer
// than 31 bits.
constexpr int64_t MAX_SMART_PIXELS = std::numeric_limits<int32_t>::max();
constexpr double MAX_SMART_SIDE = std::numeric_limits<int32_t>::max();

// D of the transforms: the diagonal in single precision.
float Diagonal(int64_t width, int64_t height) {
    return std::sqrt(static_cast<float>(height * height + width * width));
}

// trunc(q) + half as an index below `count`, if it is one. The bound keeps the conversion
// defined for NaN, infinities and huge quotients.
bool LineIndex(float q, int64_t half, int64_t count, int64_t& index) {
    if (!(std::fabs(q) < 4.0e18f)) return false;
    index = static_cast<int64_t>(q) + half;
    return index >= 0 && index < count;
}

// Column offsets trunc(width * r / distance) of the points (xs, ys) at one angle. The clamp
// only bounds the conversion: |W * r / D| stays below W / 2 plus rounding. Each lane does the
// same single-precision operations (no contraction), so the wider clone gives the same bits.
__attribute__((target_clones("avx2", "default"))) void ForwardColumns(const float* xs,
                                                                      const float* ys, size_t count,
                                                                      float s, float c, float width,
                                                                      float distance,
                                                                      int32_t* columns) {
    constexpr float LIMIT = 2147483520.0f;  // the largest float below 2^31
    for (size_t i = 0; i < count; ++i) {
        float r = xs[i] * c + ys[i] * s;
        float q = width * r / distance;
        q = q < LIMIT ? q : LIMIT;
        q = q > -LIMIT ? q : -LIMIT;
        columns[i] = static_cast<int32_t>(q);
    }
}

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

CPHough::CPHough() : m_direction("FORWARD"), m_inType("STANDARD") {}

void CPHough::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Transformation", "Hough");
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
        doc.ParameterText("in]", "string", text, true);
    for (const char* text :
         {"pImgOut pointer to output image (accumulator)", "pImgOut pointer to output image",
          "pImgOut pointer to output image", "pImgOut pointer to the image the line is drawn into"})
        doc.ParameterText("out]", "string", text, true);
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of the same type as the input image.");
    doc.WriteTo(setup);
}

void CPHough::NodeInit() {
    m_direction = Parameters().EntryString("direction", m_direction);
    m_inType = Parameters().EntryString("in_type", m_inType);
}

void CPHough::Run() {
    const CImage* input = InputImage(GetStackInput(0, false), WHERE);
    if (!input) throw CException(WHERE, "Input image is NULL.");
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

SHoughAngles::SHoughAngles(int64_t count) : sin(static_cast<size_t>(count)), cos(sin.size()) {
    const float step = static_cast<float>(std::numbers::pi / static_cast<double>(count));
    float angle = 0.0f;
    for (size_t k = 0; k < sin.size(); ++k) {
        sin[k] = std::sin(angle);
        cos[k] = std::cos(angle);
        angle += step;
    }
}

void HoughForward(const float* image, int64_t width, int64_t height, float* accumulator) {
    const SHoughAngles angles(height);
    const float distance = Diagonal(width, height);
    const int64_t halfWidth = width / 2, halfHeight = height / 2;

    // Every vote adds 1.0, so a bin's sum does not depend on the order of its votes: the
    // pixels are gathered in batches, and each batch fills one angle's row after the other
    // while that row stays in cache.
    constexpr size_t BATCH = 32768;
    std::vector<float> xs, ys;
    std::vector<int32_t> columns(BATCH);
    xs.reserve(BATCH);
    ys.reserve(BATCH);
    const auto limit = static_cast<uint64_t>(width);
    auto vote = [&] {
        for (int64_t k = 0; k < height; ++k) {
            ForwardColumns(xs.data(), ys.data(), xs.size(), angles.sin[k], angles.cos[k],
                           static_cast<float>(width), distance, columns.data());
            float* row = accumulator + k * width;
            for (size_t i = 0; i < xs.size(); ++i) {
                const int64_t column = columns[i] + halfWidth;
                if (static_cast<uint64_t>(column) < limit) row[column] += 1.0f;
            }
        }
        xs.clear();
        ys.clear();
    };
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x)
            if (image[y * width + x] > 0.0f) {
                xs.push_back(static_cast<float>(x - halfWidth));
                ys.push_back(static_cast<float>(y - halfHeight));
                if (xs.size() == BATCH) vote();
            }
    vote();
}

void HoughBackward(const float* accumulator, int64_t width, int64_t height, float* image) {
    const SHoughAngles angles(height);
    const float distance = Diagonal(width, height);
    // Lines of different weights meet in a pixel, so the order of drawing is kept: column by
    // column, angle by angle.
    for (int64_t j = 0; j < width; ++j) {
        const float r = static_cast<float>(j - width / 2) * distance / static_cast<float>(width);
        for (int64_t k = 0; k < height; ++k) {
            const float value = accumulator[k * width + j];
            if (value > 0.0f)
                HoughDrawLine(angles.sin[k], angles.cos[k], r, value, image, width, height);
        }
    }
}

void HoughBackwardSmart(const float* list, int64_t columns, float* image, int64_t width,
                        int64_t height) {
    if (columns < 2) return;
    const float distance = Diagonal(width, height);
    const int64_t bins = width;
    const float* distances = list;
    const float* angles = list + columns;
    const float* weights = list + 2 * columns;
    for (int64_t i = 1; i < columns; ++i) {
        const double theta =
            static_cast<double>(angles[i]) * std::numbers::pi / static_cast<double>(angles[0]);
        const float r =
            (distances[i] - static_cast<float>(bins / 2)) * distance / static_cast<float>(bins);
        HoughDrawLine(static_cast<float>(std::sin(theta)), static_cast<float>(std::cos(theta)), r,
                      weights[i], image, width, height);
    }
}

void HoughDrawLine(float s, float c, float r, float weight, float* image, int64_t width,
                   int64_t height) {
    const int64_t halfWidth = width / 2, halfHeight = height / 2;
    int64_t index = 0;
    // Dividing by the larger of s and |c| hits exactly one pixel per column or per row.
    if (s >= std::sqrt(0.5f)) {
        for (int64_t x = 0; x < width; ++x)
            if (LineIndex((r - static_cast<float>(x - halfWidth) * c) / s, halfHeight, height,
                          index))
                image[index * width + x] += weight;
    } else {
        for (int64_t y = 0; y < height; ++y)
            if (LineIndex((r - static_cast<float>(y - halfHeight) * s) / c, halfWidth, width,
                          index))
                image[y * width + index] += weight;
    }
}

}  // namespace ORVA
