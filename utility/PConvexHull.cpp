#include "PConvexHull.h"

#include <cmath>
#include <vector>

#include "algorithms/ConvexHull.h"
#include "support/Enumerations.h"
#include "support/InputChecks.h"
#include "support/Tables.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) ConvexHull";
enum class EnInputMode { IMAGE, POINTS };
const char* const INPUT_MODES = "IMAGE, POINTS";

// The points of rows (x, y) of a table, x in column `xColumn` of its first plane.
std::vector<SHullPoint> TablePoints(const CImage& table, int64_t xColumn) {
    const int64_t width = table.Size().x, height = table.Size().y;
    if (table.Pixels() == 0) return {};
    if (width < xColumn + 2)
        throw CException(WHERE, CString("point table has %1 columns; x in column %2 and y in "
                                        "column %3 expected")
                                    .Arg(width)
                                    .Arg(xColumn)
                                    .Arg(xColumn + 1));
    std::vector<SHullPoint> points(static_cast<size_t>(height));
    const float* row = table.Data<float>() + xColumn;
    for (int64_t i = 0; i < height; ++i, row += width) {
        if (!std::isfinite(row[0]) || !std::isfinite(row[1]))
            throw CException(WHERE, CString("row %1 of the point table holds a coordinate that "
                                            "is not a finite number")
                                        .Arg(i));
        points[static_cast<size_t>(i)] = {row[0], row[1]};
    }
    return points;
}

std::unique_ptr<CImage> HullTable(const std::vector<SHullPoint>& hull) {
    std::unique_ptr<CImage> table = MakeTable(2, static_cast<int64_t>(hull.size()));
    float* row = table->Data<float>();
    for (const SHullPoint& vertex : hull) {
        *row++ = static_cast<float>(vertex.x);
        *row++ = static_cast<float>(vertex.y);
    }
    return table;
}

}  // namespace

void CPConvexHull::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Classification", "ConvexHull");
    doc.Brief(
        "Convex hull of the non-zero pixels of an image or of the points of a table.",
        "With input_mode IMAGE the points are the centres (x, y) of the non-zero pixels (NaN "
        "counts as non-zero) of the first plane of the input; with POINTS they are the rows of "
        "the first plane of an IMAGE_GREY_F table, x in column x_column and y in the next, as "
        "GetCoordinates makes them (set x_column to 1 for its table with a label column).\n\n"
        "The hull is found by Andrew's monotone chain in O(n log n). Its vertices are listed "
        "counter-clockwise in the coordinates' own sense (a positive signed area, as in "
        "OpenCV's convexHull), starting at the lowest vertex, the one of smallest y, and of "
        "those the leftmost, smallest x. In an image, whose y axis points down, that vertex "
        "lies on the top row of the hull and the order runs clockwise on the screen. Vertices "
        "in the middle of an edge and repeated points are left out: identical points give one "
        "vertex, collinear points the two ends of their segment, no points an empty table.\n\n"
        "The area is that of the polygon through the vertices (pixel centres in IMAGE mode), "
        "the perimeter the length of its closed boundary, which for a segment is twice its "
        "length.");
    doc.Parameter("input_mode", m_inputMode,
                  "IMAGE takes the non-zero pixels of input 0, POINTS the rows of the table on "
                  "input 0.")
        .Values(INPUT_MODES);
    doc.Parameter("x_column", m_xColumn,
                  "In POINTS mode, the column of the table holding x; y is in the next column.")
        .Minimum(0);
    doc.Input(0,
              "Image of a grey or binary type (IMAGE mode), or IMAGE_GREY_F table of points "
              "(POINTS mode).");
    doc.Output(0,
               "Hull vertices, an IMAGE_GREY_F table with one row x, y per vertex, "
               "counter-clockwise from the lowest, then leftmost vertex.");
    doc.Output(1,
               "In IMAGE mode, the filled hull: an IMAGE_BINARY_FG mask of the input's size "
               "that is 1 at the pixels whose centre lies in or on the hull, in the first plane. "
               "In POINTS mode an empty image value.");
    doc.Output(2, "Measures: \"area\" and \"perimeter\" (double), \"count\" of vertices (long).",
               CSetupDocument::PIN_MAP);
    doc.Keywords({"convex hull", "hull", "monotone chain", "polygon", "shape"});
    doc.SeeAlso("GetCoordinates");
}

void CPConvexHull::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    const bool image = EnumerationEntry<EnInputMode>(INPUT_MODES, m_inputMode, WHERE,
                                                     "input_mode is '%1'; IMAGE or POINTS "
                                                     "expected") == EnInputMode::IMAGE;

    std::vector<SHullPoint> points;
    const int64_t width = input->Size().x, height = input->Size().y;
    if (image) {
        RequireSingleChannel(*input, GREY_OR_BINARY_EXPECTED, WHERE);
        if (input->Pixels() > 0)
            DispatchGrey(input->Type(), [&]<class T>(std::type_identity<T>) {
                points = RowEnds(input->Data<T>(), width, height);
            });
    } else {
        if (input->Type() != IMAGE_GREY_F)
            throw CException(WHERE, CString("point table is of type %1; IMAGE_GREY_F expected")
                                        .Arg(input->Type().Name()));
        if (m_xColumn < 0)
            throw CException(WHERE, CString("x_column is %1; 0 or more expected").Arg(m_xColumn));
        points = TablePoints(*input, m_xColumn);
    }

    const std::vector<SHullPoint> hull = ConvexHull(std::move(points));
    std::unique_ptr<CValue> mask;
    if (image) {
        auto filled = std::make_unique<CImage>(IMAGE_BINARY_FG, input->Size());
        if (filled->Pixels() > 0) FillHull(hull, filled->Data<uint8_t>(), width, height);
        mask = OwnedImage(std::move(filled));
    } else {
        mask = std::make_unique<CValueOwnedPointer<CImage>>();
    }
    auto measures = std::make_unique<CValueMap>();
    measures->SetEntry("area", new CValueDouble(HullArea(hull)));
    measures->SetEntry("perimeter", new CValueDouble(HullPerimeter(hull)));
    measures->SetEntry("count", new CValueLong(static_cast<int32_t>(hull.size())));
    SetStackOutput(0, OwnedImage(HullTable(hull)));
    SetStackOutput(1, std::move(mask));
    SetStackOutput(2, std::move(measures));
}

}  // namespace ORVA
