#include "PFindMax.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "ConnectedComponents.h"
#include "InputChecks.h"
#include "LabelValues.h"
#include "TableOutput.h"
#include "Threshold.h"

namespace ORVA {

void CPFindMax::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "LabelImage", "FindMax");
    doc.Brief("Finds the local maxima of an image.",
              "A pixel is a maximum when it is greater than threshold and no pixel within "
              "radius in x and y of the same plane (a square of 2 radius + 1 pixels, clipped "
              "to the image) is greater; NaN pixels are never maxima and never hide one. This "
              "is the pixel where a grey dilation with that square equals the image. Maxima of "
              "one value that touch each other in the 8-neighbourhood form a plateau, which is "
              "reported once, at its first pixel in raster order. With a label image on input "
              "1, only the largest maximum of each label 1 .. n is kept (the first in raster "
              "order among equal ones); maxima on the background are dropped. Label pixels are "
              "read as in ZoneList: IMAGE_GREY_F values truncated toward zero, values below 1 "
              "are background. The maxima are sorted by descending value, equal values in "
              "raster order, and max_count keeps the first ones.");
    doc.Input(0, "Input image of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32 or IMAGE_GREY_F.");
    doc.Input(1,
              "Optional label image of type IMAGE_GREY_F or IMAGE_GREY_8 of the size of input 0.")
        .Optional();
    doc.Output(0,
               "Table of type IMAGE_GREY_F with one row per maximum: label (0 without a label "
               "image), x, y, z, value.");
    doc.Output(1,
               "The same as a vector of maps with \"label\", \"x\", \"y\", \"z\" (longs) and "
               "\"value\" (double).",
               CSetupDocument::PIN_VECTOR);
    doc.Parameter("threshold", m_threshold, "maxima must be greater than this");
    doc.Parameter("radius", m_radius,
                  "half the side of the square a maximum must not be exceeded in; 0 makes every "
                  "pixel above threshold a maximum");
    doc.Parameter("max_count", m_maxCount, "keep only this many of the largest maxima; 0: all");
    doc.Keywords(
        {"local maximum", "maxima", "peak", "peak detection", "non-maximum suppression", "label"});
    doc.SeeAlso("FindBalancePoint, ZoneList");
    doc.WriteTo(setup);
}

void CPFindMax::NodeInit() {
    const CValueMap& parameters = Parameters();
    m_threshold = parameters.EntryDouble("threshold", m_threshold);
    m_radius = parameters.EntryLong("radius", m_radius);
    m_maxCount = parameters.EntryLong("max_count", m_maxCount);
}

