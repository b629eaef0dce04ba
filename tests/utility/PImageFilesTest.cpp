// ReadImage and SaveImage: round trips of every lossless format and type, content-based
// detection, the layouts other writers produce (made here with libpng and libtiff
// directly), malformed and truncated files, and the node conventions.
#include <png.h>
#include <tiffio.h>

#include <cmath>
#include <cstring>
#include <sstream>

#include "DrawingTesting.h"
#include "FileTesting.h"
#include "ImageFiles.h"
#include "PReadImage.h"
#include "PSaveImage.h"

using namespace ORVA;
using namespace testing_support;

namespace {

class ImageFiles : public FileTest {
  protected:
    // Runs SaveImage on `image` with `parameters`; returns its output text.
    std::string Save(const CImage& image, const std::string& file, CValueMap parameters = {}) {
        parameters.SetEntry("filename", new CValueString(file));
        CPSaveImage node;
        Configure(node, parameters);
        CValuePointer<CImage> input(const_cast<CImage*>(&image));
        node.SetStackInput(0, &input);
        node.Run();
        return node.StackOutput(0)->String();
    }
    std::unique_ptr<CImage> Read(const std::string& file, const char* rgbType = "IMAGE_RGB_8I") {
        CPReadImage node;
        Configure(node, Parameters({{"filename", file}, {"rgb_type", rgbType}}));
        node.Run();
        return std::unique_ptr<CImage>(OutputImage(node).Clone());
    }
    // What ReadImage makes of `file`: "TYPE (x, y, z): samples", or the message of its failure
    // with the file's path written as %F.
    std::string Outcome(const std::string& file, const char* rgbType = "IMAGE_RGB_8I") {
        std::unique_ptr<CImage> image;
        std::string error = ErrorOf([&] { image = Read(file, rgbType); });
        if (!image) return Replaced(error, file, "%F");
        std::ostringstream text;
        text << image->Type().Name() << " " << image->Size().ToString() << ":";
        for (double sample : ValuesOf(*image))
            text << " " << sample;
        return text.str();
    }
};

// Bytes that use every bit of every sample: floats among them are NaN and subnormal.
std::unique_ptr<CImage> Pattern(IImage::CType type, CSize size) {
    auto image = std::make_unique<CImage>(type, size);
    for (size_t i = 0; i < image->ByteCount(); ++i)
        image->Bytes()[i] = static_cast<uint8_t>(i * 151 + (i >> 7) * 13);
    return image;
}

// ---- round trips ----

TEST_F(ImageFiles, EveryLosslessFormatAndTypeRoundTripsExactly) {
    using Format = EnImageFormat;
    const std::tuple<const char*, Format, int> cases[] = {{".png", Format::PNG, -1},
                                                          {".png", Format::PNG, 9},
                                                          {".tif", Format::TIFF, -1},
                                                          {".tiff", Format::TIFF, 6},
                                                          {".pgm", Format::PNM, -1}};
    for (const auto& [extension, format, compression] : cases) {
        std::string file = Path(std::string("round") + extension);
        for (IImage::CType type : EncodableTypes(format)) {
            std::vector<CSize> sizes = {CSize(1, 1), CSize(37, 19)};
            if (format == EnImageFormat::TIFF) sizes.push_back(CSize(5, 3, 4));
            for (const CSize& size : sizes) {
                SCOPED_TRACE(std::string(type.Name()) + " " + size.ToString() + " " + extension +
                             " compression " + std::to_string(compression));
                std::unique_ptr<CImage> image = Pattern(type, size);
                EXPECT_EQ(Save(*image, file, Parameters({{"compression", compression}})), file);
                std::unique_ptr<CImage> back =
                    Read(file, type == IMAGE_RGB_8 ? "IMAGE_RGB_8" : "IMAGE_RGB_8I");
                ASSERT_EQ(back->Type(), type);
                ASSERT_EQ(back->Size(), size);
                EXPECT_EQ(std::memcmp(back->Bytes(), image->Bytes(), image->ByteCount()), 0);
                EXPECT_EQ(back->Attributes().EntryString("image_path"), file);
            }
        }
    }
}

TEST_F(ImageFiles, JpegKeepsTypeAndSizeAndComesClose) {
    for (IImage::CType type : {IMAGE_GREY_8, IMAGE_RGB_8I, IMAGE_RGB_8}) {
        SCOPED_TRACE(type.Name());
        // A smooth picture: JPEG's home ground.
        CImage smooth(type.IsColour() ? IMAGE_RGB_8I : type, CSize(64, 48));
        for (int64_t i = 0; i < smooth.Samples(); ++i) {
            int64_t pixel = i / smooth.Type().Channels(), channel = i % smooth.Type().Channels();
            smooth.Bytes()[i] = static_cast<uint8_t>(40 + pixel % 64 + pixel / 64 + 30 * channel);
        }
        CImage image(type, smooth.Size());
        CImageConversion::FastConvert(image, smooth, false);
        Save(image, Path("smooth.jpeg"));
        std::unique_ptr<CImage> back =
            Read(Path("smooth.jpeg"), type == IMAGE_RGB_8 ? "IMAGE_RGB_8" : "IMAGE_RGB_8I");
        ASSERT_EQ(back->Type(), type);
        ASSERT_EQ(back->Size(), image.Size());
        double error = 0;
        for (int64_t i = 0; i < image.Samples(); ++i)
            error += std::abs(int(back->Bytes()[i]) - int(image.Bytes()[i]));
        EXPECT_LT(error / static_cast<double>(image.Samples()), 2.0);
    }
    // A lower quality makes a smaller file.
    CImage noise = *Pattern(IMAGE_GREY_8, CSize(64, 64));
    Save(noise, Path("high.jpg"));
    Save(noise, Path("low.jpg"), Parameters({{"quality", 10}}));
    EXPECT_LT(FileBytes(Path("low.jpg")).size(), FileBytes(Path("high.jpg")).size() / 2);
}

// ---- what SaveImage refuses ----

TEST_F(ImageFiles, RefusalsNameWhatIsAccepted) {
    struct SCase {
        IImage::CType type;
        CSize size;
        const char* file;
        const char* message;  // %D: the test's directory
        const char* format = "AUTO";
        int32_t quality = 95;
    };
    const SCase cases[] = {
        {IMAGE_GREY_F, CSize(2, 2), "a.png",
         "PNG cannot hold an image of type IMAGE_GREY_F; it holds IMAGE_GREY_8, IMAGE_GREY_16, "
         "IMAGE_RGB_8 and IMAGE_RGB_8I"},
        {IMAGE_BINARY_FG, CSize(2, 2), "a.tif",
         "TIFF cannot hold an image of type IMAGE_BINARY_FG; it holds IMAGE_GREY_8, "
         "IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_64, IMAGE_GREY_F, IMAGE_GREY_D, IMAGE_RGB_8, "
         "IMAGE_RGB_8I and IMAGE_RGB_FI"},
        {IMAGE_GREY_8, CSize(2, 2, 3), "a.png",
         "a 3-D image (depth 3) can be saved as TIFF only, not as PNG"},
        {IMAGE_GREY_8, CSize(2, 2), "a.gif",
         "the format of '%D/a.gif' cannot be told from its extension: expected .png, .tif, "
         ".tiff, .jpg, .jpeg, .pgm, .ppm or .pnm, or set format to PNG, TIFF, JPEG or PNM"},
        {IMAGE_GREY_8, CSize(2, 2), "a.png",
         "format is 'BMP', expected AUTO, PNG, TIFF, JPEG or PNM", "BMP"},
        {IMAGE_GREY_8, CSize(2, 2), "a.jpg", "quality 0 is not between 1 and 100", "AUTO", 0},
        {IMAGE_GREY_8, CSize(0, 2), "a.png", "the image is empty: (0, 2, 1)"},
        {IMAGE_GREY_8, CSize(2, 2), "", "cannot write '%D': it is a directory", "PNG"},
        {IMAGE_GREY_8, CSize(2, 2), "no/such/a.png",
         "cannot write '%D/no/such/a.png': No such file or directory"},
    };
    for (const SCase& c : cases) {
        CImage image(c.type, c.size);
        std::string file = m_directory.string() + (*c.file ? "/" : "") + c.file;
        std::string error = ErrorOf(
            [&] {
                Save(image, file, Parameters({{"format", c.format}, {"quality", c.quality}}));
            },
            true);
        EXPECT_EQ(Replaced(error, m_directory.string(), "%D"),
                  std::string("(utility plugins) SaveImage::Run | ") + c.message);
        EXPECT_TRUE(*c.file == '\0' || !std::filesystem::exists(file)) << c.message;
    }
    CPSaveImage node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "no input image on pin 0");

