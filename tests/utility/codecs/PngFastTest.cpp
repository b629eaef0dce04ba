// The libdeflate PNG reader and writer against libpng: files of every colour type, bit depth
// and filter that libpng writes decode to the same bytes as libpng alone makes of them (or
// fail with the same message when broken), and the files written by default read back
// through libpng alone.
#include <png.h>

#include <csetjmp>
#include <cstring>

#include "FileTesting.h"
#include "codecs/ImageFiles.h"
#include "codecs/Png.h"
#include "codecs/PngFast.h"

using namespace ORVA;
using namespace testing_support;

namespace {

struct SPngLayout {
    int colour, depth;
    uint32_t width = 13, height = 7;
    int filters = PNG_ALL_FILTERS;
    int paletteSize = 0;  // entries; those past it are used by the pixels all the same
    bool interlaced = false;
};

void Append(png_structp png, png_bytep data, size_t length) {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<char*>(data), length);
}

// Returns false when libpng refused; `file` then holds what it wrote.
bool WritePng(const SPngLayout& layout, const std::vector<uint8_t>& rows, std::string& file) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    bool written = false;
    if (!setjmp(png_jmpbuf(png))) {
        png_set_write_fn(png, &file, Append, nullptr);
        png_set_benign_errors(png, 1);
        png_set_check_for_invalid_index(png, 0);
        png_set_compression_buffer_size(png, 64);  // many IDAT chunks
        png_set_IHDR(png, info, layout.width, layout.height, layout.depth, layout.colour,
                     layout.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, layout.filters);
        std::vector<png_color> palette;
        std::vector<png_byte> alpha;
        for (int i = 0; i < layout.paletteSize; ++i) {
            palette.push_back({png_byte(i * 37), png_byte(255 - i * 11), png_byte(i * 5 + 3)});
            alpha.push_back(png_byte(i * 29));
        }
        if (layout.paletteSize) {
            png_set_PLTE(png, info, palette.data(), layout.paletteSize);
            png_set_tRNS(png, info, alpha.data(), layout.paletteSize, nullptr);
        }
        png_write_info(png, info);
        const size_t rowBytes = png_get_rowbytes(png, info);
        std::vector<png_bytep> pointers;
        for (uint32_t y = 0; y < layout.height; ++y)
            pointers.push_back(const_cast<png_bytep>(rows.data()) + y * rowBytes);
        png_write_image(png, pointers.data());
        png_write_end(png, nullptr);
        written = true;
    }
    png_destroy_write_struct(&png, &info);
    return written;
}

// Bytes in which neighbours relate (so that every filter wins somewhere) and every bit varies.
std::vector<uint8_t> RowBytes(const SPngLayout& layout) {
    const int channels = layout.colour == PNG_COLOR_TYPE_RGB          ? 3
                         : layout.colour == PNG_COLOR_TYPE_RGB_ALPHA  ? 4
                         : layout.colour == PNG_COLOR_TYPE_GRAY_ALPHA ? 2
                                                                      : 1;
    const size_t rowBytes = (size_t(layout.width) * channels * layout.depth + 7) / 8;
    std::vector<uint8_t> bytes(rowBytes * layout.height);
    for (size_t i = 0; i < bytes.size(); ++i) {
        const size_t x = i % rowBytes, y = i / rowBytes;
        bytes[i] = static_cast<uint8_t>(y % 3 == 0 ? x * 7 + y : x * y * 13 + (x >> 2) * 91);
    }
    return bytes;
}

// "TYPE (x, y, z): bytes" of `image`.
std::string Described(const CImage& image) {
    return std::string(image.Type().Name()) + " " + image.Size().ToString() + ": " +
           std::string(reinterpret_cast<const char*>(image.Bytes()), image.ByteCount());
}

// The image the reader makes, described; its message, or "declined".
template <class Decode>
std::string Outcome(const std::string& file, Decode decode) {
    const std::string name = "%F";
    const SDecoding decoding{
        reinterpret_cast<const uint8_t*>(file.data()), file.size(), name, "here", {}};
    std::unique_ptr<CImage> image;
    std::string error = ErrorOf([&] { image = decode(decoding); });
    if (!image) return error == "no exception" ? "declined" : error;
    return Described(*image);
}

