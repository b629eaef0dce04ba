#include "PSort.h"

#include "algorithms/RowSort.h"
#include "support/InputChecks.h"

namespace ORVA {

namespace {
const char* const WHERE = "(utility plugins) Sort::Run";
}  // namespace

CPSort::CPSort() : m_column(0) {}

void CPSort::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Sort");
    doc.Brief("Plugins sorts all rows in image by a given column.",
              "Sorts the rows of the input image in ascending order according to the\npixel "
              "values in the given column.");
    doc.Note("for 3d images the sorting is performed plane-wise");
    doc.Note(
        "Integer values are compared unsigned. Rows with equal values come out in no "
        "promised order; rows whose float value is NaN go to the top or the bottom.");
    doc.Parameter("column", m_column, "x index of the column whose values ascend, 0..width-1")
        .Fallback(0)
        .Minimum(0);
    doc.Input(0,
              "Input image of type IMAGE_GREY_8, IMAGE_GREY_F, IMAGE_GREY_16, IMAGE_GREY_32, nor "
              "IMAGE_MONO_BINARY.");
    doc.Output(0, "Output image of the same type and size as the input image.");
    doc.Keywords({"sort", "ascending order", "row"});
}

void CPSort::Run() {
    using Id = IImage::CType::EnId;
    const CImage* input = InputImage(0, NumberedInput(WHERE));
    const IImage::CType type = input->Type();
    if (type != IMAGE_GREY_F && type != IMAGE_GREY_8 && type != IMAGE_GREY_16 &&
        type != IMAGE_GREY_32 && type != IMAGE_BINARY_FG)
        throw CException(WHERE,
                         "image type is not IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, nor IMAGE_MONO_BINARY");
    const CSize& size = input->Size();
    if (m_column < 0 || m_column >= size.x)
        throw CException(WHERE, "Invalid parameter column. It should be 0..width-1");

    auto result = std::make_unique<CImage>(type, size, CSize(0, 0, 0), CImage::NoInit{});
    const bool known =
        DispatchType<Id::GREY_F, Id::GREY_32, Id::GREY_16, Id::GREY_8, Id::BINARY_FG>(
            type, [&]<class T>(std::type_identity<T>) {
                RowSort::SortRows(input->Data<T>(), result->Data<T>(), size, m_column);
            });
    if (!known)
        throw CException("Sort", CString("Image type %1 not supported.").Arg(type.ToString()));
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
