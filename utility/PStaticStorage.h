#pragma once

#include <memory>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// A keyed map of values shared by every node of the process and kept between runs: the
// module's own map ("STATIC") or one held by the framework's registry ("REGISTRY"), which
// outlives the module.
class CPStaticStorage : public CPNode {
  public:
    CPStaticStorage();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    // Carries out the mode on `map`, whose lock the caller holds.
    void Apply(CValueMap& map, const CValue* input);

    std::string m_mode;
    std::string m_key;
    std::string m_storage;
};

}  // namespace ORVA
