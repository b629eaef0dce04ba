#include "PDrawString.h"

#include "algorithms/TextDrawing.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) DrawString::Run";
}  // namespace

void CPDrawString::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "DrawString");
    doc.Brief(
        "Draws a text into a copy of the input image.",
        "Writes text with the module's built-in bitmap font: glyphs of 5 x 7 pixels for "
        "capitals and digits, with two more rows for descenders, in cells of 6 x 10 pixels "
        "(one blank column and row between characters and lines). Every printable ASCII "
        "character (codes 32 to 126) has its glyph; any other character draws a box, one box "
        "per character of a UTF-8 text. A line feed, or a backslash followed by n as typed "
        "into a one-line field, starts a new line below the first character.\n\n"
        "(x, y) is the top-left corner of the first character's cell; each font pixel becomes "
        "a block of scale x scale pixels. With background each character's cell is first "
        "filled with background_value, so the text stays readable on any image. Drawing is "
        "clipped at the image borders; it goes into the first plane, or into every plane with "
        "all_planes, and into every channel of a colour image.\n\n"
        "The values are converted to the pixel type as a plain typecast (as ConvertType does "
        "without saturation): truncated toward zero with the low bits kept; binary images get "
        "1 for any non-zero value.");
    doc.Parameter("text", m_text, "the text to draw");
    doc.Parameter("x", m_x, "column of the top-left corner of the first character");
    doc.Parameter("y", m_y, "row of the top-left corner of the first character");
    doc.Parameter("value", m_value, "value of the text's pixels").DoubleOrLong();
    doc.Parameter("scale", m_scale, "magnification, a whole number of 1 or more").Minimum(1);
    doc.Parameter("background", m_background, "fill each character's cell first").Toggle();
    doc.Parameter("background_value", m_backgroundValue, "value the cells are filled with")
        .DoubleOrLong();
    doc.Parameter("all_planes", m_allPlanes, "draw into every plane instead of the first only")
        .Toggle();
    doc.Input(0, "Input image of any pixel type.");
    doc.Output(0, "Copy of the input image with the text drawn.");
    doc.Keywords({"draw text", "text", "string", "label", "annotate", "font"});
    doc.SeeAlso("PaintMarks, DrawCircle");
}

void CPDrawString::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    if (m_scale < 1)
        throw CException(WHERE,
                         CString("parameter scale must be 1 or more, but it is %1").Arg(m_scale));

    std::unique_ptr<CImage> output = CImageExtraction::Clone(*input);
    DispatchCanvas(*output, m_allPlanes, m_value, [&]<class T>(const SCanvas<T>& ink) {
        SCanvas<T> background = ink;
        background.value = PixelValue<T>(m_backgroundValue, output->Type());
        DrawText(ink, m_background ? &background : nullptr, m_text, m_x, m_y, m_scale);
    });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
