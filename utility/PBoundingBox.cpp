#include "PBoundingBox.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <vector>

namespace ORVA {

void CPBoundingBox::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "LabelImage", "BoundingBox");
    doc.Brief("Draws bounding boxes into an image of the input's type and size.",
              "Without label, the box of all pixels above 0 is drawn; with label, every pixel "
              "value v above 0 belongs to box trunc(v - 1) (values up to 1 to the first box), "
              "and one box per label is drawn, in label order. Each box is shrunk by resize_box "
              "pixels on every side (grown where it is negative) and clipped to the image; a box "
              "that shrinks to nothing is not drawn. Labels above 16777216 are refused.");
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8, one plane.");
    doc.Output(0, "Image of the input's type and size: bg_value with the boxes in fg_value.");
    doc.Parameter("bg_value", m_bgValue, "value of the output's background").Type("double or long");
    doc.Parameter("fg_value", m_fgValue, "value of the box pixels").Type("double or long");
    doc.Parameter("label", m_label, "one box per label value instead of one for all").Toggle();
    doc.Parameter("fill", m_fill, "filled boxes; otherwise outlines").Toggle();
    doc.Parameter("resize_box", m_resizeBox,
                  "pixels by which every side of a box moves inwards (outwards where negative)");
    doc.Keywords({"draw bounding box"});
    doc.WriteTo(setup);
}

namespace {

double ReadValue(const CValueMap& parameters, const char* key, double defaultValue) {
    if (parameters.HasEntry(key, CValue::VAL_LONG)) return parameters.EntryLong(key, 0);
    return parameters.EntryDouble(key, defaultValue);
}

// A double as a pixel value: floats keep it (infinite beyond their range), bytes take the
// value truncated toward zero and keep its low 8 bits (NaN and huge values give 0).
template <class T>
T PixelValue(double value) {
    if constexpr (std::is_floating_point_v<T>) {
        constexpr double limit = std::numeric_limits<float>::max();
        if (value > limit) return std::numeric_limits<float>::infinity();
        if (value < -limit) return -std::numeric_limits<float>::infinity();
        return static_cast<T>(value);
    } else {
        if (!(value > -9223372036854775808.0 && value < 9223372036854775808.0)) return 0;
        return static_cast<T>(static_cast<int64_t>(value));
    }
}

// The largest label a float image holds exactly.
constexpr int64_t MAX_BOXES = int64_t(1) << 24;

struct SBox {
    int64_t xmin = 0, xmax = 0, ymin = 0, ymax = 0;
    bool found = false;
};

// The box a pixel belongs to, or -1: trunc(v - 1) for v above 0.
template <class T>
inline int64_t BoxOf(T value) {
    if (!(value > 0)) return -1;
    double index = std::trunc(static_cast<double>(value) - 1.0);
    return index < 9.2e18 ? static_cast<int64_t>(index) : std::numeric_limits<int64_t>::max() - 1;
}

}  // namespace

void CPBoundingBox::NodeInit() {
    m_bgValue = ReadValue(Parameters(), "bg_value", 0.0);
    m_fgValue = ReadValue(Parameters(), "fg_value", 1.0);
    m_label = Parameters().EntryBool("label", false);
    m_fill = Parameters().EntryBool("fill", true);
    m_resizeBox = Parameters().EntryLong("resize_box", 0);
}

template <class T>
void CPBoundingBox::DrawBoxes(const T* in, T* out, int64_t width, int64_t height, bool label,
                              bool fill, int64_t resize, T foreground) {
    const int64_t pixels = width * height;
    int64_t count = 1;
    if (label) {
        count = 0;
        for (int64_t i = 0; i < pixels; ++i)
            count = std::max(count, BoxOf(in[i]) + 1);
        if (count > MAX_BOXES)
            throw CException(
                "(utility plugins) BoundingBox::Run",
                CString("label %1 is too large (at most %2)").Arg(count).Arg(MAX_BOXES));
    }
    std::vector<SBox> boxes(static_cast<size_t>(count));
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x) {
            const T value = in[y * width + x];
            if (!(value > 0)) continue;
            SBox& box = boxes[static_cast<size_t>(label ? BoxOf(value) : 0)];
            if (!box.found) {
                box = {x, x, y, y, true};
                continue;
            }
            box.xmin = std::min(box.xmin, x);
            box.xmax = std::max(box.xmax, x);
            box.ymin = std::min(box.ymin, y);
            box.ymax = std::max(box.ymax, y);
        }
    for (SBox box : boxes) {
        if (!box.found) continue;
        box.xmin = std::max<int64_t>(0, box.xmin + resize);
        box.xmax = std::min(width - 1, box.xmax - resize);
        box.ymin = std::max<int64_t>(0, box.ymin + resize);
        box.ymax = std::min(height - 1, box.ymax - resize);
        if (box.xmin > box.xmax || box.ymin > box.ymax) continue;
        if (fill) {
            for (int64_t y = box.ymin; y <= box.ymax; ++y)
                std::fill(out + y * width + box.xmin, out + y * width + box.xmax + 1, foreground);
            continue;
        }
        for (int64_t y = box.ymin; y <= box.ymax; ++y) {
            out[y * width + box.xmin] = foreground;
            out[y * width + box.xmax] = foreground;
        }
        for (int64_t x = box.xmin; x <= box.xmax; ++x) {
            out[box.ymin * width + x] = foreground;
            out[box.ymax * width + x] = foreground;
        }
    }
}

void CPBoundingBox::Run() {
    const char* where = "(utility plugins) BoundingBox::Run";
    const CImage* input = UnwrapInputImage(GetStackInput(0, false), where);
    if (!input) throw CException(where, "input image is NULL");
    if (input->Size().z > 1)
        throw CException(where, "At the moment this plugin is only for 2D images");
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(where, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    auto output =
        std::make_unique<CImage>(input->Type(), input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    const int64_t width = input->Size().x, height = input->Pixels() > 0 ? input->Size().y : 0;
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            T* out = output->Data<T>();
            std::fill(out, out + output->Pixels(), PixelValue<T>(m_bgValue));
            try {
                DrawBoxes(input->Data<T>(), out, width, height, m_label, m_fill, m_resizeBox,
                          PixelValue<T>(m_fgValue));
            } catch (const std::bad_alloc&) {
                throw CException(where, "not enough memory for the boxes");
            }
        });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
