#pragma once

// Connected-component labelling of grey images, plane by plane, with the numbering the Labeling
// node defines: a two-pass scan gives every foreground pixel a provisional label, an equivalence
// table maps each provisional label k to the smallest label known to be equivalent to it (its
// representative), and the representatives are numbered 1..n in increasing order, which is the
// raster order of the regions' first pixels.
//
// Two routes lead to the labels of that scan:
//  - Where every merge of the scan is an ordinary union (4-neighbourhood, or 8-neighbourhood on
//    a plane whose non-zero pixels all hold one value), the result is plain connected components
//    (in 8-neighbourhood without the link from a pixel in column 0 to its up-right neighbour,
//    which the scan does not look at). They are found run by run with a union-find whose root
//    is always the smallest label.
//  - Otherwise (8-neighbourhood, several values) the scan is replayed pixel by pixel, because its
//    merges also take in the representatives of neighbours of other values. Where such a
//    representative is smaller than the chosen minimum, only the table entries above the minimum
//    change, which splits a class in two; from then on the classes of the plane are kept as
//    treaps keyed by label, which split and join in logarithmic time instead of rewriting the
//    table.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "tarsel.h"

namespace ORVA {

// The equivalence table of one plane. Entry k of the table the scan describes is
// Representative(k); Merge applies one merge step of the scan: every label k above `minimum`
// whose representative is one of `replaced` takes `minimum` as representative.
template <class Index>
class CLabelEquivalence {
  public:
    // Forgets every label but the background label 0.
    void Reset() {
        m_count = 0;
        m_treaps = false;
        m_parent.assign(1, 0);
        m_left.clear();
        m_right.clear();
        m_up.clear();
    }

    Index Count() const noexcept { return m_count; }
    // Whether a merge has split a class since the last Reset.
    bool HasSplit() const noexcept { return m_treaps; }

    Index NewLabel() {
        Index label = ++m_count;
        if (m_treaps) {
            m_left.push_back(0);
            m_right.push_back(0);
            m_up.push_back(0);
        } else {
            m_parent.push_back(label);
        }
        return label;
    }

    Index Representative(Index label) {
        if (label == 0) return 0;
        if (!m_treaps) return Find(label);
        return Leftmost(Root(label));
    }

    // Union of the classes of two labels (only while no class has been split).
    void Join(Index a, Index b) {
        a = Find(a);
        b = Find(b);
        if (a < b)
            m_parent[b] = a;
        else if (b < a)
            m_parent[a] = b;
    }

    // `minimum` and every entry of `replaced` are representatives; 0 and `minimum` itself are
    // ignored among `replaced`.
    void Merge(Index minimum, const Index* replaced, int count) {
        for (int i = 0; i < count; ++i) {
            Index s = replaced[i];
            if (s == 0 || s == minimum) continue;
            if (!m_treaps) {
                // A class above the minimum moves as a whole: an ordinary union.
                if (s > minimum) {
                    m_parent[s] = minimum;
                    continue;
                }
                BuildTreaps();
            }
            TreapMerge(minimum, s);
        }
    }

    // Replaces the table by the final numbers: entry k becomes the number of k's class (0 for
    // the background). Returns the number of classes; Numbers() then holds the entries.
    Index Resolve() {
        Index n = 0;
        if (m_treaps) {
            // The representative of every label, class by class.
            m_parent.assign(static_cast<size_t>(m_count) + 1, 0);
            std::vector<Index> stack;
            for (Index root = 1; root <= m_count; ++root) {
                if (m_up[root] != 0) continue;
                Index representative = Leftmost(root);
                stack.push_back(root);
                while (!stack.empty()) {
                    Index node = stack.back();
                    stack.pop_back();
                    m_parent[node] = representative;
                    if (m_left[node]) stack.push_back(m_left[node]);
                    if (m_right[node]) stack.push_back(m_right[node]);
                }
            }
        }
        // Representatives are never above their labels, so one ascending pass numbers them.
        Index* entry = m_parent.data();
        for (Index k = 1; k <= m_count; ++k) {
            Index representative = entry[k];
            entry[k] = representative == k ? ++n : entry[representative];
        }
        return n;
    }
    const Index* Numbers() const noexcept { return m_parent.data(); }

  private:
    // Path halving keeps every parent below its child.
    Index Find(Index k) {
        Index* parent = m_parent.data();
        while (parent[k] != k) {
            parent[k] = parent[parent[k]];
            k = parent[k];
        }
        return k;
    }

