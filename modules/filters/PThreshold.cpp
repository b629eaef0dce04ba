#include "PThreshold.h"

#include "FilterNode.h"
#include "Threshold.h"

namespace ORVA::Filters {

namespace {

enum class EnMethod { FIXED, OTSU, TRIANGLE };
constexpr SChoice<EnMethod> METHODS[] = {
    {"FIXED", EnMethod::FIXED}, {"OTSU", EnMethod::OTSU}, {"TRIANGLE", EnMethod::TRIANGLE}};
constexpr SChoice<EnThreshold> MODES[] = {{"BINARY", EnThreshold::BINARY},
                                          {"BINARY_INV", EnThreshold::BINARY_INV},
                                          {"TRUNC", EnThreshold::TRUNC},
                                          {"TOZERO", EnThreshold::TOZERO},
                                          {"TOZERO_INV", EnThreshold::TOZERO_INV}};
constexpr SChoice<bool> OUT_TYPES[] = {{"IMAGE_BINARY_FG", true}, {"INPUT", false}};

}  // namespace

void CPThreshold::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Threshold", "Threshold").HelpPage("filters", "PThreshold");
    doc.Brief(
        "Thresholds a grey image at a fixed value or at Otsu's or the triangle threshold.",
        "A sample v is above the threshold t when v > t. Modes, with m the maximum: BINARY "
        "v > t ? m : 0, BINARY_INV v > t ? 0 : m, TRUNC v > t ? t : v, TOZERO v > t ? v : 0, "
        "TOZERO_INV v > t ? 0 : v. Integer samples compare with floor(t) and take m rounded half "
        "to even and saturated; float samples compare with t as a float.\n"
        "With out_type IMAGE_BINARY_FG the output is 1 where v > t (BINARY) or where v <= t "
        "(BINARY_INV) and 0 elsewhere; the other modes need out_type INPUT.\n"
        "OTSU on 8- and 16-bit samples searches the full histogram of the type (256 or 65536 "
        "bins) for the first value i with the strictly greatest between-class variance "
        "w0 w1 (mu0 - mu1)^2, as OpenCV does; other samples use 256 bins between the minimum "
        "and the maximum and give the centre of the first best bin, as scikit-image does. "
        "TRIANGLE draws a line from the histogram's peak to the far end of its longer tail "
        "and takes the bin farthest below it (on 8-bit samples one bin left of it, as OpenCV "
        "does; other samples take the upper edge of the bin of 256 between minimum and "
        "maximum). A constant image gives its value. All slices of the image share one "
        "threshold.");
    doc.Parameter("method", m_method, "how t is chosen: FIXED (the value), OTSU or TRIANGLE")
        .Values(ChoiceList(METHODS));
    doc.Parameter("value", m_value, "the threshold t of method FIXED").DoubleOrLong();
    doc.Parameter("maximum", m_maximum, "the value m that BINARY and BINARY_INV write")
        .DoubleOrLong();
    doc.Parameter("mode", m_mode, "what becomes of samples above and below t")
        .Values(ChoiceList(MODES));
    doc.Parameter("out_type", m_outType,
                  "IMAGE_BINARY_FG for a mask, INPUT for an image of the input's type")
        .Values(ChoiceList(OUT_TYPES));
    doc.Input(0, "Grey image of type " + GreyTypes::Names() + ".").Label("image");
    doc.Output(0, "IMAGE_BINARY_FG mask, or an image of the input's type and size.")
        .Label("thresholded");
    doc.Output(1, "The threshold t used (double).", CSetupDocument::PIN_DOUBLE).Label("threshold");
    doc.Keywords({"threshold", "binarize", "Otsu", "triangle", "segmentation"});
}

void CPThreshold::Run() {
    const char* where = "(filters) Threshold::Run";
    const EnMethod method = Choose(where, "method", m_method, METHODS);
    const EnThreshold mode = Choose(where, "mode", m_mode, MODES);
    const bool mask = Choose(where, "out_type", m_outType, OUT_TYPES);
    if (mask && mode != EnThreshold::BINARY && mode != EnThreshold::BINARY_INV)
        throw CException(where, "mode " + m_mode + " gives no mask; use out_type INPUT");
    const CImage* input = Input(*this, 0, where);
    const CSize size = input->Size();
    std::unique_ptr<CImage> output;
    double t = m_value;
    Dispatch(GreyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        // Every slice at once: thresholds look at single samples.
        const SPlane<const T> all{input->Data<T>(), size.x, size.y * size.z, size.x};
        if (method == EnMethod::OTSU) t = OtsuThreshold(all);
        if (method == EnMethod::TRIANGLE) t = TriangleThreshold(all);
        if (mask) {
            output = NewImage(IMAGE_BINARY_FG, size);
            ThresholdMask(
                all, SPlane<uint8_t>{output->Data<uint8_t>(), all.width, all.height, all.width}, t,
                mode == EnThreshold::BINARY_INV);
        } else {
            output = NewImage(input->Type(), size);
            Threshold(all, SPlane<T>{output->Data<T>(), all.width, all.height, all.width}, t,
                      m_maximum, mode);
        }
    });
    SetImage(*this, 0, std::move(output));
    SetStackOutput(1, std::make_unique<CValueDouble>(t));
}

}  // namespace ORVA::Filters
