#pragma once

// Connected-component labelling of grey planes, with the numbering of the Labeling node: a
// two-pass scan gives every foreground pixel a provisional label, an equivalence table maps
// each provisional label to its representative (see LabelEquivalence.h), and the
// representatives are numbered 1..n in increasing order, which is the raster order of the
// regions' first pixels.
//
// Two routes lead to the labels of that scan:
//  - Where every merge of the scan is an ordinary union (4-neighbourhood, or 8-neighbourhood on
//    a plane whose non-zero pixels all hold one value), the result is plain connected components
//    (in 8-neighbourhood without the link from a pixel in column 0 to its up-right neighbour,
//    which the scan does not look at). They are found run by run with a union-find whose root
//    is always the smallest label.
//  - Otherwise (8-neighbourhood, several values) the scan is replayed pixel by pixel, because its
//    merges also take in the representatives of neighbours of other values.
//
// The interface: a plane (or a stack of planes) of samples In is labelled into labels stored as
// Out (byte labels keep their low 8 bits), with the neighbourhood 4 or 8.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "algorithms/LabelEquivalence.h"
#include "image/Geometry.h"

namespace ORVA {

// What labelling one plane found.
struct SLabelPlane {
    uint64_t regions = 0;
    bool pixelScan = false;  // replayed pixel by pixel (8-neighbourhood, several values)
    bool split = false;      // and a merge split a class
};

namespace Impl {

// The first position from `x` on whose sample differs from `value` (NaN differs from all).
template <class T>
inline int64_t SkipEqual(const T* row, int64_t x, int64_t width, T value) {
    if constexpr (std::is_same_v<T, uint8_t> && std::endian::native == std::endian::little) {
        const uint64_t pattern = 0x0101010101010101ull * value;
        for (; x + 8 <= width; x += 8) {
            uint64_t word;
            std::memcpy(&word, row + x, 8);
            if (uint64_t diff = word ^ pattern) return x + (std::countr_zero(diff) >> 3);
        }
    }
    while (x < width && row[x] == value)
        ++x;
    return x;
}

template <class Out, class Index>
inline Out StoreLabel(Index label) {
    // Byte images keep the low 8 bits of a label.
    return static_cast<Out>(label);
}

template <class Out>
inline void Fill(Out* out, int64_t count, Out value) {
    // Runs are often a few pixels long: short ones without a call.
    if (count <= 16) {
        for (int64_t i = 0; i < count; ++i)
            out[i] = value;
    } else if constexpr (sizeof(Out) == 1) {
        std::memset(out, value, static_cast<size_t>(count));
    } else {
        std::fill(out, out + count, value);
    }
}

}  // namespace Impl

// Labels the planes of one image; its buffers are kept from plane to plane.
template <class Index>
class CPlaneLabeller {
  public:
    // Labels the width x height plane `in` into `out` (every pixel is written).
    template <class In, class Out>
    SLabelPlane Label(const In* in, Out* out, int64_t width, int64_t height, int neighbourhood) {
        SLabelPlane result;
        if (width <= 0 || height <= 0) return result;
        if (ScanRuns(in, width, height, neighbourhood == 8)) {
            result.regions = WriteRuns(out, width, height);
        } else {
            result.pixelScan = true;
            result.regions = ScanPixels(in, out, width, height);
            result.split = m_equivalence.HasSplit();
        }
        return result;
    }

  private:
    struct SRun {
        Index begin, end;  // columns [begin, end) of one row, all of one non-zero value
    };

