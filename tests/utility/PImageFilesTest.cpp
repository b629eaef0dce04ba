// ReadImage and SaveImage: round trips of every lossless format and type, content-based
// detection, the layouts other writers produce (made here with libpng and libtiff
// directly), malformed and truncated files, and the node conventions.
#include <png.h>
#include <tiffio.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "ImageFiles.h"
#include "NodeTesting.h"
#include "PReadImage.h"
#include "PSaveImage.h"

using namespace ORVA;
using namespace testing_support;

namespace {

class ImageFiles : public testing::Test {
  protected:
    void SetUp() override {
        m_directory = std::filesystem::temp_directory_path() /
                      ("orva-image-files-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_directory);
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::string Path(const std::string& name) const { return (m_directory / name).string(); }

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
        CValueMap parameters;
        parameters.SetEntry("filename", new CValueString(file));
        parameters.SetEntry("rgb_type", new CValueString(rgbType));
        CPReadImage node;
        Configure(node, parameters);
        node.Run();
        return std::unique_ptr<CImage>(OutputImage(node).Clone());
    }

    std::string ReadError(const std::string& file) {
        return ErrorOf([&] { Read(file); });
    }

    void WriteBytes(const std::string& file, const std::string& bytes) {
        std::ofstream(file, std::ios::binary) << bytes;
    }
    std::string Bytes(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    std::filesystem::path m_directory;
};

// Samples that use every bit of their type, with a few extremes.
std::unique_ptr<CImage> Pattern(IImage::CType type, CSize size) {
    auto image = std::make_unique<CImage>(type, size);
    for (size_t i = 0; i < image->ByteCount(); ++i)
        image->Bytes()[i] = static_cast<uint8_t>(i * 151 + (i >> 7) * 13);
    if (type.IsFloating() && type.ElementSize() == 4) {
        float* data = image->Data<float>();
        for (int64_t i = 0; i < image->Samples(); ++i)
            data[i] = static_cast<float>(i) * -0.37f + 1e-3f;
        data[0] = std::numeric_limits<float>::infinity();
    }
    if (type == IMAGE_GREY_D) {
        double* data = image->Data<double>();
        for (int64_t i = 0; i < image->Samples(); ++i)
            data[i] = static_cast<double>(i) / 3.0 - 1e300;
    }
    return image;
}

// ---- round trips ----

TEST_F(ImageFiles, EveryLosslessFormatAndTypeRoundTripsExactly) {
    struct SCase {
        const char* extension;
        EnImageFormat format;
        int compression;
    };
    const SCase cases[] = {
        {".png", EnImageFormat::PNG, -1},  {".png", EnImageFormat::PNG, 9},
        {".tif", EnImageFormat::TIFF, -1}, {".tiff", EnImageFormat::TIFF, 6},
        {".pgm", EnImageFormat::PNM, -1},
    };
    for (const SCase& c : cases) {
        for (IImage::CType type : EncodableTypes(c.format)) {
            std::vector<CSize> sizes = {CSize(1, 1), CSize(37, 19)};
            if (c.format == EnImageFormat::TIFF) sizes.push_back(CSize(5, 3, 4));
            for (const CSize& size : sizes) {
                SCOPED_TRACE(std::string(type.Name()) + " " + size.ToString() + " " + c.extension +
                             " compression " + std::to_string(c.compression));
                std::unique_ptr<CImage> image = Pattern(type, size);
                std::string file = Path(std::string("round") + c.extension);
                CValueMap parameters;
                parameters.SetEntry("compression", new CValueLong(c.compression));
                EXPECT_EQ(Save(*image, file, parameters), file);
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
        std::string file = Path("smooth.jpeg");
        Save(image, file);
        std::unique_ptr<CImage> back =
            Read(file, type == IMAGE_RGB_8 ? "IMAGE_RGB_8" : "IMAGE_RGB_8I");
        ASSERT_EQ(back->Type(), type);
        ASSERT_EQ(back->Size(), image.Size());
        double error = 0;
        for (int64_t i = 0; i < image.Samples(); ++i)
            error += std::abs(int(back->Bytes()[i]) - int(image.Bytes()[i]));
        EXPECT_LT(error / static_cast<double>(image.Samples()), 2.0);
    }
    // A lower quality makes a smaller file.
    CImage noise = *Pattern(IMAGE_GREY_8, CSize(64, 64));
    CValueMap low;
    low.SetEntry("quality", new CValueLong(10));
    Save(noise, Path("high.jpg"));
    Save(noise, Path("low.jpg"), low);
    EXPECT_LT(Bytes(Path("low.jpg")).size(), Bytes(Path("high.jpg")).size() / 2);
}

// ---- what SaveImage refuses ----

TEST_F(ImageFiles, RefusalsNameWhatIsAccepted) {
    struct SCase {
        IImage::CType type;
        CSize size;
        const char* file;
        const char* format;
        long quality;
        const char* message;
    };
    const SCase cases[] = {
        {IMAGE_GREY_F, CSize(2, 2), "a.png", "AUTO", 95,
         "PNG cannot hold an image of type IMAGE_GREY_F; it holds IMAGE_GREY_8, IMAGE_GREY_16, "
         "IMAGE_RGB_8 and IMAGE_RGB_8I"},
        {IMAGE_GREY_16, CSize(2, 2), "a.jpg", "AUTO", 95,
         "JPEG cannot hold an image of type IMAGE_GREY_16; it holds IMAGE_GREY_8, IMAGE_RGB_8 "
         "and IMAGE_RGB_8I"},
        {IMAGE_BINARY_FG, CSize(2, 2), "a.tif", "AUTO", 95,
         "TIFF cannot hold an image of type IMAGE_BINARY_FG; it holds IMAGE_GREY_8, "
         "IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_64, IMAGE_GREY_F, IMAGE_GREY_D, IMAGE_RGB_8, "
         "IMAGE_RGB_8I and IMAGE_RGB_FI"},
        {IMAGE_RGB_FI, CSize(2, 2), "a.ppm", "AUTO", 95,
         "PGM/PPM cannot hold an image of type IMAGE_RGB_FI; it holds IMAGE_GREY_8, "
         "IMAGE_GREY_16, IMAGE_RGB_8 and IMAGE_RGB_8I"},
        {IMAGE_GREY_8, CSize(2, 2, 3), "a.png", "AUTO", 95,
         "a 3-D image (depth 3) can be saved as TIFF only, not as PNG"},
        {IMAGE_GREY_8, CSize(2, 2), "a.gif", "AUTO", 95,
         "the format of '%D/a.gif' cannot be told from its extension: expected .png, .tif, "
         ".tiff, .jpg, .jpeg, .pgm, .ppm or .pnm, or set format to PNG, TIFF, JPEG or PNM"},
        {IMAGE_GREY_8, CSize(2, 2), "a.png", "BMP", 95,
         "format is 'BMP', expected AUTO, PNG, TIFF, JPEG or PNM"},
        {IMAGE_GREY_8, CSize(2, 2), "a.jpg", "AUTO", 0, "quality 0 is not between 1 and 100"},
        {IMAGE_GREY_8, CSize(0, 2), "a.png", "AUTO", 95, "the image is empty: (0, 2, 1)"},
        {IMAGE_GREY_8, CSize(2, 2), "", "PNG", 95, "cannot write '%D': it is a directory"},
        {IMAGE_GREY_8, CSize(2, 2), "no/such/a.png", "AUTO", 95,
         "cannot write '%D/no/such/a.png': No such file or directory"},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.message);
        CImage image(c.type, c.size);
        CValueMap parameters;
        parameters.SetEntry("format", new CValueString(c.format));
        parameters.SetEntry("quality", new CValueLong(c.quality));
        std::string file = m_directory.string() + (*c.file ? "/" : "") + c.file;
        std::string expected = c.message;
        if (size_t at = expected.find("%D"); at != std::string::npos)
            expected.replace(at, 2, m_directory.string());
        EXPECT_EQ(ErrorOf([&] { Save(image, file, parameters); }, true),
                  "(utility plugins) SaveImage::Run | " + expected);
        EXPECT_TRUE(*c.file == '\0' || !std::filesystem::exists(file));
    }
    CPSaveImage node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "no input image on pin 0");
}

TEST_F(ImageFiles, AFailedWriteLeavesNoFile) {
    std::string file = Path("partial.png");
    // /dev/full takes the open but fails every write.
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    std::filesystem::create_symlink("/dev/full", file);
    std::string error = ErrorOf([&] { Save(*Pattern(IMAGE_GREY_8, CSize(300, 300)), file); });
    EXPECT_EQ(error, "cannot write '" + file + "': No space left on device");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(file)));
}

// ---- content, not extension ----

TEST_F(ImageFiles, FormatsAreRecognisedByContent) {
    std::unique_ptr<CImage> image = Pattern(IMAGE_GREY_8, CSize(6, 5));
    for (const char* format : {"PNG", "TIFF", "JPEG", "PNM"}) {
        SCOPED_TRACE(format);
        CValueMap parameters;
        parameters.SetEntry("format", new CValueString(format));
        std::string file = Path("misnamed.txt");
        Save(*image, file, parameters);
        std::unique_ptr<CImage> back = Read(file);
        EXPECT_EQ(back->Size(), image->Size());
        std::string bytes = Bytes(file);
        EXPECT_EQ(ImageFormatName(DetectImageFormat(reinterpret_cast<const uint8_t*>(bytes.data()),
                                                    bytes.size())),
                  std::string(format == std::string("PNM") ? "PGM/PPM" : format));
    }
    struct SCase {
        std::string bytes;
        EnImageFormat format;
    };
    const SCase cases[] = {
        {std::string("II*\0", 4), EnImageFormat::TIFF},
        {std::string("MM\0*", 4), EnImageFormat::TIFF},
        {std::string("II+\0", 4), EnImageFormat::TIFF},
        {"\xff\xd8\xff\xe0", EnImageFormat::JPEG},
        {"P5\n1 1 255\n", EnImageFormat::PNM},
        {"P2 1 1 255 0", EnImageFormat::PNM},
        {"P6\t", EnImageFormat::PNM},
        {"P4\n1 1\n", EnImageFormat::UNKNOWN},
        {"P51", EnImageFormat::UNKNOWN},
        {"\x89PNG\r\n\x1a", EnImageFormat::UNKNOWN},
        {"GIF89a", EnImageFormat::UNKNOWN},
        {"", EnImageFormat::UNKNOWN},
    };
    for (const SCase& c : cases)
        EXPECT_EQ(
            DetectImageFormat(reinterpret_cast<const uint8_t*>(c.bytes.data()), c.bytes.size()),
            c.format)
            << c.bytes;

    WriteBytes(Path("a.png"), std::string("GIF89a\x01\x00", 8));
    EXPECT_EQ(ReadError(Path("a.png")),
              "'" + Path("a.png") +
                  "' is not a PNG, TIFF, JPEG, PGM or PPM file: it begins with the bytes 47 49 46 "
                  "38 39 61 01 00");
    WriteBytes(Path("empty.png"), "");
    EXPECT_EQ(ReadError(Path("empty.png")), "'" + Path("empty.png") + "' is empty");
    EXPECT_EQ(ReadError(m_directory.string()),
              "cannot read '" + m_directory.string() + "': it is a directory");
    EXPECT_EQ(ReadError(Path("missing.png")),
              "cannot open '" + Path("missing.png") + "': No such file or directory");
}

// ---- PGM/PPM as others write it ----

TEST_F(ImageFiles, PgmAndPpmInTextAndBinary) {
    struct SCase {
        std::string bytes;
        IImage::CType type;
        CSize size;
        std::vector<uint8_t> samples;  // bytes of the image (16-bit in machine order below)
        std::vector<uint16_t> wide;
    };
    const SCase cases[] = {
        {"P2\n# a comment\n3 2 # another\n255\n0 1 2\n253 254 255\n",
         IMAGE_GREY_8,
         CSize(3, 2),
         {0, 1, 2, 253, 254, 255},
         {}},
        {"P2 2 1 1000 999 1000", IMAGE_GREY_16, CSize(2, 1), {}, {999, 1000}},
        {"P3 2 1 15 1 2 3 13 14 15\n", IMAGE_RGB_8I, CSize(2, 1), {1, 2, 3, 13, 14, 15}, {}},
        // 16-bit colour is scaled to 8 bits by the maximum, with rounding.
        {"P3 1 1 1023 1023 511 2", IMAGE_RGB_8I, CSize(1, 1), {255, 127, 0}, {}},
        {std::string("P5\n2 1\n65535\n\x01\x02\xff\xfe", 17),
         IMAGE_GREY_16,
         CSize(2, 1),
         {},
         {0x0102, 0xfffe}},
        {std::string("P6 1 1 255\r\x07\x08\x09", 14), IMAGE_RGB_8I, CSize(1, 1), {7, 8, 9}, {}},
        {std::string("P5 2 1 3\n\x03\x00", 11), IMAGE_GREY_8, CSize(2, 1), {3, 0}, {}},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.bytes);
        WriteBytes(Path("x.pnm"), c.bytes);
        std::unique_ptr<CImage> image = Read(Path("x.pnm"));
        ASSERT_EQ(image->Type(), c.type);
        EXPECT_EQ(image->Size(), c.size);
        if (c.type == IMAGE_GREY_16)
            EXPECT_EQ(Samples<uint16_t>(*image), c.wide);
        else
            EXPECT_EQ(Samples<uint8_t>(*image), c.samples);
    }
    // And SaveImage writes 16-bit samples big-endian.
    CImage wide(IMAGE_GREY_16, CSize(2, 1));
    wide.Data<uint16_t>()[0] = 0x0102;
    wide.Data<uint16_t>()[1] = 0xfffe;
    Save(wide, Path("w.pgm"));
    EXPECT_EQ(Bytes(Path("w.pgm")), std::string("P5\n2 1\n65535\n\x01\x02\xff\xfe", 17));
}

