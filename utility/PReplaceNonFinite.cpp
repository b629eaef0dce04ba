#include "PReplaceNonFinite.h"

#include "algorithms/ValueReplacement.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) ReplaceNonFinite::Run";
}  // namespace

CPReplaceNonFinite::CPReplaceNonFinite()
    : m_positiveInfinity(0.0f), m_negativeInfinity(0.0f), m_nan(0.0f) {}

void CPReplaceNonFinite::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "ReplaceNonFinite");
    doc.Brief("Node to replace one specific pixel value with another one.",
              "Replaces +infinity, -infinity and NaN in an IMAGE_GREY_F image by the values of "
              "pinf_value, ninf_value and nan_value; all other pixels are copied. This is useful "
              "after a division that may produce non-finite values.");
    doc.Parameter("pinf_value", m_positiveInfinity, "replacement for +infinity");
    doc.Parameter("ninf_value", m_negativeInfinity, "replacement for -infinity");
    doc.Parameter("nan_value", m_nan, "replacement for NaN");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F and the size of the input image.");
}

void CPReplaceNonFinite::Run() {
    const CImage* input = InputImage(0, {.where = WHERE, .notImage = "input 0 is not an image"});
    if (input->Type() != IMAGE_GREY_F)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F");
    auto result =
        std::make_unique<CImage>(IMAGE_GREY_F, input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    Replacement::ReplaceNonFinite(input->Data<float>(), result->Data<float>(), input->Pixels(),
                                  m_positiveInfinity, m_negativeInfinity, m_nan);
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
