#include "NodeTesting.h"

namespace testing_support {

using namespace ORVA;

namespace {

// Calls `f` with a value of the element type of `type` (every integer type is unsigned).
template <class F>
void WithElementType(IImage::CType type, F&& f) {
    if (type.IsFloating()) {
        if (type.ElementSize() == 4) return f(float{});
        return f(double{});
    }
    switch (type.ElementSize()) {
        case 1:
            return f(uint8_t{});
        case 2:
            return f(uint16_t{});
        case 4:
            return f(uint32_t{});
        default:
            return f(uint64_t{});
    }
}

// Runs `action` with an output stream captured by `start` and returns what `take` gives back.
std::string Captured(void (*start)(), std::string (*take)(), const std::function<void()>& action) {
    start();
    try {
        action();
    } catch (...) {
        take();
        throw;
    }
    return take();
}

}  // namespace

void Configure(CPNode& node, const CValueMap& parameters) {
    CValueMap setup;
    node.GetPluginSetup(setup);
    CValueMap values = ParameterValues(setup, parameters);
    node.Init(&values);
    node.NodeInit();
}

std::unique_ptr<CValue> ImageOf(IImage::CType type, CSize size, std::vector<double> samples) {
    auto image = std::make_unique<CImage>(type, size);
    WithElementType(type, [&]<class T>(T) {
        T* data = reinterpret_cast<T*>(image->Bytes());
        const size_t count = image->ByteCount() / sizeof(T);
        for (size_t i = 0; i < count && !samples.empty(); ++i)
            data[i] = static_cast<T>(samples[i % samples.size()]);
    });
    return std::make_unique<CValueOwnedPointer<CImage>>(std::move(image));
}

std::vector<double> ValuesOf(const CImage& image) {
    std::vector<double> values;
    WithElementType(image.Type(), [&]<class T>(T) {
        const T* data = reinterpret_cast<const T*>(image.Bytes());
        values.assign(data, data + image.ByteCount() / sizeof(T));
    });
    return values;
}

SParameter::SParameter(const char* key, int value)
    : key(key), value(std::make_shared<CValueLong>(value)) {}
SParameter::SParameter(const char* key, double value)
    : key(key), value(std::make_shared<CValueDouble>(value)) {}
SParameter::SParameter(const char* key, bool value)
    : key(key), value(std::make_shared<CValueBool>(value)) {}
SParameter::SParameter(const char* key, const char* value)
    : key(key), value(std::make_shared<CValueString>(value)) {}

CValueMap ParameterMap(const std::vector<SParameter>& parameters) {
    CValueMap map;
    for (const SParameter& parameter : parameters)
        map.SetEntry(parameter.key, parameter.value->CloneUnique());
    return map;
}

void Configure(CPNode& node, std::initializer_list<SParameter> parameters) {
    Configure(node, ParameterMap(parameters));
}

void SetInputs(CPNode& node, const std::vector<CValue*>& inputs) {
    node.ClearStackInputs();
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node.SetStackInput(static_cast<int>(pin), inputs[pin]);
}

const CImage& RunImage(CPNode& node, const std::vector<CValue*>& inputs) {
    SetInputs(node, inputs);
    node.Run();
    return OutputImage(node);
}

std::string RunError(CPNode& node, const std::vector<CValue*>& inputs) {
    SetInputs(node, inputs);
    return ErrorOf([&] { node.Run(); }, true);
}

const CImage& OutputImage(CPNode& node, int pin) {
    const CImage* image = UnwrapPointer<CImage>(node.StackOutput(pin));
    if (!image) throw CException("test", "no image on output " + std::to_string(pin));
    return *image;
}

std::string CapturedStdout(const std::function<void()>& action) {
    return Captured(testing::internal::CaptureStdout, testing::internal::GetCapturedStdout, action);
}

std::string CapturedStderr(const std::function<void()>& action) {
    return Captured(testing::internal::CaptureStderr, testing::internal::GetCapturedStderr, action);
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
