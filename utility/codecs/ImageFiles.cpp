#include "codecs/ImageFiles.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

#include "codecs/Jpeg.h"
#include "codecs/Png.h"
#include "codecs/Pnm.h"
#include "codecs/Tiff.h"

namespace ORVA {

namespace {

std::string TypeList(const std::vector<IImage::CType>& types) {
    std::string list;
    for (size_t i = 0; i < types.size(); ++i) {
        if (i > 0) list += i + 1 == types.size() ? " and " : ", ";
        list += types[i].Name();
    }
    return list;
}

}  // namespace

const char* ImageFormatName(EnImageFormat format) {
    switch (format) {
        case EnImageFormat::PNG:
            return "PNG";
        case EnImageFormat::TIFF:
            return "TIFF";
        case EnImageFormat::JPEG:
            return "JPEG";
        case EnImageFormat::PNM:
            return "PGM/PPM";
        default:
            return "unknown";
    }
}

EnImageFormat DetectImageFormat(const uint8_t* data, size_t size) {
    auto starts = [&](std::string_view magic) {
        return size >= magic.size() && std::memcmp(data, magic.data(), magic.size()) == 0;
    };
    if (starts("\x89PNG\r\n\x1a\n")) return EnImageFormat::PNG;
    if (starts(std::string_view("II*\0", 4)) || starts(std::string_view("MM\0*", 4)) ||
        starts(std::string_view("II+\0", 4)) || starts(std::string_view("MM\0+", 4)))
        return EnImageFormat::TIFF;
    if (starts("\xff\xd8\xff")) return EnImageFormat::JPEG;
    auto isBlank = [](uint8_t c) { return std::strchr(" \t\n\r\v\f", c) && c != '\0'; };
    if (size >= 3 && data[0] == 'P' && std::strchr("2356", data[1]) && data[1] != '\0' &&
        isBlank(data[2]))
        return EnImageFormat::PNM;
    return EnImageFormat::UNKNOWN;
}

std::optional<size_t> ImageFileExtent(const uint8_t* data, size_t size) {
    // Eight bytes tell every format.
    if (size < 8) return std::nullopt;
    switch (DetectImageFormat(data, size)) {
        case EnImageFormat::UNKNOWN:
            return size;
        case EnImageFormat::PNG:
            return PngExtent(data, size);
        case EnImageFormat::PNM:
            return PnmExtent(data, size);
        default:
            return std::nullopt;
    }
}

std::unique_ptr<CImage> DecodeImage(const uint8_t* data, size_t size, EnImageFormat format,
                                    const std::string& name, const char* where,
                                    const SDecodeLimits& limits) {
    if (format == EnImageFormat::UNKNOWN) format = DetectImageFormat(data, size);
    const SDecoding file{data, size, name, where, limits};
    try {
        switch (format) {
            case EnImageFormat::PNG:
                return DecodePng(file);
            case EnImageFormat::JPEG:
                return DecodeJpeg(file);
            case EnImageFormat::TIFF:
                return DecodeTiff(file);
            case EnImageFormat::PNM:
                return DecodePnm(file);
            default:
                break;
        }
    } catch (const std::bad_alloc&) {
        throw CException(where, "not enough memory to read '" + name + "'");
    }
    if (size == 0) throw CException(where, "'" + name + "' is empty");
    std::string start;
    for (size_t i = 0; i < std::min<size_t>(size, 8); ++i) {
        char hex[4];
        std::snprintf(hex, sizeof hex, i ? " %02x" : "%02x", data[i]);
        start += hex;
    }
    throw CException(where, "'" + name +
                                "' is not a PNG, TIFF, JPEG, PGM or PPM file: it begins with the "
                                "bytes " +
                                start);
}

std::vector<IImage::CType> EncodableTypes(EnImageFormat format) {
    switch (format) {
        case EnImageFormat::PNG:
        case EnImageFormat::PNM:
            return {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_RGB_8, IMAGE_RGB_8I};
        case EnImageFormat::JPEG:
            return {IMAGE_GREY_8, IMAGE_RGB_8, IMAGE_RGB_8I};
        case EnImageFormat::TIFF:
            return {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_64, IMAGE_GREY_F,
                    IMAGE_GREY_D, IMAGE_RGB_8,   IMAGE_RGB_8I,  IMAGE_RGB_FI};
        default:
            return {};
    }
}

void EncodeImage(const CImage& image, const std::string& path, EnImageFormat format,
                 const SEncodeOptions& options, const char* where) {
    std::vector<IImage::CType> types = EncodableTypes(format);
    if (std::find(types.begin(), types.end(), image.Type()) == types.end())
        throw CException(where, CString("%1 cannot hold an image of type %2; it holds %3")
                                    .Arg(ImageFormatName(format))
                                    .Arg(image.Type().Name())
                                    .Arg(TypeList(types)));
    const CSize& size = image.Size();
    if (size.x == 0 || size.y == 0 || size.z == 0)
        throw CException(where, "the image is empty: " + size.ToString());
    if (size.z > 1 && format != EnImageFormat::TIFF)
        throw CException(where, CString("a 3-D image (depth %1) can be saved as TIFF only, not "
                                        "as %2")
                                    .Arg(size.z)
                                    .Arg(ImageFormatName(format)));
    if (size.x > UINT32_MAX || size.y > UINT32_MAX ||
        (format == EnImageFormat::PNG && (size.x > PNG_UINT_31_MAX || size.y > PNG_UINT_31_MAX)))
        throw CException(where, "the image is too large for " +
                                    std::string(ImageFormatName(format)) + ": " + size.ToString());
    if (format == EnImageFormat::JPEG &&
        (options.quality < MIN_QUALITY || options.quality > MAX_QUALITY))
        throw CException(where, CString("quality %1 is not between %2 and %3")
                                    .Arg(options.quality)
                                    .Arg(MIN_QUALITY)
                                    .Arg(MAX_QUALITY));
    if (options.compression < MIN_COMPRESSION || options.compression > MAX_COMPRESSION)
        throw CException(where, CString("compression %1 is not between %2 and %3")
                                    .Arg(options.compression)
                                    .Arg(MIN_COMPRESSION)
                                    .Arg(MAX_COMPRESSION));

    // Planar colour is written interleaved.
    std::unique_ptr<CImage> interleaved;
    const CImage* source = &image;
    if (image.Type() == IMAGE_RGB_8) {
        interleaved =
            std::make_unique<CImage>(IMAGE_RGB_8I, size, CSize(0, 0, 0), CImage::NoInit{});
        CImageConversion::FastConvert(*interleaved, image, false);
        source = interleaved.get();
    }
    CDestination destination(path, where);
    switch (format) {
        case EnImageFormat::PNG:
            EncodePng(*source, destination, options);
            break;
        case EnImageFormat::JPEG:
            EncodeJpeg(*source, destination, options);
            break;
        case EnImageFormat::TIFF:
            EncodeTiff(*source, destination, options);
            break;
        default:
            EncodePnm(*source, destination);
    }
    destination.Keep();
}

}  // namespace ORVA
