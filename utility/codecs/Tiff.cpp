// TIFF through libtiff, reading from and writing to memory and files.
#include "codecs/Tiff.h"

#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <new>
#include <type_traits>
#include <vector>

#include "codecs/CodecErrors.h"
#include "support/Files.h"

namespace ORVA {

namespace {

using namespace CodecErrors;

struct STiffSource {
    const uint8_t* data;
    size_t size;
    uint64_t position;
    char message[MESSAGE_SIZE];
};

tmsize_t TiffRead(thandle_t handle, void* out, tmsize_t length) {
    auto* source = static_cast<STiffSource*>(handle);
    if (length <= 0 || source->position >= source->size) return 0;
    size_t count =
        std::min<uint64_t>(static_cast<uint64_t>(length), source->size - source->position);
    std::memcpy(out, source->data + source->position, count);
    source->position += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t TiffNoWrite(thandle_t, void*, tmsize_t) {
    return 0;
}

toff_t TiffSeek(thandle_t handle, toff_t offset, int whence) {
    auto* source = static_cast<STiffSource*>(handle);
    uint64_t base = whence == SEEK_CUR ? source->position : whence == SEEK_END ? source->size : 0;
    if (offset > UINT64_MAX - base) return static_cast<toff_t>(-1);
    source->position = base + offset;
    return source->position;
}

int TiffClose(thandle_t) {
    return 0;
}

toff_t TiffSize(thandle_t handle) {
    return static_cast<STiffSource*>(handle)->size;
}

// The bytes are in memory already: libtiff uses them as a mapped file, without copies.
int TiffMap(thandle_t handle, void** base, toff_t* size) {
    auto* source = static_cast<STiffSource*>(handle);
    *base = const_cast<uint8_t*>(source->data);
    *size = source->size;
    return 1;
}

void TiffUnmap(thandle_t, void*, toff_t) {}

// What a page holds and how it becomes an image.
struct STiffPage {
    uint32_t width = 0, height = 0;
    uint16_t bits = 1, samples = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG,
             photometric = PHOTOMETRIC_MINISBLACK;
    bool direct = true;  // read sample by sample; otherwise through libtiff's RGBA reader
    int channels = 1;    // samples kept per pixel
    IImage::CType type = IMAGE_GREY_8;
};

class CTiffReader {
  public:
    CTiffReader(TIFF* tiff, STiffSource& source, const SDecoding& file)
        : m_tiff(tiff), m_source(source), m_file(file), m_limit(file.limits.planePixels) {}

    STiffPage Describe(int page);
    std::unique_ptr<CImage> Read(const STiffPage& page);

    [[noreturn]] void Fail(const std::string& reason) const {
        std::string text = reason;
        if (m_source.message[0] != '\0') text += std::string(": ") + m_source.message;
        DecodeFailed(m_file, EnImageFormat::TIFF, text);
    }

  private:
    template <class T>
    void ReadSamples(const STiffPage& page, T* out);
    std::unique_ptr<CImage> ReadRgba(const STiffPage& page);

    TIFF* m_tiff;
    STiffSource& m_source;
    const SDecoding& m_file;
    int64_t m_limit;
};

STiffPage CTiffReader::Describe(int index) {
    STiffPage page;
    std::string which = "page " + std::to_string(index + 1);
    if (!TIFFGetField(m_tiff, TIFFTAG_IMAGEWIDTH, &page.width) ||
        !TIFFGetField(m_tiff, TIFFTAG_IMAGELENGTH, &page.height))
        Fail(which + " has no image size");
    PlaneSize(page.width, page.height, m_file, EnImageFormat::TIFF);
    TIFFGetFieldDefaulted(m_tiff, TIFFTAG_BITSPERSAMPLE, &page.bits);
    TIFFGetFieldDefaulted(m_tiff, TIFFTAG_SAMPLESPERPIXEL, &page.samples);
    TIFFGetFieldDefaulted(m_tiff, TIFFTAG_SAMPLEFORMAT, &page.format);
    TIFFGetFieldDefaulted(m_tiff, TIFFTAG_PLANARCONFIG, &page.planar);
    if (!TIFFGetField(m_tiff, TIFFTAG_PHOTOMETRIC, &page.photometric))
        page.photometric = PHOTOMETRIC_MINISBLACK;
    if (page.samples == 0) Fail(which + " has no samples per pixel");
    if (page.format == SAMPLEFORMAT_VOID) page.format = SAMPLEFORMAT_UINT;

    bool grey =
        page.photometric == PHOTOMETRIC_MINISBLACK || page.photometric == PHOTOMETRIC_MINISWHITE;
    bool rgb = page.photometric == PHOTOMETRIC_RGB && page.samples >= 3;
    bool integer = page.format == SAMPLEFORMAT_UINT;
    bool floating = page.format == SAMPLEFORMAT_IEEEFP;
    std::string samples = std::to_string(page.bits) + "-bit " +
                          (integer                           ? "unsigned"
                           : floating                        ? "float"
                           : page.format == SAMPLEFORMAT_INT ? "signed"
                                                             : "complex");
    if (grey && integer &&
        (page.bits == 8 || page.bits == 16 || page.bits == 32 || page.bits == 64)) {
        page.type = page.bits == 8    ? IMAGE_GREY_8
                    : page.bits == 16 ? IMAGE_GREY_16
                    : page.bits == 32 ? IMAGE_GREY_32
                                      : IMAGE_GREY_64;
    } else if (grey && floating && (page.bits == 32 || page.bits == 64)) {
        page.type = page.bits == 32 ? IMAGE_GREY_F : IMAGE_GREY_D;
    } else if (rgb && integer && (page.bits == 8 || page.bits == 16)) {
        page.type = IMAGE_RGB_8I;
        page.channels = 3;
    } else if (rgb && floating && page.bits == 32) {
        page.type = IMAGE_RGB_FI;
        page.channels = 3;
    } else if (integer && page.bits <= 8) {
        // Bilevel, 2- and 4-bit grey, palettes, YCbCr, CMYK: libtiff makes them 8-bit RGBA.
        char reason[1024] = "";
        if (!TIFFRGBAImageOK(m_tiff, reason)) Fail(which + ": " + reason);
        page.direct = false;
        page.type = grey ? IMAGE_GREY_8 : IMAGE_RGB_8I;
        page.channels = grey ? 1 : 3;
    } else {
        Fail(which + " holds " + samples + " samples (photometric " +
             std::to_string(page.photometric) + ", " + std::to_string(page.samples) +
             " per pixel); supported are 8-, 16-, 32- and 64-bit unsigned and 32- and 64-bit "
             "float grey, 8- and 16-bit unsigned and 32-bit float RGB");
    }
    return page;
}

std::unique_ptr<CImage> CTiffReader::Read(const STiffPage& page) {
    CSize plane(page.width, page.height);
    if (!page.direct) return ReadRgba(page);
    std::unique_ptr<CImage> image = NewImage(page.type, plane, m_file);
    auto invert = [&]<class T>(T* data) {
        if (page.photometric == PHOTOMETRIC_MINISWHITE && std::is_integral_v<T>)
            for (int64_t i = 0; i < image->Samples(); ++i)
                data[i] = static_cast<T>(~data[i]);
    };
    switch (page.type.Id()) {
        case IImage::CType::GREY_8:
            ReadSamples(page, image->Data<uint8_t>());
            invert(image->Data<uint8_t>());
            break;
        case IImage::CType::GREY_16:
            ReadSamples(page, image->Data<uint16_t>());
            invert(image->Data<uint16_t>());
            break;
        case IImage::CType::GREY_32:
            ReadSamples(page, image->Data<uint32_t>());
            invert(image->Data<uint32_t>());
            break;
        case IImage::CType::GREY_64:
            ReadSamples(page, image->Data<uint64_t>());
            invert(image->Data<uint64_t>());
            break;
        case IImage::CType::GREY_F:
            ReadSamples(page, image->Data<float>());
            break;
        case IImage::CType::GREY_D:
            ReadSamples(page, image->Data<double>());
            break;
        case IImage::CType::RGB_FI:
            ReadSamples(page, image->Data<float>());
            break;
        default:
            if (page.bits == 8) {
                ReadSamples(page, image->Bytes());
            } else {
                auto wide = std::make_unique<uint16_t[]>(static_cast<size_t>(image->Samples()));
                ReadSamples(page, wide.get());
                uint8_t* out = image->Bytes();
                for (int64_t i = 0; i < image->Samples(); ++i)
                    out[i] = To8(wide[static_cast<size_t>(i)], 65535);
            }
    }
    return image;
}

// The first `page.channels` samples of every pixel, interleaved, into `out`. Strips of a
// page whose pixels hold just those samples are decoded in place; anything else (tiles,
// separate planes, extra samples) goes through a buffer of one strip or tile.
template <class T>
void CTiffReader::ReadSamples(const STiffPage& page, T* out) {
    const size_t width = page.width, height = page.height, channels = page.channels;
    const bool separate = page.planar == PLANARCONFIG_SEPARATE && page.samples > 1;
    const size_t stride = separate ? 1 : page.samples;  // samples per pixel in a block
    const bool tiled = TIFFIsTiled(m_tiff);
    uint32_t blockWidth = page.width, blockHeight = page.height;
    if (tiled) {
        if (!TIFFGetField(m_tiff, TIFFTAG_TILEWIDTH, &blockWidth) ||
            !TIFFGetField(m_tiff, TIFFTAG_TILELENGTH, &blockHeight) || blockWidth == 0 ||
            blockHeight == 0)
            Fail("a tiled page has no tile size");
    } else {
        TIFFGetFieldDefaulted(m_tiff, TIFFTAG_ROWSPERSTRIP, &blockHeight);
        blockHeight = std::clamp<uint32_t>(blockHeight, 1, page.height);
    }
    // A block holds every sample of its pixels, alpha and other extras included.
    if (uint64_t(blockWidth) * blockHeight * stride > 4 * uint64_t(m_limit))
        Fail("its strips or tiles of " + std::to_string(blockWidth) + " x " +
             std::to_string(blockHeight) + " pixels of " + std::to_string(stride) +
             " samples exceed the limit of " + std::to_string(4 * m_limit) + " samples");
    const size_t blockSamples = size_t(blockWidth) * blockHeight * stride;
    const uint32_t planes = separate ? std::min<uint32_t>(page.samples, page.channels) : 1;

    if (!tiled && !separate && stride == channels) {
        for (size_t y = 0, strip = 0; y < height; y += blockHeight, ++strip) {
            size_t rows = std::min<size_t>(blockHeight, height - y);
            tmsize_t bytes = static_cast<tmsize_t>(rows * width * channels * sizeof(T));
            if (TIFFReadEncodedStrip(m_tiff, static_cast<uint32_t>(strip),
                                     out + y * width * channels, bytes) != bytes)
                Fail("strip " + std::to_string(strip) + " cannot be read");
        }
        return;
    }
    std::unique_ptr<T[]> block(new (std::nothrow) T[blockSamples]);
    if (!block) Fail("not enough memory for a strip or tile");
    const tmsize_t blockBytes = static_cast<tmsize_t>(blockSamples * sizeof(T));
    for (uint32_t plane = 0; plane < planes; ++plane) {
        for (size_t y0 = 0; y0 < height; y0 += blockHeight) {
            for (size_t x0 = 0; x0 < width; x0 += blockWidth) {
                size_t rows = std::min<size_t>(blockHeight, height - y0);
                size_t columns = std::min<size_t>(blockWidth, width - x0);
                tmsize_t read;
                if (tiled) {
                    uint32_t tile = TIFFComputeTile(m_tiff, static_cast<uint32_t>(x0),
                                                    static_cast<uint32_t>(y0), 0, plane);
                    read = TIFFReadEncodedTile(m_tiff, tile, block.get(), blockBytes);
                    if (read != blockBytes)
                        Fail("tile " + std::to_string(tile) + " cannot be read");
                } else {
                    uint32_t strip = TIFFComputeStrip(m_tiff, static_cast<uint32_t>(y0), plane);
                    tmsize_t bytes = static_cast<tmsize_t>(rows * width * stride * sizeof(T));
                    read = TIFFReadEncodedStrip(m_tiff, strip, block.get(), bytes);
                    if (read != bytes) Fail("strip " + std::to_string(strip) + " cannot be read");
                }
                const size_t lineSamples = size_t(tiled ? blockWidth : width) * stride;
                for (size_t y = 0; y < rows; ++y) {
                    const T* in = block.get() + y * lineSamples;
                    T* to = out + ((y0 + y) * width + x0) * channels;
                    if (separate) {
                        for (size_t x = 0; x < columns; ++x)
                            to[x * channels + plane] = in[x];
                    } else {
                        for (size_t x = 0; x < columns; ++x)
                            for (size_t c = 0; c < channels; ++c)
                                to[x * channels + c] = in[x * stride + c];
                    }
                }
            }
        }
    }
}

std::unique_ptr<CImage> CTiffReader::ReadRgba(const STiffPage& page) {
    CSize plane(page.width, page.height);
    auto raster = std::unique_ptr<uint32_t[]>(new (std::nothrow) uint32_t[plane.x * plane.y]);
    if (!raster) Fail("not enough memory");
    if (!TIFFReadRGBAImageOriented(m_tiff, page.width, page.height, raster.get(),
                                   ORIENTATION_TOPLEFT, 1))
        Fail("its pixels cannot be read");
    std::unique_ptr<CImage> image = NewImage(page.type, plane, m_file);
    uint8_t* out = image->Bytes();
    for (int64_t i = 0; i < image->Pixels(); ++i) {
        uint32_t pixel = raster[static_cast<size_t>(i)];
        if (page.channels == 1) {
            out[i] = static_cast<uint8_t>(TIFFGetR(pixel));
        } else {
            out[3 * i] = static_cast<uint8_t>(TIFFGetR(pixel));
            out[3 * i + 1] = static_cast<uint8_t>(TIFFGetG(pixel));
            out[3 * i + 2] = static_cast<uint8_t>(TIFFGetB(pixel));
        }
    }
    return image;
}

}  // namespace

std::unique_ptr<CImage> DecodeTiff(const SDecoding& file) {
    const std::string& name = file.name;
    const char* where = file.where;
    const int64_t limit = file.limits.planePixels;
    STiffSource source{file.data, file.size, 0, ""};
    struct SOptions {
        TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
        ~SOptions() { TIFFOpenOptionsFree(options); }
    } options;
    if (!options.options) throw CException(where, "libtiff could not be set up");
    TIFFOpenOptionsSetErrorHandlerExtR(options.options, TiffError, source.message);
    TIFFOpenOptionsSetWarningHandlerExtR(options.options, TiffWarning, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.options, tmsize_t(1) << 30);
    struct SClose {
        void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    };
    std::unique_ptr<TIFF, SClose> tiff(TIFFClientOpenExt(name.c_str(), "r", &source, TiffRead,
                                                         TiffNoWrite, TiffSeek, TiffClose, TiffSize,
                                                         TiffMap, TiffUnmap, options.options));
    if (!tiff)
        DecodeFailed(file, EnImageFormat::TIFF, source.message[0] ? source.message : "no header");

    CTiffReader reader(tiff.get(), source, file);
    std::vector<std::unique_ptr<CImage>> pages;
    STiffPage first;
    int64_t pixels = 0;
    uint64_t bytes = 0;
    for (int index = 0;; ++index) {
        uint32_t kind = 0;
        // Reduced-resolution pages are previews of another page, not planes.
        if (pages.empty() || !TIFFGetField(tiff.get(), TIFFTAG_SUBFILETYPE, &kind) ||
            !(kind & FILETYPE_REDUCEDIMAGE)) {
            STiffPage page = reader.Describe(index);
            if (pages.empty()) {
                first = page;
            } else if (page.width != first.width || page.height != first.height ||
                       page.type != first.type) {
                throw CException(
                    where, CString("'%1' has pages that differ and cannot become the planes of "
                                   "one image: page %2 is %3 x %4 %5, page 1 is %6 x %7 %8")
                               .Arg(name)
                               .Arg(index + 1)
                               .Arg(page.width)
                               .Arg(page.height)
                               .Arg(page.type.Name())
                               .Arg(first.width)
                               .Arg(first.height)
                               .Arg(first.type.Name()));
            }
            pixels += int64_t(page.width) * page.height;
            if (pixels > limit * (MAX_FILE_PIXELS / MAX_PLANE_PIXELS))
                reader.Fail("its pages hold more than " +
                            std::to_string(limit * (MAX_FILE_PIXELS / MAX_PLANE_PIXELS)) +
                            " pixels");
            bytes += uint64_t(page.width) * page.height * page.type.PixelBytes();
            CheckReadLimit(bytes, file.limits.bytes, name, where);
            pages.push_back(reader.Read(page));
        }
        source.message[0] = '\0';
        if (!TIFFReadDirectory(tiff.get())) {
            if (source.message[0] != '\0')
                reader.Fail("the directory after page " + std::to_string(index + 1) +
                            " cannot be read");
            break;
        }
    }
    if (pages.size() == 1) return std::move(pages[0]);
    std::unique_ptr<CImage> volume = NewImage(
        first.type, CSize(first.width, first.height, static_cast<int64_t>(pages.size())), file);
    const size_t pageBytes = pages[0]->ByteCount();
    for (size_t z = 0; z < pages.size(); ++z) {
        std::memcpy(volume->Bytes() + z * pageBytes, pages[z]->Bytes(), pageBytes);
        pages[z].reset();
    }
    return volume;
}

void EncodeTiff(const CImage& image, CDestination& destination, const SEncodeOptions& options) {
    const std::string& path = destination.Path();
    char message[MESSAGE_SIZE] = "";
    struct SOptions {
        TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
        ~SOptions() { TIFFOpenOptionsFree(options); }
    } open;
    if (!open.options) destination.Fail("libtiff could not be set up");
    TIFFOpenOptionsSetErrorHandlerExtR(open.options, TiffError, message);
    TIFFOpenOptionsSetWarningHandlerExtR(open.options, TiffWarning, nullptr);
    auto failed = [&](const char* what) {
        destination.Fail(std::string(what) + (message[0] ? std::string(": ") + message : ""));
    };

    const IImage::CType type = image.Type();
    const uint64_t width = static_cast<uint64_t>(image.Size().x);
    const uint64_t height = static_cast<uint64_t>(image.Size().y);
    const uint64_t pages = static_cast<uint64_t>(image.Size().z);
    const size_t line = static_cast<size_t>(width) * type.PixelBytes();
    const size_t pageBytes = line * height;
    // Classic TIFF addresses 4 GB; beyond that BigTIFF.
    const bool big = image.ByteCount() > (uint64_t(1) << 32) - (uint64_t(1) << 24);
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) destination.Fail("it is a directory");
    struct SClose {
        void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    };
    std::unique_ptr<TIFF, SClose> tiff(TIFFOpenExt(path.c_str(), big ? "w8" : "w", open.options));
    if (!tiff) failed("cannot create it");
    destination.MarkOpened();

