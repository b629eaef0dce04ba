// ReadImage's decoder of one format (FUZZ_FORMAT) on any bytes: a CException is the only
// acceptable failure. Planes are limited to 2^24 pixels, so that the fuzzer spends its time on
// variety rather than on legitimately huge images.
#include <cstddef>
#include <cstdint>

#include "codecs/ImageFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        std::unique_ptr<ORVA::CImage> image =
            ORVA::DecodeImage(data, size, ORVA::EnImageFormat::FUZZ_FORMAT, "input",
                              "(fuzz) ReadImage", {.planePixels = 1 << 24});
        // Every sample must be readable: uninitialised or short buffers show up here.
        volatile uint8_t sum = 0;
        for (size_t i = 0; i < image->ByteCount(); i += 61)
            sum = static_cast<uint8_t>(sum + image->Bytes()[i]);
    } catch (const ORVA::CException&) {
    }
    return 0;
}