    // /dev/full takes the open but fails every write: no partial file stays.
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    std::string full = Path("partial.png");
    std::filesystem::create_symlink("/dev/full", full);
    EXPECT_EQ(ErrorOf([&] { Save(*Pattern(IMAGE_GREY_8, CSize(300, 300)), full); }),
              "cannot write '" + full + "': No space left on device");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(full)));
}

// ---- content, not extension ----

TEST_F(ImageFiles, FormatsAreRecognisedByContent) {
    std::unique_ptr<CImage> image = Pattern(IMAGE_GREY_8, CSize(6, 5));
    for (const char* format : {"PNG", "TIFF", "JPEG", "PNM"}) {
        Save(*image, Path("misnamed.txt"), Parameters({{"format", format}}));
        EXPECT_EQ(Read(Path("misnamed.txt"))->Size(), image->Size()) << format;
        std::string bytes = FileBytes(Path("misnamed.txt"));
        EXPECT_EQ(ImageFormatName(DetectImageFormat(reinterpret_cast<const uint8_t*>(bytes.data()),
                                                    bytes.size())),
                  std::string(format == std::string("PNM") ? "PGM/PPM" : format));
    }
    const std::pair<std::string, EnImageFormat> cases[] = {
        {std::string("II*\0", 4), EnImageFormat::TIFF},
        {std::string("MM\0*", 4), EnImageFormat::TIFF},
        {std::string("II+\0", 4), EnImageFormat::TIFF},
        {"\xff\xd8\xff\xe0", EnImageFormat::JPEG},
        {"P5\n1 1 255\n", EnImageFormat::PNM},
        {"P6\t", EnImageFormat::PNM},
        {"P4\n1 1\n", EnImageFormat::UNKNOWN},
        {"P51", EnImageFormat::UNKNOWN},
        {"\x89PNG\r\n\x1a", EnImageFormat::UNKNOWN},
    };
    for (const auto& [bytes, format] : cases)
        EXPECT_EQ(DetectImageFormat(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()),
                  format)
            << bytes;
    EXPECT_EQ(Outcome(m_directory.string()), "cannot read '%F': it is a directory");
    EXPECT_EQ(Outcome(Path("missing.png")), "cannot open '%F': No such file or directory");
}

