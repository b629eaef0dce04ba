#include "PCrop.h"

#include <cmath>
#include <vector>

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

void CPCrop::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Crop").HelpPage("filters", "PCrop");
    doc.Brief("Cuts a rectangle, or every box of a box table, out of an image.",
              "The output holds the pixels x to x + width - 1 of rows y to y + height - 1; a "
              "width or height of 0 reaches the image's right or bottom edge. With a box table "
              "on input 1 (an IMAGE_GREY_F table whose rows begin ax, bx, ay, by, the inclusive "
              "corners, as ZoneList's IMAGE output), output 1 holds the cut of every row's box "
              "in table order and output 0 the cut of row `row`; without a table, output 1 "
              "holds the one rectangle. A table without rows (ZoneList's table of an image "
              "without zones) cuts nothing: output 1 is an empty vector and output 0 an empty "
              "image of the input's type. Every rectangle must lie inside the image. Every "
              "slice and colour channel is cut alike.");
    doc.Parameter("x", m_x, "left column of the rectangle").Range(0, 1 << 30);
    doc.Parameter("y", m_y, "top row of the rectangle").Range(0, 1 << 30);
    doc.Parameter("width", m_width, "width of the rectangle; 0 to the right edge")
        .Range(0, 1 << 30);
    doc.Parameter("height", m_height, "height of the rectangle; 0 to the bottom edge")
        .Range(0, 1 << 30);
    doc.Parameter("row", m_row, "the row of the box table cut on output 0, from 0")
        .Range(0, 1 << 30);
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Input(1, "Optional IMAGE_GREY_F box table with columns ax, bx, ay, by first.")
        .Label("boxes")
        .Optional();
    doc.Output(0, "The rectangle (with a table, the box of row `row`), of the input's type.")
        .Label("cropped");
    doc.Output(1, "Vector of the cut of every box of the table, in table order.",
               CSetupDocument::PIN_VECTOR)
        .Label("every box");
    doc.Keywords({"crop", "cut", "region of interest", "ROI", "rectangle", "boxes"});
}

namespace {

struct SRectangle {
    int64_t x, y, width, height;
};

// The box of a table row: inclusive corners ax, bx, ay, by.
SRectangle TableBox(const CImage& boxes, int64_t row, const char* where) {
    const float* box = boxes.Data<float>() + row * boxes.Size().x;
    for (int i = 0; i < 4; ++i)
        if (!(std::fabs(box[i]) < float(1 << 30)))
            throw CException(where, CString("box row %1 holds %2").Arg(row).Arg(box[i]));
    const auto x = static_cast<int64_t>(box[0]), y = static_cast<int64_t>(box[2]);
    const SRectangle r{x, y, static_cast<int64_t>(box[1]) - x + 1,
                       static_cast<int64_t>(box[3]) - y + 1};
    if (r.width < 1 || r.height < 1)
        throw CException(where, CString("the box of row %1 is empty").Arg(row));
    return r;
}

// The rectangle with a width or height of 0 reaching the edge; throws unless it is inside.
SRectangle Inside(const CSize& size, SRectangle r, const char* where) {
    if (r.width == 0) r.width = size.x - r.x;
    if (r.height == 0) r.height = size.y - r.y;
    if (r.x < 0 || r.y < 0 || r.width < 0 || r.height < 0 || r.x + r.width > size.x ||
        r.y + r.height > size.y)
        throw CException(where,
                         CString("the rectangle (%1, %2; %3 x %4) leaves the image of size %5")
                             .Arg(r.x)
                             .Arg(r.y)
                             .Arg(r.width)
                             .Arg(r.height)
                             .Arg(size.ToString()));
    return r;
}

std::unique_ptr<CImage> Cut(const CImage& input, SRectangle r, const char* where) {
    auto output = NewImage(input.Type(), CSize(r.width, r.height, input.Size().z));
    Dispatch(AnyTypes{}, where, input.Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { Crop(in, r.x, r.y, out); });
    });
    return output;
}

}  // namespace

void CPCrop::Run() {
    const char* where = "(filters) Crop::Run";
    const CImage* input = Input(*this, 0, where);
    const CImage* boxes = Input(*this, 1, where, true);
    std::vector<SRectangle> rectangles{{m_x, m_y, m_width, m_height}};
    size_t chosen = 0;
    if (boxes) {
        if (boxes->Type() != IMAGE_GREY_F) RefuseType(where, 1, boxes->Type(), "IMAGE_GREY_F");
        const CSize table = boxes->Size();
        if (table.x < 4 || m_row < 0 || (table.y > 0 && m_row >= table.y))
            throw CException(where, CString("the box table of size %1 has no row %2 of 4 columns")
                                        .Arg(table.ToString())
                                        .Arg(m_row));
        rectangles.clear();
        for (int64_t row = 0; row < table.y; ++row)
            rectangles.push_back(TableBox(*boxes, row, where));
        chosen = static_cast<size_t>(m_row);
    }
    for (SRectangle& r : rectangles)
        r = Inside(input->Size(), r, where);
    if (rectangles.empty())  // no zones found upstream: nothing to cut, not a failure
        SetImage(*this, 0, NewImage(input->Type(), CSize(0, 0, input->Size().z)));
    else
        SetImage(*this, 0, Cut(*input, rectangles[chosen], where));
    if (!HasStackOutput(1)) return;
    auto every = std::make_unique<CValueVector>();
    for (const SRectangle& r : rectangles)
        every->PushBack(std::make_unique<CValueOwnedPointer<CImage>>(Cut(*input, r, where)));
    SetStackOutput(1, std::move(every));
}

}  // namespace ORVA::Filters
