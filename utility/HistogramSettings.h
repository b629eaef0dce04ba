#pragma once

// The parameters the two histogram nodes share: the counted value range and the bins.
#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

struct SHistogramSettings {
    double rangeMin = 0.0;
    double rangeMax = 255.0;
    int64_t binCount = 256;
    bool normalize = false;

    void Declare(CSetupDocument& doc) const {
        DeclareBins(doc, "long");
        doc.Parameter("normalize", normalize,
                      "Divide every bin by the sum of all bins, so that they sum to 1. By default "
                      "it is set to false.")
            .Toggle()
            .Order(3);
    }

    // The value range and the bin count, in places 0 to 2; `rangeType` is the type word of the
    // range bounds.
    void DeclareBins(CSetupDocument& doc, const char* rangeType) const {
        doc.Parameter("range_min", rangeMin,
                      "Lowest value that is counted. By default it is set to 0.")
            .Type(rangeType)
            .Order(0);
        doc.Parameter("range_max", rangeMax,
                      "Highest value that is counted. By default it is set to 255.")
            .Type(rangeType)
            .Order(1);
        doc.Parameter("bin_count", binCount,
                      "Number of bins; values below 1 give 256. By default it is set to 256.")
            .Order(2);
    }

    // The range bounds are read as long where a long is stored, else as double; a missing key
    // gives the default.
    void Read(const CValueMap& parameters) {
        rangeMin = Bound(parameters, "range_min", 0.0);
        rangeMax = Bound(parameters, "range_max", 255.0);
        binCount = parameters.EntryLong("bin_count", 256);
        normalize = parameters.EntryBool("normalize", false);
    }

    void FixBinCount() {
        if (binCount < 1) binCount = 256;
    }

  private:
    static double Bound(const CValueMap& parameters, const char* key, double defaultValue) {
        if (parameters.HasEntry(key, CValue::VAL_LONG)) return parameters.EntryLong(key, 0);
        return parameters.EntryDouble(key, defaultValue);
    }
};

}  // namespace ORVA
