#pragma once

// Properties of the regions of a label image (label 0 is background), with scikit-image's
// regionprops definitions, coordinates x = column and y = row:
// - area: pixel count; centroid: mean x and y; box: min and max x and y (inclusive).
// - perimeter: scikit-image's perimeter with 4-connectivity: a border pixel of a region is a
//   pixel of it with a 4-neighbour outside it (or outside the image); each border pixel is
//   coded 1 + 2 (border 4-neighbours of the region) + 10 (border diagonal neighbours of the
//   region) and weighs 1 for codes 5, 7, 15, 17, 25, 27, sqrt(2) for 21, 33 and
//   (1 + sqrt(2)) / 2 for 13, 23; the perimeter sums count * weight over the codes in
//   ascending order.
// - equivalent diameter sqrt(4 area / pi).
// - inertia tensor from the central moments (exact in integers, then divided by the area):
//   a = var(x), c = var(y), b = -cov(x, y); orientation 0.5 atan2(-2b, c - a), and when a == c,
//   as scikit-image, -pi/4 for b < 0, else pi/4; eigenvalues (a + c)/2 +- sqrt(((a - c)/2)^2 +
//   b^2), clipped at 0; eccentricity sqrt(1 - l2 / l1) (0 when l1 is 0). scikit-image computes
//   these with floating sums and LAPACK, so they agree to about 1e-12 relative, except where
//   a == c or b == 0 exactly: its rounding then picks the side (pi/4 or -pi/4, pi/2 or -pi/2).
// - mean, minimum and maximum of an intensity plane over the region (when one is given).
// Labels are the integer part of the samples, 0 to 2^31 - 1 (others throw), as sparse as they
// come: memory follows the number of labels present, not their values.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

struct SRegion {
    int64_t label = 0;
    int64_t area = 0;
    double centroidX = 0, centroidY = 0;
    int64_t minX = 0, minY = 0, maxX = 0, maxY = 0;
    double perimeter = 0, equivalentDiameter = 0, orientation = 0, eccentricity = 0;
    double mean = 0, minimum = 0, maximum = 0;
};

namespace Detail {

// What the pixel loop gathers per label.
struct SRegionSums {
    int64_t count = 0, sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
    int64_t minX = 0, minY = 0, maxX = 0, maxY = 0;
    int64_t codes[10] = {};  // border pixels per perimeter code, in PERIMETER_CODES order
    double sum = 0, minimum = 0, maximum = 0;
};

inline constexpr int PERIMETER_CODES[10] = {5, 7, 13, 15, 17, 21, 23, 25, 27, 33};

// The index in PERIMETER_CODES of each code 0 .. 49, or -1.
inline constexpr auto CODE_INDEX = [] {
    std::array<int8_t, 50> index{};
    for (int c = 0; c < 50; ++c) {
        index[size_t(c)] = -1;
        for (int8_t i = 0; i < 10; ++i)
            if (PERIMETER_CODES[i] == c) index[size_t(c)] = i;
    }
    return index;
}();

// 1 << (6 * i) for each code 0 .. 49 whose index in PERIMETER_CODES is i, 0 for the others:
// sums of up to 63 of them hold a count per code.
inline constexpr auto CODE_COUNT = [] {
    std::array<uint64_t, 50> count{};
    for (int c = 0; c < 50; ++c)
        count[size_t(c)] =
            CODE_INDEX[size_t(c)] < 0 ? 0 : uint64_t(1) << (6 * CODE_INDEX[size_t(c)]);
    return count;
}();

// The regions in increasing label order; `labels[i]` is the label of sums[i], and entry 0
// (background) is skipped.
std::vector<SRegion> Finish(const std::vector<SRegionSums>& sums,
                            const std::vector<int64_t>& labels, bool intensity);

template <class L>
int64_t LabelOf(L v) {
    constexpr int64_t LIMIT = int64_t(1) << 31;
    bool valid;
    if constexpr (std::is_floating_point_v<L>)
        valid = v >= 0 && v < static_cast<L>(LIMIT);
    else
        valid = std::cmp_greater_equal(v, 0) && std::cmp_less(v, LIMIT);
    if (!valid) throw CException("Filters::RegionProperties", "labels must be 0 to 2^31 - 1");
    return static_cast<int64_t>(v);
}

// Places for the labels present (place 0 is label 0): a table filled as labels are met when
// the largest label is within a few times the pixel count, a sorted list of the labels
// otherwise, so memory follows the image and not the label values.
class CLabelIndex {
  public:
    // each(visit) calls visit(label) for every label present, in any order, with repeats; it
    // is only used for labels too large for a table.
    template <class F>
    CLabelIndex(F each, int64_t top, int64_t pixels) : m_labels{0} {
        if (top <= std::max<int64_t>(4 * pixels, 1 << 16)) {
            m_table.assign(static_cast<size_t>(top + 1), 0);
            return;
        }
        each([&](int64_t l) {
            if (l != m_labels.back()) m_labels.push_back(l);
        });
        std::sort(m_labels.begin(), m_labels.end());
        m_labels.erase(std::unique(m_labels.begin(), m_labels.end()), m_labels.end());
    }
    int32_t operator()(int64_t label) {
        if (m_table.empty())
            return static_cast<int32_t>(std::lower_bound(m_labels.begin(), m_labels.end(), label) -
                                        m_labels.begin());
        int32_t& place = m_table[static_cast<size_t>(label)];
        if (place == 0 && label != 0) {
            place = static_cast<int32_t>(m_labels.size());
            m_labels.push_back(label);
        }
        return place;
    }
    // The label of each place.
    const std::vector<int64_t>& Labels() const { return m_labels; }

