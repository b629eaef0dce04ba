// Decoding of image files held in memory. libpng and libjpeg report errors by longjmp: each
// call into them happens in a small function that holds no object with a destructor, sets
// its jump target and returns false when the library gave up; everything with a destructor
// lives in its caller. No callback lets an exception into the C libraries.
#include <fcntl.h>
#include <png.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <type_traits>

#include "CodecErrors.h"
#include "ImageFiles.h"

// jerror.h needs jpeglib.h, which CodecErrors.h includes.
#include <jerror.h>

namespace ORVA {

namespace {

using namespace CodecErrors;

[[noreturn]] void Fail(const char* where, const std::string& name, EnImageFormat format,
                       const std::string& reason) {
    throw CException(
        where, "'" + name + "' is not a readable " + ImageFormatName(format) + " file: " + reason);
}

// The size of a plane, checked before anything is allocated for it.
CSize PlaneSize(uint64_t width, uint64_t height, const char* where, const std::string& name,
                EnImageFormat format, int64_t limit) {
    if (width == 0 || height == 0)
        Fail(where, name, format,
             "its image is " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
    if (width > uint64_t(limit) || height > uint64_t(limit) || width * height > uint64_t(limit))
        Fail(where, name, format,
             "its image of " + std::to_string(width) + " x " + std::to_string(height) +
                 " pixels exceeds the limit of " + std::to_string(limit) + " pixels");
    return CSize(static_cast<int64_t>(width), static_cast<int64_t>(height));
}

std::unique_ptr<CImage> NewImage(IImage::CType type, const CSize& size) {
    return std::make_unique<CImage>(type, size, CSize(0, 0, 0), CImage::NoInit{});
}

// 16-bit colour samples scaled to 8 bits with rounding.
inline uint8_t To8(uint32_t value, uint32_t maximum) {
    return static_cast<uint8_t>((value * 255u + maximum / 2) / maximum);
}

// ---- PNG ----

struct SPngJob {
    png_structp png = nullptr;
    png_infop info = nullptr;
    const uint8_t* data = nullptr;
    size_t size = 0;
    size_t position = 0;
    png_uint_32 width = 0, height = 0;
    int channels = 0, depth = 0;
    char message[MESSAGE_SIZE] = "";
};

void PngRead(png_structp png, png_bytep out, size_t length) {
    auto* job = static_cast<SPngJob*>(png_get_io_ptr(png));
    if (length > job->size - job->position) png_error(png, "the file ends early");
    std::memcpy(out, job->data + job->position, length);
    job->position += length;
}

// Reads the header and asks libpng for 8-bit grey, 16-bit grey in machine order or 8-bit
// RGB: palettes expanded, alpha dropped, 16-bit colour scaled.
bool PngReadHeader(SPngJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_read_info(job->png, job->info);
    int colour = png_get_color_type(job->png, job->info);
    int depth = png_get_bit_depth(job->png, job->info);
    if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(job->png);
    if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(job->png);
    if (colour & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(job->png);
    if (depth == 16 && (colour & PNG_COLOR_MASK_COLOR)) png_set_scale_16(job->png);
    if (depth == 16 && !(colour & PNG_COLOR_MASK_COLOR) &&
        std::endian::native == std::endian::little)
        png_set_swap(job->png);
    png_set_interlace_handling(job->png);
    png_read_update_info(job->png, job->info);
    job->width = png_get_image_width(job->png, job->info);
    job->height = png_get_image_height(job->png, job->info);
    job->channels = png_get_channels(job->png, job->info);
    job->depth = png_get_bit_depth(job->png, job->info);
    return true;
}

bool PngReadRows(SPngJob* job, png_bytepp rows) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_read_image(job->png, rows);
    png_read_end(job->png, nullptr);
    return true;
}

std::unique_ptr<CImage> DecodePng(const uint8_t* data, size_t size, const std::string& name,
                                  const char* where, int64_t limit) {
    SPngJob job;
    job.data = data;
    job.size = size;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, PngError<SPngJob>, PngWarning);
    if (!job.png) throw CException(where, "libpng could not be set up");
    struct SRelease {
        SPngJob& job;
        ~SRelease() { png_destroy_read_struct(&job.png, job.info ? &job.info : nullptr, nullptr); }
    } release{job};
    job.info = png_create_info_struct(job.png);
    if (!job.info) throw CException(where, "libpng could not be set up");
    png_set_read_fn(job.png, &job, PngRead);
    if (!PngReadHeader(&job)) Fail(where, name, EnImageFormat::PNG, job.message);

    CSize plane = PlaneSize(job.width, job.height, where, name, EnImageFormat::PNG, limit);
    if ((job.channels != 1 && job.channels != 3) || (job.channels == 3 && job.depth != 8))
        Fail(where, name, EnImageFormat::PNG, "unexpected layout after decoding");
    IImage::CType type = job.channels == 3 ? IMAGE_RGB_8I
                         : job.depth == 16 ? IMAGE_GREY_16
                                           : IMAGE_GREY_8;
    std::unique_ptr<CImage> image = NewImage(type, plane);
    std::vector<png_bytep> rows(job.height);
    size_t stride = static_cast<size_t>(plane.x) * type.PixelBytes();
    for (size_t y = 0; y < rows.size(); ++y)
        rows[y] = image->Bytes() + y * stride;
    if (!PngReadRows(&job, rows.data())) Fail(where, name, EnImageFormat::PNG, job.message);
    return image;
}

// ---- JPEG ----

struct SJpegJob {
    jpeg_decompress_struct info;
    jpeg_error_mgr error;
    jpeg_progress_mgr progress;
    std::jmp_buf jump;
    bool created = false;
    char message[MESSAGE_SIZE] = "";
};

// Progressive files of absurdly many scans take long for nothing; no encoder writes them.
constexpr int MAX_JPEG_SCANS = 1000;

// A file or a segment that ends early is an error (libjpeg would make up the rest of the
// image); other complaints of libjpeg are not.
void JpegMessage(j_common_ptr info, int level) {
    if (level >= 0) return;
    if (info->err->msg_code == JWRN_JPEG_EOF || info->err->msg_code == JWRN_HIT_MARKER)
        JpegErrorExit<SJpegJob>(info);
    ++info->err->num_warnings;
}

void JpegProgress(j_common_ptr info) {
    auto* decompress = reinterpret_cast<j_decompress_ptr>(info);
    if (decompress->input_scan_number > MAX_JPEG_SCANS) {
        auto* job = static_cast<SJpegJob*>(info->client_data);
        std::snprintf(job->message, MESSAGE_SIZE, "more than %d scans", MAX_JPEG_SCANS);
        std::longjmp(job->jump, 1);
    }
}

bool JpegReadHeader(SJpegJob* job, const uint8_t* data, size_t size) {
    job->info.err = jpeg_std_error(&job->error);
    job->error.error_exit = JpegErrorExit<SJpegJob>;
    job->error.emit_message = JpegMessage;
    job->info.client_data = job;
    if (setjmp(job->jump)) return false;
    jpeg_create_decompress(&job->info);
    job->created = true;
    job->progress.progress_monitor = JpegProgress;
    job->info.progress = &job->progress;
    // Beyond this the coefficients of a progressive file would need a backing store,
    // which fails clearly instead of taking all memory.
    job->info.mem->max_memory_to_use = 1L << 30;
    jpeg_mem_src(&job->info, data, static_cast<unsigned long>(size));
    if (jpeg_read_header(&job->info, TRUE) != JPEG_HEADER_OK) {
        std::snprintf(job->message, MESSAGE_SIZE, "it holds tables but no image");
        return false;
    }
    return true;
}

bool JpegReadRows(SJpegJob* job, JSAMPROW* rows) {
    if (setjmp(job->jump)) return false;
    jpeg_start_decompress(&job->info);
    while (job->info.output_scanline < job->info.output_height)
        jpeg_read_scanlines(&job->info, rows + job->info.output_scanline,
                            job->info.output_height - job->info.output_scanline);
    jpeg_finish_decompress(&job->info);
    return true;
}

std::unique_ptr<CImage> DecodeJpeg(const uint8_t* data, size_t size, const std::string& name,
                                   const char* where, int64_t limit) {
    auto job = std::make_unique<SJpegJob>();
    struct SRelease {
        SJpegJob& job;
        ~SRelease() {
            if (job.created) jpeg_destroy_decompress(&job.info);
        }
    } release{*job};
    if (!JpegReadHeader(job.get(), data, size))
        Fail(where, name, EnImageFormat::JPEG, job->message);
    jpeg_decompress_struct& info = job->info;
    CSize plane =
        PlaneSize(info.image_width, info.image_height, where, name, EnImageFormat::JPEG, limit);
    IImage::CType type = IMAGE_RGB_8I;
    if (info.jpeg_color_space == JCS_GRAYSCALE) {
        info.out_color_space = JCS_GRAYSCALE;
        type = IMAGE_GREY_8;
    } else if (info.jpeg_color_space == JCS_YCbCr || info.jpeg_color_space == JCS_RGB) {
        info.out_color_space = JCS_RGB;
    } else {
        Fail(where, name, EnImageFormat::JPEG,
             "CMYK and YCCK images are not supported, only grey and RGB");
    }
    std::unique_ptr<CImage> image = NewImage(type, plane);
    std::vector<JSAMPROW> rows(static_cast<size_t>(plane.y));
    size_t stride = static_cast<size_t>(plane.x) * type.PixelBytes();
    for (size_t y = 0; y < rows.size(); ++y)
        rows[y] = image->Bytes() + y * stride;
    if (!JpegReadRows(job.get(), rows.data())) Fail(where, name, EnImageFormat::JPEG, job->message);
    return image;
}

// ---- TIFF ----

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
    CTiffReader(TIFF* tiff, STiffSource& source, const std::string& name, const char* where,
                int64_t limit)
        : m_tiff(tiff), m_source(source), m_name(name), m_where(where), m_limit(limit) {}

