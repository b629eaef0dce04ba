#include "PluginSdk/RunPlugin.h"

#include <limits>

#include "PluginSdk/Module.h"
#include "base/Exception.h"

namespace ORVA {

value::value(const char* text) : m_value(std::make_shared<CValueString>(text ? text : "")) {}
value::value(const std::string& text) : m_value(std::make_shared<CValueString>(text)) {}
value::value(int number) : m_value(std::make_shared<CValueLong>(number)) {}
value::value(long number) {
    if (number < std::numeric_limits<int32_t>::min() ||
        number > std::numeric_limits<int32_t>::max())
        throw CException("value", CString("%1 does not fit a long (32-bit integer)").Arg(number));
    m_value = std::make_shared<CValueLong>(static_cast<int32_t>(number));
}
value::value(double number) : m_value(std::make_shared<CValueDouble>(number)) {}
value::value(bool flag) : m_value(std::make_shared<CValueBool>(flag)) {}
value::value(std::unique_ptr<CValue> owned) : m_value(std::move(owned)) {}

value value::Copy(const CValue& source) {
    return value(source.CloneUnique(OWNERSHIP_DEEP));
}

value_list RunPlugin(const std::string& address, const std::vector<value>& inputs,
                     const CValueMap& parameters) {
    CPluginAddress target = CPluginAddress::Parse(address);
    CPluginModule& module = CPluginModule::Load(target.modulePath);
    std::unique_ptr<CPNode> node = module.Create(target.node);
    if (!node)
        throw CException(
            "RunPlugin",
            CString("module '%1' has no node '%2'").Arg(target.modulePath).Arg(target.node));

    node->SetInstance(target.node.c_str());
    CValueMap setup;
    node->GetPluginSetup(setup);
    CValueMap values = ParameterValues(setup, parameters);
    node->Init(&values);
    node->NodeInit();
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node->SetStackInput(static_cast<int>(pin), const_cast<CValue*>(inputs[pin].get()));
    node->Run();

    value_list outputs;
    for (long pin = 0; pin < node->StackOutputs(); ++pin) {
        std::unique_ptr<CValue> output = node->TakeStackOutput(static_cast<int>(pin));
        if (output && output->Pointer() && !output->Pointer()->Owns() &&
            !output->Pointer()->IsNull())
            output = output->CloneUnique(OWNERSHIP_DEEP);
        outputs.emplace_back(output ? value(std::move(output)) : value());
    }
    return outputs;
}

}  // namespace ORVA
