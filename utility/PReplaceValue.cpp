#include "PReplaceValue.h"

#include <cmath>
#include <iostream>

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) ReplaceValue";

using Id = IImage::CType::EnId;
using namespace ReplaceValueKernel;

void Warn(const char* which, double value, const char* typeName, IImage::CType type) {
    CString text = CString("%1 value %2 %3 %4.")
                       .Arg(which)
                       .Arg(value, 0)
                       .Arg(CString("is not representable as %1").Arg(typeName))
                       .Arg(CString("(image type %1)").Arg(type.ToString()));
    std::cerr << WHERE << " WARNING: " << text << std::endl;
}

template <class T>
void ReplaceSingle(const CImage& input, CImage& result, float source, float destination) {
    const T* in = input.Data<T>();
    T* out = result.Data<T>();
    const int64_t n = input.Pixels();
    if constexpr (std::is_floating_point_v<T>) {
        const T s = source, d = destination;  // widened for double images
        if (std::isnan(s))
            ReplaceNaN(in, out, n, d);
        else
            ReplaceEqual(in, out, n, s, d);
    } else {
        // The source is looked at first; the destination only when the source is fine.
        if (!Representable<T>(source))
            Warn("Source", source, HumanReadableTypename<T>(), input.Type());
        else if (!Representable<T>(destination))
            Warn("Destination", destination, HumanReadableTypename<T>(), input.Type());
        ReplaceEqual(in, out, n, WrapToUnsigned<T>(source), WrapToUnsigned<T>(destination));
    }
}

template <class T>
void ReplaceTable(const CImage& input, CImage& result, const CImage& table) {
    const T* in = input.Data<T>();
    T* out = result.Data<T>();
    const T* pairs = table.Data<T>();
    const int64_t n = input.Pixels();
    const int64_t rows = table.Pixels() > 0 ? table.Size().y : 0;
    if constexpr (sizeof(T) <= 2) {
        std::vector<T> lookup(size_t(1) << (8 * sizeof(T)));
        for (size_t v = 0; v < lookup.size(); ++v)
            lookup[v] = static_cast<T>(v);
        for (int64_t row = 0; row < rows; ++row)
            lookup[pairs[2 * row]] = pairs[2 * row + 1];
        Lookup(in, out, n, lookup.data());
    } else {
        if constexpr (std::is_floating_point_v<T>) {
            // A NaN source turns every NaN pixel into its destination and nothing else changes.
            for (int64_t row = 0; row < rows; ++row)
                if (std::isnan(pairs[2 * row])) {
                    ReplaceNaN(in, out, n, pairs[2 * row + 1]);
                    return;
                }
        }
        ReplacePairs(in, out, n, pairs, rows);
    }
}

}  // namespace

CPReplaceValue::CPReplaceValue() : m_source(0.0f), m_destination(0.0f) {}

void CPReplaceValue::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "ReplaceValue");
    doc.Brief("Node to replace specific pixel values with other pixel values.",
              "Every pixel equal to src_value becomes dst_value; all others are copied. Both "
              "values are held as 32-bit floats, also for IMAGE_GREY_D images. For integer "
              "images they are truncated to the pixel type, with a warning on standard error "
              "when that changes them. A NaN src_value replaces NaN pixels. With a table of "
              "pairs on input 1, each row (source, destination) replaces its source, a later "
              "row winning over an earlier one; in a float table a row with a NaN source "
              "replaces NaN pixels and the other rows are ignored.");
    doc.Parameter("src_value", m_source, "value to be replaced").Type("double or long").NoOrder();
    doc.Parameter("dst_value", m_destination, "value put in its place")
        .Type("double or long")
        .NoOrder();
    doc.Input(0,
              "Input image of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F or "
              "IMAGE_GREY_D.");
    doc.Input(1,
              "Optional table of pairs: an image of the same type with two columns, column 0 the "
              "source and column 1 the destination of one pair per row. When it is present, "
              "src_value and dst_value are ignored.")
        .Optional();
    doc.Output(0, "Output image of the same type and size as the input image.");
    doc.WriteTo(setup);
}

void CPReplaceValue::NodeInit() {
    ReadDoubleOrLong(Parameters(), "src_value", m_source);
    ReadDoubleOrLong(Parameters(), "dst_value", m_destination);
}

void CPReplaceValue::Run() {
    const CValue* value = GetStackInput(0, false);
    if (!value) throw CException(WHERE, "input image is NULL");
    if (!HoldsType<CImage>(value)) throw CException(WHERE, "input 0 is not an image");
    const CImage* input = UnwrapPointer<CImage>(value, WHERE);
    if (!input) throw CException(WHERE, "input image is NULL");
    const IImage::CType type = input->Type();
    if (type != IMAGE_GREY_8 && type != IMAGE_GREY_16 && type != IMAGE_GREY_32 &&
        type != IMAGE_GREY_F && type != IMAGE_GREY_D)
        throw CException(WHERE,
                         "Unsupported image type, must be one of IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, IMAGE_GREY_F, or IMAGE_GREY_D.");

    const CImage* table = nullptr;
    if (const CValue* second = GetStackInput(1, false)) {
        if (!HoldsType<CImage>(second)) throw CException(WHERE, "input 1 is not an image");
        table = UnwrapPointer<CImage>(second, WHERE);
        if (!table) throw CException(WHERE, "input 1 is not an image");
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
            if (table)
                ReplaceTable<T>(*input, *result, *table);
            else
                ReplaceSingle<T>(*input, *result, m_source, m_destination);
        });
    SetStackOutput(0, OwnedImage(std::move(result)));
}

}  // namespace ORVA