// ---- PGM/PPM as others write it, and files that are no image ----

TEST_F(ImageFiles, PgmAndPpmInTextAndBinaryAndFilesThatAreNoImage) {
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
    };
    for (const auto& [bytes, expected] : cases) {
        WriteFile(Path("x.png"), bytes);
        EXPECT_EQ(Outcome(Path("x.png")), expected) << bytes;
    }
    // And SaveImage writes 16-bit samples big-endian.
    auto wide = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {0x0102, 0xfffe});
    Save(*UnwrapPointer<CImage>(wide.get()), Path("w.pgm"));
    EXPECT_EQ(FileBytes(Path("w.pgm")), std::string("P5\n2 1\n65535\n\x01\x02\xff\xfe", 17));
}

// ---- PNG and TIFF as other writers make them ----

TEST_F(ImageFiles, PngPalettesAlphaAndSixteenBitColour) {
    struct SCase {
        png_uint_32 format;
        std::vector<uint16_t> pixels;  // two, written as bytes unless the format is linear
        std::vector<uint8_t> palette;
        const char* expected;  // colour as IMAGE_RGB_8I (2, 1, 1), grey with its type
    } cases[] = {
        {PNG_FORMAT_RGBA, {10, 20, 30, 0, 40, 50, 60, 255}, {}, "10 20 30 40 50 60"},
        {PNG_FORMAT_RGB_COLORMAP, {1, 0}, {200, 100, 0, 1, 2, 3}, "1 2 3 200 100 0"},
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
        png.colormap_entries = static_cast<png_uint_32>(c.palette.size() / 3);
        std::vector<uint8_t> bytes(c.pixels.begin(), c.pixels.end());
        const void* pixels = c.format & PNG_FORMAT_FLAG_LINEAR
                                 ? static_cast<const void*>(c.pixels.data())
                                 : bytes.data();
        ASSERT_TRUE(png_image_write_to_file(&png, Path("x.png").c_str(), 0, pixels, 0,
                                            c.palette.empty() ? nullptr : c.palette.data()))
            << png.message;
        const std::string type = c.format & PNG_FORMAT_FLAG_COLOR ? "IMAGE_RGB_8I (2, 1, 1): " : "";
        EXPECT_EQ(Outcome(Path("x.png")), type + c.expected);
    }
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

TEST_F(ImageFiles, TiffLayoutsOfOtherWritersAndPagesAsPlanes) {
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
        EXPECT_EQ(Outcome(Path("x.tif")), c.expected);
    }

    // Strips are bounded by their samples, extra ones included, not by their pixels alone.
    WriteTiff(Path("extra.tif"),
              {{2, 2, 8, 5, UINT, RGB, PLANARCONFIG_CONTIG, 0, COMPRESSION_NONE, 2}});
    std::string bytes = FileBytes(Path("extra.tif"));
    EXPECT_EQ(ErrorOf([&] {
                  DecodeImage(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                              EnImageFormat::UNKNOWN, "extra.tif", "here", 4);
              }),
              "'extra.tif' is not a readable TIFF file: its strips or tiles of 2 x 2 pixels of 5 "
              "samples exceed the limit of 16 samples");
}

