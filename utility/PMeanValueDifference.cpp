#include "PMeanValueDifference.h"

#include <algorithm>
#include <cmath>

#include "support/InputChecks.h"

namespace ORVA {

void CPMeanValueDifference::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "MeanValueDifference");
    doc.Brief("Difference of the mean values of two images.",
              "Output 0 is the mean of input 0 minus the mean of input 1, output 1 the mean of "
              "the absolute differences of the pixels at equal positions. Both images must "
              "have one type and one size; all sums are taken in double. A NaN pixel makes "
              "both results NaN; images without pixels give 0.");
    doc.Input(0, "First image of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 or IMAGE_GREY_F.");
    doc.Input(1, "Second image of the type and size of the first.");
    doc.Output(0, "mean(input 0) - mean(input 1) (double).", CSetupDocument::PIN_DOUBLE)
        .Label("Mean difference");
    doc.Output(1, "Mean absolute pixel difference (double).", CSetupDocument::PIN_DOUBLE)
        .Label("Mean absolute difference");
    doc.Keywords({"mean", "average", "difference", "compare images"});
    doc.SeeAlso("Statistics");
    doc.WriteTo(setup);
}

template <class T>
CPMeanValueDifference::SSums CPMeanValueDifference::Sums(const T* a, const T* b, int64_t count) {
    SSums sums;
    if constexpr (std::is_integral_v<T>) {
        // 2^20 samples of at most 2^32 add up to less than 2^64.
        constexpr int64_t BLOCK = int64_t(1) << 20;
        for (int64_t start = 0; start < count; start += BLOCK) {
            const int64_t end = std::min(count, start + BLOCK);
            uint64_t first = 0, second = 0, difference = 0;
            for (int64_t i = start; i < end; ++i) {
                first += a[i];
                second += b[i];
                difference += a[i] > b[i] ? uint64_t(a[i] - b[i]) : uint64_t(b[i] - a[i]);
            }
            sums.first += static_cast<double>(first);
            sums.second += static_cast<double>(second);
            sums.absoluteDifference += static_cast<double>(difference);
        }
    } else {
        for (int64_t i = 0; i < count; ++i) {
            const double x = a[i], y = b[i];
            sums.first += x;
            sums.second += y;
            sums.absoluteDifference += std::fabs(x - y);
        }
    }
    return sums;
}

template CPMeanValueDifference::SSums CPMeanValueDifference::Sums(const uint8_t*, const uint8_t*,
                                                                  int64_t);
template CPMeanValueDifference::SSums CPMeanValueDifference::Sums(const uint16_t*, const uint16_t*,
                                                                  int64_t);
template CPMeanValueDifference::SSums CPMeanValueDifference::Sums(const uint32_t*, const uint32_t*,
                                                                  int64_t);
template CPMeanValueDifference::SSums CPMeanValueDifference::Sums(const float*, const float*,
                                                                  int64_t);

void CPMeanValueDifference::Run() {
    const char* where = "(utility plugins) MeanValueDifference::Run";
    const CImage* first = ImageOnPin(*this, 0, where);
    const CImage* second = ImageOnPin(*this, 1, where);
    RequireType(*first, 0, {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F}, where);
    RequireType(*second, 1, {first->Type()}, where);
    RequireSizeOfFirst(*second, 1, first->Size(), where);

    SSums sums;
    const int64_t count = first->Pixels();
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_16, IImage::CType::GREY_32,
                 IImage::CType::GREY_F>(first->Type(), [&]<class T>(std::type_identity<T>) {
        sums = Sums(first->Data<T>(), second->Data<T>(), count);
    });
    const double n = count > 0 ? static_cast<double>(count) : 1.0;
    SetStackOutput(0, std::make_unique<CValueDouble>(sums.first / n - sums.second / n));
    SetStackOutput(1, std::make_unique<CValueDouble>(sums.absoluteDifference / n));
}

}  // namespace ORVA
