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
        .Values(ChoiceList(SAMPLE_OUT_TYPES));
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
    const int chosen = Choose(where, "out_type", m_outType, SAMPLE_OUT_TYPES);
    const CImage* a = Input(*this, 0, where);
    const CImage* b = Input(*this, 1, where, true);
    if (b) CheckSameImage(*a, *b, where);
    const IImage::CType outType = SampleOutType(where, chosen, a->Type(), m_outType);
    auto output = NewImage(outType, a->Size());
    DispatchSamples(where, a->Type(), outType,
                    [&]<class T, class O>(std::type_identity<T>, std::type_identity<O>) {
                        const int64_t n = a->Samples();
                        const SPlane<const T> pa = Plane(a->Data<T>(), n, 1);
                        const SPlane<O> out = Plane(output->Data<O>(), n, 1);
                        if (b)
                            Arithmetic(pa, Plane(b->Data<T>(), n, 1), out, operation, m_saturate);
                        else
                            ArithmeticConstant(pa, m_constant, out, operation, m_saturate,
                                               m_constantFirst);
                    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