// ---- broken files ----

TEST_F(ImageFiles, TruncatedAndCorruptFilesFailClearly) {
    std::unique_ptr<CImage> image = Pattern(IMAGE_RGB_8I, CSize(40, 30));
    for (const char* name : {"t.png", "t.tif", "t.jpg", "t.ppm"}) {
        std::string file = Path(name);
        Save(*image, file, Parameters({{"compression", 6}}));
        const std::string whole = FileBytes(file);
        // Cut in the header, in the middle and just before the end; flip bytes everywhere.
        std::vector<std::string> broken;
        for (size_t keep : {size_t(5), size_t(20), whole.size() / 2, whole.size() - 3})
            broken.push_back(whole.substr(0, keep));
        for (size_t at = 0; at < whole.size(); at += whole.size() / 23 + 1) {
            broken.push_back(whole);
            broken.back()[at] = static_cast<char>(whole[at] ^ 0x5a);
        }
        for (size_t i = 0; i < broken.size(); ++i) {
            WriteFile(file, broken[i]);
            std::string outcome = Outcome(file);  // a flipped sample byte may still decode
            bool decoded = outcome.rfind("IMAGE_", 0) == 0;
            EXPECT_TRUE(decoded || outcome.find("'%F'") != std::string::npos)
                << name << " variant " << i << ": " << outcome;
            EXPECT_TRUE(i >= 4 || !decoded) << name << " cut " << i;  // truncation always fails
        }
    }
}

// ---- the nodes' conventions ----

TEST_F(ImageFiles, NodesExpandTheFileNameAndLabelThemselves) {
    CScopedVariable directory("ORVA_IMAGE_TEST_DIR", m_directory.c_str());
    CValueMap parameters =
        Parameters({{"filename", "%ORVA_IMAGE_TEST_DIR%/labelled.png"}, {"verbose", true}});
    const std::string said = "PNG '" + Path("labelled.png") + "', (4, 4, 1) IMAGE_GREY_8\n";
    std::unique_ptr<CImage> image = Pattern(IMAGE_GREY_8, CSize(4, 4));
    CValuePointer<CImage> input(image.get());
    CPSaveImage save;
    Configure(save, parameters);
    save.SetStackInput(0, &input);
    EXPECT_EQ(CapturedStdout([&] { save.Run(); }), "SaveImage: " + said);
    CPReadImage read;
    Configure(read, parameters);
    EXPECT_EQ(CapturedStdout([&] { read.Run(); }), "ReadImage: " + said);
    for (CPNode* node : {static_cast<CPNode*>(&save), static_cast<CPNode*>(&read)}) {
        EXPECT_EQ(node->Parameters().EntryString("ui/tooltip"), Path("labelled.png"));
        EXPECT_EQ(node->Parameters().EntryString("ui/label"), "labelled.png");
    }

    CPReadImage refusing;
    Configure(refusing, Parameters({{"filename", Path("x.png")}, {"rgb_type", "IMAGE_RGB_FI"}}));
    EXPECT_EQ(ErrorOf([&] { refusing.Run(); }, true),
              "(utility plugins) ReadImage::Run | rgb_type is 'IMAGE_RGB_FI', expected "
              "IMAGE_RGB_8I or IMAGE_RGB_8");
}

}  // namespace
