#pragma once

// Helpers for tests that drive node classes directly, as a host would.
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tarsel.h"

namespace testing_support {

// Sets the parameters (laid over the node's declared ones), runs NodeInit.
void Configure(ORVA::CPNode& node, const ORVA::CValueMap& parameters = {});

// One parameter: an int becomes a long, a double a double, a bool a bool, a text a string.
struct SParameter {
    SParameter(const char* key, int value);
    SParameter(const char* key, double value);
    SParameter(const char* key, bool value);
    SParameter(const char* key, const char* value);
    SParameter(const char* key, const std::string& value) : SParameter(key, value.c_str()) {}
    std::string key;
    std::shared_ptr<const ORVA::CValue> value;
};
ORVA::CValueMap ParameterMap(const std::vector<SParameter>& parameters);
void Configure(ORVA::CPNode& node, std::initializer_list<SParameter> parameters);

// A value owning a new image of `type` and `size` whose samples are `samples` (repeated to
// fill the image when shorter).
template <class T>
std::unique_ptr<ORVA::CValue> ImageValue(ORVA::IImage::CType type, ORVA::CSize size,
                                         std::vector<T> samples) {
    auto image = std::make_unique<ORVA::CImage>(type, size);
    T* data = image->Data<T>();
    for (int64_t i = 0; i < image->Samples() && !samples.empty(); ++i)
        data[i] = samples[static_cast<size_t>(i) % samples.size()];
    return std::make_unique<ORVA::CValueOwnedPointer<ORVA::CImage>>(std::move(image));
}

// A value owning a new image of any `type` and `size` whose samples are `samples` converted to
// its element type (repeated to fill the image when shorter); and the samples of an image in
// memory order, as doubles.
std::unique_ptr<ORVA::CValue> ImageOf(ORVA::IImage::CType type, ORVA::CSize size,
                                      std::vector<double> samples);
std::vector<double> ValuesOf(const ORVA::CImage& image);

// A value owning a new image of `type` and `size` whose samples are all 0.
inline std::unique_ptr<ORVA::CValue> Blank(ORVA::IImage::CType type, ORVA::CSize size) {
    return std::make_unique<ORVA::CValueOwnedPointer<ORVA::CImage>>(
        std::make_unique<ORVA::CImage>(type, size));
}
inline std::unique_ptr<ORVA::CValue> GreyF(ORVA::CSize size, std::vector<float> samples) {
    return ImageValue<float>(ORVA::IMAGE_GREY_F, size, std::move(samples));
}
inline std::unique_ptr<ORVA::CValue> Grey8(ORVA::CSize size, std::vector<uint8_t> samples) {
    return ImageValue<uint8_t>(ORVA::IMAGE_GREY_8, size, std::move(samples));
}

// Empties every input of `node`, then places `inputs` on pins 0, 1, ... (null leaves a pin
// empty).
void SetInputs(ORVA::CPNode& node, const std::vector<ORVA::CValue*>& inputs);
// Runs `node` on `inputs` and returns the image on its output 0.
const ORVA::CImage& RunImage(ORVA::CPNode& node, const std::vector<ORVA::CValue*>& inputs);
// Runs `node` on `inputs`; the CException it throws as "location | message", or "no exception".
std::string RunError(ORVA::CPNode& node, const std::vector<ORVA::CValue*>& inputs);

// A failing run: the inputs, the error as "location | message" (after a prefix the cases
// share), and parameters laid over the node's own.
struct SFailure {
    std::vector<ORVA::CValue*> inputs;
    std::string error;
    std::vector<SParameter> parameters = {};
};
// Runs a new `Node` for every case and expects the case's error, `prefix` in front, and no
// output.
template <class Node>
void ExpectFailures(const std::string& prefix, std::span<const SFailure> cases) {
    for (const SFailure& c : cases) {
        Node node;
        Configure(node, ParameterMap(c.parameters));
        EXPECT_EQ(RunError(node, c.inputs), prefix + c.error);
        EXPECT_FALSE(node.IsStackOutputSet(0)) << c.error;
    }
}

// The image on output `pin` of `node` (fails the test when there is none).
const ORVA::CImage& OutputImage(ORVA::CPNode& node, int pin = 0);

template <class T>
std::vector<T> Samples(const ORVA::CImage& image) {
    const T* data = image.Data<T>();
    return std::vector<T>(data, data + image.Samples());
}

// What `action` writes to standard output or standard error.
std::string CapturedStdout(const std::function<void()>& action);
std::string CapturedStderr(const std::function<void()>& action);

// The message of the CException `action` throws, or "no exception"; with `location` the
// location text as well, as "location | message".
std::string ErrorOf(const std::function<void()>& action, bool withLocation = false);

}  // namespace testing_support
