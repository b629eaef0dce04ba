#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Value/Container.h"
#include "Value/Pointer.h"
#include "base/String.h"

namespace ORVA {

class CSetupDocument;
class CImage;

// How a node takes an image input, and the messages (at `where`) for what it cannot take. A
// "%1" in a message is the pin number.
struct SImageInput {
    const char* where;
    // An empty pin, or a value holding a null image.
    const char* missing = "input image is NULL";
    // A value that holds something else than an image; null for the framework's "expected a
    // value holding CImage, but found ..." message.
    const char* notImage = nullptr;
    // An optional pin gives no image, rather than `missing`, when it is empty or null.
    bool optional = false;
};

class TARSEL_API IObject {
  public:
    virtual ~IObject();
    virtual void SetInstance(const char* name) = 0;
};

class TARSEL_API IPluginObject : public IObject {
  public:
    // Fills the setup document that describes the node (see CSetupDocument).
    virtual void GetPluginSetup(CValueMap& setup) = 0;
    // Receives the parameter map from the host.
    virtual void Init(const CValueMap* parameters) = 0;
};

class TARSEL_API IVectorizable {
  public:
    virtual ~IVectorizable();
    virtual CValueVector* Vectorize() const = 0;
    virtual void Devectorize(const CValueVector* state) = 0;
};

// The base of every node. The host constructs a node, names it (SetInstance), asks for its
// setup document, hands it the parameter map (Init), lets it read its parameters (NodeInit)
// and then, per execution, places inputs and calls Run, which leaves results on the outputs.
//
// A node declares itself once, in Declare: identity, texts, pins, and each parameter bound to
// its member. The setup document (GetPluginSetup) and the reads of NodeInit come from that
// declaration unless the node overrides them; a node whose NodeInit does more calls
// CPNode::NodeInit first.
//
// Inputs are borrowed from the host. Outputs are owned by the node until the host takes them,
// and stay until they are replaced: a Run that sets no output leaves the previous one.
class TARSEL_API CPNode : public IPluginObject, public IVectorizable {
  public:
    enum EnObjType { OBJ_NODE = 0 };

    CPNode();
    CPNode(const CPNode&) = delete;
    CPNode& operator=(const CPNode&) = delete;
    ~CPNode() override;

    // ---- the virtual operations, in slot order ----
    void SetInstance(const char* name) override;
    // Writes the document of the node's declaration.
    void GetPluginSetup(CValueMap& setup) override;
    // Replaces the parameter map by a copy of `parameters` (an empty map for null).
    void Init(const CValueMap* parameters) override;
    // Whether the node implements the named interface ("IObject", "IPluginObject",
    // "IVectorizable", "CPNode").
    virtual bool TestInterface(const CString& name);
    // Refreshes the members bound in the declaration from Parameters().
    virtual void NodeInit();
    // The parameter DEBUG_LEVEL_KEY (long, 0): AddDebugData keeps data up to this level.
    virtual int DebugLevel();
    virtual const CValueMap& Parameters() const;
    virtual CValueMap& Parameters();
    virtual EnObjType Type();
    virtual void Run() = 0;
    // Keeps a copy of `value` under `label` when `level` is at most DebugLevel().
    virtual void AddDebugData(int level, const CValue& value, const char* label);
    // Keeps `value` (taking ownership when `owned`, else a copy) under `label`.
    virtual void AddResultData(CValue* value, bool owned, const char* label);

  private:
    virtual void DeleteData();

  public:
    // The node's declaration (see CSetupDocument); nodes that declare nothing keep this.
    virtual void Declare(CSetupDocument& doc);

    static constexpr const char* DEBUG_LEVEL_KEY = "debug_level";

    // The node's state: its parameter map and instance name.
    CValueVector* Vectorize() const override;
    void Devectorize(const CValueVector* state) override;

    // ---- pins, as the node sees them ----
    // The value on input `pin`, or null when it is empty. With `required` an empty pin throws.
    CValue* GetStackInput(int pin, bool required = false);
    // The image on input `pin`, checked by `rules`; null only for an optional pin.
    const CImage* InputImage(int pin, const SImageInput& rules);
    bool HasStackInput(long pin) const;
    // One more than the highest input pin the host has placed.
    long StackInputs() const;
    // Places a new value (null allowed) on output `pin`; the node takes ownership and drops
    // any value placed before.
    void SetStackOutput(int pin, CValue* value);
    void SetStackOutput(int pin, std::unique_ptr<CValue> value) {
        SetStackOutput(pin, value.release());
    }
    // Whether output `pin` is wanted by the host (all are, unless the host says otherwise).
    bool HasStackOutput(long pin) const;

    // ---- pins, as the host sees them ----
    // Places a borrowed value (null empties the pin).
    void SetStackInput(int pin, CValue* value);
    // Places a value the node keeps until the pin is set again.
    void SetStackInput(int pin, std::unique_ptr<CValue> value);
    void ClearStackInputs();
    void SetStackOutputWanted(long pin, bool wanted);
    // The value on output `pin`, or null.
    CValue* StackOutput(int pin) const;
    // Whether a Run has placed a value (perhaps null) on output `pin`.
    bool IsStackOutputSet(int pin) const;
    std::unique_ptr<CValue> TakeStackOutput(int pin);
    // One more than the highest output pin set.
    long StackOutputs() const;

    const std::string& Instance() const noexcept { return m_instance; }
    const CValueVector& DebugData() const noexcept { return m_debugData; }
    const CValueVector& ResultData() const noexcept { return m_resultData; }

    // The common way to pass an input on: a value that holds no image is cloned; a shared
    // value is shared again; an image is deep-copied into a new owning value. A null input,
    // or an image value holding no image, gives null.
    static std::unique_ptr<CValue> PassOnCopy(const CValue* input);

  private:
    struct InputPin {
        CValue* value = nullptr;
        std::unique_ptr<CValue> owned;
    };
    struct OutputPin {
        std::unique_ptr<CValue> value;
        bool set = false;
        bool unwanted = false;
    };
    OutputPin& Output(long pin);

    std::string m_instance;
    CValueMap m_parameters;
    std::vector<InputPin> m_inputs;
    std::vector<OutputPin> m_outputs;
    CValueVector m_debugData;
    CValueVector m_resultData;
};

// What a host gives Init: the parameter values a node declares in its setup document, with
// `settings` laid over them key by key.
TARSEL_API CValueMap ParameterValues(const CValueMap& setup, const CValueMap& settings = {});

}  // namespace ORVA