namespace MaximumFilter {

namespace {

template <class T>
inline T Clean(T value) {
    if constexpr (std::is_floating_point_v<T>)
        return value == value ? value : Lowest<T>();
    else
        return value;
}

}  // namespace

template <class T>
void FilterRow(const T* row, T* out, int64_t width, int64_t r, T* scratch) {
    if (width <= 0) return;
    r = std::min(r, width - 1);
    if (r <= DIRECT_RADIUS) {
        T* padded = scratch;  // r lowest samples on either side
        std::fill(padded, padded + r, Lowest<T>());
        for (int64_t x = 0; x < width; ++x)
            padded[r + x] = Clean(row[x]);
        std::fill(padded + r + width, padded + 2 * r + width, Lowest<T>());
        for (int64_t x = 0; x < width; ++x)
            out[x] = padded[x];
        for (int64_t k = 1; k <= 2 * r; ++k)
            for (int64_t x = 0; x < width; ++x)
                out[x] = Larger(out[x], padded[x + k]);
        return;
    }
    // Blocks of w = 2r + 1 samples: forward[x] is the maximum from the block's start to x,
    // backward[x] from x to the block's end. A window of w samples spans the end of one block
    // and the start of the next, or one block exactly.
    const int64_t w = 2 * r + 1;
    T* forward = scratch;
    T* backward = scratch + width;
    for (int64_t start = 0; start < width; start += w) {
        const int64_t end = std::min(start + w, width);
        forward[start] = Clean(row[start]);
        for (int64_t x = start + 1; x < end; ++x)
            forward[x] = Larger(forward[x - 1], Clean(row[x]));
        backward[end - 1] = Clean(row[end - 1]);
        for (int64_t x = end - 2; x >= start; --x)
            backward[x] = Larger(backward[x + 1], Clean(row[x]));
    }
    // Clipped on the left, the window starts a block; clipped on the right, it ends at the
    // last block's end.
    const int64_t left = std::min(r + 1, width);
    for (int64_t x = 0; x < left; ++x)
        out[x] = forward[std::min(x + r, width - 1)];
    const int64_t right = std::max(left, width - r);
    for (int64_t x = left; x < right; ++x)
        out[x] = Larger(backward[x - r], forward[x + r]);
    for (int64_t x = right; x < width; ++x) {
        const int64_t lo = x - r;
        out[x] =
            lo / w == (width - 1) / w ? backward[lo] : Larger(backward[lo], forward[width - 1]);
    }
}

template <class T>
void PrepareColumns(T* plane, T* forward, int64_t width, int64_t height, int64_t r) {
    r = std::min(r, height - 1);
    if (r <= DIRECT_RADIUS) return;
    const int64_t w = 2 * r + 1;
    for (int64_t start = 0; start < height; start += w) {
        const int64_t end = std::min(start + w, height);
        std::copy(plane + start * width, plane + (start + 1) * width, forward + start * width);
        for (int64_t y = start + 1; y < end; ++y) {
            const T* before = forward + (y - 1) * width;
            const T* row = plane + y * width;
            T* out = forward + y * width;
            for (int64_t x = 0; x < width; ++x)
                out[x] = Larger(before[x], row[x]);
        }
        for (int64_t y = end - 2; y >= start; --y) {
            const T* after = plane + (y + 1) * width;
            T* row = plane + y * width;
            for (int64_t x = 0; x < width; ++x)
                row[x] = Larger(after[x], row[x]);
        }
    }
}

template <class T>
void FilterColumn(const T* plane, const T* forward, int64_t width, int64_t height, int64_t r,
                  int64_t y, T* out) {
    r = std::min(r, height - 1);
    auto row = [&](const T* base, int64_t q) { return base + q * width; };
    auto larger = [&](const T* a, const T* b) {
        for (int64_t x = 0; x < width; ++x)
            out[x] = Larger(a[x], b[x]);
    };
    if (r <= DIRECT_RADIUS) {
        const int64_t lo = std::max<int64_t>(0, y - r), hi = std::min(height - 1, y + r);
        std::copy(row(plane, lo), row(plane, lo) + width, out);
        for (int64_t q = lo + 1; q <= hi; ++q)
            larger(out, row(plane, q));
        return;
    }
    const int64_t w = 2 * r + 1, lo = y - r, hi = y + r;
    if (lo <= 0) {
        const T* only = row(forward, std::min(hi, height - 1));
        std::copy(only, only + width, out);
    } else if (hi >= height - 1 && lo / w == (height - 1) / w) {
        std::copy(row(plane, lo), row(plane, lo) + width, out);
    } else {
        larger(row(plane, lo), row(forward, std::min(hi, height - 1)));
    }
}

}  // namespace MaximumFilter

