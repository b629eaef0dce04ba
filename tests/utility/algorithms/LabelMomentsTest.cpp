#include "algorithms/LabelMoments.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace ORVA;

TEST(LabelMoments, RunsOfAnyLengthAsPixelByPixel) {
    // Labels 0 .. 3 in runs of 1 to 20 pixels, byte weights; sums of small integers are exact.
    std::mt19937 random(5);
    const CSize size(37, 5, 2);
    std::vector<uint16_t> labels;
    while (static_cast<int64_t>(labels.size()) < size.Elements())
        labels.insert(labels.end(), 1 + random() % 20, static_cast<uint16_t>(random() % 4));
    labels.resize(static_cast<size_t>(size.Elements()));
    std::vector<uint8_t> weights(labels.size());
    for (uint8_t& w : weights)
        w = static_cast<uint8_t>(random() % 5);
    auto sums = [](const std::vector<SLabelMoments>& moments) {
        std::vector<double> all;
        for (size_t k = 1; k < moments.size(); ++k)
            all.insert(all.end(), {moments[k].weight, moments[k].x, moments[k].y, moments[k].z});
        return all;
    };
    for (bool weighted : {false, true}) {
        std::vector<SLabelMoments> expected(4), actual(4);
        for (int64_t i = 0; i < size.Elements(); ++i) {
            const double w = weighted ? weights[i] : 1.0;
            SLabelMoments& m = expected[labels[i]];
            m.weight += w;
            m.x += w * static_cast<double>(i % size.x);
            m.y += w * static_cast<double>(i / size.x % size.y);
            m.z += w * static_cast<double>(i / (size.x * size.y));
        }
        AccumulateMoments(labels.data(), weighted ? weights.data() : nullptr, size, 3, actual);
        EXPECT_EQ(sums(actual), sums(expected)) << "weighted " << weighted;
    }
}
