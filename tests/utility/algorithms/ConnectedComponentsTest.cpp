#include "algorithms/ConnectedComponents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <string_view>

using namespace ORVA;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// The two-pass scan in its plain form, step by step: a float copy, 64-bit labels
// and a flat equivalence table whose entries above the minimum every merge rewrites. Outside
// the plane is background: never equal, label 0. Returns the labels and sets `count` to the
// count of the last plane.
std::vector<uint64_t> LiteralLabels(const std::vector<float>& image, CSize size, int neighbourhood,
                                    uint64_t* count) {
    const int64_t w = size.x, h = size.y;
    std::vector<uint64_t> labels(image.size(), 0);
    *count = 0;
    for (int64_t z = 0; z < size.z; ++z) {
        const float* v = image.data() + z * w * h;
        uint64_t* L = labels.data() + z * w * h;
        auto inside = [&](int64_t x, int64_t y) { return x >= 0 && x < w && y >= 0; };
        auto equal = [&](float p, int64_t x, int64_t y) {
            return inside(x, y) && v[y * w + x] == p;
        };
        auto label = [&](int64_t x, int64_t y) { return inside(x, y) ? L[y * w + x] : 0; };
        std::vector<uint64_t> T(static_cast<size_t>(w * h) + 1);
        std::iota(T.begin(), T.end(), 0);
        uint64_t c = 0;
        // The classes of `r` go into the smallest of the first and those whose neighbour is
        // equal (`e`); entries at or below it stay.
        auto merge = [&](std::vector<uint64_t> r, std::vector<bool> e) {
            size_t chosen = 0;
            for (size_t i = 1; i < r.size(); ++i)
                if (e[i] && r[i] < r[chosen]) chosen = i;
            const uint64_t m = r[chosen];
            r.erase(r.begin() + static_cast<long>(chosen));
            for (uint64_t k = m + 1; k <= c; ++k)
                if (std::find(r.begin(), r.end(), T[k]) != r.end()) T[k] = m;
        };

        for (int64_t y = 0; y < h; ++y) {
            for (int64_t x = 0; x < w; ++x) {
                const float p = v[y * w + x];
                if (p == 0) continue;
                uint64_t& l = L[y * w + x];
                const bool eL = equal(p, x - 1, y), eU = equal(p, x, y - 1);
                const uint64_t lU = label(x, y - 1);
                if (neighbourhood == 4) {
                    if (!eL) {
                        l = eU ? lU : ++c;
                    } else {
                        l = label(x - 1, y);
                        if (eU && lU != l) merge({T[l], T[lU]}, {true, true});
                    }
                    continue;
                }
                // Column 0 does not look up-right unless up is equal.
                const bool eUl = equal(p, x - 1, y - 1),
                           eUr = equal(p, x + 1, y - 1) && (x > 0 || eU);
                const uint64_t lUl = label(x - 1, y - 1), lUr = label(x + 1, y - 1);
                if (eL) {
                    l = label(x - 1, y);
                    if ((eUl && lUl != l) || (eU && lU != l) || (eUr && lUr != l))
                        merge({T[l], T[lUl], T[lU], T[lUr]}, {true, eUl, eU, eUr});
                } else if (eUl) {
                    l = lUl;
                    if ((eU && lU != l) || (eUr && lUr != l))
                        merge({T[l], T[lU], T[lUr]}, {true, eU, eUr});
                } else if (eU) {
                    l = lU;
                    if (eUr && lUr != l) merge({T[l], T[lUr]}, {true, true});
                } else {
                    l = eUr ? lUr : ++c;
                }
            }
        }
        uint64_t n = 0;
        for (uint64_t k = 1; k <= c; ++k) {
            if (T[k] != k) continue;
            ++n;
            for (uint64_t j = k; j <= c; ++j)
                if (T[j] == k) T[j] = n;
        }
        if (n > 0)
            for (int64_t i = 0; i < w * h; ++i)
                if (L[i] != 0) L[i] = T[L[i]];
        *count = n;
    }
    return labels;
}

struct Picture {
    CSize size;
    std::vector<float> values;  // integers 0..255, NaN only where `bytes` is false
    bool bytes = true;
};

