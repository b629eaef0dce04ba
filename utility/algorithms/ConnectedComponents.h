#pragma once

// Connected-component labelling of grey planes, with the numbering of the Labeling node: a
// first pass gives every foreground pixel (or block) a provisional label, a union-find whose
// roots are the smallest labels joins the labels of one region, and the second pass numbers
// the regions 1..n in the raster order of their first pixels.
//
// Four scans:
//  - A plane whose non-zero pixels all hold one value and form long runs: the runs of each row
//    are found 64 pixels at a time and joined to the runs above that they touch (in the
//    8-neighbourhood without the link of a lone pixel in column 0 to its up-right neighbour);
//    the second pass finds them again and fills each with its number.
//  - 4-neighbourhood otherwise: connected components of equal values, pixel by pixel, with
//    a decision tree that skips the unions that are already known (left and up joined through
//    up-left). The second pass replays the first one's choices row by row instead of storing
//    a label per pixel, so it needs no memory beyond two rows and the table.
//  - 8-neighbourhood on other planes whose non-zero pixels all hold one value: 8-connected
//    components (without the link from a pixel in column 0 to its up-right neighbour, which the
//    scan does not look at), found on 2 x 2 blocks whose foreground is always connected (but in
//    column 0, see LabelBlockRow). A table over the sixteen pixels that decide them gives each
//    block's action. The block labels wait in the output's own memory for the second pass,
//    which numbers a region where its first pixel is met.
//  - Otherwise (8-neighbourhood, several values) the scan is replayed pixel by pixel, because
//    its merges also take in the representatives of neighbours of other values.
//
// The interface: a plane (or a stack of planes) of samples In is labelled into labels stored as
// Out (byte labels keep their low 8 bits), with the neighbourhood 4 or 8.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>
#if defined(__SSE2__)
#include <emmintrin.h>
#include <xmmintrin.h>
#endif
#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

template <class Out, class Index>
inline Out StoreLabel(Index label) {
    // Byte images keep the low 8 bits of a label. 32-bit labels stay below 2^31 and convert to
    // float faster, eight at a time in loops, as signed numbers.
    if constexpr (std::is_floating_point_v<Out> && std::is_same_v<Index, uint32_t>)
        return static_cast<Out>(static_cast<int32_t>(label));
    else
        return static_cast<Out>(label);
}

// The action of a 2 x 2 block X on the sixteen pixels that decide it, with P, Q, R the blocks
// up-left, up and up-right and S the block to the left:
//        pt qa qb ra
//     pc p  q0 q1 r0
//     sa s0 a  b
//        s1 c  d
// The index holds four bits per column (two rows up, one up, top, bottom): bits 0..3 the
// column of a, 4..7 that of b, 8..11 that of s0, then pc, sa and ra, r0. An action is 0 for a
// background block, NEW_LABEL for a block that touches no labelled block, and otherwise up to
// three blocks (1 P, 2 Q, 3 R, 4 S, three bits each): X takes the label of the first and joins
// the others. Neighbours that touch each other through these pixels are joined already and
// named once.
constexpr uint16_t NEW_LABEL = 1u << 9;

inline const uint16_t* BlockActions() {
    static const std::vector<uint16_t> actions = [] {
        std::vector<uint16_t> table(1u << 16);
        for (unsigned mask = 0; mask < table.size(); ++mask) {
            auto bit = [&](int i) { return (mask >> i & 1u) != 0; };
            const bool qa = bit(0), q0 = bit(1), a = bit(2), c = bit(3), qb = bit(4), q1 = bit(5),
                       b = bit(6), d = bit(7), pt = bit(8), p = bit(9), s0 = bit(10), s1 = bit(11),
                       pc = bit(12), sa = bit(13), ra = bit(14), r0 = bit(15);
            if (!(a || b || c || d)) continue;
            // Touching X: index 1 P, 2 Q, 3 R, 4 S.
            const bool touches[5] = {false, a && p, (a || b) && (q0 || q1), b && r0,
                                     (a || c) && (s0 || s1)};
            int group[5] = {0, 1, 2, 3, 4};
            auto join = [&](int i, int j) {
                const int from = group[j], to = group[i];
                for (int& g : group)
                    if (g == from) g = to;
            };
            if ((pt || p) && (qa || q0)) join(1, 2);
            if ((qb || q1) && (ra || r0)) join(2, 3);
            if ((sa || s0) && (pc || p)) join(1, 4);
            if (s0 && q0) join(2, 4);
            unsigned action = 0, shift = 0;
            bool taken[5] = {};
            for (int i : {4, 2, 1, 3}) {  // S first: a row of blocks shares one label
                if (!touches[i] || taken[group[i]]) continue;
                taken[group[i]] = true;
                action |= static_cast<unsigned>(i) << shift;
                shift += 3;
            }
            table[mask] = static_cast<uint16_t>(action ? action : NEW_LABEL);
        }
        return table;
    }();
    return actions.data();
}

