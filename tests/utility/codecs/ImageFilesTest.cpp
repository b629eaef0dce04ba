// The image file codecs called directly: round trips of every lossless format and type,
// content-based detection and the extent of streams, the layouts other writers produce (made
// here with libpng, libtiff and libjpeg directly), malformed and truncated files.
#include <png.h>
#include <tiffio.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "FileTesting.h"
#include "codecs/ImageFiles.h"

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

using namespace ORVA;
using namespace testing_support;

namespace {

const uint8_t* Bytes(const std::string& text) {
    return reinterpret_cast<const uint8_t*>(text.data());
}

class ImageCodecs : public FileTest {
  protected:
    void Encode(const CImage& image, const std::string& file, EnImageFormat format,
                int compression = -1, int quality = 95) {
        EncodeImage(image, file, format, {.quality = quality, .compression = compression}, "here");
    }
    // What DecodeImage makes of the bytes of a file named %F: "TYPE (x, y, z): samples", or the
    // message of its failure.
    std::string Outcome(const std::string& bytes, const SDecodeLimits& limits = {}) {
        std::unique_ptr<CImage> image;
        std::string error = ErrorOf([&] {
            image = DecodeImage(Bytes(bytes), bytes.size(), EnImageFormat::UNKNOWN, "%F", "here",
                                limits);
        });
        if (!image) return error;
        std::ostringstream text;
        text << image->Type().Name() << " " << image->Size().ToString() << ":";
        for (double sample : ValuesOf(*image))
            text << " " << sample;
        return text.str();
    }
};

std::unique_ptr<CImage> Converted(const CImage& image, IImage::CType type) {
    auto converted = std::make_unique<CImage>(type, image.Size());
    CImageConversion::FastConvert(*converted, image, false);
    return converted;
}

TEST_F(ImageCodecs, EveryLosslessFormatAndTypeRoundTripsExactly) {
    using Format = EnImageFormat;
    const std::pair<Format, int> cases[] = {{Format::PNG, -1},
                                            {Format::PNG, 9},
                                            {Format::TIFF, -1},
                                            {Format::TIFF, 6},
                                            {Format::PNM, -1}};
    for (const auto& [format, compression] : cases) {
        for (IImage::CType type : EncodableTypes(format)) {
            std::vector<CSize> sizes = {CSize(1, 1), CSize(37, 19)};
            if (format == Format::TIFF) sizes.push_back(CSize(5, 3, 4));
            for (const CSize& size : sizes) {
                SCOPED_TRACE(std::string(type.Name()) + " " + size.ToString() + " " +
                             ImageFormatName(format) + " compression " +
                             std::to_string(compression));
                std::unique_ptr<CImage> image = Pattern(type, size);
                Encode(*image, Path("round"), format, compression);
                std::string bytes = FileBytes(Path("round"));
                std::unique_ptr<CImage> back =
                    DecodeImage(Bytes(bytes), bytes.size(), format, "round", "here");
                // Planar colour comes back interleaved.
                if (type == IMAGE_RGB_8) image = Converted(*image, IMAGE_RGB_8I);
                ASSERT_EQ(back->Type(), image->Type());
                ASSERT_EQ(back->Size(), size);
                EXPECT_EQ(std::memcmp(back->Bytes(), image->Bytes(), image->ByteCount()), 0);
            }
        }
    }
}

TEST_F(ImageCodecs, JpegComesCloseAndQualityCounts) {
    for (IImage::CType type : {IMAGE_GREY_8, IMAGE_RGB_8I}) {
        // A smooth picture: JPEG's home ground.
        CImage image(type, CSize(64, 48));
        for (int64_t i = 0; i < image.Samples(); ++i) {
            int64_t pixel = i / type.Channels(), channel = i % type.Channels();
            image.Bytes()[i] = static_cast<uint8_t>(40 + pixel % 64 + pixel / 64 + 30 * channel);
        }
        Encode(image, Path("smooth.jpg"), EnImageFormat::JPEG);
        std::string bytes = FileBytes(Path("smooth.jpg"));
        std::unique_ptr<CImage> back =
            DecodeImage(Bytes(bytes), bytes.size(), EnImageFormat::UNKNOWN, "smooth", "here");
        ASSERT_EQ(back->Type(), type);
        ASSERT_EQ(back->Size(), image.Size());
        double error = 0;
        for (int64_t i = 0; i < image.Samples(); ++i)
            error += std::abs(int(back->Bytes()[i]) - int(image.Bytes()[i]));
        EXPECT_LT(error / static_cast<double>(image.Samples()), 2.0) << type.Name();
    }
    CImage noise = *Pattern(IMAGE_GREY_8, CSize(64, 64));
    Encode(noise, Path("high.jpg"), EnImageFormat::JPEG);
    Encode(noise, Path("low.jpg"), EnImageFormat::JPEG, -1, 10);
    EXPECT_LT(FileBytes(Path("low.jpg")).size(), FileBytes(Path("high.jpg")).size() / 2);
}

// A noisy ramp as JPEG, written by libjpeg directly; `sampling` is the first component's
// factor in both directions (for grey, blocks of 16 rows when 2).
std::string JpegFile(int width, int height, int components, bool progressive, int sampling) {
    jpeg_compress_struct info;
    jpeg_error_mgr error;
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &buffer, &size);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = components;
    info.in_color_space = components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 90, TRUE);
    info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = sampling;
    if (progressive) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    std::vector<uint8_t> row(static_cast<size_t>(width * components));
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * components; ++i)
            row[i] = static_cast<uint8_t>(i * 5 + y * 3 + (i * y * 29 >> 3) % 37);
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    std::string bytes(reinterpret_cast<char*>(buffer), size);
    jpeg_destroy_compress(&info);
    std::free(buffer);
    return bytes;
}

