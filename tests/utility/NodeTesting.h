#pragma once

// Helpers for tests that drive node classes directly, as a host would.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tarsel.h"

namespace testing_support {

// Sets the parameters (laid over the node's declared ones), runs NodeInit.
void Configure(ORVA::CPNode& node, const ORVA::CValueMap& parameters = {});

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