template <class T>
std::vector<CPFindMax::SPeak> CPFindMax::Maxima(const T* data, const CSize& size, int64_t radius,
                                                double threshold) {
    using namespace MaximumFilter;
    std::vector<SPeak> peaks;
    const int64_t width = size.x, height = size.y, planePixels = width * height;
    const CAbove<T> above(threshold);
    if (planePixels == 0 || above.None()) return peaks;
    const int64_t rx = std::min(radius, width - 1), ry = std::min(radius, height - 1);
    // The row maxima of a plane, and the forward block maxima where they are needed.
    auto rows = std::make_unique_for_overwrite<T[]>(static_cast<size_t>(planePixels));
    auto forward = std::make_unique_for_overwrite<T[]>(
        static_cast<size_t>(ry > DIRECT_RADIUS ? planePixels : 0));
    std::vector<T> scratch(static_cast<size_t>(2 * (width + 2 * rx))), column(width);
    // Candidate bytes, read eight at a time; the padding stays 0.
    std::vector<uint8_t> candidate(static_cast<size_t>(width + 8), 0);
    // The plateau of every candidate of this row and the one above; 0 elsewhere.
    std::vector<uint32_t> previous(width), current(width);
    CLabelEquivalence<uint32_t> plateaus;
    std::vector<SPeak> firsts;  // the first pixel of each provisional plateau

    for (int64_t z = 0; z < size.z; ++z) {
        const T* plane = data + z * planePixels;
        for (int64_t y = 0; y < height; ++y)
            FilterRow(plane + y * width, rows.get() + y * width, width, rx, scratch.data());
        PrepareColumns(rows.get(), forward.get(), width, height, ry);
        plateaus.Reset();
        firsts.clear();
        std::fill(previous.begin(), previous.end(), 0);
        for (int64_t y = 0; y < height; ++y) {
            FilterColumn(rows.get(), forward.get(), width, height, ry, y, column.data());
            const T* line = plane + y * width;
            const T* up = y > 0 ? line - width : line;
            for (int64_t x = 0; x < width; ++x)
                candidate[x] = (line[x] >= column[x]) & above(line[x]);
            std::fill(current.begin(), current.end(), 0);
            for (int64_t x = 0; x < width; ++x) {
                uint64_t eight;
                std::memcpy(&eight, candidate.data() + x, 8);
                if (eight == 0) {
                    x += 7;
                    continue;
                }
                if (!candidate[x]) continue;
                // Candidates that touch and hold the same value join one plateau; its
                // smallest provisional number is the first pixel in raster order.
                const T v = line[x];
                uint32_t root = 0;
                auto link = [&](uint32_t neighbour, T value) {
                    if (neighbour == 0 || value != v) return;
                    root = root ? plateaus.JoinRoot(root, neighbour)
                                : plateaus.Representative(neighbour);
                };
                if (x > 0) link(current[x - 1], line[x - 1]);
                if (y > 0) {
                    if (x > 0) link(previous[x - 1], up[x - 1]);
                    link(previous[x], up[x]);
                    if (x + 1 < width) link(previous[x + 1], up[x + 1]);
                }
                if (!root) {
                    root = plateaus.NewLabel();
                    firsts.push_back({z * planePixels + y * width + x, static_cast<double>(v)});
                }
                current[x] = root;
            }
            std::swap(previous, current);
        }
        for (uint32_t k = 1; k <= plateaus.Count(); ++k)
            if (plateaus.Representative(k) == k) peaks.push_back(firsts[k - 1]);
    }
    return peaks;
}

template std::vector<CPFindMax::SPeak> CPFindMax::Maxima(const uint8_t*, const CSize&, int64_t,
                                                         double);
template std::vector<CPFindMax::SPeak> CPFindMax::Maxima(const uint16_t*, const CSize&, int64_t,
                                                         double);
template std::vector<CPFindMax::SPeak> CPFindMax::Maxima(const uint32_t*, const CSize&, int64_t,
                                                         double);
template std::vector<CPFindMax::SPeak> CPFindMax::Maxima(const float*, const CSize&, int64_t,
                                                         double);

