#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Sets one text entry in the metadata of a copy of its input value.
class CPAddMetaData : public CPNode {
  public:
    CPAddMetaData();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_key;
    std::string m_value;
};

}  // namespace ORVA
