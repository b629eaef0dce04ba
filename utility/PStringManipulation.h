#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/NodeSupport.h"

namespace ORVA {

// One text operation per run on the value of input 0: joining, replacing, cutting, changing
// case, splitting, measuring, parsing a number, or filling a template from inputs 0 to 8.
class CPStringManipulation : public CPNode {
  public:
    CPStringManipulation();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // A value as text: strings as they are, numbers in their shortest exact form, bools as
    // "true" or "false", no value (or a null) as the empty text. Other kinds throw.
    static std::string ValueText(const CValue* value, int pin);
    // The characters (UTF-8 code points) of `text` from `start` (negative: from the end) on,
    // at most `length` of them (negative: all).
    static std::string Substring(std::string_view text, int32_t start, int32_t length);
    // The pieces between the occurrences of `separator`; an empty separator splits at runs of
    // white space and drops empty pieces.
    static std::vector<std::string> Split(std::string_view text, std::string_view separator);
    // A CValueLong for an integer that fits 32 bits, else a CValueDouble; throws for text that
    // is not a number.
    static std::unique_ptr<CValue> ParseNumber(std::string_view text);

  private:
    // `m_text` with each %1 ... %9 replaced by the text of input 0 ... 8.
    std::string Format();

    std::string m_mode;
    std::string m_text;
    std::string m_search;
    std::string m_replace;
    int32_t m_start;
    int32_t m_length;
};

}  // namespace ORVA
