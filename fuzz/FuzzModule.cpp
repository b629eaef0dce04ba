// A module for the host-side fuzz targets: one node that declares a parameter of every kind of
// check (range, minimum, allowed values and numbers, double or long), since the utility module
// is not built with clang.
#include "tarsel.h"

namespace {

class CPChecked : public ORVA::CPNode {
  public:
    void Declare(ORVA::CSetupDocument& doc) override {
        doc.Identity("Generic", "Utility", "Checked");
        doc.Parameter("size", m_size, "a long in a range").Range(1, 99);
        doc.Parameter("gain", m_gain, "a double with a minimum").Minimum(0.5);
        doc.Parameter("mode", m_mode, "one of three").Values("FAST, SLOW,EXACT");
        doc.Parameter("connect", m_connect, "4 or 8").OneOf({4, 8});
        doc.Parameter("value", m_value, "a double or a long").DoubleOrLong();
        doc.Parameter("flag", m_flag, "a bool");
        doc.Input(0, "an image");
        doc.Output(0, "the image");
        doc.Output(1, "a count", ORVA::CSetupDocument::PIN_VALUE);
    }
    void Run() override {}

  private:
    int32_t m_size = 3, m_connect = 4;
    double m_gain = 1.0, m_value = 0.0;
    std::string m_mode = "FAST";
    bool m_flag = false;
};

constexpr ORVA::SModuleNode NODES[] = {{"Checked", ORVA::MakeNode<CPChecked>}};

}  // namespace

ORVA_MODULE_ENTRY_POINTS(NODES)
