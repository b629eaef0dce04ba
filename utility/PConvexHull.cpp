#include "PConvexHull.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/InputChecks.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) ConvexHull";

// Twice the signed area of the triangle a, b, c: positive when c lies left of a -> b.
double Cross(const SHullPoint& a, const SHullPoint& b, const SHullPoint& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

int64_t FloorDivide(int64_t numerator, int64_t denominator) {  // denominator > 0
    const int64_t quotient = numerator / denominator;
    return quotient - (numerator % denominator < 0 ? 1 : 0);
}

int64_t CeilDivide(int64_t numerator, int64_t denominator) {  // denominator > 0
    const int64_t quotient = numerator / denominator;
    return quotient + (numerator % denominator > 0 ? 1 : 0);
}

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
    auto table = std::make_unique<CImage>(IMAGE_GREY_F, CSize(2, static_cast<int64_t>(hull.size())),
                                          CSize(0, 0, 0), CImage::NoInit{});
    float* row = table->Data<float>();
    for (const SHullPoint& vertex : hull) {
        *row++ = static_cast<float>(vertex.x);
        *row++ = static_cast<float>(vertex.y);
    }
    return table;
}

}  // namespace

CPConvexHull::CPConvexHull() : m_inputMode("IMAGE") {}

void CPConvexHull::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Classification", "ConvexHull");
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
        .Values("IMAGE, POINTS");
    doc.Parameter("x_column", m_xColumn,
                  "In POINTS mode, the column of the table holding x; y is in the next column.");
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
    doc.WriteTo(setup);
}

void CPConvexHull::NodeInit() {
    m_inputMode = Parameters().EntryString("input_mode", m_inputMode);
    m_xColumn = Parameters().EntryLong("x_column", m_xColumn);
}

void CPConvexHull::Run() {
    const CImage* input = RequiredInputImage(GetStackInput(0, false), WHERE);
    const bool image = m_inputMode == "IMAGE";
    if (!image && m_inputMode != "POINTS")
        throw CException(WHERE,
                         CString("input_mode is '%1'; IMAGE or POINTS expected").Arg(m_inputMode));

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

std::vector<SHullPoint> ConvexHull(std::vector<SHullPoint> points) {
    std::sort(points.begin(), points.end(), [](const SHullPoint& a, const SHullPoint& b) {
        return a.x != b.x ? a.x < b.x : a.y < b.y;
    });
    points.erase(std::unique(points.begin(), points.end()), points.end());
    if (points.size() < 2) return points;

    // The lower chain left to right, then the upper chain back; a vertex that does not make a
    // left turn is dropped, which also drops collinear ones.
    std::vector<SHullPoint> hull(2 * points.size());
    size_t count = 0;
    for (const SHullPoint& point : points) {
        while (count >= 2 && Cross(hull[count - 2], hull[count - 1], point) <= 0.0)
            --count;
        hull[count++] = point;
    }
    const size_t lower = count + 1;
    for (size_t i = points.size() - 1; i-- > 0;) {
        while (count >= lower && Cross(hull[count - 2], hull[count - 1], points[i]) <= 0.0)
            --count;
        hull[count++] = points[i];
    }
    hull.resize(count - 1);  // the last vertex is the first again

    const auto start =
        std::min_element(hull.begin(), hull.end(), [](const SHullPoint& a, const SHullPoint& b) {
            return a.y != b.y ? a.y < b.y : a.x < b.x;
        });
    std::rotate(hull.begin(), start, hull.end());
    return hull;
}

void FillHull(const std::vector<SHullPoint>& hull, uint8_t* mask, int64_t width, int64_t height) {
    // The first and last pixel of each row inside the polygon: the smallest ceiling and the
    // largest floor of the boundary's crossings with the row, in exact integer arithmetic.
    std::vector<int64_t> first(static_cast<size_t>(height), std::numeric_limits<int64_t>::max());
    std::vector<int64_t> last(first.size(), std::numeric_limits<int64_t>::min());
    for (size_t i = 0; i < hull.size(); ++i) {
        const SHullPoint& a = hull[i];
        const SHullPoint& b = hull[(i + 1) % hull.size()];
        auto ax = static_cast<int64_t>(a.x), ay = static_cast<int64_t>(a.y);
        auto bx = static_cast<int64_t>(b.x), by = static_cast<int64_t>(b.y);
        if (ay > by) {
            std::swap(ax, bx);
            std::swap(ay, by);
        }
        const int64_t top = std::max<int64_t>(ay, 0), bottom = std::min(by, height - 1);
        for (int64_t y = top; y <= bottom; ++y) {
            int64_t left = std::min(ax, bx), right = std::max(ax, bx);
            if (ay != by) {
                const int64_t numerator = ax * (by - ay) + (y - ay) * (bx - ax);
                left = CeilDivide(numerator, by - ay);
                right = FloorDivide(numerator, by - ay);
            }
            first[static_cast<size_t>(y)] = std::min(first[static_cast<size_t>(y)], left);
            last[static_cast<size_t>(y)] = std::max(last[static_cast<size_t>(y)], right);
        }
    }
    for (int64_t y = 0; y < height; ++y) {
        const int64_t left = std::max<int64_t>(first[static_cast<size_t>(y)], 0);
        const int64_t right = std::min(last[static_cast<size_t>(y)], width - 1);
        if (left <= right) std::fill(mask + y * width + left, mask + y * width + right + 1, 1);
    }
}

double HullArea(const std::vector<SHullPoint>& hull) {
    double twice = 0.0;
    for (size_t i = 0; i < hull.size(); ++i) {
        const SHullPoint& a = hull[i];
        const SHullPoint& b = hull[(i + 1) % hull.size()];
        twice += a.x * b.y - b.x * a.y;
    }
    return twice / 2.0;
}

double HullPerimeter(const std::vector<SHullPoint>& hull) {
    if (hull.size() < 2) return 0.0;
    double length = 0.0;
    for (size_t i = 0; i < hull.size(); ++i) {
        const SHullPoint& a = hull[i];
        const SHullPoint& b = hull[(i + 1) % hull.size()];
        length += std::hypot(b.x - a.x, b.y - a.y);
    }
    return length;
}

}  // namespace ORVA
