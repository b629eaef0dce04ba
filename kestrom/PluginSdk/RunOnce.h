#pragma once

namespace ORVA {

// The has-run flag of nodes that can compute only once: NodeInit resets it (a parameter bound to
// it does so when it is read), a successful Run marks it, and while "run_once" holds later Runs
// are skipped.
class CRunOnce {
  public:
    void Reset(bool enabled) noexcept {
        m_enabled = enabled;
        m_done = false;
    }
    bool Enabled() const noexcept { return m_enabled; }
    bool Skip() const noexcept { return m_enabled && m_done; }
    bool Done() const noexcept { return m_done; }
    void MarkDone() noexcept { m_done = true; }

  private:
    bool m_enabled = false;
    bool m_done = false;
};

}  // namespace ORVA
