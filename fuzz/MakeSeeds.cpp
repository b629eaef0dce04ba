// Writes the seed corpora of the fuzz targets into DIRECTORY/<target>/: small images of every
// type each format holds (written by SaveImage's encoder), text PGM/PPM, maps and matrices.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "codecs/ImageFiles.h"

using namespace ORVA;

namespace {

void Text(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

std::unique_ptr<CImage> Pattern(IImage::CType type, CSize size) {
    auto image = std::make_unique<CImage>(type, size);
    for (size_t i = 0; i < image->ByteCount(); ++i)
        image->Bytes()[i] = static_cast<uint8_t>(i * 7 + i / 5);
    if (type.IsFloating() && type.ElementSize() == 4)
        for (int64_t i = 0; i < image->Samples(); ++i)
            image->Data<float>()[i] = static_cast<float>(i) / 3.0f;
    if (type == IMAGE_GREY_D)
        for (int64_t i = 0; i < image->Samples(); ++i)
            image->Data<double>()[i] = static_cast<double>(i) / 7.0;
    return image;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    const std::filesystem::path root = argv[1];
    const std::pair<EnImageFormat, const char*> formats[] = {{EnImageFormat::PNG, "image_png"},
                                                             {EnImageFormat::TIFF, "image_tiff"},
                                                             {EnImageFormat::JPEG, "image_jpeg"},
                                                             {EnImageFormat::PNM, "image_pnm"}};
    for (const auto& [format, target] : formats) {
        std::filesystem::create_directories(root / target);
        int n = 0;
        for (IImage::CType type : EncodableTypes(format)) {
            for (CSize size : {CSize(1, 1), CSize(13, 7), CSize(40, 33)}) {
                SEncodeOptions options;
                options.quality = 50;
                for (int compression : {-1, 6}) {
                    options.compression = compression;
                    std::string file = (root / target / ("seed" + std::to_string(n++))).string();
                    EncodeImage(*Pattern(type, size), file, format, options, "seeds");
                }
            }
        }
        if (format == EnImageFormat::TIFF)
            EncodeImage(*Pattern(IMAGE_GREY_16, CSize(9, 5, 3)), (root / target / "pages").string(),
                        format, {}, "seeds");
    }
    Text(root / "image_pnm" / "text_grey", "P2\n# comment\n3 2\n300\n0 1 2\n3 299 300\n");
    Text(root / "image_pnm" / "text_colour", "P3 2 1 255 1 2 3 4 5 6\n");

    std::filesystem::create_directories(root / "read_map");
    Text(root / "read_map" / "map",
         R"({"a": 1, "b": [1.5, "x", true, null], "c": {"d": {"@double": "nan"}}})");
    Text(
        root / "read_map" / "image",
        R"({"@image": {"type": "IMAGE_GREY_8", "size": [2, 1, 1], "data": [1, 2], "attributes": {"k": "v"}}})");
    Text(root / "read_map" / "meta", R"({"@value": {"@long": 5}, "@meta": {"@@key": "\u00e9\n"}})");
    Text(root / "read_map" / "vector", R"([{"@vector": [1e+300, -0.0]}, {"@vector": null}])");

    std::filesystem::create_directories(root / "read_ascii");
    Text(root / "read_ascii" / "planes", std::string(1, '\0') + "# c\n1 2\n3 4\n\n\n5 6\n7 8\n");
    Text(root / "read_ascii" / "csv", std::string("\x02") + "1.5,2.5,-3e2\n4,5,6\n");
    Text(root / "read_ascii" / "auto", std::string("\x01") + "1;2;3\n4;5;6\n7;8;9\n");
    return 0;
}
