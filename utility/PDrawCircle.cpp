#include "PDrawCircle.h"

#include <cmath>

#include "Tables.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins)DrawCircle::Run";

// Draws the circle of every table row (x, y, r in its first three columns), rounded to whole
// pixels; rows with a value that is not finite, a negative radius or one beyond MAX_RADIUS are
// skipped.
template <class T>
void DrawCircleTable(const SCanvas<T>& canvas, const float* table, int64_t columns, int64_t rows,
                     bool fill) {
    for (int64_t i = 0; i < rows; ++i) {
        const float* row = table + i * columns;
        if (!std::isfinite(row[0]) || !std::isfinite(row[1]) || !std::isfinite(row[2])) continue;
        if (row[2] < 0.0f) continue;
        const int64_t r = NearestPixel(row[2]);
        if (r > MAX_RADIUS) continue;
        DrawMidpointCircle(canvas, NearestPixel(row[0]), NearestPixel(row[1]), r, fill);
    }
}

}  // namespace

CPDrawCircle::CPDrawCircle() : m_x(32), m_y(32), m_radius(16), m_value(255.0), m_fill(false) {}

void CPDrawCircle::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "DrawCircle");
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
    doc.Parameter("radius", m_radius, "radius in pixels, 0 or more");
    doc.Parameter("value", m_value, "value drawn, in every channel").Type("double or long");
    doc.Parameter("fill", m_fill, "fill the circles instead of drawing their outlines").Toggle();
    doc.Input(0, "Input image of any pixel type.");
    doc.Input(1,
              "Optional table of circles of type IMAGE_GREY_F, one row x, y, r per circle (further "
              "columns are ignored). When present, the parameters x, y and radius are not used.")
        .Optional();
    doc.Output(0, "Copy of the input image with the circles drawn.");
    doc.Keywords({"draw circle", "circle", "midpoint circle", "overlay", "annotate"});
    doc.SeeAlso("PaintMarks, DrawString, HoughCircle");
    doc.WriteTo(setup);
}

void CPDrawCircle::NodeInit() {
    m_x = Parameters().EntryLong("x", m_x);
    m_y = Parameters().EntryLong("y", m_y);
    m_radius = Parameters().EntryLong("radius", m_radius);
    ReadDoubleOrLong(Parameters(), "value", m_value);
    m_fill = Parameters().EntryBool("fill", m_fill);
}

void CPDrawCircle::Run() {
    const CImage* input = RequiredInputImage(GetStackInput(0, false), WHERE);
    const CImage* table = InputTable(GetStackInput(1, false), WHERE, "input 1", 3);
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