// Float label images this large bypass the cache on their way to memory: they would not stay
// in it, and streaming saves reading each line before it is overwritten. Smaller ones stay in
// the cache for the node that reads them next.
constexpr int64_t STREAMING_BYTES = int64_t(32) << 20;

inline bool Large(int64_t width, int64_t height) {
    return width * height * int64_t(sizeof(float)) >= STREAMING_BYTES;
}

// Whether a large image's rows of `width` floats from `out` on can be written with aligned
// streaming stores.
inline bool Streams(const void* out, int64_t width, int64_t height) {
#if defined(__SSE2__)
    return Large(width, height) && reinterpret_cast<uintptr_t>(out) % 16 == 0 && width % 4 == 0;
#else
    return false;
#endif
}

// Writes a row of runs into `line`, which has room for three samples past `width`: runs i <
// count from runs[0][i] to runs[1][i] (past their last pixels) hold runs[2][i], the rest 0.
// Each stretch is written four samples at a time from its start, spilling over into the next
// one, which is written after it.
template <class Index>
void FillRuns(float* line, const Index* const runs[3], int64_t count, int64_t width) {
    auto fill = [line](int64_t from, int64_t to, float value) {
#if defined(__SSE2__)
        const __m128 v = _mm_set1_ps(value);
        for (; from < to; from += 4)
            _mm_storeu_ps(line + from, v);
#else
        std::fill(line + from, line + to, value);
#endif
    };
    int64_t x = 0;
    for (int64_t i = 0; i < count; ++i) {
        fill(x, runs[0][i], 0.0f);
        x = runs[1][i];
        fill(runs[0][i], x, StoreLabel<float>(runs[2][i]));
    }
    fill(x, width, 0.0f);
}

// Copies a row of floats to `to`, aligned as Streams checked, bypassing the cache.
inline void StreamRow(const float* from, float* to, int64_t width) {
    int64_t x = 0;
#if defined(__SSE2__)
    for (; x + 4 <= width; x += 4)
        _mm_stream_ps(to + x, _mm_loadu_ps(from + x));
    _mm_sfence();
#endif
    std::memcpy(to + x, from + x, static_cast<size_t>(width - x) * sizeof(float));
}

#if defined(__x86_64__)
// Float labels from integer block numbers, sixteen pixels (eight blocks) at a time: each number
// is converted once and written to both pixels of its block where they are non-zero.
template <bool STREAM, class In>
__attribute__((target("avx2"))) int64_t SpreadFloatsWide(const In* row, const int32_t* numbers,
                                                         float* target, int64_t width) {
    int64_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m256 n = _mm256_cvtepi32_ps(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(numbers + x / 2)));
        // Lanes n0 n0 n1 n1 | n4 n4 n5 n5 and n2 n2 n3 n3 | n6 n6 n7 n7.
        const __m256 low = _mm256_unpacklo_ps(n, n), high = _mm256_unpackhi_ps(n, n);
        __m256 offLow, offHigh;
        if constexpr (std::is_same_v<In, float>) {
            const __m256 zero = _mm256_setzero_ps();
            offLow = _mm256_cmp_ps(_mm256_loadu_ps(row + x), zero, _CMP_EQ_OQ);
            offHigh = _mm256_cmp_ps(_mm256_loadu_ps(row + x + 8), zero, _CMP_EQ_OQ);
        } else {
            const __m128i off = _mm_cmpeq_epi8(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x)), _mm_setzero_si128());
            offLow = _mm256_castsi256_ps(_mm256_cvtepi8_epi32(off));
            offHigh = _mm256_castsi256_ps(_mm256_cvtepi8_epi32(_mm_srli_si128(off, 8)));
        }
        const __m256 first = _mm256_andnot_ps(offLow, _mm256_permute2f128_ps(low, high, 0x20));
        const __m256 second = _mm256_andnot_ps(offHigh, _mm256_permute2f128_ps(low, high, 0x31));
        if constexpr (STREAM) {
            _mm256_stream_ps(target + x, first);
            _mm256_stream_ps(target + x + 8, second);
        } else {
            _mm256_storeu_ps(target + x, first);
            _mm256_storeu_ps(target + x + 8, second);
        }
    }
    if constexpr (STREAM) _mm_sfence();
    return x;
}
#endif