// ---- PNG and TIFF as other writers make them ----

TEST_F(ImageFiles, PngPalettesAlphaAndSixteenBitColour) {
    auto write = [&](const std::string& file, png_uint_32 format, const void* pixels,
                     const void* colormap = nullptr, png_uint_32 colours = 0) {
        png_image png{};
        png.version = PNG_IMAGE_VERSION;
        png.width = 2;
        png.height = 1;
        png.format = format;
        png.colormap_entries = colours;
        ASSERT_TRUE(png_image_write_to_file(&png, file.c_str(), 0, pixels, 0, colormap))
            << png.message;
    };
    const uint8_t rgba[] = {10, 20, 30, 0, 40, 50, 60, 255};
    write(Path("alpha.png"), PNG_FORMAT_RGBA, rgba);
    EXPECT_EQ(Samples<uint8_t>(*Read(Path("alpha.png"))),
              (std::vector<uint8_t>{10, 20, 30, 40, 50, 60}));

    const uint8_t indices[] = {1, 0};
    const uint8_t palette[] = {200, 100, 0, 1, 2, 3};
    write(Path("palette.png"), PNG_FORMAT_RGB_COLORMAP, indices, palette, 2);
    std::unique_ptr<CImage> expanded = Read(Path("palette.png"), "IMAGE_RGB_8");
    EXPECT_EQ(expanded->Type(), IMAGE_RGB_8);
    EXPECT_EQ(Samples<uint8_t>(*expanded), (std::vector<uint8_t>{1, 200, 2, 100, 3, 0}));

    // 16-bit linear samples, written as they are; colour becomes 8 bits, rounded.
    const uint16_t grey[] = {0x1234, 0xfedc};
    write(Path("grey16.png"), PNG_FORMAT_LINEAR_Y, grey);
    std::unique_ptr<CImage> wide = Read(Path("grey16.png"));
    EXPECT_EQ(wide->Type(), IMAGE_GREY_16);
    EXPECT_EQ(Samples<uint16_t>(*wide), (std::vector<uint16_t>{0x1234, 0xfedc}));
    const uint16_t colour[] = {0, 257 * 7 + 128, 65535, 32767, 32768, 129};
    write(Path("rgb16.png"), PNG_FORMAT_LINEAR_RGB, colour);
    EXPECT_EQ(Samples<uint8_t>(*Read(Path("rgb16.png"))),
              (std::vector<uint8_t>{0, 7, 255, 127, 128, 1}));
}

