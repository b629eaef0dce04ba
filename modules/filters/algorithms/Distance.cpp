#include "Distance.h"

namespace ORVA::Filters::Detail {

void EnvelopeRow(const int64_t* f, int64_t* d, int64_t n, int64_t* v, double* z) {
    // Parabolas of the samples that have one, in order; z[k] is where parabola k starts to win.
    int64_t k = -1;
    for (int64_t q = 0; q < n; ++q) {
        if (f[q] < 0) continue;
        const double fq = static_cast<double>(f[q] + q * q);
        while (k >= 0) {
            const int64_t p = v[k];
            const double s =
                (fq - static_cast<double>(f[p] + p * p)) / static_cast<double>(2 * (q - p));
            if (s > z[k]) {
                ++k;
                v[k] = q;
                z[k] = s;
                break;
            }
            --k;
        }
        if (k < 0) {
            k = 0;
            v[0] = q;
            z[0] = -std::numeric_limits<double>::infinity();
        }
    }
    if (k < 0) {
        std::fill(d, d + n, int64_t(-1));
        return;
    }
    z[k + 1] = std::numeric_limits<double>::infinity();
    int64_t j = 0;
    for (int64_t x = 0; x < n; ++x) {
        while (z[j + 1] < static_cast<double>(x))
            ++j;
        const int64_t p = v[j];
        d[x] = (x - p) * (x - p) + f[p];
    }
}

}  // namespace ORVA::Filters::Detail