// Writes what it can of a row of float labels with wide vectors, streaming them where `large`
// and aligned; returns the pixels written.
template <class In>
int64_t SpreadFloats(const In* row, const int32_t* numbers, float* target, int64_t width,
                     bool large) {
#if defined(__x86_64__)
    if constexpr (std::is_same_v<In, float> || std::is_same_v<In, uint8_t>) {
        static const bool wide = __builtin_cpu_supports("avx2");
        if (wide)
            return large && reinterpret_cast<uintptr_t>(target) % 32 == 0
                       ? SpreadFloatsWide<true>(row, numbers, target, width)
                       : SpreadFloatsWide<false>(row, numbers, target, width);
    }
#endif
    return 0;
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
        if (neighbourhood != 8) {
            result.regions = LabelRuns<false>(in, out, width, height)
                                 ? m_regions
                                 : Label4(in, out, width, height);
        } else if (LabelRuns<true>(in, out, width, height)) {
            result.regions = m_regions;
        } else if (LabelBlocks(in, out, width, height)) {
            result.regions = m_regions;
        } else {
            result.pixelScan = true;
            result.regions = ScanPixels(in, out, width, height);
            result.split = m_equivalence.HasSplit();
        }
        return result;
    }

  private:
    static constexpr Index NUMBERED = Index(1) << (std::numeric_limits<Index>::digits - 1);

    // ---- union-find of the provisional labels: a parent is always below its child ----

    // The table keeps its size from plane to plane; only entries up to m_count are in use.
    void ResetLabels() {
        m_count = 0;
        if (m_parent.empty()) m_parent.resize(1);
        m_parent[0] = 0;
    }
    // Room for `more` new labels, so that NewLabel needs no check.
    void Reserve(size_t more) {
        if (m_parent.size() < m_count + 1 + more)
            m_parent.resize(std::max(m_count + 1 + more, 2 * m_parent.size()));
    }
    Index NewLabel() {
        const Index label = static_cast<Index>(++m_count);
        m_parent[label] = label;
        return label;
    }
    Index Find(Index k) {
        Index* parent = m_parent.data();
        while (parent[k] != k) {
            parent[k] = parent[parent[k]];
            k = parent[k];
        }
        return k;
    }
    // Joins two classes; the smaller root stays root.
    Index Union(Index a, Index b) {
        a = Find(a);
        b = Find(b);
        if (a < b) std::swap(a, b);
        m_parent[a] = b;
        return b;
    }

    // ---- 4-neighbourhood ----

    // Provisional labels are made in raster order, so the smallest label of a region (its
    // root) is made at its first pixel: numbering the roots in label order numbers the regions
    // in the order of their first pixels, and the second pass replays the first one's choices
    // with every made label replaced by its number.
    template <class In, class Out>
    uint64_t Label4(const In* in, Out* out, int64_t width, int64_t height) {
        m_zero.assign(static_cast<size_t>(width) * sizeof(In), 0);
        m_rows.assign(2 * static_cast<size_t>(width), 0);
        m_noisy.resize(static_cast<size_t>(height));
        ResetLabels();
        Scan4<false>(in, out, width, height);
        NumberRoots();
        m_rows.assign(2 * static_cast<size_t>(width), 0);
        Scan4<true>(in, out, width, height);
        return m_regions;
    }

    // Each label's entry becomes its region's number (a parent is always below its child),
    // and the replay starts.
    void NumberRoots() {
        Index* parent = m_parent.data();
        Index regions = 0;
        for (size_t k = 1; k <= m_count; ++k)
            parent[k] = parent[k] == k ? ++regions : parent[parent[k]];
        m_regions = regions;
        m_count = 0;
    }

    // How often the foreground of a row differs from that two pixels before: high on noise,
    // where branches on the pixels' cases would mostly be guesses, and 0 on regular patterns.
    template <class In>
    static int64_t Irregularity(const In* row, int64_t width) {
        int64_t count = 0;
        for (int64_t x = 2; x < width; ++x)
            count += (row[x] != 0) != (row[x - 2] != 0);
        return count;
    }

    template <bool REPLAY, class In, class Out>
    void Scan4(const In* in, Out* out, int64_t width, int64_t height) {
        Index* above = m_rows.data();
        Index* current = above + width;
        const In* upper = reinterpret_cast<const In*>(m_zero.data());
        for (int64_t y = 0; y < height; ++y) {
            const In* row = in + y * width;
            if constexpr (!REPLAY) {
                // Measured on the row while it is in the cache; the replay takes the same path.
                Reserve(static_cast<size_t>(width));
                m_noisy[static_cast<size_t>(y)] = 8 * Irregularity(row, width) > 3 * width;
            }
            if (m_noisy[static_cast<size_t>(y)])
                Row4Masked<REPLAY>(row, upper, above, current, width);
            else
                Row4<REPLAY>(row, upper, above, current, width);
            if constexpr (REPLAY) {
                Out* target = out + y * width;
                for (int64_t x = 0; x < width; ++x)
                    target[x] = Impl::StoreLabel<Out>(current[x]);
            }
            upper = row;
            std::swap(above, current);
        }
    }

    // One row, with a branch on each pixel's case: fast where they are predictable.
    template <bool REPLAY, class In>
    void Row4(const In* row, const In* upper, const Index* above, Index* current, int64_t width) {
        Index* parent = m_parent.data();
        Index made = static_cast<Index>(m_count), left = 0;
        for (int64_t x = 0; x < width; ++x) {
            const In v = row[x];
            Index l = 0;
            // Left first: its branch changes only where runs of the row do. Up joins in only
            // where a run of the row above starts, since left and up are joined already when
            // up-left equals both.
            if (v == 0) {
            } else if (x > 0 && v == row[x - 1]) {
                l = left;
                if (!REPLAY && ((v == upper[x]) & !(v == upper[x - 1]))) l = Union(l, above[x]);
            } else if (v == upper[x]) {
                l = above[x];
            } else {
                l = NewLabel4<REPLAY>(parent, made);
            }
            current[x] = left = l;
        }
        m_count = made;
    }

    // Makes the next label, or in the replay its number: labels are numbered in the order
    // made, so entries below it already hold numbers, and a parent is always below its child.
    template <bool REPLAY>
    static Index NewLabel4(Index* parent, Index& made) {
        const Index l = ++made;
        if constexpr (REPLAY)
            return parent[l];
        else
            return parent[l] = l;
    }

    // `yes` where `condition` holds, else `no`, without a branch.
    static Index Select(bool condition, Index yes, Index no) {
        return no ^ ((yes ^ no) & (Index(0) - Index(condition)));
    }

    // The same without a branch on the pixel's case: only unions, the rarest case, branch.
    // The table has room for the next label, which is made whether or not it is taken.
    template <bool REPLAY, class In>
    void Row4Masked(const In* row, const In* upper, const Index* above, Index* current,
                    int64_t width) {
        Index* parent = m_parent.data();
        Index made = static_cast<Index>(m_count);
        Index left = 0;
        In leftValue = 0, upLeftValue = 0;
        for (int64_t x = 0; x < width; ++x) {
            const In v = row[x], u = upper[x];
            const Index up = above[x];
            const bool on = v != 0, equalUp = on & (v == u), equalLeft = on & (v == leftValue);
            const bool fresh = on & !equalUp & !equalLeft;
            Index l = Select(equalUp, up, left);
            // The next label is prepared whether or not the pixel takes it.
            const Index next = made + 1;
            if constexpr (REPLAY) {
                l = Select(fresh, parent[next], l);
            } else {
                parent[next] = next;
                l = Select(fresh, next, l);
                if (equalUp & equalLeft & !(v == upLeftValue)) l = Union(l, left);
            }
            made += fresh;
            l &= Index(0) - Index(on);
            current[x] = left = l;
            leftValue = v;
            upLeftValue = u;
        }
        m_count = made;
    }

    // ---- one value, runs ----

    // The first non-zero sample of a plane, or 0.
    template <class In>
    static In FirstValue(const In* in, int64_t pixels) {
        int64_t first = 0;
        while (first < pixels && in[first] == 0)
            ++first;
        return first < pixels ? in[first] : In(0);
    }

    // Bit i set where p[i] is non-zero, for n <= 64 samples; `other` is set when one of them
    // is neither 0 nor `value`.
    template <class In>
    static uint64_t Foreground(const In* p, int64_t n, In value, bool& other) {
#if defined(__SSE2__)
        if constexpr (sizeof(In) == 1 && std::is_integral_v<In>) {
            if (n == 64) {
                const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi8(char(value));
                uint64_t off = 0, known = 0;
                for (int i = 0; i < 4; ++i) {
                    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i));
                    const __m128i z = _mm_cmpeq_epi8(v, zero);
                    off |= uint64_t(uint32_t(_mm_movemask_epi8(z))) << 16 * i;
                    known |= uint64_t(uint32_t(
                                 _mm_movemask_epi8(_mm_or_si128(z, _mm_cmpeq_epi8(v, one)))))
                             << 16 * i;
                }
                other |= ~known != 0;
                return ~off;
            }
        }