// Writes one TIFF page of `width` x `height` with the given layout; `samples` holds the
// bytes of the page in the file's layout (strips, or tiles of `tile` pixels).
struct STiffLayout {
    uint32_t width, height;
    uint16_t bits, samples, format, photometric, planar = PLANARCONFIG_CONTIG;
    uint32_t tile = 0;  // 0: strips of 2 rows
    uint16_t compression = COMPRESSION_NONE;
    uint16_t extra = 0;  // samples after the colour ones (alpha)
};

void AddTiffPage(TIFF* tiff, const STiffLayout& layout, const std::vector<uint8_t>& bytes) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, layout.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, layout.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.samples);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, layout.format);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, layout.planar);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, layout.compression);
    if (layout.extra) {
        uint16_t kinds[] = {EXTRASAMPLE_UNASSALPHA};
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, layout.extra, kinds);
    }
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

std::vector<uint8_t> Counting(size_t count) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>(i + 1);
    return bytes;
}

TEST_F(ImageFiles, TiffLayoutsOfOtherWriters) {
    struct SCase {
        const char* what;
        STiffLayout layout;
        std::vector<uint8_t> file;  // the page's bytes in the file's layout
        IImage::CType type;
        std::vector<uint8_t> expected;  // the image's bytes
    };
    const SCase cases[] = {
        {"tiles cut at the edges",
         {3, 3, 8, 1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISBLACK, PLANARCONFIG_CONTIG, 16},
         [] {
             std::vector<uint8_t> tile(16 * 16, 0);
             for (int y = 0; y < 3; ++y)
                 for (int x = 0; x < 3; ++x)
                     tile[y * 16 + x] = static_cast<uint8_t>(10 * y + x);
             return tile;
         }(),
         IMAGE_GREY_8,
         {0, 1, 2, 10, 11, 12, 20, 21, 22}},
        {"separate colour planes",
         {2, 3, 8, 3, SAMPLEFORMAT_UINT, PHOTOMETRIC_RGB, PLANARCONFIG_SEPARATE},
         Counting(18),
         IMAGE_RGB_8I,
         {1, 7, 13, 2, 8, 14, 3, 9, 15, 4, 10, 16, 5, 11, 17, 6, 12, 18}},
        {"alpha dropped",
         {2, 1, 8, 4, SAMPLEFORMAT_UINT, PHOTOMETRIC_RGB, PLANARCONFIG_CONTIG, 0, COMPRESSION_LZW,
          1},
         Counting(8),
         IMAGE_RGB_8I,
         {1, 2, 3, 5, 6, 7}},
        {"white is zero",
         {3, 1, 8, 1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE},
         {0, 1, 255},
         IMAGE_GREY_8,
         {255, 254, 0}},
        {"bilevel through the RGBA reader",
         {8, 1, 1, 1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISBLACK},
         {0xa5},
         IMAGE_GREY_8,
         {255, 0, 255, 0, 0, 255, 0, 255}},
        {"16-bit colour scaled to 8 bits",
         {1, 1, 16, 3, SAMPLEFORMAT_UINT, PHOTOMETRIC_RGB},
         [] {
             std::vector<uint8_t> bytes(6);
             const uint16_t values[] = {65535, 257 * 9 + 128, 128};
             std::memcpy(bytes.data(), values, 6);
             return bytes;
         }(),
         IMAGE_RGB_8I,
         {255, 9, 0}},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.what);
        std::string file = Path("layout.tif");
        {
            TIFF* tiff = TIFFOpen(file.c_str(), "w");
            ASSERT_TRUE(tiff);
            AddTiffPage(tiff, c.layout, c.file);
            TIFFClose(tiff);
        }
        std::unique_ptr<CImage> image = Read(file);
        ASSERT_EQ(image->Type(), c.type);
        EXPECT_EQ(image->Size(), CSize(c.layout.width, c.layout.height));
        EXPECT_EQ(Samples<uint8_t>(*image), c.expected);
    }
}

