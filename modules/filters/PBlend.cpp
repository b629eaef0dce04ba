#include "PBlend.h"

#include "Arithmetic.h"
#include "FilterNode.h"

namespace ORVA::Filters {

void CPBlend::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Arithmetic", "Blend").HelpPage("filters", "PBlend");
    doc.Brief("The weighted sum of two images: alpha a + beta b + gamma.",
              "Computed in double per sample, then rounded half to even and saturated for "
              "integer outputs (NaN gives 0). OpenCV's addWeighted computes in float with "
              "fused multiply-adds, so its 8-bit results may differ by 1. Colour images are "
              "blended channel by channel and keep their type.");
    doc.Parameter("alpha", m_alpha, "weight of image a").DoubleOrLong();
    doc.Parameter("beta", m_beta, "weight of image b").DoubleOrLong();
    doc.Parameter("gamma", m_gamma, "added to every sample").DoubleOrLong();
    doc.Parameter("out_type", m_outType, "the output's pixel type, INPUT for the input's")
        .Values(ChoiceList(SAMPLE_OUT_TYPES));
    doc.Input(0, "Image a of type " + GreyColourTypes::Names() + ".").Label("a");
    doc.Input(1, "Image b of the type and size of a.").Label("b");
    doc.Output(0, "The blend, of the size of a and type out_type.").Label("blend");
    doc.Keywords({"blend", "weighted sum", "mix", "addWeighted", "cross-fade"});
}

void CPBlend::Run() {
    const char* where = "(filters) Blend::Run";
    const int chosen = Choose(where, "out_type", m_outType, SAMPLE_OUT_TYPES);
    const CImage* a = Input(*this, 0, where);
    const CImage* b = Input(*this, 1, where);
    CheckSameImage(*a, *b, where);
    const IImage::CType outType = SampleOutType(where, chosen, a->Type(), m_outType);
    auto output = NewImage(outType, a->Size());
    DispatchSamples(where, a->Type(), outType,
                    [&]<class T, class O>(std::type_identity<T>, std::type_identity<O>) {
                        const int64_t n = a->Samples();
                        Blend(Plane(a->Data<T>(), n, 1), Plane(b->Data<T>(), n, 1),
                              Plane(output->Data<O>(), n, 1), m_alpha, m_beta, m_gamma);
                    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