#endif
        uint64_t mask = 0;
        bool wrong = false;
        for (int64_t i = 0; i < n; ++i) {
            const bool on = p[i] != 0;
            wrong |= on & (p[i] != value);
            mask |= uint64_t(on) << i;
        }
        other |= wrong;
        return mask;
    }

    // The runs of the foreground of a row whose non-zero samples are `value`: their starts and
    // their ends (past their last pixels). Returns their count, or -1 for another value.
    template <class In>
    static int64_t FindRuns(const In* row, int64_t width, In value, Index* starts, Index* ends) {
        int64_t count = 0, closed = 0;
        uint64_t carry = 0;  // the last pixel of the previous chunk
        bool other = false;
        for (int64_t x = 0; x < width; x += 64) {
            const uint64_t mask =
                Foreground(row + x, std::min<int64_t>(64, width - x), value, other);
            const uint64_t before = mask << 1 | carry;
            for (uint64_t s = mask & ~before; s; s &= s - 1)
                starts[count++] = static_cast<Index>(x + std::countr_zero(s));
            for (uint64_t e = ~mask & before; e; e &= e - 1)
                ends[closed++] = static_cast<Index>(x + std::countr_zero(e));
            carry = mask >> 63;
        }
        if (carry) ends[closed] = static_cast<Index>(width);
        return other ? -1 : count;
    }

    // Labels the runs of a row from those of the row above, which end with a run past the row.
    // A run takes the label of the first run above that it touches (overlaps, or with EIGHT
    // also meets at a corner) and joins the others; the replay takes numbers instead and makes
    // no unions.
    template <bool REPLAY, bool EIGHT>
    void LinkRuns(const Index* const above[3], Index* const current[3], int64_t count) {
        const Index *aboveStart = above[0], *aboveEnd = above[1], *aboveLabel = above[2];
        const Index *start = current[0], *end = current[1];
        Index* label = current[2];
        Index* parent = m_parent.data();
        Index made = static_cast<Index>(m_count);
        int64_t j = 0;
        for (int64_t i = 0; i < count; ++i) {
            // Runs above that end at `from` or before are passed; those that start before `to`
            // touch. A lone pixel in column 0 has no link to its up-right neighbour.
            const Index s = start[i], e = end[i];
            const Index from = EIGHT ? s - (s > 0) : s, to = e + (EIGHT && (s > 0 || e > 1));
            while (aboveEnd[j] <= from)
                ++j;
            Index l;
            if (aboveStart[j] < to) {
                l = aboveLabel[j];
                // The last run above that touches may touch the next one too.
                for (; aboveStart[j + 1] < to; ++j)
                    if (!REPLAY && aboveLabel[j + 1] != l) l = Union(l, aboveLabel[j + 1]);
            } else {
                l = NewLabel4<REPLAY>(parent, made);
            }
            label[i] = l;
        }
        m_count = made;
    }

    // The scan of a plane whose non-zero samples all hold one value, on runs: labels are made
    // in the raster order of the runs that start them, so a region's smallest label is made at
    // its first pixel, and the second pass fills whole runs. False (with `out` untouched) for
    // another value, or where runs are too short to pay.
    template <bool EIGHT, class In, class Out>
    bool LabelRuns(const In* in, Out* out, int64_t width, int64_t height) {
        const In value = FirstValue(in, width * height);
        const size_t room = static_cast<size_t>(width) / 2 + 2;
        m_runs.resize(6 * room);
        Index* above[3] = {m_runs.data(), m_runs.data() + room, m_runs.data() + 2 * room};
        Index* current[3] = {above[2] + room, above[2] + 2 * room, above[2] + 3 * room};
        // Runs pay where they are long, and in the 4-neighbourhood also where they are short
        // but so irregular that the pixel scan's branches would be guesses: a sample of rows
        // decides.
        int64_t sampled = 0, runs = 0, noisy = 0, rows = 0;
        for (int64_t y = 0; y < height; y += 16, sampled += width, ++rows) {
            const In* row = in + y * width;
            const int64_t count = FindRuns(row, width, value, current[0], current[1]);
            if (count < 0) return false;
            runs += count;
            if (!EIGHT) noisy += 8 * Irregularity(row, width) > 3 * width;
        }
        const bool longRuns = 8 * runs <= sampled;
        const bool noise = !EIGHT && 10 * runs <= 3 * sampled && 2 * noisy > rows;
        if (!longRuns && !noise) return false;
        const bool stream = std::is_same_v<Out, float> && Impl::Streams(out, width, height);
        m_line.resize(std::is_same_v<Out, float> ? static_cast<size_t>(width) + 4 : 0);
        float* line = m_line.data();
        ResetLabels();
        for (bool replay : {false, true}) {
            int64_t count = 0;
            current[0][0] = current[1][0] = std::numeric_limits<Index>::max();  // no runs above
            for (int64_t y = 0; y < height; ++y) {
                std::swap(above, current);
                const In* row = in + y * width;
                count = FindRuns(row, width, value, current[0], current[1]);
                if (count < 0) return false;
                current[0][count] = current[1][count] = std::numeric_limits<Index>::max();
                if (!replay) {
                    Reserve(static_cast<size_t>(count));
                    LinkRuns<false, EIGHT>(above, current, count);
                    continue;
                }
                LinkRuns<true, EIGHT>(above, current, count);
                Out* target = out + y * width;
                if constexpr (std::is_same_v<Out, float>) {
                    // Float rows are made in the cache, four samples at a time, and written out
                    // whole.
                    Impl::FillRuns(line, current, count, width);
                    if (stream)
                        Impl::StreamRow(line, target, width);
                    else
                        std::memcpy(target, line, static_cast<size_t>(width) * sizeof(float));
                    continue;
                }
                int64_t x = 0;
                for (int64_t i = 0; i < count; ++i) {
                    std::fill(target + x, target + current[0][i], Out(0));
                    x = current[1][i];
                    std::fill(target + current[0][i], target + x,
                              Impl::StoreLabel<Out>(current[2][i]));
                }
                std::fill(target + x, target + width, Out(0));
            }
            if (!replay) NumberRoots();
        }
        return true;
    }

    // ---- 8-neighbourhood on one value, 2 x 2 blocks ----

    // Returns false when the plane holds a second non-zero value (and `out` is then garbage).
    template <class In, class Out>
    bool LabelBlocks(const In* in, Out* out, int64_t width, int64_t height) {
        const int64_t blocks = (width + 1) / 2, blockRows = (height + 1) / 2;
        const In value = FirstValue(in, width * height);
        m_pairs.assign(static_cast<size_t>(blocks) + 4, 0);
        m_zero.assign(static_cast<size_t>(width) * sizeof(In), 0);
        m_rows.assign(2 * (static_cast<size_t>(blocks) + 2), 0);
        m_down.resize(static_cast<size_t>(blockRows));
        const size_t bytes = static_cast<size_t>(blocks) * sizeof(Index);
        // The labels of a block row go into its two output rows, the rest aside.
        auto room = [&](int64_t r) {
            const int64_t rows = std::min<int64_t>(2, height - 2 * r);
            return std::min(bytes, static_cast<size_t>(rows * width) * sizeof(Out));
        };
        const size_t asideFull = bytes - room(0);
        m_aside.resize(asideFull * static_cast<size_t>(blockRows) + bytes);
        auto storage = [&](int64_t r) { return reinterpret_cast<uint8_t*>(out + 2 * r * width); };
        auto aside = [&](int64_t r) { return m_aside.data() + asideFull * static_cast<size_t>(r); };
        ResetLabels();

        uint8_t* foreground = m_pairs.data() + 1;
        const In* zero = reinterpret_cast<const In*>(m_zero.data());
        Index* above = m_rows.data() + 1;
        Index* current = above + blocks + 2;
        for (int64_t r = 0; r < blockRows; ++r) {
            const In* top = in + 2 * r * width;
            if (!NextPairs(top, 2 * r + 1 < height ? top + width : zero, width, value, foreground))
                return false;
            Reserve(static_cast<size_t>(blocks) + 1);
            const Index down = LabelBlockRow(foreground, above, current, blocks);
            m_down[static_cast<size_t>(r)] = down;
            const size_t inside = room(r);
            std::memcpy(storage(r), current, inside);
            std::memcpy(aside(r), reinterpret_cast<const uint8_t*>(current) + inside,
                        bytes - inside);
            current[0] = down;  // what the block row below sees
            std::swap(above, current);
        }

        // Regions get their numbers when first met; the background's label 0 has the number 0.
        m_parent[0] = NUMBERED;
        m_regions = 0;
        Index* labels = current;
        // Float labels keep the numbers as integers until they are written, eight at a time.
        using Number =
            std::conditional_t<std::is_same_v<Out, float> && sizeof(Index) == 4, int32_t, Out>;
        m_numbers.resize((static_cast<size_t>(blocks) * sizeof(Number) + 7) / 8);
        Number* numbers = reinterpret_cast<Number*>(m_numbers.data());
        const int64_t pairs = width / 2;
        const bool large = Impl::Large(width, height);
        for (int64_t r = 0; r < blockRows; ++r) {
            // The labels are read where they wait unless some are aside.
            const size_t inside = room(r);
            const uint8_t* stored = storage(r);
            if (inside < bytes) {
                std::memcpy(labels, stored, inside);
                std::memcpy(reinterpret_cast<uint8_t*>(labels) + inside, aside(r), bytes - inside);
                stored = reinterpret_cast<const uint8_t*>(labels);
            }
            // Neighbouring blocks mostly share a label: the last one found is kept.
            Index lastLabel = 0, lastNumber = 0;
            auto numberOf = [&](Index label) {
                if (label & NUMBERED) return label & ~NUMBERED;
                if (label != lastLabel) {
                    lastLabel = label;
                    lastNumber = RootNumber(label);
                }
                return lastNumber;
            };
            // The top row numbers the blocks it meets and keeps their numbers for the bottom
            // row; each row is then written from one number per block.
            const In* row = in + 2 * r * width;
            Out* target = out + 2 * r * width;
            for (int64_t k = 0; k < blocks; ++k) {
                Index label;
                std::memcpy(&label, stored + static_cast<size_t>(k) * sizeof(Index), sizeof label);
                const bool on = (row[2 * k] != 0) | (k < pairs && row[2 * k + 1] != 0);
                const Index n = on ? numberOf(label) : 0;
                numbers[k] = Impl::StoreLabel<Number>(n);
                labels[k] = on ? n | NUMBERED : label;
            }
            SpreadNumbers(row, numbers, target, width, large);
            if (2 * r + 1 == height) break;
            row += width;
            target += width;
            // The bottom-left pixel has a label of its own. Blocks numbered in the top row keep
            // their numbers; the others hold 0 and are numbered where the bottom row meets them.
            const Index first = numberOf(row[0] != 0 ? m_down[size_t(r)] : 0);
            for (int64_t k = 0; k < blocks; ++k) {
                if (labels[k] & NUMBERED) continue;
                const bool on = (k > 0 && row[2 * k] != 0) | (k < pairs && row[2 * k + 1] != 0);
                if (on) numbers[k] = Impl::StoreLabel<Number>(numberOf(labels[k]));
            }
            SpreadNumbers(row, numbers, target, width, large);
            target[0] = Impl::StoreLabel<Out>(first);
        }
        return true;
    }

    // Writes a row of labels from the numbers of its blocks: target[x] = numbers[x / 2] where
    // row[x] is non-zero, else 0.
    template <class In, class Number, class Out>
    static void SpreadNumbers(const In* row, const Number* numbers, Out* target, int64_t width,
                              bool large) {
        int64_t x = 0;
        if constexpr (std::is_same_v<Number, int32_t> && std::is_same_v<Out, float>)
            x = Impl::SpreadFloats(row, numbers, target, width, large);
#if defined(__SSE2__)
        if constexpr (sizeof(In) == 1 && sizeof(Out) == 1 && std::is_integral_v<In> &&
                      std::is_integral_v<Out>) {
            const __m128i zero = _mm_setzero_si128();
            for (; x + 32 <= width; x += 32) {
                const __m128i n =
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(numbers + x / 2));
                const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
                const __m128i high =
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x + 16));
                _mm_storeu_si128(
                    reinterpret_cast<__m128i*>(target + x),
                    _mm_andnot_si128(_mm_cmpeq_epi8(low, zero), _mm_unpacklo_epi8(n, n)));
                _mm_storeu_si128(
                    reinterpret_cast<__m128i*>(target + x + 16),
                    _mm_andnot_si128(_mm_cmpeq_epi8(high, zero), _mm_unpackhi_epi8(n, n)));
            }
        }
        if constexpr (sizeof(In) == 1 && std::is_integral_v<In> && std::is_same_v<Out, float> &&
                      std::is_same_v<Number, int32_t>) {
            const __m128i zero = _mm_setzero_si128();
            for (; x + 8 <= width; x += 8) {
                const __m128 n = _mm_cvtepi32_ps(
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(numbers + x / 2)));
                const __m128i off = _mm_cmpeq_epi8(
                    _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + x)), zero);
                const __m128i pairs = _mm_unpacklo_epi8(off, off);
                _mm_storeu_ps(target + x,
                              _mm_andnot_ps(_mm_castsi128_ps(_mm_unpacklo_epi16(pairs, pairs)),
                                            _mm_unpacklo_ps(n, n)));
                _mm_storeu_ps(target + x + 4,
                              _mm_andnot_ps(_mm_castsi128_ps(_mm_unpackhi_epi16(pairs, pairs)),
                                            _mm_unpackhi_ps(n, n)));
            }
        }