  private:
    std::vector<int64_t> m_labels;
    std::vector<int32_t> m_table;
};

struct SRun {
    int64_t x0, x1;
    int32_t place;
};

// Samples FindRuns may read past the end of a row.
inline constexpr size_t RUN_SLACK = 64;

// The runs of equal non-zero values of row[0 .. w), with `place` set to the value. row[-1]
// must be readable and so must RUN_SLACK samples past the end.
void FindRuns(const int32_t* row, int64_t w, std::vector<SRun>& runs);

// Rows of labels below have a readable sample before and after them.
// f[x] = 1 where id[x] is a label (not 0) with a 4-neighbour of another label.
void BorderFlags(const int32_t* id, const int32_t* up, const int32_t* down, uint8_t* f, int64_t w);

// The perimeter code of each border pixel (0 elsewhere) from the border flags of its row and
// the rows above and below: 1 + 2 (straight neighbours of its own label on the border) + 10
// (such diagonal neighbours).
void PerimeterCodes(const int32_t* id, const int32_t* up, const int32_t* down, const uint8_t* f,
                    const uint8_t* fu, const uint8_t* fd, uint8_t* codes, int64_t w);

// Adds the run of pixels x0 .. x1 - 1 of row y to `s` (its box, count and moments).
void AddRun(SRegionSums& s, int64_t x0, int64_t x1, int64_t y);

}  // namespace Detail

