#pragma once

#include <memory>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Makes a new image of another pixel type by a plain typecast of every sample; with
// "run_once" it computes once and hands out the kept result until the next NodeInit.
class CPConvertType : public CPNode {
  public:
    CPConvertType();
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

    const std::string& OutputType() const noexcept { return m_outType; }

  private:
    CRunOnce m_runOnce;
    std::string m_outType;
    bool m_swap;
    std::unique_ptr<CImage> m_cache;  // the result kept while "run_once" holds
};

}  // namespace ORVA
