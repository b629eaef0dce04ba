#pragma once

// Helpers for the tests of the drawing and sampling nodes: settings written as JSON, runs of a
// node on given inputs, and images as pictures of text.
#include <algorithm>
#include <string>
#include <vector>

#include "NodeTesting.h"

namespace testing_support {

// The parameter map of a JSON object, such as {"x": 3, "fill": true}.
inline ORVA::CValueMap Settings(const std::string& json) {
    return *ORVA::CTextSerializer::FromText(json)->Map();
}

// Configures `node` with `json`, places the inputs (null leaves a pin empty) and runs it.
inline void RunNode(ORVA::CPNode& node, const std::string& json,
                    std::vector<const ORVA::CValue*> inputs) {
    Configure(node, Settings(json));
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node.SetStackInput(static_cast<int>(pin), const_cast<ORVA::CValue*>(inputs[pin]));
    node.Run();
}

// A table of IMAGE_GREY_F: `columns` wide, one row per `columns` cells.
inline std::unique_ptr<ORVA::CValue> Table(int64_t columns, std::vector<float> cells) {
    auto table = std::make_unique<ORVA::CImage>(
        ORVA::IMAGE_GREY_F, ORVA::CSize(columns, static_cast<int64_t>(cells.size()) / columns));
    std::copy(cells.begin(), cells.end(), table->Data<float>());
    return std::make_unique<ORVA::CValueOwnedPointer<ORVA::CImage>>(std::move(table));
}

// Plane `plane` of an IMAGE_GREY_8 image, one text per row: `ink` for non-zero, '.' for 0.
inline std::vector<std::string> Picture(const ORVA::CImage& image, int64_t plane = 0,
                                        char ink = '#') {
    const ORVA::CSize& size = image.Size();
    const uint8_t* data = image.Data<uint8_t>() + plane * size.x * size.y;
    std::vector<std::string> rows;
    for (int64_t y = 0; y < size.y; ++y) {
        std::string row;
        for (int64_t x = 0; x < size.x; ++x)
            row += data[y * size.x + x] ? ink : '.';
        rows.push_back(row);
    }
    return rows;
}

// An image of `type` and `size` in which every sample is `value`.
inline std::unique_ptr<ORVA::CValue> Filled(ORVA::IImage::CType type, ORVA::CSize size,
                                            double value) {
    ORVA::CImage source(ORVA::IMAGE_GREY_D, size);
    std::fill_n(source.Data<double>(), source.Pixels(), value);
    auto image = std::make_unique<ORVA::CImage>(type, size);
    ORVA::CImageConversion::FastConvert(*image, source, false);
    return std::make_unique<ORVA::CValueOwnedPointer<ORVA::CImage>>(std::move(image));
}

// Every sample of an image in memory order, as doubles.
inline std::vector<double> AllSamples(const ORVA::CImage& image) {
    using Id = ORVA::IImage::CType::EnId;
    std::vector<double> samples;
    ORVA::DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_64, Id::GREY_F, Id::GREY_D,
                       Id::RGB_8, Id::RGB_8I, Id::RGB_FI, Id::BINARY_FG, Id::BINARY_BG>(
        image.Type(), [&]<class T>(std::type_identity<T>) {
            for (int64_t i = 0; i < image.Samples(); ++i)
                samples.push_back(static_cast<double>(image.Data<T>()[i]));
        });
    return samples;
}

// The rectangle of `picture` at (x, y) of `width` x `height`.
inline std::vector<std::string> Crop(const std::vector<std::string>& picture, size_t x, size_t y,
                                     size_t width, size_t height) {
    std::vector<std::string> rows;
    for (size_t row = y; row < y + height; ++row)
        rows.push_back(picture[row].substr(x, width));
    return rows;
}

}  // namespace testing_support
