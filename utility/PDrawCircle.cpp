#include "PDrawCircle.h"

#include "algorithms/Drawing.h"
#include "support/Tables.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins)DrawCircle::Run";
}  // namespace

void CPDrawCircle::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "DrawCircle");
    doc.Brief("Draws circles into a copy of the input image.",
              "Draws the circle of centre (x, y) and the given radius, or, when input 1 holds a "
              "table, one circle per row of it: x, y and r in its first three columns (the "
              "circles table of HoughCircle fits), rounded to the nearest pixel. Rows with a "
              "value that is not finite, a negative radius or one above 2147483647 are skipped.\n\n"
              "The outline is the midpoint circle algorithm's: in each octant one pixel per step, "
              "the one nearest the true circle; a circle of radius 0 is its centre pixel. With "
              "fill every pixel between the outline's ends in a row is drawn as well. Pixel "
              "centres lie at integer coordinates. Drawing is clipped at the image borders, in "
              "the first plane only; every channel of a colour image gets the value.\n\n"
              "The value is converted to the pixel type as a plain typecast (as ConvertType "
              "does without saturation): truncated toward zero with the low bits kept; binary "
              "images get 1 for any non-zero value.");
    doc.Note("DrawCircle is deprecated; it is kept for existing graphs.");
    doc.Parameter("x", m_x, "column of the centre");
    doc.Parameter("y", m_y, "row of the centre");
    doc.Parameter("radius", m_radius, "radius in pixels, 0 or more").Minimum(0);
    doc.Parameter("value", m_value, "value drawn, in every channel").DoubleOrLong();
    doc.Parameter("fill", m_fill, "fill the circles instead of drawing their outlines").Toggle();
    doc.Input(0, "Input image of any pixel type.");
    doc.Input(1,
              "Optional table of circles of type IMAGE_GREY_F, one row x, y, r per circle (further "
              "columns are ignored). When present, the parameters x, y and radius are not used.")
        .Optional();
    doc.Output(0, "Copy of the input image with the circles drawn.");
    doc.Keywords({"draw circle", "circle", "midpoint circle", "overlay", "annotate"});
    doc.SeeAlso("PaintMarks, DrawString, HoughCircle");
}

void CPDrawCircle::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    const CImage* table = InputTable(*this, 1, WHERE, 3);
    if (!table && m_radius < 0)
        throw CException(WHERE,
                         CString("parameter radius must be 0 or more, but it is %1").Arg(m_radius));

    std::unique_ptr<CImage> output = CImageExtraction::Clone(*input);
    DispatchCanvas(*output, false, m_value, [&]<class T>(const SCanvas<T>& canvas) {
        if (table)
            DrawCircleTable(canvas, table->Data<float>(), table->Size().x, TableRows(*table),
                            m_fill);
        else
            DrawMidpointCircle(canvas, m_x, m_y, m_radius, m_fill);
    });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
