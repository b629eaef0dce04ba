#include "PProjection.h"

#include "support/InputChecks.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Projection::Run";

}  // namespace

CPProjection::CPProjection() : m_axis("Y"), m_mode("SUM") {}

void CPProjection::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Projection");
    doc.Brief(
        "Collapses an image along one axis by the sum, mean, maximum or minimum.",
        "The output has the input's size but for an extent of 1 along axis: X collapses each "
        "row into one value (width 1), Y each column (height 1, as numpy's sum(axis=0) of an "
        "image), Z each pixel's values across the planes (depth 1).\n\n"
        "Sums run in double precision and are written as float; MEAN divides the sum by the "
        "number of values collapsed. A NaN makes its SUM and MEAN NaN, while MAX and MIN skip "
        "it and give NaN only where every value is NaN. Collapsing an extent of 0 gives 0 for "
        "SUM and NaN for the others.");
    doc.Parameter("axis", m_axis, "The axis collapsed: X, Y or Z.").Values("X, Y, Z");
    doc.Parameter("mode", m_mode, "How the values are collapsed: SUM, MEAN, MAX or MIN.")
        .Values("SUM, MEAN, MAX, MIN");
    doc.Input(0, "Input image of a grey or binary type.");
    doc.Output(0, "Output image of type IMAGE_GREY_F, of extent 1 along axis.");
    doc.Keywords({"projection", "profile", "sum", "mean", "maximum", "minimum", "collapse"});
    doc.SeeAlso("RayMaximum, RayMinimum");
    doc.WriteTo(setup);
}

void CPProjection::NodeInit() {
    m_axis = Parameters().EntryString("axis", m_axis);
    m_mode = Parameters().EntryString("mode", m_mode);
}

void CPProjection::Run() {
    const CImage* input = RequiredInputImage(GetStackInput(0, false), WHERE);
    RequireSingleChannel(*input, GREY_OR_BINARY_EXPECTED, WHERE);
    const int axis = m_axis == "X" ? 0 : m_axis == "Y" ? 1 : m_axis == "Z" ? 2 : -1;
    if (axis < 0) throw CException(WHERE, CString("axis is '%1'; X, Y or Z expected").Arg(m_axis));
    EnProjection mode;
    if (m_mode == "SUM")
        mode = EnProjection::SUM;
    else if (m_mode == "MEAN")
        mode = EnProjection::MEAN;
    else if (m_mode == "MAX")
        mode = EnProjection::MAX;
    else if (m_mode == "MIN")
        mode = EnProjection::MIN;
    else
        throw CException(WHERE,
                         CString("mode is '%1'; SUM, MEAN, MAX or MIN expected").Arg(m_mode));

    CSize size = input->Size();
    size[axis] = 1;
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0), CImage::NoInit{});
    DispatchGrey(input->Type(), [&]<class T>(std::type_identity<T>) {
        Project(input->Data<T>(), input->Size(), axis, mode, output->Data<float>());
    });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
