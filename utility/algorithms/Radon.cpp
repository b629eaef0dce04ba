#include "Radon.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace ORVA {

namespace {

// Cosines and sines of the angles k * pi / count, and the transform's scale.
struct SRadonGeometry {
    SRadonGeometry(int64_t width, int64_t height)
        : cos(static_cast<size_t>(height)),
          sin(cos.size()),
          distance(std::sqrt(static_cast<double>(height) * static_cast<double>(height) +
                             static_cast<double>(width) * static_cast<double>(width))),
          halfWidth(static_cast<double>(width) * 0.5) {
        for (int64_t k = 0; k < height; ++k) {
            const double theta =
                static_cast<double>(k) * std::numbers::pi / static_cast<double>(height);
            cos[k] = std::cos(theta);
            sin[k] = std::sin(theta);
        }
    }

    // The bin before truncation of a point whose distance along the angle is `t`.
    double Position(double t) const { return (t / distance + 1.0) * halfWidth + 0.555; }

    std::vector<double> cos, sin;
    double distance, halfWidth;
};

// Bins up to `width` reach column 0 of the next row; the last row has none.
int64_t BinLimit(int64_t k, int64_t width, int64_t height) {
    return k + 1 < height ? width + 1 : width;
}

}  // namespace

void RadonSum(const float* plane, int64_t width, int64_t height, float* out) {
    const SRadonGeometry geometry(width, height);
    // The running sum x cos depends on the angle and x only: it is formed once per angle,
    // then every row reuses it, which keeps the row loop free of the chain of additions.
    std::vector<double> xCos(static_cast<size_t>(width));
    std::vector<int32_t> bins(xCos.size());
    for (int64_t k = 0; k < height; ++k) {
        double sum = 0.0;
        for (double& entry : xCos) {
            entry = sum;
            sum += geometry.cos[k];
        }
        float* row = out + k * width;
        const int64_t limit = BinLimit(k, width, height);
        double ySin = 0.0;
        for (int64_t y = 0; y < height; ++y) {
            for (int64_t x = 0; x < width; ++x)
                bins[x] = static_cast<int32_t>(geometry.Position(xCos[x] + ySin));
            const float* line = plane + y * width;
            for (int64_t x = 0; x < width; ++x)
                if (bins[x] < limit) row[bins[x]] += line[x];
            ySin += geometry.sin[k];
        }
    }
}

void RadonVote(const float* plane, int64_t width, int64_t height, float* out, std::FILE* raw) {
    const SRadonGeometry geometry(width, height);
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x) {
            const float value = plane[y * width + x];
            if (value == 0.0f) continue;
            for (int64_t k = 0; k < height; ++k) {
                const double position = geometry.Position(static_cast<double>(x) * geometry.cos[k] +
                                                          static_cast<double>(y) * geometry.sin[k]);
                if (raw) std::fprintf(raw, "%f %f\n", static_cast<double>(k), position);
                if (position < static_cast<double>(BinLimit(k, width, height)))
                    out[k * width + static_cast<int64_t>(position)] += value;
            }
        }
}

}  // namespace ORVA
