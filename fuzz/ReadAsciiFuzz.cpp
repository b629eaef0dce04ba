// ReadASCII on any file; the first byte picks the separator.
#include <cstddef>
#include <cstdint>

#include "FileFuzz.h"
#include "PReadASCII.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const char* const SEPARATORS[] = {"WHITE_SPACE", "AUTO", "COMMA", ";", ".", "/", "?"};
    if (size == 0) return 0;
    ORVA::CValueMap parameters;
    parameters.SetEntry("filename", new ORVA::CValueString(FuzzFile(data + 1, size - 1)));
    parameters.SetEntry("separator", new ORVA::CValueString(SEPARATORS[data[0] % 7]));
    ORVA::CPReadASCII node;
    node.Init(&parameters);
    node.NodeInit();
    try {
        node.Run();
    } catch (const ORVA::CException&) {
    }
    return 0;
}
