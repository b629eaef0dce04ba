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

    // png_fast: width - 1, height - 1, colour and depth (indices), palette entries, trailing
    // bytes, the palette, then the filtered rows.
    std::filesystem::create_directories(root / "png_fast");
    const std::pair<const char*, std::string> layouts[] = {
        {"grey8", std::string("\x0b\x05\x00\x03\x00\x00", 6)},
        {"rgb16", std::string("\x0b\x05\x01\x04\x00\x00", 6)},
        {"palette4", std::string("\x0b\x05\x02\x02\x10\x00", 6) + std::string(48, '\x40')}};
    for (const auto& [name, start] : layouts) {
        std::string rows;
        for (int i = 0; i < 6 * 80; ++i)
            rows += static_cast<char>(i % 80 == 0 ? (i / 80) % 5 : i * 7);
        Text(root / "png_fast" / name, start + rows);
    }

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

    std::filesystem::create_directories(root / "graph");
    Text(root / "graph" / "chain", R"({"nodes": [
  {"id": "a", "plugin": "fuzzmodule::Checked", "parameters": {"size": 5, "mode": "SLOW"}},
  {"id": "b", "plugin": "fuzzmodule::Checked", "parameters": {"value": 2.5}, "inputs": ["a:0"]},
  {"id": "c", "plugin": "fuzzmodule::Checked", "inputs": {"0": "b:1"}}], "ui": {"x": 1}})");
    Text(root / "graph" / "nested",
         R"({"nodes": [{"id": "a", "plugin": "fuzzmodule::Checked", "parameters": {"connect": 8,
  "gain": {"@double": 2}, "flag": true}, "inputs": [null]}]})");

    std::filesystem::create_directories(root / "setting");
    Text(root / "setting" / "long", std::string("\x00") + "size=5");
    Text(root / "setting" / "enum", std::string("\x00") + "mode=EXACT");
    Text(root / "setting" / "json", std::string("\x00") + "value:={\"@double\": 2}");
    Text(root / "setting" / "lenient", std::string("\x80") + "sise=8");
    Text(root / "setting" / "nested", std::string("\x80") + "a/b:=[1, 2.5, true]");
    return 0;
}
