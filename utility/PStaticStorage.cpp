#include "PStaticStorage.h"

#include <mutex>
#include <new>

namespace ORVA {

namespace {

constexpr const char* LOCATION = "StaticStorage";
constexpr const char* REGISTRY_KEY = "tmp/StaticStorage";
constexpr const char* MODES = "READ, WRITE, DELETE, CLEAR, SHADOW_READ, SHADOW_WRITE";
constexpr const char* STORAGES = "STATIC, REGISTRY";

// The module's map lives from load to unload; every node of the process shares it.
std::mutex g_staticMutex;
CValueMap g_staticMap;

// The map in the registry, made on first use; the caller holds the registry's lock, which
// guards this map as long as the framework is loaded.
CValueMap& RegistryMap() {
    CRegistry& registry = CRegistry::Obj();
    if (CValue* entry = registry.Entry(REGISTRY_KEY); entry && entry->Map()) return *entry->Map();
    auto map = std::make_unique<CValueMap>();
    CValueMap& result = *map;
    registry.SetEntry(REGISTRY_KEY, std::move(map));
    return result;
}

bool IsValidKey(const std::string& key) {
    return !key.empty() && !key.starts_with("../");
}

// A new value of the kind of `value` with its content: images deep-copied into a new owning
// value, maps and vectors cloned, scalars rebuilt. Other kinds throw.
std::unique_ptr<CValue> CopyByKind(const CValue& value) {
    if (HoldsType<CImage>(&value)) {
        // The framework makes the owning value, so that an entry left in the registry holds
        // no code of this module when the module is unloaded.
        CValuePointer<CImage> borrowed(UnwrapPointer<CImage>(&value, LOCATION));
        std::unique_ptr<CValue> copy = CPNode::PassOnCopy(&borrowed);
        return copy ? std::move(copy) : std::make_unique<CValueOwnedPointer<CImage>>();
    }
    switch (value.GenericType()) {
        case CValue::VAL_MAP:
        case CValue::VAL_VECTOR:
            return value.CloneUnique(OWNERSHIP_DEFAULT);
        case CValue::VAL_BOOL:
            return std::make_unique<CValueBool>(value.Bool());
        case CValue::VAL_DOUBLE:
            return std::make_unique<CValueDouble>(value.Double());
        case CValue::VAL_LONG:
            return std::make_unique<CValueLong>(value.Long());
        case CValue::VAL_STRING:
            return std::make_unique<CValueString>(value.String());
        default:
            throw CException(LOCATION, "Unsupported input type: " + TypeName(value.Type()));
    }
}

}  // namespace

CPStaticStorage::CPStaticStorage() : m_mode("READ"), m_storage("STATIC") {}

void CPStaticStorage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "StaticStorage").KeepsState();
    doc.Brief(
        "Keeps values between runs and shares them between all nodes of the process.",
        "Works like a global variable: a value written under a key by one node can be read by "
        "any other StaticStorage node, in any graph, until it is overwritten, deleted or "
        "cleared. Supported kinds are CImage, CValueMap, CValueVector, CValueBool, "
        "CValueDouble, CValueLong, CValueString.\n"
        "WRITE stores a copy of input 0 (images are copied deeply), READ outputs a new copy of "
        "the stored value, DELETE removes the key, CLEAR removes every key. SHADOW_WRITE "
        "stores only what the input points to, without copying or owning it, so the object "
        "must outlive the entry; SHADOW_READ outputs a plain copy of the entry.\n"
        "STATIC keeps the values in this module (they are lost when it is unloaded); REGISTRY "
        "keeps them in the registry entry \"tmp/StaticStorage\" of the framework, which "
        "survives the module.");
    doc.Note(
        "The key must not be empty nor begin with \"../\" unless input 0 holds a value; CLEAR "
        "needs no key. A key with \"/\" addresses a nested map. Mode and storage are compared "
        "exactly, in capitals. Reading a key that holds no value is an error, as is writing "
        "without a value on input 0. Access to each shared map is serialised, so graphs may "
        "run on several threads. A SHADOW_WRITE entry in REGISTRY must not outlive the object "
        "it refers to, nor the module that made that object.");
    doc.Input(0, "Value to store (WRITE, SHADOW_WRITE).", CSetupDocument::PIN_VALUE).Optional();
    doc.Output(0, "Value read (READ, SHADOW_READ).", CSetupDocument::PIN_VALUE);
    doc.Parameter("mode", m_mode, "operation on the storage").Fallback("READ").Values(MODES);
    // The key falls back to the same text as the mode, as it always has.
    doc.Parameter("key", m_key, "key of the entry").Fallback("READ");
    doc.Parameter("storage", m_storage, "which shared map is used")
        .Fallback("STATIC")
        .Values(STORAGES);
    doc.Keywords({"static", "global", "variable", "storage", "registry", "state"});
    doc.Example("StringToImage ! StaticStorage mode=WRITE key=matrix ! StaticStorage key=matrix");
}

void CPStaticStorage::Run() {
    const CValue* input = GetStackInput(0, false);
    if (m_mode != "CLEAR" && !input && !IsValidKey(m_key))
        throw CException(LOCATION,
                         CString("Invalid key '%1'. Please enter a valid key.").Arg(m_key));
    if (m_storage == "REGISTRY") {
        auto lock = CRegistry::Obj().Lock();
        Apply(RegistryMap(), input);
    } else if (m_storage == "STATIC") {
        std::lock_guard lock(g_staticMutex);
        Apply(g_staticMap, input);
    } else {
        throw CException(LOCATION, "Invalid storage type set. Must be STATIC or REGISTRY.");
    }
}

void CPStaticStorage::Apply(CValueMap& map, const CValue* input) {
    auto stored = [&]() -> const CValue& {
        const CValue* entry = map.Entry(m_key);
        if (!entry)
            throw CException(LOCATION, CString("No value is stored under key '%1'.").Arg(m_key));
        return *entry;
    };
    auto given = [&]() -> const CValue& {
        if (!input) throw CException(LOCATION, "No value on input 0 to store.");
        return *input;
    };

    if (m_mode == "WRITE") {
        map.SetEntry(m_key, CopyByKind(given()));
    } else if (m_mode == "READ") {
        const CValue& entry = stored();
        std::unique_ptr<CValue> copy;
        try {
            copy = CopyByKind(entry);
        } catch (const std::bad_alloc&) {
            // the output is left empty
        }
        SetStackOutput(0, std::move(copy));
    } else if (m_mode == "DELETE") {
        map.RemoveEntry(m_key);
    } else if (m_mode == "CLEAR") {
        map.Clear();
    } else if (m_mode == "SHADOW_READ") {
        SetStackOutput(0, stored().CloneUnique(OWNERSHIP_DEFAULT));
    } else if (m_mode == "SHADOW_WRITE") {
        map.SetEntry(m_key, given().CloneUnique(OWNERSHIP_SHALLOW));
    } else {
        throw CException(
            LOCATION,
            "Invalid mode set. Must be READ, WRITE, DELETE, SHADOW_READ or SHADOW_WRITE.");
    }
}

}  // namespace ORVA