namespace {

const char* const WHERE = "(utility plugins) FindMax::Run";

struct SFound {
    int64_t label;
    CPFindMax::SPeak peak;
};

// The largest maximum of each label 1 .. n, the first of equal ones (maxima come in raster
// order).
template <class L>
std::vector<SFound> LargestPerLabel(const std::vector<CPFindMax::SPeak>& peaks, const L* labels,
                                    int64_t pixels) {
    const int64_t maxLabel = MaxLabel(labels, pixels);
    if (maxLabel > MAX_LABEL)
        throw CException(
            WHERE, CString("label %1 is too large (at most %2)").Arg(maxLabel).Arg(MAX_LABEL));
    std::vector<int64_t> best(static_cast<size_t>(maxLabel), -1);
    for (size_t i = 0; i < peaks.size(); ++i) {
        const int64_t label = LabelOf(labels[peaks[i].index]);
        if (label == NO_LABEL || label > maxLabel) continue;
        int64_t& b = best[static_cast<size_t>(label - 1)];
        if (b < 0 || peaks[i].value > peaks[static_cast<size_t>(b)].value)
            b = static_cast<int64_t>(i);
    }
    std::vector<SFound> found;
    for (size_t k = 0; k < best.size(); ++k)
        if (best[k] >= 0)
            found.push_back({static_cast<int64_t>(k) + 1, peaks[static_cast<size_t>(best[k])]});
    return found;
}

}  // namespace

void CPFindMax::Run() {
    const CImage* input = ImageOnPin(*this, 0, WHERE);
    RequireType(*input, 0, {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F}, WHERE);
    const CImage* labels = ImageOnPin(*this, 1, WHERE, true);
    if (labels) {
        RequireType(*labels, 1, {IMAGE_GREY_F, IMAGE_GREY_8}, WHERE);
        RequireSizeOfFirst(*labels, 1, input->Size(), WHERE);
    }
    if (m_radius < 0)
        throw CException(WHERE, CString("radius must be 0 or more, but it is %1").Arg(m_radius));
    if (std::isnan(m_threshold)) throw CException(WHERE, "threshold is NaN, not a number");
    const CSize size = input->Size();
    if (size.x * size.y >= int64_t(UINT32_MAX))
        throw CException(WHERE,
                         CString("planes of %1 x %2 pixels are too large").Arg(size.x).Arg(size.y));

    std::vector<SFound> found;
    try {
        std::vector<SPeak> peaks;
        using Id = IImage::CType;
        DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_F>(
            input->Type(), [&]<class T>(std::type_identity<T>) {
                peaks = Maxima(input->Data<T>(), size, m_radius, m_threshold);
            });
        if (!labels) {
            found.reserve(peaks.size());
            for (const SPeak& peak : peaks)
                found.push_back({0, peak});
        } else {
            DispatchType<Id::GREY_F, Id::GREY_8>(
                labels->Type(), [&]<class L>(std::type_identity<L>) {
                    found = LargestPerLabel(peaks, labels->Data<L>(), labels->Pixels());
                });
        }
    } catch (const std::bad_alloc&) {
        throw CException(
            WHERE, CString("not enough memory to search an image of size %1").Arg(size.ToString()));
    }

    auto stronger = [](const SFound& a, const SFound& b) {
        return a.peak.value != b.peak.value ? a.peak.value > b.peak.value
                                            : a.peak.index < b.peak.index;
    };
    if (m_maxCount > 0 && static_cast<size_t>(m_maxCount) < found.size()) {
        std::partial_sort(found.begin(), found.begin() + m_maxCount, found.end(), stronger);
        found.resize(static_cast<size_t>(m_maxCount));
    } else {
        std::sort(found.begin(), found.end(), stronger);
    }

    const std::vector<SField> fields = {
        {"label", true}, {"x", true}, {"y", true}, {"z", true}, {"value", false}};
    const int64_t planePixels = size.x * size.y;
    auto fill = [&](int64_t i, double* cells) {
        const SFound& f = found[static_cast<size_t>(i)];
        const int64_t index = f.peak.index;
        cells[0] = static_cast<double>(f.label);
        cells[1] = static_cast<double>(index % size.x);
        cells[2] = static_cast<double>(index % planePixels / size.x);
        cells[3] = static_cast<double>(index / planePixels);
        cells[4] = f.peak.value;
    };
    const int64_t n = static_cast<int64_t>(found.size());
    std::unique_ptr<CValueVector> records;
    if (HasStackOutput(1)) records = TableRecords(fields, n, fill);
    SetStackOutput(0, OwnedImage(TableImage(fields, n, fill)));
    if (records) SetStackOutput(1, std::move(records));
}

}  // namespace ORVA
