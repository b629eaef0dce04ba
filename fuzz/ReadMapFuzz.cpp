// The text format as ReadMap reads it, through ReadValueFile.
#include <cstddef>
#include <cstdint>

#include "FileFuzz.h"
#include "support/Files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        std::unique_ptr<ORVA::CValue> value =
            ORVA::ReadValueFile(FuzzFile(data, size), "(fuzz) ReadMap");
        // What was read writes back and reads again to an equal value.
        std::string text = ORVA::CTextSerializer::ToText(*value);
        std::unique_ptr<ORVA::CValue> again = ORVA::CTextSerializer::FromText(text);
        if (!again->EqualData(*value)) std::abort();
    } catch (const ORVA::CException&) {
    }
    return 0;
}
