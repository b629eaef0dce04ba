#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Writes any value in the framework's text format (to a file, standard output or nowhere) and
// outputs the text, or reads a value back from such a file.
class CTextSerializerNode : public CPNode {
  public:
    explicit CTextSerializerNode(const char* instance = "TextSerializerNode");
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    void Write(const std::string& path);
    void Read(const std::string& path);

    std::string m_mode;
    std::string m_filename;
    int32_t m_indent;
    bool m_verbose;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
