#include "Edges.h"

namespace ORVA::Filters {

std::vector<int> DerivativeKernel(int order, int ksize) {
    if (ksize <= order || ksize % 2 == 0)
        throw CException("Filters::DerivativeKernel",
                         "the aperture must be odd and exceed the order");
    if (ksize == 1) return {1};
    if (ksize == 3) {
        if (order == 0) return {1, 2, 1};
        if (order == 1) return {-1, 0, 1};
        return {1, -2, 1};
    }
    // Binomial smoothing ksize - order - 1 times, then order differences.
    std::vector<int> k(static_cast<size_t>(ksize) + 1, 0);
    k[0] = 1;
    for (int i = 0; i < ksize - order - 1; ++i) {
        int old = k[0];
        for (int j = 1; j <= ksize; ++j) {
            int next = k[size_t(j)] + k[size_t(j) - 1];
            k[size_t(j) - 1] = old;
            old = next;
        }
    }
    for (int i = 0; i < order; ++i) {
        int old = -k[0];
        for (int j = 1; j <= ksize; ++j) {
            int next = k[size_t(j) - 1] - k[size_t(j)];
            k[size_t(j) - 1] = old;
            old = next;
        }
    }
    k.resize(static_cast<size_t>(ksize));
    return k;
}

}  // namespace ORVA::Filters