// Random pictures of a few values on a background, in odd shapes.
Picture RandomPicture(std::mt19937& random, int64_t maxSide, bool allowNaN) {
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    Picture picture;
    picture.size = CSize(1 + pick(static_cast<int>(maxSide)), 1 + pick(static_cast<int>(maxSide)),
                         1 + pick(3));
    std::vector<float> palette;
    for (int i = 1 + pick(4); i > 0; --i)
        palette.push_back(static_cast<float>(1 + pick(255)));
    double background = 0.1 + 0.15 * pick(5);
    bool withNaN = allowNaN && pick(4) == 0;
    picture.bytes = !withNaN;
    picture.values.resize(static_cast<size_t>(picture.size.Elements()));
    for (float& v : picture.values) {
        if (std::generate_canonical<double, 32>(random) < background)
            v = pick(8) == 0 && !picture.bytes ? -0.0f : 0.0f;
        else if (withNaN && pick(20) == 0)
            v = NaN;
        else
            v = palette[static_cast<size_t>(pick(static_cast<int>(palette.size())))];
    }
    return picture;
}

// The first 32-byte aligned address in `buffer`, made large enough for `count` floats after
// it and an offset of up to 4; the floats are set to NaN, so that unwritten labels show.
float* Aligned(std::vector<float>& buffer, size_t count) {
    buffer.assign(count + 12, NaN);
    const size_t skip = (32 - reinterpret_cast<uintptr_t>(buffer.data()) % 32) % 32 / 4;
    return buffer.data() + skip;
}

}  // namespace

TEST(ConnectedComponents, MatchTheLiteralScanOnRandomPictures) {
    std::mt19937 random(7);
    int pixelScans = 0, splits = 0, otherScans = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        Picture picture = RandomPicture(random, trial % 5 == 0 ? 40 : 9, trial % 2 == 1);
        for (int neighbourhood : {4, 8}) {
            uint64_t expectedCount = 0;
            std::vector<uint64_t> expected =
                LiteralLabels(picture.values, picture.size, neighbourhood, &expectedCount);

            std::vector<float> labels(picture.values.size());
            std::vector<SLabelPlane> planes;
            uint64_t count = LabelImage(picture.values.data(), labels.data(), picture.size,
                                        neighbourhood, &planes);
            ASSERT_EQ(labels, std::vector<float>(expected.begin(), expected.end()))
                << "trial " << trial << ", " << neighbourhood;
            ASSERT_EQ(count, expectedCount) << "trial " << trial;
            for (const SLabelPlane& plane : planes) {
                pixelScans += plane.pixelScan;
                splits += plane.split;
                otherScans += !plane.pixelScan;
            }

            // 64-bit labels give the same, and so do bytes, to their low 8 bits.
            std::vector<float> wide(picture.values.size());
            CPlaneLabeller<uint64_t> labeller;
            const int64_t plane = picture.size.x * picture.size.y;
            for (int64_t z = 0; z < picture.size.z; ++z)
                labeller.Label(picture.values.data() + z * plane, wide.data() + z * plane,
                               picture.size.x, picture.size.y, neighbourhood);
            ASSERT_EQ(wide, labels) << "trial " << trial;
            if (!picture.bytes) continue;
            std::vector<uint8_t> bytes(picture.values.begin(), picture.values.end());
            std::vector<uint8_t> byteLabels(bytes.size());
            LabelImage(bytes.data(), byteLabels.data(), picture.size, neighbourhood);
            ASSERT_EQ(byteLabels, std::vector<uint8_t>(expected.begin(), expected.end()))
                << "trial " << trial;
        }
    }
    // Every route was taken, the split one included.
    EXPECT_GT(otherScans, 1000);
    EXPECT_GT(pixelScans, 1000);
    EXPECT_GT(splits, 50);
}