// One entry per label present, in increasing label order. `intensity` may have no data.
template <class L, class I = float>
std::vector<SRegion> RegionProperties(SPlane<const L> labels,
                                      SPlane<const I> intensity = SPlane<const I>{}) {
    CheckPlane(labels, "Filters::RegionProperties");
    const bool measured = intensity.data != nullptr;
    if (measured) CheckSameSize(labels, intensity, "Filters::RegionProperties");
    const int64_t w = labels.width, h = labels.height;
    // The largest label, every label checked.
    int64_t top = 0;
    for (int64_t y = 0; y < h; ++y) {
        const L* row = labels.Row(y);
        L low = 0, high = 0;
        bool valid = true;
        for (int64_t x = 0; x < w; ++x) {
            if constexpr (std::is_floating_point_v<L>) valid &= !std::isnan(row[x]);
            low = std::min(low, row[x]);
            high = std::max(high, row[x]);
        }
        if (!valid) throw CException("Filters::RegionProperties", "labels must be 0 to 2^31 - 1");
        Detail::LabelOf(low);
        top = std::max(top, Detail::LabelOf(high));
    }
    // The labels at every change along the rows: all that are present, few times each.
    auto each = [&](auto visit) {
        for (int64_t y = 0; y < h; ++y) {
            const L* row = labels.Row(y);
            for (int64_t x = 0; x < w; ++x)
                if (x == 0 || row[x] != row[x - 1]) visit(static_cast<int64_t>(row[x]));
        }
    };
    Detail::CLabelIndex index(each, top, w * h);
    std::vector<Detail::SRegionSums> sums;
    sums.reserve(static_cast<size_t>(std::min(top, w * h)) + 1);
    // The labels (as int32) and border flags of four rows: the next row is read while the
    // previous one is in use. Rows have a zero column at each end and a fifth row of zeros
    // stands for the rows outside, so neighbours outside the image are background; the run
    // search may read a little past the last row.
    std::vector<uint8_t> flags(static_cast<size_t>(5 * (w + 2)), 0);
    std::vector<int32_t> ids(static_cast<size_t>(5 * (w + 2) + Detail::RUN_SLACK), 0);
    auto slot = [&](int64_t y) { return (y < 0 || y >= h ? 4 : y % 4) * (w + 2) + 1; };
    auto idRow = [&](int64_t y) { return ids.data() + slot(y); };
    auto flagRow = [&](int64_t y) { return flags.data() + slot(y); };
    // The runs of equal labels of each of those rows, found once as the row is read.
    std::vector<Detail::SRun> runs[4];
    auto fill = [&](int64_t y) {
        const L* row = labels.Row(y);
        int32_t* id = idRow(y);
        for (int64_t x = 0; x < w; ++x)
            id[x] = static_cast<int32_t>(row[x]);
        Detail::FindRuns(id, w, runs[y % 4]);
        for (Detail::SRun& run : runs[y % 4])
            run.place = index(run.place);
    };
    auto border = [&](int64_t y) {
        Detail::BorderFlags(idRow(y), idRow(y - 1), idRow(y + 1), flagRow(y), w);
    };
    std::vector<uint8_t> codes(static_cast<size_t>(w));
    if (h > 0) fill(0);
    if (h > 1) fill(1);
    if (h > 0) border(0);
    for (int64_t y = 0; y < h; ++y) {
        if (y + 2 < h) fill(y + 2);
        if (y + 1 < h) border(y + 1);
        const int32_t *id = idRow(y), *up = idRow(y - 1), *down = idRow(y + 1);
        const uint8_t *f = flagRow(y), *fu = flagRow(y - 1), *fd = flagRow(y + 1);
        const I* value = measured ? intensity.Row(y) : nullptr;
        Detail::PerimeterCodes(id, up, down, f, fu, fd, codes.data(), w);
        sums.resize(index.Labels().size());  // places met by the rows read so far
        for (const Detail::SRun& run : runs[y % 4]) {
            // One run of equal labels at a time: its box and moments in closed form.
            const int64_t x0 = run.x0, x1 = run.x1;
            const int32_t l = run.place;
            Detail::SRegionSums& s = sums[static_cast<size_t>(l)];
            Detail::AddRun(s, x0, x1, y);
            // One pass over the run for the intensity and the perimeter codes, whose counts
            // are packed for up to 63 pixels at a time: no branch per pixel.
            double sum = s.sum, low = s.minimum, high = s.maximum;
            if (measured && s.count == x1 - x0) low = high = static_cast<double>(value[x0]);
            for (int64_t x = x0; x < x1;) {
                const int64_t end = std::min(x1, x + 63);
                uint64_t packed = 0;
                if (measured) {
                    // In pixel order, so the sum rounds as a plain loop over the region's pixels.
                    for (; x < end; ++x) {
                        const double v = static_cast<double>(value[x]);
                        sum += v;
                        low = std::min(low, v);
                        high = std::max(high, v);
                        packed += Detail::CODE_COUNT[codes[x]];
                    }
                } else {
                    for (; x < end; ++x)
                        packed += Detail::CODE_COUNT[codes[x]];
                }
                for (int i = 0; i < 10; ++i)
                    s.codes[i] += static_cast<int64_t>((packed >> (6 * i)) & 63);
            }
            s.sum = sum, s.minimum = low, s.maximum = high;
        }
    }
    return Detail::Finish(sums, index.Labels(), measured);
}

}  // namespace ORVA::Filters
