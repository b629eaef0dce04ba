#include "PArithmetic.h"

#include "Arithmetic.h"
#include "FilterNode.h"

namespace ORVA::Filters {

namespace {

constexpr SChoice<EnArithmetic> OPERATIONS[] = {{"ADD", EnArithmetic::ADD},
                                                {"SUBTRACT", EnArithmetic::SUBTRACT},
                                                {"MULTIPLY", EnArithmetic::MULTIPLY},
                                                {"DIVIDE", EnArithmetic::DIVIDE},
                                                {"ABSDIFF", EnArithmetic::ABSDIFF},
                                                {"MIN", EnArithmetic::MIN},
                                                {"MAX", EnArithmetic::MAX}};
// The output types; INPUT keeps the input's. Colour images keep their own type.
constexpr SChoice<int> OUT_TYPES[] = {{"INPUT", -1},
                                      {"IMAGE_GREY_8", CT::GREY_8},
                                      {"IMAGE_GREY_16", CT::GREY_16},
                                      {"IMAGE_GREY_32", CT::GREY_32},
                                      {"IMAGE_GREY_64", CT::GREY_64},
                                      {"IMAGE_GREY_F", CT::GREY_F},
                                      {"IMAGE_GREY_D", CT::GREY_D}};

}  // namespace

void CPArithmetic::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Arithmetic", "Arithmetic").HelpPage("filters", "PArithmetic");
    doc.Brief(
        "Adds, subtracts, multiplies, divides, compares two images or an image and a constant.",
        "Each output sample is r = a op b, with a from input 0 and b the sample of input 1 at "
        "the same place or, without input 1, the constant (a op constant, or constant op a "
        "with constant_first). Operations: ADD a + b, SUBTRACT a - b, MULTIPLY a b, DIVIDE "
        "a / b (0 where b is 0), ABSDIFF |a - b|, MIN, MAX. Integer images (up to 32 bits) "
        "compute exactly in 64-bit integers (DIVIDE in double), two float images into a float "
        "output in float, everything else (64-bit integers, doubles, the constant) in double. "
        "r becomes a sample of the output type: with saturate, integers take r rounded half "
        "to even and clamped to their range (NaN gives 0), as OpenCV's saturate_cast; "
        "without, r truncated toward zero keeping its low bits, as a C cast. Colour images "
        "are computed channel by channel and keep their type.");
    doc.Parameter("operation", m_operation, "ADD, SUBTRACT, MULTIPLY, DIVIDE, ABSDIFF, MIN or MAX")
        .Values(ChoiceList(OPERATIONS));
    doc.Parameter("constant", m_constant, "the operand b when input 1 is empty").DoubleOrLong();
    doc.Parameter("constant_first", m_constantFirst,
                  "compute constant op a instead of a op constant")
        .Toggle();
    doc.Parameter("saturate", m_saturate, "clamp results to the output type's range").Toggle();
    doc.Parameter("out_type", m_outType, "the output's pixel type, INPUT for the input's")
        .Values(ChoiceList(OUT_TYPES));
    doc.Input(0, "Image a of type " + GreyColourTypes::Names() + ".").Label("a");
    doc.Input(1, "Image b of the type and size of a; empty to use the constant.")
        .Label("b")
        .Optional();
    doc.Output(0, "Result of the size of a, of type out_type.").Label("result");
    doc.Keywords({"arithmetic", "add", "subtract", "multiply", "divide", "difference", "minimum",
                  "maximum"});
}

void CPArithmetic::Run() {
    const char* where = "(filters) Arithmetic::Run";
    const EnArithmetic operation = Choose(where, "operation", m_operation, OPERATIONS);
    const int chosen = Choose(where, "out_type", m_outType, OUT_TYPES);
    const CImage* a = Input(*this, 0, where);
    const CImage* b = Input(*this, 1, where, true);
    if (b) CheckSameImage(*a, *b, where);
    const IImage::CType type = a->Type();
    if (type.IsColour() && chosen >= 0)
        throw CException(
            where, std::string("a colour image keeps its type: out_type INPUT, not ") + m_outType);
    const IImage::CType outType = chosen >= 0 ? IImage::CType(static_cast<EnType>(chosen)) : type;
    // Colour results are dispatched on the grey type of their samples.
    const IImage::CType sampleType = type == IMAGE_RGB_FI ? IMAGE_GREY_F
                                     : type.IsColour()    ? IMAGE_GREY_8
                                                          : outType;
    auto output = NewImage(outType, a->Size());
    Dispatch(GreyColourTypes{}, where, type, [&]<class T>(std::type_identity<T>) {
        DispatchType<CT::GREY_8, CT::GREY_16, CT::GREY_32, CT::GREY_64, CT::GREY_F, CT::GREY_D>(
            sampleType, [&]<class O>(std::type_identity<O>) {
                const int64_t n = a->Samples();
                const SPlane<const T> pa = Plane(a->Data<T>(), n, 1);
                const SPlane<O> out{reinterpret_cast<O*>(output->Bytes()), n, 1, n};
                if (b)
                    Arithmetic(pa, Plane(b->Data<T>(), n, 1), out, operation, m_saturate);
                else
                    ArithmeticConstant(pa, m_constant, out, operation, m_saturate, m_constantFirst);
            });
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
