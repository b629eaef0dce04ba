// A small module for the loader tests: the three exports and a few nodes.
#include <cstring>

#include "tarsel.h"

using namespace ORVA;

namespace {

// Output 0: input 0 passed on, its string with "suffix" appended when it is a string.
class CPEcho : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override {
        doc.Identity("Image", "Utility", "Echo");
        doc.Parameter("suffix", m_suffix, "appended to strings");
        doc.Input(0, "anything", CSetupDocument::PIN_VALUE);
        doc.Output(0, "the same", CSetupDocument::PIN_VALUE);
    }
    void Run() override {
        CValue* input = GetStackInput(0);
        if (!input) throw CException("(test plugins) Echo::Run", "input is NULL");
        if (input->GenericType() == CValue::VAL_STRING)
            SetStackOutput(0, new CValueString(input->String() + m_suffix));
        else
            SetStackOutput(0, PassOnCopy(input));
    }

  private:
    std::string m_suffix = "!";
};

// Output 0 borrows an image the node keeps; output 2 is set, output 1 is not. Its document is
// written by hand, without a declaration, as older nodes do.
class CPKeeper : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override {
        CSetupDocument("Image", "Utility", "Keeper").WriteTo(setup);
    }
    void Run() override {
        m_image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(2, 2));
        m_image->Bytes()[0] = 5;
        SetStackOutput(0, new CValuePointer<CImage>(m_image.get()));
        SetStackOutput(2, new CValueLong(2));
    }

  private:
    std::unique_ptr<CImage> m_image;
};

// Output 0: an image value made by this module's code.
class CPMaker : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override {
        doc.Identity("Image", "Utility", "Maker");
        doc.Output(0, "a new image");
    }
    void Run() override {
        SetStackOutput(
            0, new CValueOwnedPointer<CImage>(std::make_unique<CImage>(IMAGE_GREY_8, CSize(3, 1))));
    }
};

// Output 0: a copy of the node's parameter map, as the host set it.
class CPParams : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override {
        doc.Identity("Generic", "Utility", "Params");
        doc.ParameterReadInRun("count", 1, "a declared long");
        doc.ParameterReadInRun("scale", 1.0, "a declared double");
        doc.ParameterReadInRun("flag", false, "a declared bool");
        doc.ParameterReadInRun("name", "x", "a declared string");
        doc.ParameterReadInRun("ratio", 0.5, "a double or a long").DoubleOrLong();
        doc.Output(0, "the parameters", CSetupDocument::PIN_MAP);
    }
    void Run() override { SetStackOutput(0, new CValueMap(Parameters())); }
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) CValueVector* ListPlugins() {
    auto* list = new CValueVector();
    list->PushBack(new CValueString("Echo"));
    list->PushBack(new CValueString("Keeper"));
    list->PushBack(new CValueString("Params"));
    return list;
}

__attribute__((visibility("default"))) CPNode* CreatePluginInstanceEx(const char* name) {
    if (std::strcmp(name, "Echo") == 0) return new CPEcho();
    if (std::strcmp(name, "Keeper") == 0) return new CPKeeper();
    if (std::strcmp(name, "Params") == 0) return new CPParams();
    if (std::strcmp(name, "Maker") == 0) return new CPMaker();
    if (std::strcmp(name, "Moved") == 0)
        throw CExPluginRelocation("testmodule::Moved", "elsewhere::Moved");
    return nullptr;
}

// The loader needs it; no test reads this module's time.
__attribute__((visibility("default"))) int64_t get_loading_timestamp() {
    return 0;
}
}