#endif
        for (; x < width; ++x)
            target[x] = row[x] != 0 ? static_cast<Out>(numbers[x / 2]) : Out(0);
    }

    // Moves the foreground of two block rows down in `pairs`, which holds four bits per
    // column x (two rows up, one up, top, bottom), two columns per byte, and takes in the rows
    // `top` and `bottom`. False when a non-zero sample is not `value`.
    template <class In>
    static bool NextPairs(const In* top, const In* bottom, int64_t width, In value,
                          uint8_t* pairs) {
        uint8_t other = 0;
        auto on = [&](In v) {
            const uint8_t set = v != 0;
            other |= set & (v != value);
            return set;
        };
        const int64_t full = width / 2;
        int64_t j = 0;
#if defined(__SSE2__)
        if constexpr (sizeof(In) == 1 && std::is_integral_v<In>) {
            // Eight pairs of columns at a time, one pair per 16-bit lane.
            const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi8(char(value));
            __m128i known = _mm_set1_epi8(-1);
            for (; j + 8 <= full; j += 8) {
                const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(top + 2 * j));
                const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bottom + 2 * j));
                const __m128i tz = _mm_cmpeq_epi8(t, zero), bz = _mm_cmpeq_epi8(b, zero);
                known = _mm_and_si128(known, _mm_or_si128(tz, _mm_cmpeq_epi8(t, one)));
                known = _mm_and_si128(known, _mm_or_si128(bz, _mm_cmpeq_epi8(b, one)));
                const __m128i set = _mm_or_si128(_mm_andnot_si128(tz, _mm_set1_epi16(0x0404)),
                                                 _mm_andnot_si128(bz, _mm_set1_epi16(0x0808)));
                const __m128i bits =
                    _mm_or_si128(_mm_and_si128(set, _mm_set1_epi16(0x0c)),
                                 _mm_srli_epi16(_mm_and_si128(set, _mm_set1_epi16(0x0c00)), 4));
                const __m128i old = _mm_unpacklo_epi8(
                    _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pairs + j)), zero);
                const __m128i moved = _mm_and_si128(_mm_srli_epi16(old, 2), _mm_set1_epi16(0x33));
                _mm_storel_epi64(reinterpret_cast<__m128i*>(pairs + j),
                                 _mm_packus_epi16(_mm_or_si128(moved, bits), zero));
            }
            other = _mm_movemask_epi8(known) != 0xffff;
        }