// libjpeg's own output, one scanline at a time, grey or RGB.
std::vector<uint8_t> LibjpegScanlines(const std::string& bytes) {
    jpeg_decompress_struct info;
    jpeg_error_mgr error;
    info.err = jpeg_std_error(&error);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, Bytes(bytes), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&info, TRUE);
    info.out_color_space = info.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&info);
    const size_t stride = size_t(info.output_width) * size_t(info.output_components);
    std::vector<uint8_t> samples(stride * info.output_height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW rows[1] = {samples.data() + stride * info.output_scanline};
        jpeg_read_scanlines(&info, rows, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return samples;
}

TEST_F(ImageCodecs, JpegSamplesAreLibjpegsScanlines) {
    // Widths of whole blocks and not, heights that end inside a block row of 8 and of 16.
    const std::pair<int, int> sizes[] = {{1, 1}, {8, 8}, {13, 5}, {16, 9}, {24, 17}, {40, 33}};
    for (const auto& [width, height] : sizes)
        for (int components : {1, 3})
            for (bool progressive : {false, true})
                for (int sampling : {1, 2}) {
                    SCOPED_TRACE(testing::Message() << width << " x " << height << ", "
                                                    << components << " components, progressive "
                                                    << progressive << ", sampling " << sampling);
                    const std::string bytes =
                        JpegFile(width, height, components, progressive, sampling);
                    std::unique_ptr<CImage> image = DecodeImage(
                        Bytes(bytes), bytes.size(), EnImageFormat::UNKNOWN, "a.jpg", "here");
                    ASSERT_EQ(image->Type(), components == 1 ? IMAGE_GREY_8 : IMAGE_RGB_8I);
                    ASSERT_EQ(image->Size(), CSize(width, height));
                    const std::vector<uint8_t> expected = LibjpegScanlines(bytes);
                    EXPECT_EQ(
                        std::vector<uint8_t>(image->Bytes(), image->Bytes() + image->ByteCount()),
                        expected);
                }
}

TEST_F(ImageCodecs, EncoderRefusalsNameWhatIsAccepted) {
    using Format = EnImageFormat;
    struct SCase {
        IImage::CType type;
        CSize size;
        Format format;
        const char* file;
        const char* message;  // %D: the test's directory
        int quality = 95;
        int compression = -1;
    };
    const SCase cases[] = {
        {IMAGE_GREY_F, CSize(2, 2), Format::PNG, "a.png",
         "PNG cannot hold an image of type IMAGE_GREY_F; it holds IMAGE_GREY_8, IMAGE_GREY_16, "
         "IMAGE_RGB_8 and IMAGE_RGB_8I"},
        {IMAGE_BINARY_FG, CSize(2, 2), Format::TIFF, "a.tif",
         "TIFF cannot hold an image of type IMAGE_BINARY_FG; it holds IMAGE_GREY_8, "
         "IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_64, IMAGE_GREY_F, IMAGE_GREY_D, IMAGE_RGB_8, "
         "IMAGE_RGB_8I and IMAGE_RGB_FI"},
        {IMAGE_GREY_8, CSize(2, 2, 3), Format::PNG, "a.png",
         "a 3-D image (depth 3) can be saved as TIFF only, not as PNG"},
        {IMAGE_GREY_8, CSize(2, 2), Format::JPEG, "a.jpg", "quality 0 is not between 1 and 100", 0},
        {IMAGE_GREY_8, CSize(2, 2), Format::TIFF, "a.tif", "compression 10 is not between -1 and 9",
         95, 10},
        {IMAGE_GREY_8, CSize(0, 2), Format::PNG, "a.png", "the image is empty: (0, 2, 1)"},
        {IMAGE_GREY_8, CSize(2, 2), Format::PNG, "", "cannot write '%D': it is a directory"},
        {IMAGE_GREY_8, CSize(2, 2), Format::TIFF, "", "cannot write '%D': it is a directory"},
        {IMAGE_GREY_8, CSize(2, 2), Format::PNM, "no/such/a.pgm",
         "cannot write '%D/no/such/a.pgm': No such file or directory"},
    };
    for (const SCase& c : cases) {
        CImage image(c.type, c.size);
        std::string file = m_directory.string() + (*c.file ? "/" : "") + c.file;
        std::string error =
            ErrorOf([&] { Encode(image, file, c.format, c.compression, c.quality); });
        EXPECT_EQ(Replaced(error, m_directory.string(), "%D"), c.message);
        EXPECT_TRUE(*c.file == '\0' || !std::filesystem::exists(file)) << c.message;
    }
    // /dev/full takes the open but fails every write: no partial file stays.
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    std::string full = Path("partial.png");
    std::filesystem::create_symlink("/dev/full", full);
    EXPECT_EQ(ErrorOf([&] { Encode(*Pattern(IMAGE_GREY_8, CSize(300, 300)), full, Format::PNG); }),
              "cannot write '" + full + "': No space left on device");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(full)));
}

