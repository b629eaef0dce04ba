#include "PMeanValueDifference.h"

#include "algorithms/PixelSums.h"
#include "support/InputChecks.h"

namespace ORVA {

void CPMeanValueDifference::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "MeanValueDifference");
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
}

void CPMeanValueDifference::Run() {
    const char* where = "(utility plugins) MeanValueDifference::Run";
    const CImage* first = InputImage(0, NumberedInput(where));
    const CImage* second = InputImage(1, NumberedInput(where));
    RequireType(*first, 0, {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F}, where);
    RequireType(*second, 1, {first->Type()}, where);
    RequireSizeOfFirst(*second, 1, first->Size(), where);

    SPairSums sums;
    const int64_t count = first->Pixels();
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_16, IImage::CType::GREY_32,
                 IImage::CType::GREY_F>(first->Type(), [&]<class T>(std::type_identity<T>) {
        sums = PairSums(first->Data<T>(), second->Data<T>(), count);
    });
    const double n = count > 0 ? static_cast<double>(count) : 1.0;
    SetStackOutput(0, std::make_unique<CValueDouble>(sums.first / n - sums.second / n));
    SetStackOutput(1, std::make_unique<CValueDouble>(sums.absoluteDifference / n));
}

}  // namespace ORVA