    // ---- treaps: one per class, keyed by label, a max-heap on a hash of the label ----

    static uint64_t Priority(Index k) {
        uint64_t x = static_cast<uint64_t>(k) + 0x9e3779b97f4a7c15ull;
        x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
        x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
        return x ^ (x >> 31);
    }
    static bool Above(Index a, Index b) {
        uint64_t pa = Priority(a), pb = Priority(b);
        return pa != pb ? pa > pb : a > b;
    }

    Index Root(Index node) const {
        while (m_up[node] != 0)
            node = m_up[node];
        return node;
    }
    Index Leftmost(Index node) const {
        while (m_left[node] != 0)
            node = m_left[node];
        return node;
    }
    void SetLeft(Index node, Index child) {
        m_left[node] = child;
        if (child) m_up[child] = node;
    }
    void SetRight(Index node, Index child) {
        m_right[node] = child;
        if (child) m_up[child] = node;
    }

    // The labels of `tree` up to `key`, and those above it.
    std::pair<Index, Index> SplitTree(Index tree, Index key) {
        if (tree == 0) return {0, 0};
        if (tree <= key) {
            auto [low, high] = SplitTree(m_right[tree], key);
            SetRight(tree, low);
            return {tree, high};
        }
        auto [low, high] = SplitTree(m_left[tree], key);
        SetLeft(tree, high);
        return {low, tree};
    }

    // Two trees with disjoint labels as one.
    Index Unite(Index a, Index b) {
        if (a == 0) return b;
        if (b == 0) return a;
        if (Above(b, a)) std::swap(a, b);
        auto [low, high] = SplitTree(b, a);
        SetLeft(a, Unite(m_left[a], low));
        SetRight(a, Unite(m_right[a], high));
        return a;
    }

    void TreapMerge(Index minimum, Index replaced) {
        Index target = Root(minimum);
        Index source = Root(replaced);
        if (target == source) return;  // named twice in one merge, and already moved
        if (replaced > minimum) {
            Index root = Unite(target, source);
            m_up[root] = 0;
            return;
        }
        // Only the labels above the minimum leave the replaced class.
        auto [stay, leave] = SplitTree(source, minimum);
        m_up[stay] = 0;
        Index root = Unite(target, leave);
        m_up[root] = 0;
    }

    // Turns the union-find forest into one treap per class. Labels arrive in ascending order,
    // so each is appended at the right end of its class's treap.
    void BuildTreaps() {
        size_t size = static_cast<size_t>(m_count) + 1;
        m_left.assign(size, 0);
        m_right.assign(size, 0);
        m_up.assign(size, 0);
        std::vector<Index> rightmost(size, 0);
        Index* representative = m_parent.data();
        for (Index k = 1; k <= m_count; ++k) {
            Index parent = representative[k];
            Index r = parent == k ? k : representative[parent];
            representative[k] = r;
            Index node = rightmost[r], below = 0;
            while (node != 0 && Above(k, node)) {
                below = node;
                node = m_up[node];
            }
            SetLeft(k, below);
            m_up[k] = node;
            if (node) m_right[node] = k;
            rightmost[r] = k;
        }
        m_parent.assign(1, 0);
        m_treaps = true;
    }