// ---- content, not extension ----

TEST_F(ImageCodecs, FormatsAndTheExtentOfStreamsComeFromTheBytes) {
    Encode(*Pattern(IMAGE_GREY_8, CSize(6, 5)), Path("p"), EnImageFormat::PNG);
    const std::string png = FileBytes(Path("p"));
    const std::string pgm = "P5 2 1 255\nab";
    struct SCase {
        std::string bytes;
        EnImageFormat format;
        std::optional<size_t> extent;  // none: read to the end
    } cases[] = {
        {png + "after", EnImageFormat::PNG, png.size()},
        {png.substr(0, 20), EnImageFormat::PNG, std::nullopt},  // within the first chunk
        // A chunk that is no chunk needs nothing more to be refused.
        {png.substr(0, 8) + std::string(8, '\0'), EnImageFormat::PNG, 16},
        {pgm + "after", EnImageFormat::PNM, pgm.size()},
        {"P6 2 1 65535 ", EnImageFormat::PNM, 25},
        {"P5 2 1 25", EnImageFormat::PNM, std::nullopt},  // the maximum may go on
        {"P5 x 1 255\n", EnImageFormat::PNM, 11},
        {"P2 1 1 255 7", EnImageFormat::PNM, std::nullopt},
        {std::string("II*\0\x08\0\0\0", 8), EnImageFormat::TIFF, std::nullopt},
        {std::string("MM\0*", 4), EnImageFormat::TIFF, std::nullopt},
        {std::string("II+\0", 4), EnImageFormat::TIFF, std::nullopt},
        {"\xff\xd8\xff\xe0\0\x10JFIF", EnImageFormat::JPEG, std::nullopt},
        {"P4\n1 1\n", EnImageFormat::UNKNOWN, std::nullopt},  // seven bytes tell nothing yet
        {"P51", EnImageFormat::UNKNOWN, std::nullopt},
        {std::string("GIF89a\x01\x00", 8), EnImageFormat::UNKNOWN, 8},
    };
    for (const SCase& c : cases) {
        EXPECT_EQ(DetectImageFormat(Bytes(c.bytes), c.bytes.size()), c.format) << c.bytes;
        EXPECT_EQ(ImageFileExtent(Bytes(c.bytes), c.bytes.size()), c.extent) << c.bytes;
    }
}

