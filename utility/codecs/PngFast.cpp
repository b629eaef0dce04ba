// The fast reader is deliberately narrow: whatever libpng would refuse, warn about in a way
// that changes the pixels, or handle by a limit of its own is declined, so libpng decides it.
#include "codecs/PngFast.h"

#include <libdeflate.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "support/Files.h"

namespace ORVA {

namespace {

// libpng's default limits: width and height, and the data of a chunk other than IDAT.
constexpr uint32_t MAX_SIDE = 1000000;
constexpr uint32_t MAX_OTHER_CHUNK = 8000000;

enum : int { GREY = 0, RGB = 2, PALETTE = 3, GREY_ALPHA = 4, RGBA = 6 };

uint32_t BigEndian32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

int Channels(int colour) {
    switch (colour) {
        case GREY:
        case PALETTE:
            return 1;
        case RGB:
            return 3;
        case GREY_ALPHA:
            return 2;
        case RGBA:
            return 4;
        default:
            return 0;
    }
}

bool ValidDepth(int colour, int depth) {
    switch (colour) {
        case GREY:
            return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
        case PALETTE:
            return depth == 1 || depth == 2 || depth == 4 || depth == 8;
        default:
            return depth == 8 || depth == 16;
    }
}

struct SPngFile {
    uint32_t width = 0, height = 0;
    int depth = 0, colour = 0;
    std::vector<std::pair<const uint8_t*, size_t>> idat;
    uint8_t palette[256 * 3] = {};  // entries past the file's stay black, as in libpng
};

// The header, palette and image data of a well-formed, non-interlaced file; false for
// anything else.
bool ReadChunks(const uint8_t* data, size_t size, SPngFile& png) {
    if (size < 8 || std::memcmp(data, "\x89PNG\r\n\x1a\n", 8) != 0) return false;
    bool header = false, palette = false, ended = false;
    auto isLetter = [](uint8_t c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; };
    for (size_t at = 8; !ended;) {
        if (size - at < 12) return false;
        const uint32_t length = BigEndian32(data + at);
        const uint8_t* type = data + at + 4;
        const uint8_t* body = data + at + 8;
        if (length > 0x7fffffffu || length > size - at - 12) return false;
        if (!isLetter(type[0]) || !isLetter(type[1]) || !isLetter(type[2]) || !isLetter(type[3]))
            return false;
        const bool critical = !(type[0] & 0x20);
        const bool isIdat = std::memcmp(type, "IDAT", 4) == 0;
        if (!isIdat && length > MAX_OTHER_CHUNK) return false;
        // Ancillary chunks change nothing here (transparency is dropped), so their checksums
        // do not matter either: libpng only warns about them.
        if (critical && libdeflate_crc32(0, type, length + 4) != BigEndian32(body + length))
            return false;
        if (!header) {
            if (std::memcmp(type, "IHDR", 4) != 0 || length != 13) return false;
            png.width = BigEndian32(body);
            png.height = BigEndian32(body + 4);
            png.depth = body[8];
            png.colour = body[9];
            if (png.width == 0 || png.height == 0 || png.width > MAX_SIDE ||
                png.height > MAX_SIDE || Channels(png.colour) == 0 ||
                !ValidDepth(png.colour, png.depth) || body[10] != 0 || body[11] != 0 ||
                body[12] != 0)
                return false;
            header = true;
        } else if (isIdat) {
            // One run of IDAT chunks.
            if (!png.idat.empty() && png.idat.back().first + png.idat.back().second + 12 != body)
                return false;
            if (png.colour == PALETTE && !palette) return false;
            png.idat.emplace_back(body, length);
        } else if (std::memcmp(type, "PLTE", 4) == 0) {
            if (palette || !png.idat.empty() || length % 3 != 0 || length == 0) return false;
            if (png.colour == PALETTE) {
                if (length / 3 > (1u << png.depth)) return false;
                std::memcpy(png.palette, body, length);
            }
            palette = true;
        } else if (std::memcmp(type, "IEND", 4) == 0) {
            if (length != 0 || png.idat.empty()) return false;
            ended = true;
        } else if (critical) {
            return false;
        }
        at += size_t(length) + 12;
    }
    return true;
}

// One row unfiltered from `in` to `out`, which may be the same bytes or lie before them;
// `previous` is the row above (unfiltered), zeros for the first. False for an unknown filter.
// `bytes` is a multiple of BPP. The pixel to the left is carried in registers: read back from
// `out`, which may alias `in`, it would put a store and a load into every step of the chain.
template <size_t BPP>
bool Unfilter(uint8_t filter, const uint8_t* in, uint8_t* out, const uint8_t* previous,
              size_t bytes) {
    uint8_t left[BPP] = {}, upLeft[BPP] = {};
    switch (filter) {
        case 0:
            std::memmove(out, in, bytes);
            return true;
        case 1:
            for (size_t x = 0; x < bytes; x += BPP)
                for (size_t c = 0; c < BPP; ++c)
                    out[x + c] = left[c] = static_cast<uint8_t>(in[x + c] + left[c]);
            return true;
        case 2:
            for (size_t x = 0; x < bytes; ++x)
                out[x] = static_cast<uint8_t>(in[x] + previous[x]);
            return true;
        case 3:
            for (size_t x = 0; x < bytes; x += BPP)
                for (size_t c = 0; c < BPP; ++c)
                    out[x + c] = left[c] =
                        static_cast<uint8_t>(in[x + c] + ((left[c] + previous[x + c]) >> 1));
            return true;
        case 4:
            for (size_t x = 0; x < bytes; x += BPP)
                for (size_t c = 0; c < BPP; ++c) {
                    const int a = left[c], b = previous[x + c], d = upLeft[c];
                    const int pa = std::abs(b - d), pb = std::abs(a - d),
                              pc = std::abs(a + b - 2 * d);
                    const int predicted = pa <= pb && pa <= pc ? a : pb <= pc ? b : d;
                    out[x + c] = left[c] = static_cast<uint8_t>(in[x + c] + predicted);
                    upLeft[c] = static_cast<uint8_t>(b);
                }
            return true;
        default:
            return false;
    }
}

using UnfilterRow = bool (*)(uint8_t, const uint8_t*, uint8_t*, const uint8_t*, size_t);

UnfilterRow UnfilterFor(size_t pixelBytes) {
    switch (pixelBytes) {
        case 1:
            return Unfilter<1>;
        case 2:
            return Unfilter<2>;
        case 3:
            return Unfilter<3>;
        case 4:
            return Unfilter<4>;
        case 6:
            return Unfilter<6>;
        default:
            return Unfilter<8>;
    }
}

uint16_t Sample16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

// A sample of 1, 2, 4 or 8 bits, the first in the high bits of a byte.
template <int DEPTH>
uint8_t Packed(const uint8_t* row, size_t x) {
    if constexpr (DEPTH == 8) {
        return row[x];
    } else {
        constexpr size_t PER_BYTE = 8 / DEPTH;
        const int shift = 8 - DEPTH * static_cast<int>(x % PER_BYTE + 1);
        return static_cast<uint8_t>(row[x / PER_BYTE] >> shift & ((1 << DEPTH) - 1));
    }
}

template <int DEPTH>
void GreyRows(const uint8_t* rows, size_t rowBytes, CImage& image) {
    const size_t width = static_cast<size_t>(image.Size().x);
    uint8_t* out = image.Bytes();
    for (int64_t y = 0; y < image.Size().y; ++y, rows += rowBytes, out += width)
        for (size_t x = 0; x < width; ++x)
            out[x] = static_cast<uint8_t>(Packed<DEPTH>(rows, x) * (255 / ((1 << DEPTH) - 1)));
}

template <int DEPTH>
void PaletteRows(const uint8_t* rows, size_t rowBytes, const uint8_t* palette, CImage& image) {
    const size_t width = static_cast<size_t>(image.Size().x);
    uint8_t* out = image.Bytes();
    for (int64_t y = 0; y < image.Size().y; ++y, rows += rowBytes, out += 3 * width)
        for (size_t x = 0; x < width; ++x)
            std::memcpy(out + 3 * x, palette + 3 * Packed<DEPTH>(rows, x), 3);
}

// The first KEPT samples of each pixel of `channels` samples of 8 or 16 bits: 16-bit grey
// stays 16 bits, 16-bit colour is rounded to 8.
template <int BYTES, int KEPT>
void KeepSamples(const uint8_t* rows, size_t rowBytes, int channels, CImage& image) {
    const size_t width = static_cast<size_t>(image.Size().x);
    const size_t step = static_cast<size_t>(channels) * BYTES;
    uint8_t* out = image.Bytes();
    auto* out16 = reinterpret_cast<uint16_t*>(image.Bytes());
    for (int64_t y = 0; y < image.Size().y; ++y, rows += rowBytes) {
        const uint8_t* in = rows;
        for (size_t x = 0; x < width; ++x, in += step)
            for (int c = 0; c < KEPT; ++c) {
                if constexpr (BYTES == 1)
                    *out++ = in[c];
                else if constexpr (KEPT == 1)
                    *out16++ = Sample16(in);
                else
                    *out++ = To8(Sample16(in + 2 * c), 65535);
            }
    }
}

struct SFree {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

}  // namespace

std::unique_ptr<CImage> DecodePngFast(const SDecoding& file) {
    SPngFile png;
    if (!ReadChunks(file.data, file.size, png)) return nullptr;
    const CSize plane = PlaneSize(png.width, png.height, file, EnImageFormat::PNG);
    const int channels = Channels(png.colour);
    const size_t bits = static_cast<size_t>(channels * png.depth);
    const size_t rowBytes = (png.width * bits + 7) / 8;
    const size_t height = png.height;
    const size_t filtered = height * (rowBytes + 1);

    const IImage::CType type = png.colour == GREY || png.colour == GREY_ALPHA
                                   ? (png.depth == 16 ? IMAGE_GREY_16 : IMAGE_GREY_8)
                                   : IMAGE_RGB_8I;
    // Rows that are the image's own layout once unfiltered stay where they are inflated.
    const bool inPlace =
        (png.colour == GREY && png.depth >= 8) || (png.colour == RGB && png.depth == 8);
    const size_t imageBytes = static_cast<size_t>(plane.Elements()) * type.PixelBytes();
    CheckReadLimit(imageBytes, file.limits.bytes, file.name, file.where);

    std::unique_ptr<libdeflate_decompressor, SFree> inflater(libdeflate_alloc_decompressor());
    if (!inflater) throw std::bad_alloc();
    CBuffer rows(filtered, false);
    {
        std::vector<uint8_t> joined;
        const uint8_t* stream = png.idat.front().first;
        size_t streamSize = png.idat.front().second;
        if (png.idat.size() > 1) {
            size_t total = 0;
            for (const auto& chunk : png.idat)
                total += chunk.second;
            joined.reserve(total);
            for (const auto& [data, length] : png.idat)
                joined.insert(joined.end(), data, data + length);
            stream = joined.data();
            streamSize = joined.size();
        }
        size_t read = 0, made = 0;
        // Too little or too much data, or a broken stream: libpng says which.
        if (libdeflate_zlib_decompress_ex(inflater.get(), stream, streamSize, rows.Data(), filtered,
                                          &read, &made) != LIBDEFLATE_SUCCESS ||
            made != filtered)
            return nullptr;
    }

    // Each row moves to y * rowBytes as it is unfiltered; 16-bit samples turn to machine
    // order one row late, once the row below no longer refers to them.
    const UnfilterRow unfilter = UnfilterFor(std::max<size_t>(1, bits / 8));
    const std::vector<uint8_t> zeros(rowBytes, 0);
    uint8_t* base = rows.Data();
    const bool swap = inPlace && png.depth == 16 && std::endian::native == std::endian::little;
    auto swapRow = [&](size_t y) {
        uint8_t* row = base + y * rowBytes;
        for (size_t x = 0; x + 1 < rowBytes; x += 2)
            std::swap(row[x], row[x + 1]);
    };
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* in = base + y * (rowBytes + 1);
        const uint8_t* previous = y ? base + (y - 1) * rowBytes : zeros.data();
        if (!unfilter(in[0], in + 1, base + y * rowBytes, previous, rowBytes)) return nullptr;
        if (swap && y) swapRow(y - 1);
    }
    if (swap) swapRow(height - 1);

