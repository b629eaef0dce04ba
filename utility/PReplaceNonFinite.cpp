#include "PReplaceNonFinite.h"

#include "PixelCast.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) ReplaceNonFinite::Run";

// A stored long is read as a long, anything else as a double.
float ReadNumber(const CValueMap& parameters, const char* key, float current) {
    if (parameters.HasEntry(key, CValue::VAL_LONG))
        return static_cast<float>(parameters.EntryLong(key, TruncateToInteger<int32_t>(current)));
    return static_cast<float>(parameters.EntryDouble(key, current));
}

}  // namespace

CPReplaceNonFinite::CPReplaceNonFinite()
    : m_positiveInfinity(0.0f), m_negativeInfinity(0.0f), m_nan(0.0f) {}

void CPReplaceNonFinite::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "ReplaceNonFinite");
    doc.Brief("Node to replace one specific pixel value with another one.",
              "Replaces +infinity, -infinity and NaN in an IMAGE_GREY_F image by the values of "
              "pinf_value, ninf_value and nan_value; all other pixels are copied. This is useful "
              "after a division that may produce non-finite values.");
    doc.Parameter("pinf_value", m_positiveInfinity, "replacement for +infinity");
    doc.Parameter("ninf_value", m_negativeInfinity, "replacement for -infinity");
    doc.Parameter("nan_value", m_nan, "replacement for NaN");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Output(0, "Output image of type IMAGE_GREY_F and the size of the input image.");
    doc.WriteTo(setup);
}

void CPReplaceNonFinite::NodeInit() {
    m_positiveInfinity = ReadNumber(Parameters(), "pinf_value", m_positiveInfinity);
    m_negativeInfinity = ReadNumber(Parameters(), "ninf_value", m_negativeInfinity);
    m_nan = ReadNumber(Parameters(), "nan_value", m_nan);
}

void CPReplaceNonFinite::Run() {
    const CValue* value = GetStackInput(0, false);
    if (!value) throw CException(WHERE, "input image is NULL");
    if (!HoldsType<CImage>(value)) throw CException(WHERE, "input 0 is not an image");
    const CImage* input = UnwrapPointer<CImage>(value, WHERE);
    if (!input) throw CException(WHERE, "input image is NULL");
    if (input->Type() != IMAGE_GREY_F)
        throw CException(WHERE, "input image is not of type IMAGE_GREY_F");
    auto result =
        std::make_unique<CImage>(IMAGE_GREY_F, input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    ReplaceNonFiniteKernel::Replace(input->Data<float>(), result->Data<float>(), input->Pixels(),
                                    m_positiveInfinity, m_negativeInfinity, m_nan);
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