// ---- PGM/PPM as others write it, and files that are no image ----

TEST_F(ImageCodecs, PgmAndPpmInTextAndBinaryAndFilesThatAreNoImage) {
    const std::pair<std::string, const char*> cases[] = {
        {"P2\n# a comment\n3 2 # another\n255\n0 1 2\n253 254 255\n",
         "IMAGE_GREY_8 (3, 2, 1): 0 1 2 253 254 255"},
        {"P2 2 1 1000 999 1000", "IMAGE_GREY_16 (2, 1, 1): 999 1000"},
        {"P3 2 1 15 1 2 3 13 14 15\n", "IMAGE_RGB_8I (2, 1, 1): 1 2 3 13 14 15"},
        // 16-bit colour is scaled to 8 bits by the maximum, with rounding.
        {"P3 1 1 1023 1023 511 2", "IMAGE_RGB_8I (1, 1, 1): 255 127 0"},
        {std::string("P5\n2 1\n65535\n\x01\x02\xff\xfe", 17), "IMAGE_GREY_16 (2, 1, 1): 258 65534"},
        {std::string("P6 1 1 255\r\x07\x08\x09", 14), "IMAGE_RGB_8I (1, 1, 1): 7 8 9"},
        {std::string("P5 2 1 3\n\x03\x00", 11), "IMAGE_GREY_8 (2, 1, 1): 3 0"},
        {std::string("GIF89a\x01\x00", 8),
         "'%F' is not a PNG, TIFF, JPEG, PGM or PPM file: it begins with the bytes 47 49 46 38 39 "
         "61 01 00"},
        {"", "'%F' is empty"},
        // Each of these once made the reader allocate what the file cannot hold, or run past it.
        {"P6 4 4 255\n" + std::string(40, 'x'),
         "'%F' is not a readable PGM/PPM file: the file ends early: it holds 40 bytes of samples, "
         "the header promises 48"},
        {"P2 100 100 255 1 2 3",
         "'%F' is not a readable PGM/PPM file: the file ends early: its 6 bytes of text cannot "
         "hold the 10000 samples the header promises"},
        {"P5 65536 65536 255\n",
         "'%F' is not a readable PGM/PPM file: its image of 65536 x 65536 pixels exceeds the "
         "limit of 1073741824 pixels"},
        {"P2 2 1 9 3 10",
         "'%F' is not a readable PGM/PPM file: sample 1 is 10, beyond the maximum 9"},
        {"P2 2", "'%F' is not a readable PGM/PPM file: the file ends before the height"},
        {"P2 2 99999999999 1", "'%F' is not a readable PGM/PPM file: the height is too large"},
        {"P2 2 1 x",
         "'%F' is not a readable PGM/PPM file: the maximum is not a number (found 'x')"},
    };
    for (const auto& [bytes, expected] : cases)
        EXPECT_EQ(Outcome(bytes), expected) << bytes;
    // Images beyond the memory limit are refused before they are made.
    EXPECT_EQ(Outcome("P5 4 2 255\n12345678", {.bytes = 7}),
              "reading '%F' takes more than the read limit of 7 bytes (ORVA_READ_LIMIT)");
    // And the encoder writes 16-bit samples big-endian.
    auto wide = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {0x0102, 0xfffe});
    Encode(*UnwrapPointer<CImage>(wide.get()), Path("w.pgm"), EnImageFormat::PNM);
    EXPECT_EQ(FileBytes(Path("w.pgm")), std::string("P5\n2 1\n65535\n\x01\x02\xff\xfe", 17));
}

