#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "PluginSdk/Node.h"

namespace ORVA {

// An argument or a result of RunPlugin: a value shared by reference count, or empty.
class TARSEL_API value {
  public:
    value() = default;
    value(const char* text);
    value(const std::string& text);
    value(int number);
    value(long number);  // must fit 32 bits (CValueLong)
    value(double number);
    value(bool flag);
    explicit value(std::unique_ptr<CValue> owned);
    // A copy of `source` (deep for pointer values).
    static value Copy(const CValue& source);

    bool empty() const noexcept { return !m_value; }
    const CValue* get() const noexcept { return m_value.get(); }
    CValue* get() noexcept { return m_value.get(); }
    const CValue* operator->() const noexcept { return m_value.get(); }

  private:
    std::shared_ptr<CValue> m_value;
};

using value_list = std::vector<value>;

// A named parameter among RunPlugin's arguments.
struct TARSEL_API param {
    param(std::string key_, value value_) : key(std::move(key_)), v(std::move(value_)) {}
    std::string key;
    value v;
};

// Runs the node at `address` ("%ORVADIR%/bin/utility::ReadASCII") once: loads its module,
// creates the node, sets the parameters of its setup document with `parameters` laid over
// them, calls NodeInit, places `inputs` on pins 0, 1, ... and runs it. The result holds one
// value per output pin (empty where the node set none); values the node only borrowed are
// copied, so every result outlives the node. Failures are CExceptions that say what failed.
TARSEL_API value_list RunPlugin(const std::string& address, const std::vector<value>& inputs,
                                const CValueMap& parameters);

// The same with the arguments in one list: each `param` sets a parameter, every other
// argument is the next input.
//
//     value_list out = RunPlugin("%ORVADIR%/bin/utility::ReadASCII", param("filename", path));
template <class... Args>
requires(!(std::is_same_v<std::decay_t<Args>, std::vector<value>> || ...)) value_list
    RunPlugin(const value& address, Args&&... arguments) {
    std::vector<value> inputs;
    CValueMap parameters;
    [[maybe_unused]] auto take = [&]<class A>(A&& argument) {
        if constexpr (std::is_same_v<std::decay_t<A>, param>)
            parameters.SetEntry(argument.key, argument.v.empty() ? nullptr : argument.v->Clone());
        else
            inputs.emplace_back(std::forward<A>(argument));
    };
    (take(std::forward<Args>(arguments)), ...);
    return RunPlugin(address.empty() ? std::string() : std::string(address->String()), inputs,
                     parameters);
}

}  // namespace ORVA
