#pragma once

// Helpers for node tests: settings written as JSON, runs of a node on given inputs, tables of
// failures, and images as pictures of text.
#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "NodeTesting.h"

namespace testing_support {

// Configures `node` with `json`, a JSON object such as {"x": 3, "fill": true}, places the
// inputs (null leaves a pin empty) and runs it.
inline void RunNode(ORVA::CPNode& node, const std::string& json,
                    std::vector<const ORVA::CValue*> inputs) {
    Configure(node, *ORVA::CTextSerializer::FromText(json)->Map());
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node.SetStackInput(static_cast<int>(pin), const_cast<ORVA::CValue*>(inputs[pin]));
    node.Run();
}

// A run that must fail: the settings, the message expected and the inputs by pin (none: the
// inputs the table shares).
struct SJsonFailure {
    std::string json;
    std::string message;
    std::vector<const ORVA::CValue*> inputs = {};
};

// Expects each of `failures`, run on a new `Node`, to throw "`where` | message".
template <class Node>
void ExpectJsonFailures(const std::string& where, const std::vector<const ORVA::CValue*>& shared,
                        const std::vector<SJsonFailure>& failures) {
    for (const SJsonFailure& failure : failures) {
        Node node;
        const auto& inputs = failure.inputs.empty() ? shared : failure.inputs;
        EXPECT_EQ(ErrorOf([&] { RunNode(node, failure.json, inputs); }, true),
                  where + " | " + failure.message)
            << failure.json;
    }
}
template <class Node>
void ExpectJsonFailures(const std::string& where, const std::vector<SJsonFailure>& failures) {
    ExpectJsonFailures<Node>(where, {}, failures);
}

// A table of IMAGE_GREY_F: `columns` wide, one row per `columns` cells.
inline std::unique_ptr<ORVA::CValue> Table(int64_t columns, std::vector<float> cells) {
    auto table = std::make_unique<ORVA::CImage>(
        ORVA::IMAGE_GREY_F, ORVA::CSize(columns, static_cast<int64_t>(cells.size()) / columns));
    std::copy(cells.begin(), cells.end(), table->Data<float>());
    return std::make_unique<ORVA::CValueOwnedPointer<ORVA::CImage>>(std::move(table));
}

// Plane `plane` of an IMAGE_GREY_8 image, one text per row: '#' for non-zero, '.' for 0.
inline std::vector<std::string> Picture(const ORVA::CImage& image, int64_t plane = 0) {
    const ORVA::CSize& size = image.Size();
    const uint8_t* data = image.Data<uint8_t>() + plane * size.x * size.y;
    std::vector<std::string> rows;
    for (int64_t y = 0; y < size.y; ++y) {
        std::string row;
        for (int64_t x = 0; x < size.x; ++x)
            row += data[y * size.x + x] ? '#' : '.';
        rows.push_back(row);
    }
    return rows;
}

// `values` with every NaN written as -99, so that vectors holding NaN compare.
template <class T>
std::vector<T> NaNAs99(std::vector<T> values) {
    for (T& value : values)
        if (value != value) value = T(-99);
    return values;
}

// The rectangle of `picture` at (x, y) of `width` x `height`.
inline std::vector<std::string> Crop(const std::vector<std::string>& picture, size_t x, size_t y,
                                     size_t width, size_t height) {
    std::vector<std::string> rows;
    for (size_t row = y; row < y + height; ++row)
        rows.push_back(picture[row].substr(x, width));
    return rows;
}

// Expects that `draw(size, x, y)`, the picture of a drawing at (x, y) in a new image of `size`,
// is for each pair x, y of `at` the window of the same drawing 40 pixels further in, in an image
// 80 pixels wider and higher: what crosses or lies beyond a border is cut off, nothing else.
inline void ExpectClipped(
    ORVA::CSize size, const std::vector<int64_t>& at,
    const std::function<std::vector<std::string>(ORVA::CSize, int64_t, int64_t)>& draw) {
    constexpr int64_t in = 40;
    for (size_t i = 0; i + 1 < at.size(); i += 2) {
        const int64_t x = at[i], y = at[i + 1];
        const std::vector<std::string> large =
            draw(ORVA::CSize(size.x + 2 * in, size.y + 2 * in), x + in, y + in);
        EXPECT_EQ(draw(size, x, y),
                  Crop(large, in, in, static_cast<size_t>(size.x), static_cast<size_t>(size.y)))
            << "at " << x << ", " << y;
    }
}

}  // namespace testing_support