    // Gives every run a label, in raster order, and joins the runs that touch. In
    // 8-neighbourhood this holds only for a plane whose non-zero pixels all have one value
    // (NaN is never that value); on another plane it stops and returns false.
    template <class In>
    bool ScanRuns(const In* in, int64_t width, int64_t height, bool eight) {
        m_equivalence.Reset();
        m_runCount = 0;
        m_rowEnds.resize(static_cast<size_t>(height));
        bool first = true;
        In single = 0;
        size_t above = 0;
        for (int64_t y = 0; y < height; ++y) {
            const In* row = in + y * width;
            const size_t begin = m_runCount;
            // A row has at most `width` runs.
            if (m_runCapacity - begin < static_cast<size_t>(width)) GrowRuns(begin + width);
            const size_t count = FindRuns(row, width, m_runs.get() + begin);
            if (eight) {
                for (size_t i = begin; i < begin + count; ++i) {
                    const In value = row[m_runs[i].begin];
                    if (value == single) continue;
                    if (!first || !(value == value)) return false;
                    single = value;
                    first = false;
                }
            }
            m_runCount += count;
            m_equivalence.NewLabels(static_cast<Index>(count));  // run i has label i + 1
            m_rowEnds[y] = static_cast<Index>(m_runCount);
            if (y > 0) JoinRows(row - width, row, above, begin, eight);
            above = begin;
        }
        return true;
    }

    // The runs of one row, left to right; returns their number. `runs` has room for `width`.
    template <class In>
    static size_t FindRuns(const In* row, int64_t width, SRun* runs) {
        if constexpr (std::is_same_v<In, uint8_t> && std::endian::native == std::endian::little)
            return FindByteRuns(row, width, runs);
        size_t count = 0;
        for (int64_t x = Impl::SkipEqual(row, 0, width, In(0)); x < width;) {
            const int64_t start = x;
            x = Impl::SkipEqual(row, x + 1, width, row[x]);
            runs[count++] = {static_cast<Index>(start), static_cast<Index>(x)};
            x = Impl::SkipEqual(row, x, width, In(0));
        }
        return count;
    }

    // Bytes, eight at a time: every position whose byte differs from the one before ends the
    // open run, if any, and opens one if its byte is not 0.
    static size_t FindByteRuns(const uint8_t* row, int64_t width, SRun* runs) {
        constexpr uint64_t LOW7 = 0x7f7f7f7f7f7f7f7full, HIGH = 0x8080808080808080ull;
        size_t count = 0;
        size_t open = 0;
        auto change = [&](int64_t x) {
            runs[count].end = static_cast<Index>(x);
            count += open;
            open = row[x] != 0;
            runs[count].begin = static_cast<Index>(x);
        };
        uint64_t before = 0;  // the byte before the word
        int64_t x = 0;
        for (; x + 8 <= width; x += 8) {
            uint64_t word;
            std::memcpy(&word, row + x, 8);
            const uint64_t diff = word ^ ((word << 8) | before);
            uint64_t changes = (((diff & LOW7) + LOW7) | diff) & HIGH;
            while (changes) {
                change(x + (std::countr_zero(changes) >> 3));
                changes &= changes - 1;
            }
            before = word >> 56;
        }
        for (; x < width; ++x)
            if (row[x] != (x > 0 ? row[x - 1] : 0)) change(x);
        if (open) runs[count++].end = static_cast<Index>(width);
        return count;
    }

    // Joins the runs of a row (from `begin` on) with the runs of the row above (from `above`
    // to `begin`) that touch them: in the same columns, and in 8-neighbourhood also
    // diagonally, except for a run of the single pixel in column 0, whose up-right neighbour
    // the scan does not look at.
    template <class In>
    void JoinRows(const In* upper, const In* row, size_t above, size_t begin, bool eight) {
        const SRun* runs = m_runs.get();
        const size_t end = m_runCount;
        size_t j = above;
        for (size_t i = begin; i < end; ++i) {
            const SRun run = runs[i];
            int64_t low = run.begin, high = static_cast<int64_t>(run.end) - 1;
            if (eight) {
                low -= 1;
                if (run.begin != 0 || run.end != 1) high += 1;
            }
            while (j < begin && static_cast<int64_t>(runs[j].end) <= low)
                ++j;
            const In value = row[run.begin];
            Index root = static_cast<Index>(i + 1);  // a new run is its own root
            for (size_t k = j; k < begin && static_cast<int64_t>(runs[k].begin) <= high; ++k)
                if (eight || upper[runs[k].begin] == value)
                    root = m_equivalence.JoinRoot(root, static_cast<Index>(k + 1));
        }
    }