TEST_F(ImageFiles, TiffPagesBecomePlanesOnlyWhenTheyAgree) {
    auto write = [&](const std::vector<STiffLayout>& pages) {
        TIFF* tiff = TIFFOpen(Path("pages.tif").c_str(), "w");
        for (const STiffLayout& page : pages)
            AddTiffPage(tiff, page,
                        Counting(size_t(page.width) * page.height * page.samples * page.bits / 8));
        TIFFClose(tiff);
    };
    STiffLayout grey{2, 2, 8, 1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISBLACK};
    write({grey, grey, grey});
    std::unique_ptr<CImage> stack = Read(Path("pages.tif"));
    EXPECT_EQ(stack->Size(), CSize(2, 2, 3));
    EXPECT_EQ(Samples<uint8_t>(*stack), (std::vector<uint8_t>{1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4}));

    STiffLayout wider = grey, wide = grey;
    wider.width = 3;
    wide.bits = 16;
    write({grey, wider});
    EXPECT_EQ(ReadError(Path("pages.tif")),
              "'" + Path("pages.tif") +
                  "' has pages that differ and cannot become the planes of one image: page 2 is "
                  "3 x 2 IMAGE_GREY_8, page 1 is 2 x 2 IMAGE_GREY_8");
    write({grey, grey, wide});
    EXPECT_EQ(ReadError(Path("pages.tif")),
              "'" + Path("pages.tif") +
                  "' has pages that differ and cannot become the planes of one image: page 3 is "
                  "2 x 2 IMAGE_GREY_16, page 1 is 2 x 2 IMAGE_GREY_8");
    STiffLayout signedSamples = grey;
    signedSamples.format = SAMPLEFORMAT_INT;
    signedSamples.bits = 16;
    write({signedSamples});
    EXPECT_EQ(ReadError(Path("pages.tif")),
              "'" + Path("pages.tif") +
                  "' is not a readable TIFF file: page 1 holds 16-bit signed samples (photometric "
                  "1, 1 per pixel); supported are 8-, 16-, 32- and 64-bit unsigned and 32- and "
                  "64-bit float grey, 8- and 16-bit unsigned and 32-bit float RGB");
}

