#pragma once

// The parameters the histogram nodes share: the counted value range and the bins.
#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

struct SHistogramParameters {
    double rangeMin = 0.0;
    double rangeMax = 255.0;
    int64_t binCount = 256;
    bool normalize = false;

    // How the range and the bin count are read.
    enum EnReading {
        // Histogram, Histogram2d: a value of any kind as a number (the range documented as
        // "long"); a missing key gives the default.
        ANY_NUMBER,
        // MutualInformation: the range only from a double or a long; a missing key keeps the
        // current value.
        DOUBLE_OR_LONG,
    };

    // The value range and the bin count, in places 0 to 2; returns the bin count's declaration.
    CSetupDocument::CParameter& DeclareBins(CSetupDocument& doc, EnReading reading) {
        auto& low = doc.Parameter("range_min", rangeMin,
                                  "Lowest value that is counted. By default it is set to 0.")
                        .Order(0);
        auto& high = doc.Parameter("range_max", rangeMax,
                                   "Highest value that is counted. By default it is set to 255.")
                         .Order(1);
        auto& bins =
            doc.Parameter("bin_count", binCount,
                          "Number of bins; values below 1 give 256. By default it is set to 256.")
                .Order(2);
        if (reading == DOUBLE_OR_LONG) {
            low.DoubleOrLong();
            high.DoubleOrLong();
        } else {
            low.Type("long").Fallback(0.0);
            high.Type("long").Fallback(255.0);
            bins.Fallback(256);
        }
        return bins;
    }

    // The bins and "normalize" of Histogram and Histogram2d.
    void Declare(CSetupDocument& doc) {
        DeclareBins(doc, ANY_NUMBER);
        doc.Parameter("normalize", normalize,
                      "Divide every bin by the sum of all bins, so that they sum to 1. By default "
                      "it is set to false.")
            .Fallback(false)
            .Toggle()
            .Order(3);
    }

    void FixBinCount() {
        if (binCount < 1) binCount = 256;
    }
};

}  // namespace ORVA
