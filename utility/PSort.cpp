#include "PSort.h"

#include <limits>
#include <vector>

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) Sort::Run";

using Id = IImage::CType::EnId;
using namespace SortKernel;

template <class T, class Index>
void SortPlanes(const CImage& input, CImage& result, int64_t column) {
    const CSize& size = input.Size();
    const int64_t plane = size.x * size.y;
    std::vector<SEntry<Index>> a(static_cast<size_t>(size.y)), b(static_cast<size_t>(size.y));
    for (int64_t z = 0; z < size.z; ++z)
        SortPlane<T, Index>(input.Data<T>() + z * plane, result.Data<T>() + z * plane, size.x,
                            size.y, column, a.data(), b.data());
}

}  // namespace

CPSort::CPSort() : m_column(0) {}

void CPSort::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Sort");
    doc.Brief("Plugins sorts all rows in image by a given column.",
              "Sorts the rows of the input image in ascending order according to the\npixel "
              "values in the given column.");
    doc.Note("for 3d images the sorting is performed plane-wise");
    doc.Note(
        "Integer values are compared unsigned. Rows with equal values come out in no "
        "promised order; rows whose float value is NaN go to the top or the bottom.");
    doc.Parameter("column", m_column, "x index of the column whose values ascend, 0..width-1");
    doc.Input(0,
              "Input image of type IMAGE_GREY_8, IMAGE_GREY_F, IMAGE_GREY_16, IMAGE_GREY_32, nor "
              "IMAGE_MONO_BINARY.");
    doc.Output(0, "Output image of the same type and size as the input image.");
    doc.Keywords({"sort", "ascending order", "row"});
    doc.WriteTo(setup);
}

void CPSort::NodeInit() {
    m_column = Parameters().EntryLong("column", 0);
}

void CPSort::Run() {
    const CValue* value = GetStackInput(0, false);
    if (!value) throw CException(WHERE, "input 0 is NULL");
    if (!HoldsType<CImage>(value)) throw CException(WHERE, "input 0 is not an image");
    const CImage* input = UnwrapPointer<CImage>(value, WHERE);
    if (!input) throw CException(WHERE, "input 0 is NULL");
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
                if (size.y <= std::numeric_limits<uint32_t>::max())
                    SortPlanes<T, uint32_t>(*input, *result, m_column);
                else
                    SortPlanes<T, uint64_t>(*input, *result, m_column);
            });
    if (!known)
        throw CException("Sort", CString("Image type %1 not supported.").Arg(type.ToString()));
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