// ---- PNG and TIFF as other writers make them ----

TEST_F(ImageCodecs, PngPalettesTransparencyAlphaAndSixteenBitColour) {
    struct SCase {
        png_uint_32 format;
        std::vector<uint16_t> pixels;  // two, written as bytes unless the format is linear
        std::vector<uint8_t> palette;
        const char* expected;  // colour as IMAGE_RGB_8I (2, 1, 1), grey with its type
    } cases[] = {
        {PNG_FORMAT_RGBA, {10, 20, 30, 0, 40, 50, 60, 255}, {}, "10 20 30 40 50 60"},
        {PNG_FORMAT_RGB_COLORMAP, {1, 0}, {200, 100, 0, 1, 2, 3}, "1 2 3 200 100 0"},
        // A palette with transparency (a tRNS chunk): the alpha it expands to is dropped.
        {PNG_FORMAT_RGBA_COLORMAP, {1, 0}, {200, 100, 0, 128, 1, 2, 3, 255}, "1 2 3 200 100 0"},
        // 16-bit linear samples, written as they are; colour becomes 8 bits, rounded.
        {PNG_FORMAT_LINEAR_Y, {0x1234, 0xfedc}, {}, "IMAGE_GREY_16 (2, 1, 1): 4660 65244"},
        {PNG_FORMAT_LINEAR_RGB,
         {0, 257 * 7 + 128, 65535, 32767, 32768, 129},
         {},
         "0 7 255 127 128 1"},
    };
    for (const SCase& c : cases) {
        png_image png{};
        png.version = PNG_IMAGE_VERSION;
        png.width = 2;
        png.height = 1;
        png.format = c.format;
        png.colormap_entries =
            static_cast<png_uint_32>(c.palette.size() / (c.format & PNG_FORMAT_FLAG_ALPHA ? 4 : 3));
        std::vector<uint8_t> bytes(c.pixels.begin(), c.pixels.end());
        const void* pixels = c.format & PNG_FORMAT_FLAG_LINEAR
                                 ? static_cast<const void*>(c.pixels.data())
                                 : bytes.data();
        ASSERT_TRUE(png_image_write_to_file(&png, Path("x.png").c_str(), 0, pixels, 0,
                                            c.palette.empty() ? nullptr : c.palette.data()))
            << png.message;
        const std::string file = FileBytes(Path("x.png"));
        EXPECT_EQ(file.find("tRNS") != std::string::npos, c.format == PNG_FORMAT_RGBA_COLORMAP);
        const std::string type = c.format & PNG_FORMAT_FLAG_COLOR ? "IMAGE_RGB_8I (2, 1, 1): " : "";
        EXPECT_EQ(Outcome(file), type + c.expected);
    }
    // An indexed file with transparency as scikit-image ships it.
    const std::string indexed = "/usr/lib/python3/dist-packages/skimage/data/foo3x5x4indexed.png";
    if (!std::filesystem::exists(indexed)) GTEST_SKIP() << "no " << indexed;
    EXPECT_EQ(Outcome(FileBytes(indexed)),
              "IMAGE_RGB_8I (5, 3, 1): 127 0 255 127 0 255 127 0 255 127 0 255 127 0 255 192 192 "
              "255 192 192 255 0 0 255 0 0 255 0 0 255 0 31 255 0 31 255 0 31 255 0 31 255 0 31 "
              "255");
}

// One TIFF page of `width` x `height` with the given layout.
struct STiffLayout {
    uint32_t width, height;
    uint16_t bits, samples, format, photometric, planar = PLANARCONFIG_CONTIG;
    uint32_t tile = 0;  // 0: strips of 2 rows
    uint16_t compression = COMPRESSION_NONE;
    uint16_t extra = 0;  // samples after the colour ones (alpha first)
};