#endif
        for (; j < full; ++j)
            pairs[j] = static_cast<uint8_t>((pairs[j] >> 2 & 0x33) | on(top[2 * j]) << 2 |
                                            on(bottom[2 * j]) << 3 | on(top[2 * j + 1]) << 6 |
                                            on(bottom[2 * j + 1]) << 7);
        if (full * 2 < width)
            pairs[full] = static_cast<uint8_t>((pairs[full] >> 2 & 0x03) | on(top[2 * full]) << 2 |
                                               on(bottom[2 * full]) << 3);
        return other == 0;
    }

    // The number of the region of `label`. A numbered label's entry holds its number with
    // the flag NUMBERED; the root of a region not met before gets the next number.
    Index RootNumber(Index label) {
        Index* parent = m_parent.data();
        Index k = label, p = parent[k];
        while (!(p & NUMBERED) && p != k) {
            k = p;
            p = parent[k];
        }
        if (!(p & NUMBERED)) parent[k] = p = static_cast<Index>(++m_regions) | NUMBERED;
        parent[label] = p;
        return p & ~NUMBERED;
    }

    // Labels the blocks of one block row into `current`, with the labels of the block row
    // above in `above` (both readable at -1 and `blocks`, holding 0) and the foreground of
    // the rows in `pairs` (see NextPairs). Returns the label of the bottom pixel in column 0.
    Index LabelBlockRow(const uint8_t* pairs, const Index* above, Index* current, int64_t blocks) {
        // Column 0: its pixel has no link to its up-right neighbour, so the bottom-left pixel
        // and the top-right one of the block touch only through the other two, and the block
        // may hold two parts; the bottom-left one is what the block row below sees.
        Index down;
        {
            const unsigned bits = pairs[0];
            const bool q0 = bits & 2, a = bits & 4, c = bits & 8, q1 = bits & 32, b = bits & 64,
                       d = bits & 128, r0 = pairs[1] & 2;
            const bool apart = b && c && !a && !d;
            const bool toQ = (a && q0) || (b && (q0 || q1)), toR = b && r0;
            Index label = 0;
            if (toQ) {
                label = above[0];
                if (toR && !(q1 && r0)) label = Union(label, above[1]);
            } else if (toR) {
                label = above[1];
            } else if (bits & 0xcc) {
                label = NewLabel();
            }
            down = apart ? NewLabel() : label;
            current[0] = label;
        }
        const uint16_t* actions = Impl::BlockActions();
        // Next to column 0, sa and pt are left out: sa does not touch its up-right neighbour
        // p, and the block P may be two parts, pt in one and pc in the other.
        unsigned ignore = 1u << 13 | 1u << 8;
        Index left = current[0];
        for (int64_t k = 1; k < blocks; ++k) {
            uint32_t v;
            std::memcpy(&v, pairs + k - 1, 4);  // columns 2k - 2 to 2k + 5
            const unsigned mask =
                ((v >> 8 & 0xff) | (v & 0xf0) << 4 | (v & 6) << 11 | (v >> 2 & 0xc000)) & ~ignore;
            ignore = 0;
            unsigned action = actions[mask];
            const unsigned first = action & 7;
            Index label = first == 2   ? above[k]
                          : first == 1 ? above[k - 1]
                          : first == 4 ? left
                          : first == 3 ? above[k + 1]
                                       : 0;
            if (action > 7) {
                if (action == Impl::NEW_LABEL) {
                    label = NewLabel();
                } else {
                    const Index neighbours[5] = {0, above[k - 1], above[k], above[k + 1], left};
                    // Neighbours often hold the label already (a row of blocks shares one).
                    for (action >>= 3; action; action >>= 3)
                        if (neighbours[action & 7] != label)
                            label = Union(label, neighbours[action & 7]);
                }
            }
            current[k] = left = label;
        }
        return down;
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

    std::vector<Index> m_parent{0};   // the union-find of the 4-neighbourhood and block scans
    size_t m_count = 0;               // labels made (or replayed)
    uint64_t m_regions = 0;           // numbers given
    std::vector<Index> m_rows;        // two rows of labels
    std::vector<uint8_t> m_zero;      // a row of zero samples
    std::vector<Index> m_runs;        // starts, ends and labels of the runs of two rows
    std::vector<uint8_t> m_noisy;     // per row, whether the 4-neighbourhood scan uses masks
    std::vector<uint8_t> m_pairs;     // the foreground around a block row, see NextPairs
    std::vector<float> m_line;        // a row of float labels before it is written out
    std::vector<uint64_t> m_numbers;  // a row of block numbers, as output samples
    std::vector<Index> m_down;        // per block row, the label of the bottom pixel in column 0
    std::vector<uint8_t> m_aside;     // block labels that do not fit into the output rows
    std::vector<Index> m_labels;      // provisional labels of the pixel scan
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
        // 32-bit labels while they count the labels of a plane with a bit to spare for a flag.
        if (plane <= int64_t(1) << 30)
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