    STiffPage Describe(int page);
    std::unique_ptr<CImage> Read(const STiffPage& page);

    [[noreturn]] void Fail(const std::string& reason) const {
        std::string text = reason;
        if (m_source.message[0] != '\0') text += std::string(": ") + m_source.message;
        ORVA::Fail(m_where, m_name, EnImageFormat::TIFF, text);
    }

  private:
    template <class T>
    void ReadSamples(const STiffPage& page, T* out);
    std::unique_ptr<CImage> ReadRgba(const STiffPage& page);

    TIFF* m_tiff;
    STiffSource& m_source;
    const std::string& m_name;
    const char* m_where;
    int64_t m_limit;
};

STiffPage CTiffReader::Describe(int index) {
    STiffPage page;
    std::string which = "page " + std::to_string(index + 1);
    if (!TIFFGetField(m_tiff, TIFFTAG_IMAGEWIDTH, &page.width) ||
        !TIFFGetField(m_tiff, TIFFTAG_IMAGELENGTH, &page.height))
        Fail(which + " has no image size");
    PlaneSize(page.width, page.height, m_where, m_name, EnImageFormat::TIFF, m_limit);
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
    std::unique_ptr<CImage> image = NewImage(page.type, plane);
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
    std::unique_ptr<CImage> image = NewImage(page.type, plane);
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

std::unique_ptr<CImage> DecodeTiff(const uint8_t* data, size_t size, const std::string& name,
                                   const char* where, int64_t limit) {
    STiffSource source{data, size, 0, ""};
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
        Fail(where, name, EnImageFormat::TIFF, source.message[0] ? source.message : "no header");

    CTiffReader reader(tiff.get(), source, name, where, limit);
    std::vector<std::unique_ptr<CImage>> pages;
    STiffPage first;
    int64_t pixels = 0;
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
    std::unique_ptr<CImage> volume =
        NewImage(first.type, CSize(first.width, first.height, static_cast<int64_t>(pages.size())));
    size_t bytes = pages[0]->ByteCount();
    for (size_t z = 0; z < pages.size(); ++z) {
        std::memcpy(volume->Bytes() + z * bytes, pages[z]->Bytes(), bytes);
        pages[z].reset();
    }
    return volume;
}

// ---- PGM/PPM ----

class CPnmParser {
  public:
    CPnmParser(const uint8_t* data, size_t size, const std::string& name, const char* where,
               int64_t limit)
        : m_data(data), m_size(size), m_name(name), m_where(where), m_limit(limit) {}

    std::unique_ptr<CImage> Decode();

  private:
    [[noreturn]] void Fail(const std::string& reason) const {
        ORVA::Fail(m_where, m_name, EnImageFormat::PNM, reason);
    }
    // Skips blanks and '#' comments, then reads an unsigned decimal number.
    uint64_t Number(const char* what);
    template <class T>
    void ReadText(T* out, size_t samples, uint32_t maximum);

    const uint8_t* m_data;
    size_t m_size;
    size_t m_position = 2;
    const std::string& m_name;
    const char* m_where;
    int64_t m_limit;
};

bool IsBlank(uint8_t c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

uint64_t CPnmParser::Number(const char* what) {
    for (;;) {
        while (m_position < m_size && IsBlank(m_data[m_position]))
            ++m_position;
        if (m_position < m_size && m_data[m_position] == '#') {
            while (m_position < m_size && m_data[m_position] != '\n' && m_data[m_position] != '\r')
                ++m_position;
            continue;
        }
        break;
    }
    if (m_position >= m_size) Fail(std::string("the file ends before the ") + what);
    uint8_t c = m_data[m_position];
    if (c < '0' || c > '9')
        Fail(std::string("the ") + what + " is not a number (found '" +
             static_cast<char>(c >= 32 && c < 127 ? c : '?') + "')");
    uint64_t value = 0;
    while (m_position < m_size && m_data[m_position] >= '0' && m_data[m_position] <= '9') {
        value = value * 10 + (m_data[m_position++] - '0');
        if (value > UINT32_MAX) Fail(std::string("the ") + what + " is too large");
    }
    return value;
}

template <class T>
void CPnmParser::ReadText(T* out, size_t samples, uint32_t maximum) {
    for (size_t i = 0; i < samples; ++i) {
        uint64_t value = Number("samples end");
        if (value > maximum)
            Fail("sample " + std::to_string(i) + " is " + std::to_string(value) +
                 ", beyond the maximum " + std::to_string(maximum));
        out[i] = static_cast<T>(value);
    }
}

std::unique_ptr<CImage> CPnmParser::Decode() {
    const char kind = static_cast<char>(m_data[1]);
    const bool text = kind == '2' || kind == '3';
    const size_t channels = kind == '3' || kind == '6' ? 3 : 1;
    uint64_t width = Number("width"), height = Number("height"), maximum = Number("maximum");
    if (maximum == 0 || maximum > 65535)
        Fail("the maximum sample value is " + std::to_string(maximum) + ", not 1 to 65535");
    CSize plane = PlaneSize(width, height, m_where, m_name, EnImageFormat::PNM, m_limit);
    const bool wide = maximum > 255;
    const size_t samples = static_cast<size_t>(plane.x * plane.y) * channels;
    IImage::CType type = channels == 3 ? IMAGE_RGB_8I : wide ? IMAGE_GREY_16 : IMAGE_GREY_8;
    if (!text) {
        // One blank parts the header from the samples.
        if (m_position >= m_size || !IsBlank(m_data[m_position]))
            Fail("no blank follows the maximum sample value");
        ++m_position;
        size_t bytes = samples * (wide ? 2 : 1);
        if (m_size - m_position < bytes)
            Fail("the file ends early: it holds " + std::to_string(m_size - m_position) +
                 " bytes of samples, the header promises " + std::to_string(bytes));
    } else if ((m_size - m_position) / 2 + 1 < samples) {
        // A text sample takes a digit and a blank at least.
        Fail("the file ends early: its " + std::to_string(m_size - m_position) +
             " bytes of text cannot hold the " + std::to_string(samples) +
             " samples the header promises");
    }
    std::unique_ptr<CImage> image = NewImage(type, plane);
    const uint8_t* in = m_data + m_position;
    if (!wide) {
        uint8_t* out = image->Bytes();
        if (text) {
            ReadText(out, samples, static_cast<uint32_t>(maximum));
        } else {
            std::memcpy(out, in, samples);
            if (maximum < 255)
                for (size_t i = 0; i < samples; ++i)
                    if (out[i] > maximum)
                        Fail("sample " + std::to_string(i) + " is " + std::to_string(out[i]) +
                             ", beyond the maximum " + std::to_string(maximum));
        }
        return image;
    }
    // 16-bit samples are big-endian in the file; colour is scaled to 8 bits.
    std::unique_ptr<uint16_t[]> scratch;
    uint16_t* out = channels == 1 ? image->Data<uint16_t>() : nullptr;
    if (!out) {
        scratch.reset(new uint16_t[samples]);
        out = scratch.get();
    }
    if (text) {
        ReadText(out, samples, static_cast<uint32_t>(maximum));
    } else {
        for (size_t i = 0; i < samples; ++i)
            out[i] = static_cast<uint16_t>(in[2 * i] << 8 | in[2 * i + 1]);
        if (maximum < 65535)
            for (size_t i = 0; i < samples; ++i)
                if (out[i] > maximum)
                    Fail("sample " + std::to_string(i) + " is " + std::to_string(out[i]) +
                         ", beyond the maximum " + std::to_string(maximum));
    }
    if (scratch) {
        uint8_t* bytes = image->Bytes();
        for (size_t i = 0; i < samples; ++i)
            bytes[i] = To8(out[i], static_cast<uint32_t>(maximum));
    }
    return image;
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
    if (size >= 3 && data[0] == 'P' && std::strchr("2356", data[1]) && data[1] != '\0' &&
        IsBlank(data[2]))
        return EnImageFormat::PNM;
    return EnImageFormat::UNKNOWN;
}

CFileBytes::CFileBytes(const std::string& path, const char* where) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw CException(where, "cannot open '" + path + "': " + std::strerror(errno));
    struct SClose {
        int fd;
        ~SClose() { ::close(fd); }
    } closer{fd};
    struct stat status;
    if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode))
        throw CException(where, "cannot read '" + path + "': it is a directory");
    if (S_ISREG(status.st_mode) && status.st_size > 0) {
        void* mapped =
            ::mmap(nullptr, static_cast<size_t>(status.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
        if (mapped != MAP_FAILED) {
            m_mapped = static_cast<uint8_t*>(mapped);
            m_size = static_cast<size_t>(status.st_size);
            return;
        }
    }
    // Anything else (a pipe) grows as it comes.
    size_t capacity = 1 << 16;
    try {
        m_data.reset(new uint8_t[capacity]);
    } catch (const std::bad_alloc&) {
        throw CException(where, "not enough memory to read '" + path + "'");
    }
    for (;;) {
        if (m_size == capacity) {
            std::unique_ptr<uint8_t[]> larger(new uint8_t[capacity * 2]);
            std::memcpy(larger.get(), m_data.get(), m_size);
            m_data = std::move(larger);
            capacity *= 2;
        }
        ssize_t count = ::read(fd, m_data.get() + m_size, capacity - m_size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0)
            throw CException(where, "cannot read '" + path + "': " + std::strerror(errno));
        if (count == 0) break;
        m_size += static_cast<size_t>(count);
    }
}

CFileBytes::~CFileBytes() {
    if (m_mapped) ::munmap(m_mapped, m_size);
}

std::unique_ptr<CImage> DecodeImage(const uint8_t* data, size_t size, EnImageFormat format,
                                    const std::string& name, const char* where, int64_t limit) {
    if (format == EnImageFormat::UNKNOWN) format = DetectImageFormat(data, size);
    try {
        switch (format) {
            case EnImageFormat::PNG:
                return DecodePng(data, size, name, where, limit);
            case EnImageFormat::JPEG:
                return DecodeJpeg(data, size, name, where, limit);
            case EnImageFormat::TIFF:
                return DecodeTiff(data, size, name, where, limit);
            case EnImageFormat::PNM:
                if (DetectImageFormat(data, size) != EnImageFormat::PNM)
                    Fail(where, name, format, "it does not begin with P2, P3, P5 or P6");
                return CPnmParser(data, size, name, where, limit).Decode();
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

}  // namespace ORVA
