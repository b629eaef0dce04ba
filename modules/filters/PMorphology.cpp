#include "PMorphology.h"

#include "FilterNode.h"
#include "Morphology.h"

namespace ORVA::Filters {

namespace {

constexpr SChoice<EnMorphology> OPERATIONS[] = {
    {"ERODE", EnMorphology::ERODE},       {"DILATE", EnMorphology::DILATE},
    {"OPEN", EnMorphology::OPEN},         {"CLOSE", EnMorphology::CLOSE},
    {"GRADIENT", EnMorphology::GRADIENT}, {"TOPHAT", EnMorphology::TOPHAT},
    {"BLACKHAT", EnMorphology::BLACKHAT}};
constexpr SChoice<EnShape> SHAPES[] = {
    {"RECTANGLE", EnShape::RECTANGLE}, {"ELLIPSE", EnShape::ELLIPSE}, {"CROSS", EnShape::CROSS}};

}  // namespace

void CPMorphology::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Morphology", "Morphology").HelpPage("filters", "PMorphology");
    doc.Brief(
        "Erodes, dilates, opens or closes an image with a rectangle, ellipse or cross.",
        "ERODE gives the minimum and DILATE the maximum of the samples under the element "
        "placed with its anchor (width / 2, height / 2) on the pixel; samples outside the image "
        "never win. OPEN is dilate(erode), CLOSE erode(dilate), GRADIENT dilate - erode, TOPHAT "
        "image - open, BLACKHAT close - image; iterations repeats each erosion and dilation. "
        "RECTANGLE covers the whole width x height box, CROSS the anchor's row and column, "
        "ELLIPSE in row i (dy = i - height / 2, r = height / 2, c = width / 2) the columns "
        "c +- round(c sqrt(1 - dy^2 / r^2)). Results are exact, as OpenCV's erode, dilate and "
        "morphologyEx. Each slice and each colour channel is processed on its own.");
    doc.Parameter("operation", m_operation,
                  "ERODE, DILATE, OPEN, CLOSE, GRADIENT, TOPHAT or "
                  "BLACKHAT")
        .Values(ChoiceList(OPERATIONS));
    doc.Parameter("shape", m_shape, "the structuring element: RECTANGLE, ELLIPSE or CROSS")
        .Values(ChoiceList(SHAPES));
    doc.Parameter("width", m_width, "width of the element in pixels, 1 to 1001").Range(1, 1001);
    doc.Parameter("height", m_height, "height of the element in pixels, 1 to 1001").Range(1, 1001);
    doc.Parameter("iterations", m_iterations, "how often each erosion and dilation is applied")
        .Range(1, 1000);
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Output(0, "Result of the input's type and size.").Label("result");
    doc.Keywords({"morphology", "erode", "dilate", "opening", "closing", "top-hat"});
}

void CPMorphology::Run() {
    const char* where = "(filters) Morphology::Run";
    const EnMorphology operation = Choose(where, "operation", m_operation, OPERATIONS);
    const EnShape shape = Choose(where, "shape", m_shape, SHAPES);
    CheckRange(where, "width", m_width, 1, 1001);
    CheckRange(where, "height", m_height, 1, 1001);
    CheckRange(where, "iterations", m_iterations, 1, 1000);
    const SStructure element = StructuringElement(shape, m_width, m_height);
    const CImage* input = Input(*this, 0, where);
    auto output = NewImage(input->Type(), input->Size());
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output, [&](SPlane<const T> in, SPlane<T> out) {
            Morphology(in, out, operation, element, m_iterations);
        });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