    const bool floating = type.IsFloating();
    const uint16_t compression =
        options.compression > 0 ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_NONE;
    // Strips of about 256 KB.
    const uint32_t rowsPerStrip = static_cast<uint32_t>(
        std::clamp<uint64_t>((256 << 10) / std::max<size_t>(line, 1), 1, height));
    std::vector<uint8_t> scratch;
    for (uint64_t z = 0; z < pages; ++z) {
        TIFF* t = tiff.get();
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(width));
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(height));
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, static_cast<uint16_t>(type.ElementSize() * 8));
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, static_cast<uint16_t>(type.Channels()));
        TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, floating ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC,
                     type.IsColour() ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_COMPRESSION, compression);
        if (compression != COMPRESSION_NONE) {
            TIFFSetField(t, TIFFTAG_ZIPQUALITY, options.compression);
            TIFFSetField(t, TIFFTAG_PREDICTOR,
                         floating ? PREDICTOR_FLOATINGPOINT : PREDICTOR_HORIZONTAL);
        }
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
        if (pages > 1) {
            TIFFSetField(t, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
            TIFFSetField(t, TIFFTAG_PAGENUMBER, static_cast<uint16_t>(z),
                         static_cast<uint16_t>(std::min<uint64_t>(pages, 65535)));
        }
        const uint8_t* page = image.Bytes() + z * pageBytes;
        for (uint64_t y = 0, strip = 0; y < height; y += rowsPerStrip, ++strip) {
            size_t bytes = static_cast<size_t>(std::min<uint64_t>(rowsPerStrip, height - y)) * line;
            const uint8_t* data = page + y * line;
            if (compression != COMPRESSION_NONE) {
                // The predictor works in place; the image is not ours to change.
                scratch.assign(data, data + bytes);
                data = scratch.data();
            }
            if (TIFFWriteEncodedStrip(t, static_cast<uint32_t>(strip), const_cast<uint8_t*>(data),
                                      static_cast<tmsize_t>(bytes)) < 0)
                failed("a strip cannot be written");
        }
        if (!TIFFWriteDirectory(t)) failed("a page cannot be written");
    }
    if (!TIFFFlush(tiff.get())) failed("the file cannot be completed");
    tiff.reset();
    if (message[0] != '\0') failed("libtiff failed");
}

}  // namespace ORVA
