#include "PBoundingBox.h"

#include <algorithm>
#include <new>

#include "algorithms/LabelBoxes.h"
#include "algorithms/LabelValues.h"

namespace ORVA {

void CPBoundingBox::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "LabelImage", "BoundingBox");
    doc.Brief("Draws bounding boxes into an image of the input's type and size.",
              "Without label, the box of all pixels above 0 is drawn; with label, every pixel "
              "value v above 0 belongs to box trunc(v - 1) (values up to 1 to the first box), "
              "and one box per label is drawn, in label order. Each box is shrunk by resize_box "
              "pixels on every side (grown where it is negative) and clipped to the image; a box "
              "that shrinks to nothing is not drawn. Labels above 16777216 are refused.");
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8, one plane.");
    doc.Output(0, "Image of the input's type and size: bg_value with the boxes in fg_value.");
    // Documented as "double or long", read as any number.
    doc.Parameter("bg_value", m_bgValue, "value of the output's background")
        .Type("double or long")
        .Fallback(0.0);
    doc.Parameter("fg_value", m_fgValue, "value of the box pixels")
        .Type("double or long")
        .Fallback(1.0);
    doc.Parameter("label", m_label, "one box per label value instead of one for all")
        .Fallback(false)
        .Toggle();
    doc.Parameter("fill", m_fill, "filled boxes; otherwise outlines").Fallback(true).Toggle();
    doc.Parameter("resize_box", m_resizeBox,
                  "pixels by which every side of a box moves inwards (outwards where negative)")
        .Fallback(0);
    doc.Keywords({"draw bounding box"});
}

void CPBoundingBox::Run() {
    const char* where = "(utility plugins) BoundingBox::Run";
    const CImage* input = InputImage(0, {.where = where});
    if (input->Size().z > 1)
        throw CException(where, "At the moment this plugin is only for 2D images");
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(where, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    auto output =
        std::make_unique<CImage>(input->Type(), input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    const int64_t width = input->Size().x, height = input->Pixels() > 0 ? input->Size().y : 0;
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            const T* in = input->Data<T>();
            T* out = output->Data<T>();
            std::fill(out, out + output->Pixels(), BoxSample<T>(m_bgValue));
            const int64_t count = m_label ? BoxCount(in, width * height) : 1;
            if (count > MAX_LABEL)
                throw CException(
                    where, CString("label %1 is too large (at most %2)").Arg(count).Arg(MAX_LABEL));
            try {
                DrawBoxes(in, out, width, height, m_label, count, m_fill, m_resizeBox,
                          BoxSample<T>(m_fgValue));
            } catch (const std::bad_alloc&) {
                throw CException(where, "not enough memory for the boxes");
            }
        });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
