#include "PStatistics.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace ORVA {

void CPStatistics::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Statistics");
    doc.Brief("Global grayvalue statistics.",
              "Computes the average and standard deviation of the input image.");
    doc.Input(0, "Input image of type IMAGE_GREY_8 or IMAGE_GREY_F.");
    doc.Output(0, "Average gray value (double).", CSetupDocument::PIN_DOUBLE).Label("Mean");
    doc.Output(1, "Standard deviation of the gray values (double).", CSetupDocument::PIN_DOUBLE)
        .Label("Standard deviation");
    doc.Parameter("verbose", m_verbose, "print the mean and the standard deviation").Toggle();
    doc.Keywords({"grayvalue statistics", "features", "average", "mean", "variance",
                  "standard deviation", "sdev"});
    doc.WriteTo(setup);
}

void CPStatistics::NodeInit() {
    m_verbose = Parameters().EntryBool("verbose", m_verbose);
}

template <class T>
void CPStatistics::Sums(const T* data, int64_t count, double& sum, double& squares) {
    if constexpr (std::is_integral_v<T>) {
        // Integer terms add up exactly in double while no partial sum exceeds 2^53 in
        // magnitude; then integer sums, converted once, are the same numbers. Blocks of 2^20
        // keep the block sums within 64 bits.
        constexpr uint64_t EXACT = uint64_t(1) << 53;
        constexpr int64_t BLOCK = int64_t(1) << 20;
        uint64_t values = 0, magnitudes = 0;
        int64_t total = 0;
        bool exact = true;
        for (int64_t start = 0; start < count && exact; start += BLOCK) {
            const int64_t end = std::min(count, start + BLOCK);
            uint64_t blockValues = 0, blockMagnitudes = 0;
            int64_t blockTotal = 0;
            for (int64_t i = start; i < end; ++i) {
                const int64_t square = Square(data[i]);
                blockValues += data[i];
                blockTotal += square;
                blockMagnitudes += static_cast<uint64_t>(square < 0 ? -square : square);
            }
            values += blockValues;
            total += blockTotal;
            magnitudes += blockMagnitudes;
            exact = values <= EXACT && magnitudes <= EXACT;
        }
        if (exact) {
            sum = static_cast<double>(values);
            squares = static_cast<double>(total);
            return;
        }
    }
    double s = 0.0, q = 0.0;
    for (int64_t i = 0; i < count; ++i) {
        s += static_cast<double>(data[i]);
        q += static_cast<double>(Square(data[i]));
    }
    sum = s;
    squares = q;
}

template void CPStatistics::Sums(const uint8_t*, int64_t, double&, double&);
template void CPStatistics::Sums(const uint16_t*, int64_t, double&, double&);
template void CPStatistics::Sums(const uint32_t*, int64_t, double&, double&);
template void CPStatistics::Sums(const float*, int64_t, double&, double&);

void CPStatistics::Run() {
    const char* where = "(utility plugins) Statistics::Run";
    CValue* value = GetStackInput(0, false);
    if (!value) throw CException(where, "input image is NULL");
    const CImage* input = UnwrapInputImage(value, where);
    if (!input) throw CException(where, "input image is NULL");
    double sum = 0.0, squares = 0.0;
    const int64_t count = input->Pixels();
    bool typed = DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8, IImage::CType::GREY_16,
                              IImage::CType::GREY_32, IImage::CType::BINARY_FG>(
        input->Type(),
        [&]<class T>(std::type_identity<T>) { Sums(input->Data<T>(), count, sum, squares); });
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