    Index m_count = 0;
    bool m_treaps = false;
    std::vector<Index> m_parent{0};
    std::vector<Index> m_left, m_right, m_up;
};

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
    if constexpr (sizeof(Out) == 1)
        std::memset(out, value, static_cast<size_t>(count));
    else
        std::fill(out, out + count, value);
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
        bool eight = neighbourhood == 8;
        if (eight && !SingleValue(in, width * height)) {
            result.pixelScan = true;
            result.regions = ScanPixels(in, out, width, height);
            result.split = m_equivalence.HasSplit();
        } else {
            result.regions = ScanRuns(in, out, width, height, eight);
        }
        return result;
    }

  private:
    struct SRun {
        Index begin, end;  // columns [begin, end) of one row, all of one non-zero value
    };

    // Whether all non-zero pixels hold one value (NaN is never that value).
    template <class In>
    static bool SingleValue(const In* in, int64_t pixels) {
        int64_t first = Impl::SkipEqual(in, 0, pixels, In(0));
        if (first == pixels) return true;
        const In value = in[first];
        if (!(value == value)) return false;
        bool other = false;
        for (int64_t i = first; i < pixels; ++i)
            other |= (in[i] != 0) & (in[i] != value);
        return !other;
    }

    template <class In, class Out>
    uint64_t ScanRuns(const In* in, Out* out, int64_t width, int64_t height, bool eight) {
        m_runs.clear();
        m_rows.assign(static_cast<size_t>(height) + 1, 0);
        m_equivalence.Reset();
        size_t previous = 0;
        for (int64_t y = 0; y < height; ++y) {
            const In* row = in + y * width;
            size_t first = m_runs.size();
            m_rows[y] = static_cast<Index>(first);
            for (int64_t x = Impl::SkipEqual(row, 0, width, In(0)); x < width;) {
                int64_t begin = x;
                x = Impl::SkipEqual(row, x + 1, width, row[x]);
                m_runs.push_back({static_cast<Index>(begin), static_cast<Index>(x)});
                m_equivalence.NewLabel();  // run i has label i + 1
                x = Impl::SkipEqual(row, x, width, In(0));
            }
            if (y > 0) JoinRows(row - width, row, previous, first, eight);
            previous = first;
        }
        m_rows[height] = static_cast<Index>(m_runs.size());
        uint64_t regions = m_equivalence.Resolve();
        const Index* numbers = m_equivalence.Numbers();
        for (int64_t y = 0; y < height; ++y) {
            Out* target = out + y * width;
            int64_t x = 0;
            for (Index i = m_rows[y]; i < m_rows[y + 1]; ++i) {
                const SRun& run = m_runs[i];
                Impl::Fill(target + x, static_cast<int64_t>(run.begin) - x, Out(0));
                Impl::Fill(target + run.begin, static_cast<int64_t>(run.end - run.begin),
                           Impl::StoreLabel<Out>(numbers[i + 1]));
                x = run.end;
            }
            Impl::Fill(target + x, width - x, Out(0));
        }
        return regions;
    }

    // Joins the runs of a row with the runs of the row above that touch them: in the same
    // columns, and in 8-neighbourhood also diagonally, except for a run of the single pixel in
    // column 0, whose up-right neighbour the scan does not look at.
    template <class In>
    void JoinRows(const In* above, const In* row, size_t previous, size_t first, bool eight) {
        size_t end = m_runs.size();
        size_t j = previous;
        for (size_t i = first; i < end; ++i) {
            const SRun run = m_runs[i];
            int64_t low = run.begin, high = static_cast<int64_t>(run.end) - 1;
            if (eight) {
                low -= 1;
                if (run.begin != 0 || run.end != 1) high += 1;
            }
            while (j < first && static_cast<int64_t>(m_runs[j].end) <= low)
                ++j;
            const In value = row[run.begin];
            for (size_t k = j; k < first && static_cast<int64_t>(m_runs[k].begin) <= high; ++k)
                if (eight || above[m_runs[k].begin] == value)
                    m_equivalence.Join(static_cast<Index>(i + 1), static_cast<Index>(k + 1));
        }
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

    std::vector<SRun> m_runs;
    std::vector<Index> m_rows;    // first run of each row, and the end of the last
    std::vector<Index> m_labels;  // provisional labels of the pixel scan
    CLabelEquivalence<Index> m_equivalence;
};

// Labels every plane of `in` (size `size`) into `out` and returns the number of regions of the
// last plane. `planes`, when given, receives what each plane found.
template <class In, class Out>
uint64_t LabelImage(const In* in, Out* out, const CSize& size, int neighbourhood,
                    std::vector<SLabelPlane>* planes = nullptr) {
    const int64_t plane = size.x * size.y;
    uint64_t regions = 0;
    auto labelAll = [&](auto labeller) {
        for (int64_t z = 0; z < size.z; ++z) {
            SLabelPlane found =
                labeller.Label(in + z * plane, out + z * plane, size.x, size.y, neighbourhood);
            regions = found.regions;
            if (planes) planes->push_back(found);
        }
    };
    // 32-bit labels while a plane has fewer pixels than they can count.
    if (plane < static_cast<int64_t>(std::numeric_limits<uint32_t>::max()))
        labelAll(CPlaneLabeller<uint32_t>());
    else
        labelAll(CPlaneLabeller<uint64_t>());
    return regions;
}

}  // namespace ORVA
