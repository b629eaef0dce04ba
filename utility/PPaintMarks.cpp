#include "PPaintMarks.h"

#include "algorithms/Drawing.h"
#include "support/Enumerations.h"
#include "support/Tables.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) PaintMarks::Run";
}  // namespace

void CPPaintMarks::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "PaintMarks");
    doc.Brief("Paints a mark at every point of a table into a copy of the input image.",
              "Each row of the table on input 1 is a point: x in column x_column, y in the next "
              "one, further columns ignored (for the tables of GetCoordinates with its label "
              "column, set x_column to 1). The point is rounded to the nearest pixel, pixel "
              "centres lying at integer coordinates; rows with a coordinate that is not finite "
              "are skipped.\n\n"
              "Shapes, each reaching size pixels from the point: CROSS two diagonal strokes, "
              "PLUS a horizontal and a vertical stroke, SQUARE the outline of a square of side "
              "2 * size + 1, CIRCLE the outline of a midpoint circle of radius size; POINT is the "
              "pixel alone. Size 0 makes every shape a single pixel. Drawing is clipped at the "
              "image borders, in the first plane only; every channel of a colour image gets the "
              "value.\n\n"
              "The value is converted to the pixel type as a plain typecast (as ConvertType does "
              "without saturation): truncated toward zero with the low bits kept; binary images "
              "get 1 for any non-zero value.");
    doc.Parameter("shape", m_shape, "the mark: CROSS, PLUS, POINT, SQUARE or CIRCLE")
        .Values(MARK_SHAPES);
    doc.Parameter("size", m_size, "how far the mark reaches from its point, in pixels (0 or more)")
        .Minimum(0);
    doc.Parameter("value", m_value, "value painted, in every channel").DoubleOrLong();
    doc.Parameter("x_column", m_xColumn, "column of the table that holds x; y is the next one")
        .Minimum(0);
    doc.Input(0, "Input image of any pixel type.");
    doc.Input(1, "Table of points of type IMAGE_GREY_F, one point per row.");
    doc.Output(0, "Copy of the input image with the marks painted.");
    doc.Keywords({"mark", "marker", "cross", "draw points", "overlay", "annotate"});
    doc.SeeAlso("GetCoordinates, FindMax, DrawCircle, DrawString");
    doc.Example(
        "ReadImage filename=%ORVADIR%/examples/images/coconut.png ! StringToImage 'data_string=64 "
        "64\\n128 200' ! PaintMarks @0=1 @1=2");
}

void CPPaintMarks::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    if (m_xColumn < 0)
        throw CException(
            WHERE, CString("parameter x_column must be 0 or more, but it is %1").Arg(m_xColumn));
    const CImage* table = InputTable(*this, 1, WHERE, int64_t(m_xColumn) + 2);
    if (!table) throw CException(WHERE, "input 1 (the table of points) is NULL");
    if (m_size < 0)
        throw CException(WHERE,
                         CString("parameter size must be 0 or more, but it is %1").Arg(m_size));
    const auto shape = EnumerationEntry<EnMark>(MARK_SHAPES, m_shape, WHERE,
                                                "parameter shape must be one of CROSS, PLUS, "
                                                "POINT, SQUARE or CIRCLE, but it is '%1'");

    std::unique_ptr<CImage> output = CImageExtraction::Clone(*input);
    DispatchCanvas(*output, false, m_value, [&]<class T>(const SCanvas<T>& canvas) {
        PaintMarks(canvas, shape, table->Data<float>(), table->Size().x, TableRows(*table),
                   m_xColumn, m_size);
    });
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
