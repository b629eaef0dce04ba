// ReadImage and SaveImage as nodes: what they choose and refuse, their messages, labels and
// streams. The codecs have tests of their own.
#include <cstring>
#include <filesystem>

#include "FileTesting.h"
#include "PReadImage.h"
#include "PSaveImage.h"

using namespace ORVA;
using namespace testing_support;

namespace {

class ImageFileNodes : public FileTest {
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
};

std::unique_ptr<CImage> Counting(IImage::CType type, CSize size) {
    auto image = std::make_unique<CImage>(type, size);
    for (size_t i = 0; i < image->ByteCount(); ++i)
        image->Bytes()[i] = static_cast<uint8_t>(i * 7);
    return image;
}

TEST_F(ImageFileNodes, FormatsByNameOrExtensionAndPlanarColourBack) {
    std::unique_ptr<CImage> planar = Counting(IMAGE_RGB_8, CSize(5, 3));
    const std::pair<const char*, const char*> cases[] = {
        {"a.PNG", "AUTO"}, {"a.tiff", "AUTO"}, {"a.ppm", "AUTO"}, {"a.txt", "PNM"}, {"a", "TIFF"}};
    for (const auto& [name, format] : cases) {
        EXPECT_EQ(Save(*planar, Path(name), Parameters({{"format", format}})), Path(name));
        std::unique_ptr<CImage> back = Read(Path(name), "IMAGE_RGB_8");
        ASSERT_EQ(back->Type(), IMAGE_RGB_8) << name;
        EXPECT_EQ(std::memcmp(back->Bytes(), planar->Bytes(), planar->ByteCount()), 0) << name;
        EXPECT_EQ(back->Attributes().EntryString("image_path"), Path(name));
    }
}

TEST_F(ImageFileNodes, RefusalsNameWhatIsAccepted) {
    const std::string save = "(utility plugins) SaveImage::Run | ";
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"a.gif", "AUTO",
         "the format of '%D/a.gif' cannot be told from its extension: expected .png, .tif, .tiff, "
         ".jpg, .jpeg, .pgm, .ppm or .pnm, or set format to PNG, TIFF, JPEG or PNM"},
        {"a.png", "BMP", "format is 'BMP', expected AUTO, PNG, TIFF, JPEG or PNM"},
        {"a.png", " PNG", "format is ' PNG', expected AUTO, PNG, TIFF, JPEG or PNM"},
    };
    CImage image(IMAGE_GREY_8, CSize(2, 2));
    for (const auto& [name, format, message] : cases) {
        std::string error = ErrorOf(
            [&] {
                Save(image, Path(name), Parameters({{"format", format}}));
            },
            true);
        EXPECT_EQ(Replaced(error, m_directory.string(), "%D"), save + message);
        EXPECT_FALSE(std::filesystem::exists(Path(name)));
    }
    CPSaveImage empty;
    Configure(empty);
    CValueLong number(3);
    CValuePointer<CImage> none;
    const SFailure failures[] = {{{}, "no input image on pin 0"},
                                 {{&number}, "input 0 is not an image"},
                                 {{&none}, "input image is NULL"}};
    ExpectFailures<CPSaveImage>(save, failures);

    const std::string read = "(utility plugins) ReadImage::Run | ";
    const std::pair<std::string, std::string> reads[] = {
        {m_directory.string(), "cannot read '%F': it is a directory"},
        {Path("missing.png"), "cannot open '%F': No such file or directory"},
    };
    for (const auto& [file, message] : reads)
        EXPECT_EQ(Replaced(ErrorOf([&] { Read(file); }, true), file, "%F"), read + message);
    EXPECT_EQ(ErrorOf([&] { Read(Path("x.png"), "IMAGE_RGB_FI"); }, true),
              read + "rgb_type is 'IMAGE_RGB_FI', expected IMAGE_RGB_8I or IMAGE_RGB_8");
}

TEST_F(ImageFileNodes, NodesExpandTheFileNameAndLabelThemselves) {
    CScopedVariable directory("ORVA_IMAGE_TEST_DIR", m_directory.c_str());
    CValueMap parameters =
        Parameters({{"filename", "%ORVA_IMAGE_TEST_DIR%/labelled.png"}, {"verbose", true}});
    const std::string said = "PNG '" + Path("labelled.png") + "', (4, 4, 1) IMAGE_GREY_8\n";
    std::unique_ptr<CImage> image = Counting(IMAGE_GREY_8, CSize(4, 4));
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
}

TEST_F(ImageFileNodes, StreamsAreReadAsFarAsTheirFileGoes) {
    // The pipes stay open: reading to their end would never return.
    std::unique_ptr<CImage> image = Counting(IMAGE_GREY_8, CSize(3, 2));
    for (const char* name : {"s.png", "s.pgm"}) {
        Save(*image, Path(name));
        CPipe pipe(FileBytes(Path(name)) + "and more", false);
        std::unique_ptr<CImage> back = Read(pipe.Path());
        ASSERT_EQ(back->Size(), image->Size()) << name;
        EXPECT_EQ(std::memcmp(back->Bytes(), image->Bytes(), image->ByteCount()), 0) << name;
    }
}

}  // namespace