// The images that are hard for one labelling method or another, in sizes that put their edges
// in every block position, and random binary images of several densities: every neighbourhood
// and every pair of sample and label types matches the literal scan bit for bit.
TEST(ConnectedComponents, MatchTheLiteralScanOnPatterns) {
    using Pattern = bool (*)(int64_t x, int64_t y, std::mt19937 & random);
    const std::pair<const char*, Pattern> patterns[] = {
        {"random half", [](int64_t, int64_t, std::mt19937& random) { return random() % 2 == 0; }},
        {"random sparse", [](int64_t, int64_t, std::mt19937& random) { return random() % 5 == 0; }},
        {"random dense", [](int64_t, int64_t, std::mt19937& random) { return random() % 5 != 0; }},
        {"random denser",
         [](int64_t, int64_t, std::mt19937& random) { return random() % 12 != 0; }},
        // Runs of eight that meet the runs of the next row only at their corners.
        {"tiles", [](int64_t x, int64_t y, std::mt19937&) { return (x / 8 + y) % 2 == 0; }},
        {"comb", [](int64_t x, int64_t y, std::mt19937&) { return y % 4 == 3 || x % 2 == 0; }},
        {"checker", [](int64_t x, int64_t y, std::mt19937&) { return (x + y) % 2 == 0; }},
        {"checker shifted", [](int64_t x, int64_t y, std::mt19937&) { return (x + y) % 2 == 1; }},
        {"dots", [](int64_t x, int64_t y, std::mt19937&) { return x % 2 == 0 && y % 2 == 0; }},
        {"dots shifted",
         [](int64_t x, int64_t y, std::mt19937&) { return x % 2 == 1 && y % 3 == 1; }},
        {"rings",
         [](int64_t x, int64_t y, std::mt19937&) {
             return std::max(std::abs(x - 6), std::abs(y - 5)) % 2 == 0;
         }},
        {"diagonals", [](int64_t x, int64_t y, std::mt19937&) { return (x + 2 * y) % 5 == 0; }},
        {"ones", [](int64_t, int64_t, std::mt19937&) { return true; }},
    };
    // Rows of 64 samples and more go through whole 64-sample chunks, ending at one or not.
    const CSize sizes[] = {CSize(1, 1),   CSize(1, 9),     CSize(9, 1),   CSize(2, 2),
                           CSize(2, 7),   CSize(3, 5),     CSize(4, 4),   CSize(17, 13),
                           CSize(33, 20), CSize(20, 2, 2), CSize(128, 5), CSize(131, 6)};
    std::mt19937 random(11);
    std::vector<float> floatBuffer;
    for (const auto& [name, inside] : patterns) {
        for (CSize size : sizes) {
            for (int repeat = 0; repeat < 20; ++repeat) {
                std::vector<uint8_t> bytes(static_cast<size_t>(size.Elements()));
                for (int64_t z = 0, i = 0; z < size.z; ++z)
                    for (int64_t y = 0; y < size.y; ++y)
                        for (int64_t x = 0; x < size.x; ++x)
                            bytes[static_cast<size_t>(i++)] = inside(x, y, random) ? 200 : 0;
                const std::vector<float> values(bytes.begin(), bytes.end());
                for (int neighbourhood : {4, 8}) {
                    uint64_t expectedCount = 0;
                    const std::vector<uint64_t> expected =
                        LiteralLabels(values, size, neighbourhood, &expectedCount);
                    const std::string what = std::string(name) + " " + size.ToString() + " " +
                                             std::to_string(neighbourhood);
                    std::vector<uint8_t> byteLabels(bytes.size());
                    EXPECT_EQ(LabelImage(bytes.data(), byteLabels.data(), size, neighbourhood),
                              expectedCount)
                        << what;
                    ASSERT_EQ(byteLabels, std::vector<uint8_t>(expected.begin(), expected.end()))
                        << what;
                    // Upcast, and float samples, into labels that start 32-byte aligned, 16-byte
                    // aligned or neither.
                    const std::vector<float> wide(expected.begin(), expected.end());
                    for (size_t offset : {0, 4, 1}) {
                        float* labels = Aligned(floatBuffer, wide.size()) + offset;
                        const std::string where = what + " at " + std::to_string(offset);
                        LabelImage(bytes.data(), labels, size, neighbourhood);
                        ASSERT_EQ(std::vector<float>(labels, labels + wide.size()), wide) << where;
                        LabelImage(values.data(), labels, size, neighbourhood);
                        ASSERT_EQ(std::vector<float>(labels, labels + wide.size()), wide) << where;
                    }
                }
                if (!std::string_view(name).starts_with("random")) break;
            }
        }
    }
}

// Float labels of 32 MiB and more stream past the cache where their rows are aligned: they
// must equal the integer labels, streamed (offset 0) or not (offset 1).
TEST(ConnectedComponents, LargeFloatLabelsMatchTheIntegerOnes) {
    const CSize size(2048, 4096);
    std::vector<uint8_t> bytes(static_cast<size_t>(size.Elements()));
    std::vector<uint32_t> integers(bytes.size());
    std::vector<float> buffer;
    // Long runs take the run scan, dots the block scan.
    for (bool dots : {false, true}) {
        for (int64_t y = 0, i = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x)
                bytes[static_cast<size_t>(i++)] =
                    dots ? (x % 2 == 0 && y % 2 == 0) : (y % 3 != 0 && x % 100 != 0);
        LabelImage(bytes.data(), integers.data(), size, 8);
        const std::vector<float> expected(integers.begin(), integers.end());
        for (size_t offset : {0, 1}) {
            float* labels = Aligned(buffer, bytes.size()) + offset;
            LabelImage(bytes.data(), labels, size, 8);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), labels))
                << (dots ? "dots" : "runs") << " at " << offset;
        }
    }
}
