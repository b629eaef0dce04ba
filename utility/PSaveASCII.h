#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Writes an image as a text matrix that ReadASCII reads back: to a file or standard output
// ("SaveASCII"), or into a string output ("ImageToString").
class CPSaveASCII : public CPNode {
  public:
    explicit CPSaveASCII(bool toString);
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    bool m_toString;
    std::string m_filename;
    std::string m_text;
    bool m_append;
    int32_t m_precision;
    std::string m_baseType;
};

}  // namespace ORVA
