#include "PStatistics.h"

#include <cmath>
#include <iostream>

#include "algorithms/PixelSums.h"

namespace ORVA {

void CPStatistics::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "Statistics");
    doc.Brief("Global grayvalue statistics.",
              "Computes the average and standard deviation of the input image.");
    doc.Input(0, "Input image of type IMAGE_GREY_8 or IMAGE_GREY_F.");
    doc.Output(0, "Average gray value (double).", CSetupDocument::PIN_DOUBLE).Label("Mean");
    doc.Output(1, "Standard deviation of the gray values (double).", CSetupDocument::PIN_DOUBLE)
        .Label("Standard deviation");
    doc.Parameter("verbose", m_verbose, "print the mean and the standard deviation").Toggle();
    doc.Keywords({"grayvalue statistics", "features", "average", "mean", "variance",
                  "standard deviation", "sdev"});
}

void CPStatistics::Run() {
    const char* where = "(utility plugins) Statistics::Run";
    const CImage* input = InputImage(0, {.where = where});
    double sum = 0.0, squares = 0.0;
    const int64_t count = input->Pixels();
    bool typed = DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8, IImage::CType::GREY_16,
                              IImage::CType::GREY_32, IImage::CType::BINARY_FG>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            SumAndSquares(input->Data<T>(), count, sum, squares);
        });
    if (!typed)
        throw CException("CPStatistics::Run()",
                         "input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, nor IMAGE_MONO_BINARY.");
    double mean = 0.0, variance = 0.0;
    if (count > 0) {
        const double n = static_cast<double>(count);
        mean = sum / n;
        variance = squares / n - mean * mean;
    }
    const double deviation = std::sqrt(variance);
    if (m_verbose) {
        std::cout << "Mean:  " << mean << std::endl;
        std::cout << "Standard deviation: " << deviation << std::endl;
    }
    SetStackOutput(0, std::make_unique<CValueDouble>(mean));
    SetStackOutput(1, std::make_unique<CValueDouble>(deviation));
}

}  // namespace ORVA