    template <class Out>
    uint64_t WriteRuns(Out* out, int64_t width, int64_t height) {
        uint64_t regions = m_equivalence.Resolve();
        const Index* numbers = m_equivalence.Numbers();
        const SRun* runs = m_runs.get();
        size_t i = 0;
        for (int64_t y = 0; y < height; ++y) {
            Out* target = out + y * width;
            std::fill(target, target + width, Out(0));
            for (; i < m_rowEnds[y]; ++i) {
                const SRun run = runs[i];
                Impl::Fill(target + run.begin, static_cast<int64_t>(run.end - run.begin),
                           Impl::StoreLabel<Out>(numbers[i + 1]));
            }
        }
        return regions;
    }

    // The scan of the 8-neighbourhood, pixel by pixel.
    template <class In, class Out>
    uint64_t ScanPixels(const In* in, Out* out, int64_t width, int64_t height) {
        const int64_t pixels = width * height;
        m_labels.resize(static_cast<size_t>(pixels));
        Index* labels = m_labels.data();
        CLabelEquivalence<Index>& table = m_equivalence;
        table.Reset();

        for (int64_t x = 0; x < width; ++x) {
            const In v = in[x];
            if (v == 0)
                labels[x] = 0;
            else if (x > 0 && v == in[x - 1])
                labels[x] = labels[x - 1];
            else
                labels[x] = table.NewLabel();
        }

        // Merges `a` and `b` when they differ: the smaller representative wins.
        auto mergeTwo = [&](Index a, Index b) {
            if (a < b)
                table.Merge(a, &b, 1);
            else if (b < a)
                table.Merge(b, &a, 1);
        };

        for (int64_t y = 1; y < height; ++y) {
            const In* up = in + (y - 1) * width;
            const In* cur = in + y * width;
            const Index* lu = labels + (y - 1) * width;
            Index* lc = labels + y * width;

            {  // column 0: up, and up-right only when up is equal
                const In v = cur[0];
                if (v == 0) {
                    lc[0] = 0;
                } else if (v != up[0]) {
                    lc[0] = table.NewLabel();
                } else {
                    lc[0] = lu[0];
                    if (width > 1 && v == up[1] && lu[1] != lc[0])
                        mergeTwo(table.Representative(lc[0]), table.Representative(lu[1]));
                }
            }
            if (width == 1) continue;

            const int64_t last = width - 1;
            for (int64_t x = 1; x < last; ++x) {
                const In v = cur[x];
                if (v == 0) {
                    lc[x] = 0;
                    continue;
                }
                const bool eqUl = v == up[x - 1], eqU = v == up[x], eqUr = v == up[x + 1];
                if (v == cur[x - 1]) {
                    const Index l = lc[x] = lc[x - 1];
                    if ((eqUl && lu[x - 1] != l) || (eqU && lu[x] != l) ||
                        (eqUr && lu[x + 1] != l)) {
                        Index r[4] = {table.Representative(l), table.Representative(lu[x - 1]),
                                      table.Representative(lu[x]), table.Representative(lu[x + 1])};
                        const bool equal[4] = {true, eqUl, eqU, eqUr};
                        MergeMinimum(r, equal, 4);
                    }
                } else if (eqUl) {
                    const Index l = lc[x] = lu[x - 1];
                    if ((eqU && lu[x] != l) || (eqUr && lu[x + 1] != l)) {
                        Index r[3] = {table.Representative(l), table.Representative(lu[x]),
                                      table.Representative(lu[x + 1])};
                        const bool equal[3] = {true, eqU, eqUr};
                        MergeMinimum(r, equal, 3);
                    }
                } else if (eqU) {
                    const Index l = lc[x] = lu[x];
                    if (eqUr && lu[x + 1] != l)
                        mergeTwo(table.Representative(l), table.Representative(lu[x + 1]));
                } else if (eqUr) {
                    lc[x] = lu[x + 1];
                } else {
                    lc[x] = table.NewLabel();
                }
            }

            {  // the last column: left, up-left and up
                const In v = cur[last];
                if (v == 0) {
                    lc[last] = 0;
                } else {
                    const bool eqUl = v == up[last - 1], eqU = v == up[last];
                    if (v == cur[last - 1]) {
                        const Index l = lc[last] = lc[last - 1];
                        if ((eqUl && lu[last - 1] != l) || (eqU && lu[last] != l)) {
                            Index r[3] = {table.Representative(l),
                                          table.Representative(lu[last - 1]),
                                          table.Representative(lu[last])};
                            const bool equal[3] = {true, eqUl, eqU};
                            MergeMinimum(r, equal, 3);
                        }
                    } else if (eqUl) {
                        const Index l = lc[last] = lu[last - 1];
                        if (eqU && lu[last] != l)
                            mergeTwo(table.Representative(l), table.Representative(lu[last]));
                    } else if (eqU) {
                        lc[last] = lu[last];
                    } else {
                        lc[last] = table.NewLabel();
                    }
                }
            }
        }

        uint64_t regions = table.Resolve();
        const Index* numbers = table.Numbers();
        for (int64_t i = 0; i < pixels; ++i)
            out[i] = Impl::StoreLabel<Out>(numbers[labels[i]]);
        return regions;
    }

