#pragma once

#include <cstdint>
#include <memory>

#include "support/NodeSupport.h"

namespace ORVA {

// Finds the bounding rectangle of the pixels of the first plane above a threshold.
class CPFindRectangle : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // Inclusive pixel bounds; xmax < xmin when nothing was found.
    struct SRectangle {
        int64_t xmin = 0, xmax = -1, ymin = 0, ymax = -1;
        bool Empty() const { return xmax < xmin || ymax < ymin; }
    };

    // The rectangle of the pixels of the first plane of `image` (any type) that are greater
    // than `threshold` (not NaN) or NaN; colour pixels by the mean of their channels.
    static SRectangle Search(const CImage& image, double threshold, const char* where);
    // One row xmin, xmax, ymin, ymax; -1 four times for an empty rectangle.
    static std::unique_ptr<CImage> Table(const SRectangle& rectangle);

    // The rectangle of a width x height plane of which selected(i) tells the pixels at index i.
    template <class Selected>
    static SRectangle Bounds(int64_t width, int64_t height, Selected&& selected);

  private:
    double m_threshold = 0.0;
};

template <class Selected>
CPFindRectangle::SRectangle CPFindRectangle::Bounds(int64_t width, int64_t height,
                                                    Selected&& selected) {
    SRectangle r{width, -1, height, -1};
    for (int64_t y = 0; y < height; ++y) {
        const int64_t row = y * width;
        int64_t first = 0;
        while (first < width && !selected(row + first))
            ++first;
        if (first == width) continue;
        // Only columns right of the rectangle found so far can widen it.
        int64_t last = width - 1;
        while (last > r.xmax && last > first && !selected(row + last))
            --last;
        r.xmin = std::min(r.xmin, first);
        r.xmax = std::max(r.xmax, last);
        r.ymin = std::min(r.ymin, y);
        r.ymax = y;
    }
    if (r.ymax < 0) return SRectangle{};
    return r;
}

}  // namespace ORVA
