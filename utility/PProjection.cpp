#include "PProjection.h"

#include "algorithms/AxisProjection.h"
#include "support/Enumerations.h"
#include "support/InputChecks.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Projection::Run";
const char* const AXES = "X, Y, Z";  // axes 0, 1 and 2

}  // namespace

void CPProjection::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Projection");
    doc.Brief(
        "Collapses an image along one axis by the sum, mean, maximum or minimum.",
        "The output has the input's size but for an extent of 1 along axis: X collapses each "
        "row into one value (width 1), Y each column (height 1, as numpy's sum(axis=0) of an "
        "image), Z each pixel's values across the planes (depth 1).\n\n"
        "Sums run in double precision and are written as float; MEAN divides the sum by the "
        "number of values collapsed. A NaN makes its SUM and MEAN NaN, while MAX and MIN skip "
        "it and give NaN only where every value is NaN. Collapsing an extent of 0 gives 0 for "
        "SUM and NaN for the others.");
    doc.Parameter("axis", m_axis, "The axis collapsed: X, Y or Z.").Values(AXES);
    doc.Parameter("mode", m_mode, "How the values are collapsed: SUM, MEAN, MAX or MIN.")
        .Values(PROJECTION_MODES);
    doc.Input(0, "Input image of a grey or binary type.");
    doc.Output(0, "Output image of type IMAGE_GREY_F, of extent 1 along axis.");
    doc.Keywords({"projection", "profile", "sum", "mean", "maximum", "minimum", "collapse"});
    doc.SeeAlso("RayMaximum, RayMinimum");
}

void CPProjection::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    RequireSingleChannel(*input, GREY_OR_BINARY_EXPECTED, WHERE);
    const int axis = EnumerationEntry<int>(AXES, m_axis, WHERE, "axis is '%1'; X, Y or Z expected");
    const auto mode = EnumerationEntry<EnProjection>(
        PROJECTION_MODES, m_mode, WHERE, "mode is '%1'; SUM, MEAN, MAX or MIN expected");

    CSize size = input->Size();
    size[axis] = 1;
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0), CImage::NoInit{});
    DispatchGrey(input->Type(), [&]<class T>(std::type_identity<T>) {
        Project(input->Data<T>(), input->Size(), axis, mode, output->Data<float>());
    });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
