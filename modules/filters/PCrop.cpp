#include "PCrop.h"

#include <cmath>

#include "FilterNode.h"
#include "Geometry.h"

namespace ORVA::Filters {

void CPCrop::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Geometry", "Crop").HelpPage("filters", "PCrop");
    doc.Brief("Cuts a rectangle out of an image.",
              "The output holds the pixels x to x + width - 1 of rows y to y + height - 1; a "
              "width or height of 0 reaches the image's right or bottom edge. With a box table "
              "on input 1 (an IMAGE_GREY_F table whose rows begin ax, bx, ay, by, the inclusive "
              "corners, as ZoneList's IMAGE output), the rectangle is the box of row `row` "
              "instead. The rectangle must lie inside the image. Every slice and colour "
              "channel is cut alike.");
    doc.Parameter("x", m_x, "left column of the rectangle").Range(0, 1 << 30);
    doc.Parameter("y", m_y, "top row of the rectangle").Range(0, 1 << 30);
    doc.Parameter("width", m_width, "width of the rectangle; 0 to the right edge")
        .Range(0, 1 << 30);
    doc.Parameter("height", m_height, "height of the rectangle; 0 to the bottom edge")
        .Range(0, 1 << 30);
    doc.Parameter("row", m_row, "the row of the box table to cut, from 0").Range(0, 1 << 30);
    doc.Input(0, "Image of type " + AnyTypes::Names() + ".").Label("image");
    doc.Input(1, "Optional IMAGE_GREY_F box table with columns ax, bx, ay, by first.")
        .Label("boxes")
        .Optional();
    doc.Output(0, "The rectangle, of the input's type.").Label("cropped");
    doc.Keywords({"crop", "cut", "region of interest", "ROI", "rectangle"});
}

void CPCrop::Run() {
    const char* where = "(filters) Crop::Run";
    const CImage* input = Input(*this, 0, where);
    const CImage* boxes = Input(*this, 1, where, true);
    const CSize size = input->Size();
    int64_t x = m_x, y = m_y, width = m_width, height = m_height;
    if (boxes) {
        if (boxes->Type() != IMAGE_GREY_F) RefuseType(where, 1, boxes->Type(), "IMAGE_GREY_F");
        const CSize table = boxes->Size();
        if (table.x < 4 || m_row < 0 || m_row >= table.y)
            throw CException(where, CString("the box table of size %1 has no row %2 of 4 columns")
                                        .Arg(table.ToString())
                                        .Arg(m_row));
        const float* box = boxes->Data<float>() + m_row * table.x;
        for (int i = 0; i < 4; ++i)
            if (!(std::fabs(box[i]) < float(1 << 30)))
                throw CException(where, CString("box row %1 holds %2").Arg(m_row).Arg(box[i]));
        x = static_cast<int64_t>(box[0]);
        y = static_cast<int64_t>(box[2]);
        width = static_cast<int64_t>(box[1]) - x + 1;
        height = static_cast<int64_t>(box[3]) - y + 1;
        if (width < 1 || height < 1) throw CException(where, "the box is empty");
    }
    if (width == 0) width = size.x - x;
    if (height == 0) height = size.y - y;
    if (x < 0 || y < 0 || width < 0 || height < 0 || x + width > size.x || y + height > size.y)
        throw CException(where,
                         CString("the rectangle (%1, %2; %3 x %4) leaves the image of size %5")
                             .Arg(x)
                             .Arg(y)
                             .Arg(width)
                             .Arg(height)
                             .Arg(size.ToString()));
    auto output = NewImage(input->Type(), CSize(width, height, size.z));
    Dispatch(AnyTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        ForEachPlane<T>(*input, *output,
                        [&](SPlane<const T> in, SPlane<T> out) { Crop(in, x, y, out); });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