TEST(PngFast, DecodesEveryLayoutAsLibpngDoes) {
    const int G = PNG_COLOR_TYPE_GRAY, GA = PNG_COLOR_TYPE_GRAY_ALPHA, RGB = PNG_COLOR_TYPE_RGB,
              RGBA = PNG_COLOR_TYPE_RGB_ALPHA, P = PNG_COLOR_TYPE_PALETTE;
    std::vector<SPngLayout> layouts = {
        {G, 1},
        {G, 2},
        {G, 4},
        {G, 8, 1, 1},
        {G, 16},
        {GA, 8},
        {GA, 16},
        {RGB, 8},
        {RGB, 16},
        {RGBA, 8},
        {RGBA, 16},
        // Palettes with transparency, some indices beyond the entries given.
        {P, 1, 13, 7, PNG_ALL_FILTERS, 2},
        {P, 2, 13, 7, PNG_ALL_FILTERS, 3},
        {P, 4, 13, 7, PNG_ALL_FILTERS, 16},
        {P, 8, 37, 5, PNG_ALL_FILTERS, 200},
        // Interlaced files are libpng's.
        {G, 8, 13, 7, PNG_ALL_FILTERS, 0, true},
        {P, 2, 13, 7, PNG_ALL_FILTERS, 4, true}};
    // Each filter on its own, on one and on several bytes per pixel.
    for (int filter :
         {PNG_FILTER_NONE, PNG_FILTER_SUB, PNG_FILTER_UP, PNG_FILTER_AVG, PNG_FILTER_PAETH})
        for (auto [colour, depth] : {std::pair{G, 8}, {RGB, 8}, {RGBA, 16}})
            layouts.push_back({colour, depth, 29, 9, filter});
    for (const SPngLayout& layout : layouts) {
        SCOPED_TRACE("colour " + std::to_string(layout.colour) + " depth " +
                     std::to_string(layout.depth) + " filters " + std::to_string(layout.filters) +
                     (layout.interlaced ? " interlaced" : ""));
        std::string file;
        ASSERT_TRUE(WritePng(layout, RowBytes(layout), file));
        const std::string fromLibpng = Outcome(file, DecodePngLibpng);
        ASSERT_EQ(fromLibpng.rfind("IMAGE_", 0), 0u) << fromLibpng;
        EXPECT_EQ(Outcome(file, DecodePngFast), layout.interlaced ? "declined" : fromLibpng);
        EXPECT_EQ(Outcome(file, DecodePng), fromLibpng);
    }
}

TEST(PngFast, SixteenBitColourRoundsEveryValueAsLibpngDoes) {
    SPngLayout layout{PNG_COLOR_TYPE_RGB, 16, 256, 256, PNG_FILTER_NONE};
    std::vector<uint8_t> rows(size_t(256) * 256 * 6);
    for (size_t v = 0; v < 65536; ++v)
        for (size_t c = 0; c < 3; ++c) {
            const size_t sample = c == 0 ? v : c == 1 ? 65535 - v : (v * 7) & 0xffff;
            rows[6 * v + 2 * c] = static_cast<uint8_t>(sample >> 8);
            rows[6 * v + 2 * c + 1] = static_cast<uint8_t>(sample);
        }
    std::string file;
    ASSERT_TRUE(WritePng(layout, rows, file));
    EXPECT_EQ(Outcome(file, DecodePngFast), Outcome(file, DecodePngLibpng));
}

TEST(PngFast, BrokenFilesFailAsInLibpng) {
    SPngLayout layout{PNG_COLOR_TYPE_PALETTE, 4, 40, 30, PNG_ALL_FILTERS, 16};
    std::string whole;
    ASSERT_TRUE(WritePng(layout, RowBytes(layout), whole));
    // Cut everywhere; flip bytes of the header, of chunk lengths, types, data and checksums.
    std::vector<std::string> broken;
    for (size_t keep = 0; keep < whole.size(); keep += 7)
        broken.push_back(whole.substr(0, keep));
    for (size_t at = 8; at < whole.size(); at += 3)
        for (uint8_t flip : {0x01, 0x80}) {
            broken.push_back(whole);
            broken.back()[at] = static_cast<char>(whole[at] ^ flip);
        }
    for (const std::string& file : broken)
        EXPECT_EQ(Outcome(file, DecodePng), Outcome(file, DecodePngLibpng));
}

TEST(PngFast, DefaultFilesReadBackThroughLibpngAlone) {
    for (IImage::CType type : {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_RGB_8I})
        for (CSize size : {CSize(1, 1), CSize(31, 17)}) {
            std::unique_ptr<CImage> image = Pattern(type, size);
            const std::string path = testing::TempDir() + "/default.png";
            EncodeImage(*image, path, EnImageFormat::PNG, {}, "here");
            const std::string file = FileBytes(path);
            std::remove(path.c_str());
            EXPECT_EQ(Outcome(file, DecodePngLibpng), Described(*image)) << type.Name();
        }
}

}  // namespace