// Adds a page of `layout` whose bytes in the file's layout (strips, or tiles) are `bytes`.
void AddTiffPage(TIFF* tiff, const STiffLayout& layout, const std::vector<uint8_t>& bytes) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, layout.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, layout.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.samples);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, layout.format);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, layout.planar);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, layout.compression);
    uint16_t kinds[] = {EXTRASAMPLE_UNASSALPHA, EXTRASAMPLE_UNSPECIFIED};
    if (layout.extra) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, layout.extra, kinds);
    if (layout.tile) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, layout.tile);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, layout.tile);
        tmsize_t size = TIFFTileSize(tiff);
        for (uint32_t t = 0; t < TIFFNumberOfTiles(tiff); ++t)
            TIFFWriteEncodedTile(tiff, t, const_cast<uint8_t*>(bytes.data()) + t * size, size);
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 2);
        const uint32_t perPlane = (layout.height + 1) / 2;
        tmsize_t offset = 0;
        for (uint32_t s = 0; s < TIFFNumberOfStrips(tiff); ++s) {
            tmsize_t size =
                TIFFVStripSize(tiff, std::min<uint32_t>(2, layout.height - s % perPlane * 2));
            TIFFWriteEncodedStrip(tiff, s, const_cast<uint8_t*>(bytes.data()) + offset, size);
            offset += size;
        }
    }
    TIFFWriteDirectory(tiff);
}

// The bytes 1, 2, 3, ... of a page of `layout`.
std::vector<uint8_t> Counting(const STiffLayout& layout) {
    std::vector<uint8_t> bytes(size_t(layout.width) * layout.height * layout.samples * layout.bits /
                               8);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i + 1);
    return bytes;
}

// Writes the pages to `file`, each with the bytes `Counting` gives unless they are given.
void WriteTiff(const std::string& file, const std::vector<STiffLayout>& pages,
               const std::vector<uint8_t>& bytes = {}) {
    TIFF* tiff = TIFFOpen(file.c_str(), "w");
    ASSERT_TRUE(tiff);
    for (const STiffLayout& page : pages)
        AddTiffPage(tiff, page, bytes.empty() ? Counting(page) : bytes);
    TIFFClose(tiff);
}