    if (inPlace) {
        auto keeper = std::make_shared<CBuffer>(std::move(rows));
        return std::make_unique<CImage>(type, plane, CBuffer(keeper->Data(), imageBytes, keeper));
    }
    std::unique_ptr<CImage> image = NewImage(type, plane, file);
    const bool wide = png.depth == 16;
    if (png.colour == GREY) {
        if (png.depth == 1) GreyRows<1>(base, rowBytes, *image);
        if (png.depth == 2) GreyRows<2>(base, rowBytes, *image);
        if (png.depth == 4) GreyRows<4>(base, rowBytes, *image);
    } else if (png.colour == PALETTE) {
        if (png.depth == 1) PaletteRows<1>(base, rowBytes, png.palette, *image);
        if (png.depth == 2) PaletteRows<2>(base, rowBytes, png.palette, *image);
        if (png.depth == 4) PaletteRows<4>(base, rowBytes, png.palette, *image);
        if (png.depth == 8) PaletteRows<8>(base, rowBytes, png.palette, *image);
    } else {
        if (png.colour == GREY_ALPHA && !wide) KeepSamples<1, 1>(base, rowBytes, channels, *image);
        if (png.colour == GREY_ALPHA && wide) KeepSamples<2, 1>(base, rowBytes, channels, *image);
        if (png.colour != GREY_ALPHA && !wide) KeepSamples<1, 3>(base, rowBytes, channels, *image);
        if (png.colour != GREY_ALPHA && wide) KeepSamples<2, 3>(base, rowBytes, channels, *image);
    }
    return image;
}

SDeflated DeflatePngRows(const CImage& image) {
    const size_t pixelBytes = image.Type().PixelBytes();
    const size_t rowBytes = static_cast<size_t>(image.Size().x) * pixelBytes;
    const size_t height = static_cast<size_t>(image.Size().y);
    const bool wide = image.Type() == IMAGE_GREY_16;
    // The framework's blocks: a run of the same size reuses memory already mapped.
    CBuffer filtered(height * (rowBytes + 1), false);
    std::vector<uint8_t> bigEndian(wide ? rowBytes : 0);
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* row = image.Bytes() + y * rowBytes;
        if (wide) {
            const uint16_t* samples = image.Data<uint16_t>() + y * (rowBytes / 2);
            for (size_t x = 0; x < rowBytes / 2; ++x) {
                bigEndian[2 * x] = static_cast<uint8_t>(samples[x] >> 8);
                bigEndian[2 * x + 1] = static_cast<uint8_t>(samples[x]);
            }
            row = bigEndian.data();
        }
        uint8_t* out = filtered.Data() + y * (rowBytes + 1);
        out[0] = 1;  // Sub
        ++out;
        for (size_t x = 0; x < pixelBytes; ++x)
            out[x] = row[x];
        for (size_t x = pixelBytes; x < rowBytes; ++x)
            out[x] = static_cast<uint8_t>(row[x] - row[x - pixelBytes]);
    }
    std::unique_ptr<libdeflate_compressor, SFree> deflater(libdeflate_alloc_compressor(1));
    if (!deflater) return {CBuffer(), 0};
    SDeflated stream{
        CBuffer(libdeflate_zlib_compress_bound(deflater.get(), filtered.Size()), false), 0};
    stream.size = libdeflate_zlib_compress(deflater.get(), filtered.Data(), filtered.Size(),
                                           stream.bytes.Data(), stream.bytes.Size());
    return stream;
}

}  // namespace ORVA