// ---- broken files ----

TEST_F(ImageFiles, TruncatedAndCorruptFilesFailClearly) {
    std::unique_ptr<CImage> image = Pattern(IMAGE_RGB_8I, CSize(40, 30));
    for (const char* name : {"t.png", "t.tif", "t.jpg", "t.ppm"}) {
        std::string file = Path(name);
        CValueMap parameters;
        parameters.SetEntry("compression", new CValueLong(6));
        Save(*image, file, parameters);
        const std::string whole = Bytes(file);
        // Cut in the header, in the middle and just before the end; flip bytes everywhere.
        std::vector<std::string> broken;
        for (size_t keep : {size_t(5), size_t(20), whole.size() / 2, whole.size() - 3})
            broken.push_back(whole.substr(0, keep));
        for (size_t at = 0; at < whole.size(); at += whole.size() / 23 + 1) {
            std::string flipped = whole;
            flipped[at] = static_cast<char>(flipped[at] ^ 0x5a);
            broken.push_back(flipped);
        }
        for (size_t i = 0; i < broken.size(); ++i) {
            SCOPED_TRACE(std::string(name) + " variant " + std::to_string(i));
            WriteBytes(file, broken[i]);
            try {
                Read(file);  // a flipped sample byte may still decode
            } catch (const CException& error) {
                EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
            }
        }
        // Truncation itself is always an error.
        WriteBytes(file, whole.substr(0, whole.size() / 2));
        EXPECT_NE(ReadError(file), "no exception") << name;
    }
    WriteBytes(Path("short.ppm"), std::string("P6 4 4 255\n") + std::string(40, 'x'));
    EXPECT_EQ(ReadError(Path("short.ppm")),
              "'" + Path("short.ppm") +
                  "' is not a readable PGM/PPM file: the file ends early: it holds 40 bytes of "
                  "samples, the header promises 48");
    WriteBytes(Path("short.pgm"), "P2 100 100 255 1 2 3");
    EXPECT_EQ(ReadError(Path("short.pgm")),
              "'" + Path("short.pgm") +
                  "' is not a readable PGM/PPM file: the file ends early: its 6 bytes of text "
                  "cannot hold the 10000 samples the header promises");
    WriteBytes(Path("huge.pgm"), "P5 65536 65536 255\n");
    EXPECT_EQ(ReadError(Path("huge.pgm")),
              "'" + Path("huge.pgm") +
                  "' is not a readable PGM/PPM file: its image of 65536 x 65536 pixels exceeds "
                  "the limit of 1073741824 pixels");
    WriteBytes(Path("over.pgm"), "P2 2 1 9 3 10");
    EXPECT_EQ(ReadError(Path("over.pgm")),
              "'" + Path("over.pgm") +
                  "' is not a readable PGM/PPM file: sample 1 is 10, beyond the maximum 9");
}

