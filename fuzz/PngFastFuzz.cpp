// The fast PNG reader against libpng on files that get past the checksums: the input gives a
// header, a palette and the filtered rows, which are deflated and wrapped in chunks with
// valid checksums. Whatever the fast reader decodes, libpng must decode to the same bytes.
#include <libdeflate.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "codecs/Png.h"
#include "codecs/PngFast.h"

namespace {

void Chunk(std::string& file, const char* type, const std::string& data) {
    auto be32 = [&](uint32_t v) {
        for (int shift = 24; shift >= 0; shift -= 8)
            file += static_cast<char>(v >> shift);
    };
    be32(static_cast<uint32_t>(data.size()));
    const std::string body = std::string(type, 4) + data;
    file += body;
    be32(static_cast<uint32_t>(libdeflate_crc32(0, body.data(), body.size())));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 6) return 0;
    static const uint8_t colours[] = {0, 2, 3, 4, 6};
    static const uint8_t depths[] = {1, 2, 4, 8, 16};
    const uint32_t width = data[0] % 64 + 1, height = data[1] % 64 + 1;
    const uint8_t colour = colours[data[2] % 5], depth = depths[data[3] % 5];
    const size_t paletteBytes = std::min<size_t>(size_t(data[4]) * 3, size - 6);
    const bool trailing = data[5] & 1;  // bytes after the zlib stream
    const std::string palette(reinterpret_cast<const char*>(data) + 6, paletteBytes);
    const uint8_t* rows = data + 6 + paletteBytes;
    const size_t rowsSize = size - 6 - paletteBytes;

    std::string header(13, '\0');
    for (int i = 0; i < 4; ++i) {
        header[i] = static_cast<char>(width >> (24 - 8 * i));
        header[4 + i] = static_cast<char>(height >> (24 - 8 * i));
    }
    header[8] = static_cast<char>(depth);
    header[9] = static_cast<char>(colour);
    libdeflate_compressor* deflater = libdeflate_alloc_compressor(1);
    std::string stream(libdeflate_zlib_compress_bound(deflater, rowsSize) + 1, '\0');
    stream.resize(libdeflate_zlib_compress(deflater, rows, rowsSize, stream.data(), stream.size()));
    libdeflate_free_compressor(deflater);
    if (trailing) stream += '\x07';

    std::string file = "\x89PNG\r\n\x1a\n";
    Chunk(file, "IHDR", header);
    if (!palette.empty()) Chunk(file, "PLTE", palette);
    Chunk(file, "IDAT", stream);
    Chunk(file, "IEND", "");

    const std::string name = "input";
    const ORVA::SDecoding decoding{
        reinterpret_cast<const uint8_t*>(file.data()), file.size(), name, "(fuzz) ReadImage", {}};
    std::unique_ptr<ORVA::CImage> fast, reference;
    try {
        fast = ORVA::DecodePngFast(decoding);
    } catch (const ORVA::CException&) {
        std::abort();  // the fast reader declines; it never fails
    }
    if (!fast) return 0;
    try {
        reference = ORVA::DecodePngLibpng(decoding);
    } catch (const ORVA::CException&) {
        std::abort();
    }
    if (fast->Type() != reference->Type() || fast->Size() != reference->Size() ||
        std::memcmp(fast->Bytes(), reference->Bytes(), fast->ByteCount()) != 0)
        std::abort();
    return 0;
}