    // The merge step over the representatives r[0..count): the minimum starts at r[0] and is
    // taken over by a later one of equal value that is smaller; all others are replaced,
    // whatever their values.
    void MergeMinimum(Index* r, const bool* equal, int count) {
        int chosen = 0;
        for (int i = 1; i < count; ++i)
            if (equal[i] && r[i] < r[chosen]) chosen = i;
        Index minimum = r[chosen];
        std::swap(r[chosen], r[count - 1]);
        m_equivalence.Merge(minimum, r, count - 1);
    }

    void GrowRuns(size_t needed) {
        size_t capacity = std::max(needed, 2 * m_runCapacity);
        std::unique_ptr<SRun[]> runs(new SRun[capacity]);
        std::copy(m_runs.get(), m_runs.get() + m_runCount, runs.get());
        m_runs = std::move(runs);
        m_runCapacity = capacity;
    }

    std::unique_ptr<SRun[]> m_runs;  // the runs of the plane, row by row
    size_t m_runCount = 0, m_runCapacity = 0;
    std::vector<Index> m_rowEnds;  // the end of each row's runs in m_runs
    std::vector<Index> m_labels;   // provisional labels of the pixel scan
    CLabelEquivalence<Index> m_equivalence;
};

// Labels every plane of an image, keeping its working memory from one image to the next.
class CLabeller {
  public:
    // Labels `in` (size `size`) into `out` and returns the number of regions of the last
    // plane. `planes`, when given, receives what each plane found.
    template <class In, class Out>
    uint64_t Label(const In* in, Out* out, const CSize& size, int neighbourhood,
                   std::vector<SLabelPlane>* planes = nullptr) {
        const int64_t plane = size.x * size.y;
        uint64_t regions = 0;
        auto labelAll = [&](auto& labeller) {
            for (int64_t z = 0; z < size.z; ++z) {
                SLabelPlane found =
                    labeller.Label(in + z * plane, out + z * plane, size.x, size.y, neighbourhood);
                regions = found.regions;
                if (planes) planes->push_back(found);
            }
        };
        // 32-bit labels while a plane has fewer pixels than they can count.
        if (plane < static_cast<int64_t>(std::numeric_limits<uint32_t>::max()))
            labelAll(m_narrow);
        else
            labelAll(m_wide);
        return regions;
    }

  private:
    CPlaneLabeller<uint32_t> m_narrow;
    CPlaneLabeller<uint64_t> m_wide;
};

template <class In, class Out>
uint64_t LabelImage(const In* in, Out* out, const CSize& size, int neighbourhood,
                    std::vector<SLabelPlane>* planes = nullptr) {
    CLabeller labeller;
    return labeller.Label(in, out, size, neighbourhood, planes);
}

}  // namespace ORVA
