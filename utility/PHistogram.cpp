#include "PHistogram.h"

#include <algorithm>
#include <cstring>
#include <iostream>

namespace ORVA {

void CPHistogram::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Histogram");
    doc.Brief("Computes the grey-value histogram of an image.",
              "Counts the values of all planes that lie between range_min and range_max into "
              "bin_count equally wide bins. Every bin holds the values from its lower bound up to "
              "its upper bound, the last one including range_max; NaN values are not counted. "
              "Counts above 16777216 cannot be held exactly by a float; a warning says so.");
    doc.Input(0, "Input image of type IMAGE_GREY_F or IMAGE_GREY_8.");
    doc.Output(0,
               "Histogram of type IMAGE_GREY_F, of width 1 and height bin_count: bin i in row i, "
               "with the attributes of a table.");
    m_settings.Declare(doc);
    doc.Keywords({"histogram", "analysis", "statistics"});
    doc.WriteTo(setup);
}

void CPHistogram::NodeInit() {
    m_settings.Read(Parameters());
    m_settings.FixBinCount();
}

namespace {

// The bin of x, or -1 for a value that is not counted.
inline int64_t Bin(double x, double rangeMin, double rangeMax, double span, int64_t binCount) {
    if (rangeMin > x || x > rangeMax || x != x) return -1;
    double bin = (x - rangeMin) * static_cast<double>(binCount) / span;
    if (!(bin < 2147483648.0)) return bin == bin ? binCount - 1 : -1;
    return std::min<int64_t>(static_cast<int32_t>(bin), binCount - 1);
}

}  // namespace

template <class T>
void CPHistogram::Count(const T* data, int64_t size, double rangeMin, double rangeMax,
                        int64_t binCount, uint64_t* counts) {
    const double span = rangeMax - rangeMin;
    if constexpr (sizeof(T) == 1) {
        // A byte's bin depends on its value only: count the values, then add them up by bin.
        // Four tables of 32-bit counters (so that a repeated value rarely waits for its own
        // increment), emptied into 64-bit counts before they could overflow.
        uint64_t values[256] = {};
        uint32_t tables[4][256];
        for (int64_t start = 0; start < size; start += int64_t(1) << 31) {
            const int64_t end = std::min(size, start + (int64_t(1) << 31));
            std::memset(tables, 0, sizeof(tables));
            int64_t i = start;
            for (; i + 16 <= end; i += 16) {
                uint64_t low, high;
                std::memcpy(&low, data + i, 8);
                std::memcpy(&high, data + i + 8, 8);
                for (uint64_t word : {low, high}) {
                    ++tables[0][word & 255];
                    ++tables[1][(word >> 8) & 255];
                    ++tables[2][(word >> 16) & 255];
                    ++tables[3][(word >> 24) & 255];
                    ++tables[0][(word >> 32) & 255];
                    ++tables[1][(word >> 40) & 255];
                    ++tables[2][(word >> 48) & 255];
                    ++tables[3][word >> 56];
                }
            }
            for (; i < end; ++i)
                ++tables[0][data[i]];
            for (int v = 0; v < 256; ++v)
                values[v] += uint64_t(tables[0][v]) + tables[1][v] + tables[2][v] + tables[3][v];
        }
        for (int v = 0; v < 256; ++v) {
            int64_t bin = Bin(v, rangeMin, rangeMax, span, binCount);
            if (bin >= 0) counts[bin] += values[v];
        }
    } else {
        for (int64_t i = 0; i < size; ++i) {
            int64_t bin = Bin(data[i], rangeMin, rangeMax, span, binCount);
            if (bin >= 0) ++counts[bin];
        }
    }
}

template void CPHistogram::Count(const uint8_t*, int64_t, double, double, int64_t, uint64_t*);
template void CPHistogram::Count(const float*, int64_t, double, double, int64_t, uint64_t*);

void CPHistogram::Run() {
    const char* where = "(utility plugins) Histogram::Run";
    CValue* value = GetStackInput(0, false);
    if (!value) throw CException(where, "input image is NULL");
    if (!HoldsType<CImage>(value)) throw CException(where, "input is not an image");
    const CImage* input = UnwrapPointer<CImage>(value, where);
    if (!input) throw CException(where, "Null image on slot 0.");
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(where, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
    const SHistogramSettings& s = m_settings;
    if (s.rangeMin >= s.rangeMax) throw CException(where, "range_min >= m_range_max!");

    const int64_t bins = s.binCount;
    CheckMemory(uint64_t(bins) * (sizeof(float) + sizeof(uint64_t)), where,
                CString("a histogram of %1 bins").Arg(bins));
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, CSize(1, bins, 1));
    CBuffer buffer(static_cast<size_t>(bins) * sizeof(uint64_t), true);
    uint64_t* counts = reinterpret_cast<uint64_t*>(buffer.Data());
    DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
        input->Type(), [&]<class T>(std::type_identity<T>) {
            Count(input->Data<T>(), input->Pixels(), s.rangeMin, s.rangeMax, bins, counts);
        });

    float* out = output->Data<float>();
    if (!s.normalize) {
        bool inexact = false;
        for (int64_t i = 0; i < bins; ++i) {
            out[i] = static_cast<float>(counts[i]);
            inexact |= counts[i] > 16777215;
        }
        if (inexact)
            std::cout << "WARNING " << where << " - histogram values greater " << 16777216
                      << " occure, those values are inexact due to floating point precision."
                      << std::endl;
    } else {
        double sum = 0.0;
        for (int64_t i = 0; i < bins; ++i)
            sum += static_cast<double>(counts[i]);
        if (sum == 0.0) sum = 1.0;
        for (int64_t i = 0; i < bins; ++i)
            out[i] = static_cast<float>(static_cast<double>(counts[i]) / sum);
    }
    CValueMap& attributes = output->Attributes();
    attributes.SetEntry("Image/ContentType", new CValueString("table"));
    attributes.SetEntry("Image/table-type", new CValueString("histogram"));
    attributes.SetEntry("Image/y-name", new CValueString("greyvalue bin"));
    attributes.SetEntry("Image/f-name", new CValueString("count"));
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