// ---- the nodes' conventions ----

TEST_F(ImageFiles, NodesExpandLabelAndRunOnce) {
    setenv("ORVA_IMAGE_TEST_DIR", m_directory.c_str(), 1);
    std::unique_ptr<CImage> image = Pattern(IMAGE_GREY_8, CSize(4, 4));
    CValueMap parameters;
    parameters.SetEntry("filename", new CValueString("%ORVA_IMAGE_TEST_DIR%/labelled.png"));
    parameters.SetEntry("run_once", new CValueBool(true));
    parameters.SetEntry("verbose", new CValueBool(true));
    CPSaveImage save;
    Configure(save, parameters);
    CValuePointer<CImage> input(image.get());
    save.SetStackInput(0, &input);
    EXPECT_EQ(CapturedStdout([&] { save.Run(); }),
              "SaveImage: PNG '" + Path("labelled.png") + "', (4, 4, 1) IMAGE_GREY_8\n");
    EXPECT_EQ(save.Parameters().EntryString("ui/tooltip"), Path("labelled.png"));
    EXPECT_EQ(save.Parameters().EntryString("ui/label"), "labelled.png");
    std::filesystem::remove(Path("labelled.png"));
    save.Run();  // run once: nothing written
    EXPECT_FALSE(std::filesystem::exists(Path("labelled.png")));
    save.NodeInit();
    EXPECT_EQ(CapturedStdout([&] { save.Run(); }).empty(), false);
    EXPECT_TRUE(std::filesystem::exists(Path("labelled.png")));

    CPReadImage read;
    Configure(read, parameters);
    EXPECT_EQ(CapturedStdout([&] { read.Run(); }),
              "ReadImage: PNG '" + Path("labelled.png") + "', (4, 4, 1) IMAGE_GREY_8\n");
    EXPECT_EQ(read.Parameters().EntryString("ui/label"), "labelled.png");
    const CImage* first = &OutputImage(read);
    std::filesystem::remove(Path("labelled.png"));
    read.Run();  // run once: the file is not read again
    EXPECT_EQ(&OutputImage(read), first);

    CValueMap wrong;
    wrong.SetEntry("filename", new CValueString(Path("labelled.png")));
    wrong.SetEntry("rgb_type", new CValueString("IMAGE_RGB_FI"));
    wrong.SetEntry("ui/automaticLabel", new CValueBool(false));
    CPReadImage refusing;
    Configure(refusing, wrong);
    EXPECT_EQ(ErrorOf([&] { refusing.Run(); }, true),
              "(utility plugins) ReadImage::Run | rgb_type is 'IMAGE_RGB_FI', expected "
              "IMAGE_RGB_8I or IMAGE_RGB_8");
    unsetenv("ORVA_IMAGE_TEST_DIR");
}

}  // namespace