TEST_F(ImageCodecs, TiffLayoutsOfOtherWritersAndPagesAsPlanes) {
    std::vector<uint8_t> tile(16 * 16, 0), wide(6);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            tile[y * 16 + x] = static_cast<uint8_t>(10 * y + x);
    const uint16_t values[] = {65535, 257 * 9 + 128, 128};
    std::memcpy(wide.data(), values, 6);
    const auto UINT = SAMPLEFORMAT_UINT, GREY = PHOTOMETRIC_MINISBLACK, RGB = PHOTOMETRIC_RGB;
    const STiffLayout grey{2, 2, 8, 1, UINT, GREY};
    STiffLayout wider = grey, deeper = grey, signedSamples = grey;
    wider.width = 3;
    deeper.bits = signedSamples.bits = 16;
    signedSamples.format = SAMPLEFORMAT_INT;
    struct SCase {
        std::vector<STiffLayout> pages;
        std::vector<uint8_t> bytes;  // of every page in the file's layout; none: 1, 2, 3, ...
        const char* expected;
    };
    const SCase cases[] = {
        {{{3, 3, 8, 1, UINT, GREY, PLANARCONFIG_CONTIG, 16}},  // tiles cut at the edges
         tile,
         "IMAGE_GREY_8 (3, 3, 1): 0 1 2 10 11 12 20 21 22"},
        {{{2, 3, 8, 3, UINT, RGB, PLANARCONFIG_SEPARATE}},
         {},
         "IMAGE_RGB_8I (2, 3, 1): 1 7 13 2 8 14 3 9 15 4 10 16 5 11 17 6 12 18"},
        {{{2, 1, 8, 4, UINT, RGB, PLANARCONFIG_CONTIG, 0, COMPRESSION_LZW, 1}},  // alpha dropped
         {},
         "IMAGE_RGB_8I (2, 1, 1): 1 2 3 5 6 7"},
        {{{3, 1, 8, 1, UINT, PHOTOMETRIC_MINISWHITE}},
         {0, 1, 255},
         "IMAGE_GREY_8 (3, 1, 1): 255 254 0"},
        {{{8, 1, 1, 1, UINT, GREY}},  // bilevel, through the RGBA reader
         {0xa5},
         "IMAGE_GREY_8 (8, 1, 1): 255 0 255 0 0 255 0 255"},
        {{{1, 1, 16, 3, UINT, RGB}}, wide, "IMAGE_RGB_8I (1, 1, 1): 255 9 0"},
        {{grey, grey, grey}, {}, "IMAGE_GREY_8 (2, 2, 3): 1 2 3 4 1 2 3 4 1 2 3 4"},
        {{grey, wider},
         {},
         "'%F' has pages that differ and cannot become the planes of one image: page 2 is 3 x 2 "
         "IMAGE_GREY_8, page 1 is 2 x 2 IMAGE_GREY_8"},
        {{grey, grey, deeper},
         {},
         "'%F' has pages that differ and cannot become the planes of one image: page 3 is 2 x 2 "
         "IMAGE_GREY_16, page 1 is 2 x 2 IMAGE_GREY_8"},
        {{signedSamples},
         {},
         "'%F' is not a readable TIFF file: page 1 holds 16-bit signed samples (photometric 1, 1 "
         "per pixel); supported are 8-, 16-, 32- and 64-bit unsigned and 32- and 64-bit float "
         "grey, 8- and 16-bit unsigned and 32-bit float RGB"},
    };
    for (const SCase& c : cases) {
        WriteTiff(Path("x.tif"), c.pages, c.bytes);
        EXPECT_EQ(Outcome(FileBytes(Path("x.tif"))), c.expected);
    }

    // Strips are bounded by their samples, extra ones included, not by their pixels alone.
    WriteTiff(Path("extra.tif"),
              {{2, 2, 8, 5, UINT, RGB, PLANARCONFIG_CONTIG, 0, COMPRESSION_NONE, 2}});
    EXPECT_EQ(Outcome(FileBytes(Path("extra.tif")), {.planePixels = 4}),
              "'%F' is not a readable TIFF file: its strips or tiles of 2 x 2 pixels of 5 samples "
              "exceed the limit of 16 samples");
}

// ---- broken files ----

TEST_F(ImageCodecs, TruncatedAndCorruptFilesFailClearly) {
    std::unique_ptr<CImage> image = Pattern(IMAGE_RGB_8I, CSize(40, 30));
    for (EnImageFormat format :
         {EnImageFormat::PNG, EnImageFormat::TIFF, EnImageFormat::JPEG, EnImageFormat::PNM}) {
        Encode(*image, Path("t"), format, 6);
        const std::string whole = FileBytes(Path("t"));
        // Cut in the header, in the middle and just before the end; flip bytes everywhere.
        std::vector<std::string> broken;
        for (size_t keep : {size_t(5), size_t(20), whole.size() / 2, whole.size() - 3})
            broken.push_back(whole.substr(0, keep));
        for (size_t at = 0; at < whole.size(); at += whole.size() / 23 + 1) {
            broken.push_back(whole);
            broken.back()[at] = static_cast<char>(whole[at] ^ 0x5a);
        }
        for (size_t i = 0; i < broken.size(); ++i) {
            std::string outcome = Outcome(broken[i]);  // a flipped sample byte may still decode
            bool decoded = outcome.rfind("IMAGE_", 0) == 0;
            EXPECT_TRUE(decoded || outcome.find("'%F'") != std::string::npos)
                << ImageFormatName(format) << " variant " << i << ": " << outcome;
            EXPECT_TRUE(i >= 4 || !decoded) << ImageFormatName(format) << " cut " << i;
        }
    }
}

}  // namespace
