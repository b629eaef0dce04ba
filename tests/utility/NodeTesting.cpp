#include "NodeTesting.h"

namespace testing_support {

using namespace ORVA;

void Configure(CPNode& node, const CValueMap& parameters) {
    CValueMap setup;
    node.GetPluginSetup(setup);
    CValueMap values = ParameterValues(setup, parameters);
    node.Init(&values);
    node.NodeInit();
}

const CImage& OutputImage(CPNode& node, int pin) {
    const CImage* image = UnwrapPointer<CImage>(node.StackOutput(pin));
    if (!image) throw CException("test", "no image on output " + std::to_string(pin));
    return *image;
}

std::string CapturedStdout(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    try {
        action();
    } catch (...) {
        testing::internal::GetCapturedStdout();
        throw;
    }
    return testing::internal::GetCapturedStdout();
}

std::string CapturedStderr(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    try {
        action();
    } catch (...) {
        testing::internal::GetCapturedStderr();
        throw;
    }
    return testing::internal::GetCapturedStderr();
}

std::string ErrorOf(const std::function<void()>& action, bool withLocation) {
    try {
        action();
    } catch (const CException& error) {
        return withLocation ? error.Location() + " | " + error.Message() : error.Message();
    }
    return "no exception";
}

}  // namespace testing_support
