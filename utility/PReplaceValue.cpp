#include "PReplaceValue.h"

#include <iostream>

#include "algorithms/ValueReplacement.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) ReplaceValue";

using Id = IImage::CType::EnId;
using namespace Replacement;

void Warn(const char* which, double value, const char* typeName, IImage::CType type) {
    CString text = CString("%1 value %2 %3 %4.")
                       .Arg(which)
                       .Arg(value, 0)
                       .Arg(CString("is not representable as %1").Arg(typeName))
                       .Arg(CString("(image type %1)").Arg(type.ToString()));
    std::cerr << WHERE << " WARNING: " << text << std::endl;
}

// The source is looked at first; the destination only when the source is fine.
template <class T>
void WarnUnrepresentable(float source, float destination, IImage::CType type) {
    if (!Representable<T>(source))
        Warn("Source", source, HumanReadableTypename<T>(), type);
    else if (!Representable<T>(destination))
        Warn("Destination", destination, HumanReadableTypename<T>(), type);
}

}  // namespace

CPReplaceValue::CPReplaceValue() : m_source(0.0f), m_destination(0.0f) {}

void CPReplaceValue::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "ReplaceValue");
    doc.Brief("Node to replace specific pixel values with other pixel values.",
              "Every pixel equal to src_value becomes dst_value; all others are copied. Both "
              "values are held as 32-bit floats, also for IMAGE_GREY_D images. For integer "
              "images they are truncated to the pixel type, with a warning on standard error "
              "when that changes them. A NaN src_value replaces NaN pixels. With a table of "
              "pairs on input 1, each row (source, destination) replaces its source, a later "
              "row winning over an earlier one; in a float table a row with a NaN source "
              "replaces NaN pixels and the other rows are ignored.");
    doc.Parameter("src_value", m_source, "value to be replaced").DoubleOrLong().NoOrder();
    doc.Parameter("dst_value", m_destination, "value put in its place").DoubleOrLong().NoOrder();
    doc.Input(0,
              "Input image of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F or "
              "IMAGE_GREY_D.");
    doc.Input(1,
              "Optional table of pairs: an image of the same type with two columns, column 0 the "
              "source and column 1 the destination of one pair per row. When it is present, "
              "src_value and dst_value are ignored.")
        .Optional();
    doc.Output(0, "Output image of the same type and size as the input image.");
}

void CPReplaceValue::Run() {
    const CImage* input = InputImage(0, {.where = WHERE, .notImage = "input 0 is not an image"});
    const IImage::CType type = input->Type();
    if (type != IMAGE_GREY_8 && type != IMAGE_GREY_16 && type != IMAGE_GREY_32 &&
        type != IMAGE_GREY_F && type != IMAGE_GREY_D)
        throw CException(WHERE,
                         "Unsupported image type, must be one of IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, IMAGE_GREY_F, or IMAGE_GREY_D.");

    const CImage* table = nullptr;
    if (HasStackInput(1)) {
        // A null image there is refused like a value that holds none.
        table = InputImage(1, {.where = WHERE,
                               .missing = "input 1 is not an image",
                               .notImage = "input 1 is not an image"});
        if (table->Type() != type)
            throw CException(WHERE,
                             "second input image is not of the same type as the first input "
                             "image");
        if (table->Size().x != 2)
            throw CException(WHERE, "number of columns of second input image is not equal to two");
    }

    auto result = std::make_unique<CImage>(type, input->Size(), CSize(0, 0, 0), CImage::NoInit{});
    DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_F, Id::GREY_D>(
        type, [&]<class T>(std::type_identity<T>) {
            const T* in = input->Data<T>();
            T* out = result->Data<T>();
            if (table) {
                const int64_t rows = table->Pixels() > 0 ? table->Size().y : 0;
                ReplaceByTable(in, out, input->Pixels(), table->Data<T>(), rows);
                return;
            }
            if constexpr (std::is_integral_v<T>)
                WarnUnrepresentable<T>(m_source, m_destination, type);
            ReplaceValue(in, out, input->Pixels(), m_source, m_destination);
        });
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
