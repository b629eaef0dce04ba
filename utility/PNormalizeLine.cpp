#include "PNormalizeLine.h"

#include "algorithms/Normalization.h"
#include "support/InputChecks.h"

namespace ORVA {

void CPNormalizeLine::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "NormalizeLine");
    doc.Brief("Normalize the pixel values of every row of the input image",
              "Maps every row (every y of every plane) linearly from its own minimum and maximum "
              "onto the range out_min to out_max, as Normalize maps the whole image: NaN pixels "
              "take no part in the minimum and maximum, r = ((v - min) * (out_max - out_min)) / "
              "(max - min) + out_min is computed in 32-bit float, and byte results are "
              "truncated and keep their low 8 bits. A row whose minimum equals its maximum, or "
              "that holds nothing but NaN, takes out_default.");
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Output(0,
               "Normalized image of the input's type, or of type IMAGE_GREY_F when upcast is "
               "true.");
    doc.Parameter("out_min", m_outMin, "lower end of the output range").DoubleOrLong();
    doc.Parameter("out_max", m_outMax,
                  "upper end of the output range; if it equals out_min, both are moved apart by "
                  "one")
        .DoubleOrLong();
    doc.Parameter("out_default", m_outDefault,
                  "value of every pixel of a row whose minimum equals its maximum")
        .DoubleOrLong();
    doc.Parameter("upcast", m_upcast, "make the output IMAGE_GREY_F whatever the input type")
        .Toggle();
    doc.Keywords({"normalize", "normalise", "grayvalue", "row", "line"});
    doc.SeeAlso("Normalize");
}

void CPNormalizeLine::NodeInit() {
    CPNode::NodeInit();
    Normalization::WidenOutputRange(m_outMin, m_outMax);
}

void CPNormalizeLine::Run() {
    const char* where = "(utility plugins) NormalizeLine::Run";
    const CImage* input = InputImage(0, NumberedInput(where));
    RequireType(*input, 0, {IMAGE_GREY_F, IMAGE_GREY_8}, where);
    const CSize size = input->Size();
    auto result = std::make_unique<CImage>(m_upcast ? IMAGE_GREY_F : input->Type(), size,
                                           CSize(0, 0, 0), CImage::NoInit{});
    const int64_t rows = size.y * size.z;
    DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            const T* in = input->Data<T>();
            if (m_upcast)
                Normalization::NormalizeRows(in, result->Data<float>(), size.x, rows, m_outMin,
                                             m_outMax, m_outDefault);
            else
                Normalization::NormalizeRows(in, result->Data<T>(), size.x, rows, m_outMin,
                                             m_outMax, m_outDefault);
        });
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
