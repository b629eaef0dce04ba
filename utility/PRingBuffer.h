#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "support/NodeSupport.h"

namespace ORVA {

// Keeps the last values placed on its input across runs, and the pixel-wise mean of kept grey
// images, updated by the one image that comes and the one that goes.
class CPRingBuffer : public CPNode {
  public:
    CPRingBuffer();
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

    size_t Count() const noexcept { return m_entries.size(); }

  private:
    struct SEntry {
        std::unique_ptr<CValue> value;  // a deep copy of what came in
        const CImage* grey = nullptr;   // the image when it has one channel
        bool nonFinite = false;         // known once the image was added to the sum
    };

    void Clear();
    void Push(std::unique_ptr<CValue> value);
    // Sums every kept image again, when they are all grey and of one size.
    void Resum();

    int32_t m_size;
    bool m_clear;
    std::deque<SEntry> m_entries;
    // Per pixel the sum of the kept images, while m_sumValid.
    std::vector<double> m_sum;
    CSize m_sumSize;
    bool m_sumValid = false;
};

}  // namespace ORVA
