#pragma once

// What Sobel and Scharr share: the choice of output, the float output types, and the run that
// gives one derivative, the gradient's magnitude or its direction.
#include <string>
#include <vector>

#include "Edges.h"
#include "FilterNode.h"

namespace ORVA::Filters {

enum class EnGradient { DERIVATIVE, MAGNITUDE, DIRECTION };
inline constexpr SChoice<EnGradient> GRADIENT_OUTPUTS[] = {{"DERIVATIVE", EnGradient::DERIVATIVE},
                                                           {"MAGNITUDE", EnGradient::MAGNITUDE},
                                                           {"DIRECTION", EnGradient::DIRECTION}};
inline constexpr SChoice<int> FLOAT_TYPES[] = {{"IMAGE_GREY_F", CT::GREY_F},
                                               {"IMAGE_GREY_D", CT::GREY_D}};

inline constexpr const char* GRADIENT_OUTPUT_TEXT =
    "DERIVATIVE (of orders dx and dy), MAGNITUDE sqrt(gx^2 + gy^2) or DIRECTION atan2(gy, gx) "
    "in degrees, 0 to 360, of the first derivatives gx and gy";

// `ksize` -1 is Scharr's kernel.
inline std::unique_ptr<CImage> Gradient(const CImage& input, const char* where, int ksize, int dx,
                                        int dy, EnGradient output, IImage::CType outType,
                                        EnBorder border) {
    auto result = NewImage(outType, input.Size());
    Dispatch(GreyTypes{}, where, input.Type(), [&]<class T>(std::type_identity<T>) {
        DispatchType<CT::GREY_F, CT::GREY_D>(outType, [&]<class O>(std::type_identity<O>) {
            ForEachPlane<T, O>(input, *result, [&](SPlane<const T> in, SPlane<O> out) {
                if (output == EnGradient::DERIVATIVE) return Sobel(in, out, dx, dy, ksize, border);
                std::vector<O> gx(static_cast<size_t>(in.width * in.height)), gy(gx.size());
                const SPlane<O> px = Plane(gx.data(), in.width, in.height);
                const SPlane<O> py = Plane(gy.data(), in.width, in.height);
                Sobel(in, px, 1, 0, ksize, border);
                Sobel(in, py, 0, 1, ksize, border);
                if (output == EnGradient::MAGNITUDE)
                    Magnitude<O>(px, py, out);
                else
                    Direction<O>(px, py, out);
            });
        });
    });
    return result;
}

// A derivative node: its parameters and its run, but for the kernel.
class CPGradientNode : public CPNode {
  protected:
    void DeclareGradient(CSetupDocument& doc) {
        doc.Parameter("dx", m_dx, "order of the derivative in x").Range(0, 6);
        doc.Parameter("dy", m_dy, "order of the derivative in y").Range(0, 6);
        doc.Parameter("output", m_output, GRADIENT_OUTPUT_TEXT)
            .Values(ChoiceList(GRADIENT_OUTPUTS));
        doc.Parameter("out_type", m_outType, "IMAGE_GREY_F or IMAGE_GREY_D")
            .Values(ChoiceList(FLOAT_TYPES));
        doc.Parameter("border", m_border, BORDER_TEXT).Values(ChoiceList(BORDERS));
        doc.Input(0, "Grey image of type " + GreyTypes::Names() + ".").Label("image");
        doc.Output(0,
                   "The derivative, magnitude or direction, of type out_type and the input's "
                   "size.")
            .Label("gradient");
    }
    // Reads the choices, lets `check` refuse the orders for DERIVATIVE, and sets output 0.
    template <class F>
    void RunGradient(const char* where, int ksize, F check) {
        const EnGradient output = Choose(where, "output", m_output, GRADIENT_OUTPUTS);
        const auto outType = static_cast<EnType>(Choose(where, "out_type", m_outType, FLOAT_TYPES));
        const EnBorder border = Choose(where, "border", m_border, BORDERS);
        if (output == EnGradient::DERIVATIVE) check();
        const CImage* input = Input(*this, 0, where);
        SetImage(*this, 0, Gradient(*input, where, ksize, m_dx, m_dy, output, outType, border));
    }

    int m_dx = 1;
    int m_dy = 0;
    std::string m_output = "DERIVATIVE";
    std::string m_outType = "IMAGE_GREY_F";
    std::string m_border = "REFLECT_101";
};

}  // namespace ORVA::Filters
