// Encoding of images into files. As for decoding, the calls into libpng and libjpeg happen
// in small functions without objects that have destructors, which set the jump target of
// the libraries' errors and return false when they gave up.
#include <png.h>
#include <tiffio.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "CodecErrors.h"
#include "ImageFiles.h"

namespace ORVA {

namespace {

using namespace CodecErrors;

struct SCloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, SCloseFile>;

// The file being written; removed unless Keep() is called.
class CDestination {
  public:
    CDestination(const std::string& path, const char* where) : m_path(path), m_where(where) {}
    ~CDestination() {
        m_file.reset();
        if (!m_kept) {
            std::error_code ignored;
            std::filesystem::remove(m_path, ignored);
        }
    }
    std::FILE* Open() {
        std::error_code error;
        if (std::filesystem::is_directory(m_path, error)) Fail("it is a directory");
        m_file.reset(std::fopen(m_path.c_str(), "wb"));
        if (!m_file) Fail(std::strerror(errno));
        m_opened = true;
        return m_file.get();
    }
    // Closes the file; a failure to write its last bytes is a failure to write.
    void Keep() {
        std::FILE* file = m_file.release();
        if (file && std::fclose(file) != 0) Fail(std::strerror(errno));
        m_kept = true;
    }
    void MarkOpened() { m_opened = true; }
    [[noreturn]] void Fail(const std::string& reason) {
        if (!m_opened) m_kept = true;  // nothing of ours to remove
        throw CException(m_where, "cannot write '" + m_path + "': " + reason);
    }

  private:
    std::string m_path;
    const char* m_where;
    CFile m_file;
    bool m_opened = false;
    bool m_kept = false;
};

// ---- PNG ----

struct SPngJob {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    png_bytepp rows = nullptr;
    png_uint_32 width = 0, height = 0;
    int depth = 8, colour = PNG_COLOR_TYPE_GRAY, compression = -1;
    char message[MESSAGE_SIZE] = "";
};

bool PngWrite(SPngJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_init_io(job->png, job->file);
    png_set_IHDR(job->png, job->info, job->width, job->height, job->depth, job->colour,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (job->compression < 0) {
        // Fast, as OpenCV writes by default: one filter, run-length matching.
        png_set_filter(job->png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
        png_set_compression_level(job->png, Z_BEST_SPEED);
        png_set_compression_strategy(job->png, Z_RLE);
    } else {
        png_set_compression_level(job->png, job->compression);
    }
    png_write_info(job->png, job->info);
    if (job->depth == 16 && std::endian::native == std::endian::little) png_set_swap(job->png);
    png_write_image(job->png, job->rows);
    png_write_end(job->png, nullptr);
    return true;
}

void EncodePng(const CImage& image, CDestination& destination, const SEncodeOptions& options) {
    SPngJob job;
    job.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, PngError<SPngJob>, PngWarning);
    if (!job.png) destination.Fail("libpng could not be set up");
    struct SRelease {
        SPngJob& job;
        ~SRelease() { png_destroy_write_struct(&job.png, job.info ? &job.info : nullptr); }
    } release{job};
    job.info = png_create_info_struct(job.png);
    if (!job.info) destination.Fail("libpng could not be set up");
    job.width = static_cast<png_uint_32>(image.Size().x);
    job.height = static_cast<png_uint_32>(image.Size().y);
    job.depth = image.Type() == IMAGE_GREY_16 ? 16 : 8;
    job.colour = image.Type().IsColour() ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
    job.compression = options.compression;
    std::vector<png_bytep> rows(job.height);
    size_t stride = static_cast<size_t>(image.Size().x) * image.Type().PixelBytes();
    for (size_t y = 0; y < rows.size(); ++y)
        rows[y] = const_cast<uint8_t*>(image.Bytes()) + y * stride;
    job.rows = rows.data();
    job.file = destination.Open();
    if (!PngWrite(&job)) destination.Fail(job.message);
}

// ---- JPEG ----

struct SJpegJob {
    jpeg_compress_struct info;
    jpeg_error_mgr error;
    std::jmp_buf jump;
    bool created = false;
    char message[MESSAGE_SIZE] = "";
};

void JpegMessage(j_common_ptr, int) {}

bool JpegWrite(SJpegJob* job, std::FILE* file, JSAMPROW* rows, int width, int height, bool colour,
               int quality) {
    job->info.err = jpeg_std_error(&job->error);
    job->error.error_exit = JpegErrorExit<SJpegJob>;
    job->error.emit_message = JpegMessage;
    job->info.client_data = job;
    if (setjmp(job->jump)) return false;
    jpeg_create_compress(&job->info);
    job->created = true;
    jpeg_stdio_dest(&job->info, file);
    job->info.image_width = static_cast<JDIMENSION>(width);
    job->info.image_height = static_cast<JDIMENSION>(height);
    job->info.input_components = colour ? 3 : 1;
    job->info.in_color_space = colour ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&job->info);
    jpeg_set_quality(&job->info, quality, TRUE);
    jpeg_start_compress(&job->info, TRUE);
    while (job->info.next_scanline < job->info.image_height)
        jpeg_write_scanlines(&job->info, rows + job->info.next_scanline,
                             job->info.image_height - job->info.next_scanline);
    jpeg_finish_compress(&job->info);
    return true;
}

void EncodeJpeg(const CImage& image, CDestination& destination, const SEncodeOptions& options) {
    if (image.Size().x > JPEG_MAX_DIMENSION || image.Size().y > JPEG_MAX_DIMENSION)
        destination.Fail("JPEG holds at most " + std::to_string(JPEG_MAX_DIMENSION) +
                         " pixels in each direction");
    auto job = std::make_unique<SJpegJob>();
    struct SRelease {
        SJpegJob& job;
        ~SRelease() {
            if (job.created) jpeg_destroy_compress(&job.info);
        }
    } release{*job};
    std::vector<JSAMPROW> rows(static_cast<size_t>(image.Size().y));
    size_t stride = static_cast<size_t>(image.Size().x) * image.Type().PixelBytes();
    for (size_t y = 0; y < rows.size(); ++y)
        rows[y] = const_cast<uint8_t*>(image.Bytes()) + y * stride;
    std::FILE* file = destination.Open();
    if (!JpegWrite(job.get(), file, rows.data(), static_cast<int>(image.Size().x),
                   static_cast<int>(image.Size().y), image.Type().IsColour(), options.quality))
        destination.Fail(job->message);
}

// ---- TIFF ----

void EncodeTiff(const CImage& image, CDestination& destination, const SEncodeOptions& options,
                const std::string& path) {
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

// ---- PGM/PPM ----

void EncodePnm(const CImage& image, CDestination& destination) {
    const bool wide = image.Type() == IMAGE_GREY_16;
    std::FILE* file = destination.Open();
    std::fprintf(file, "P%c\n%lld %lld\n%d\n", image.Type().IsColour() ? '6' : '5',
                 static_cast<long long>(image.Size().x), static_cast<long long>(image.Size().y),
                 wide ? 65535 : 255);
    bool written = true;
    if (!wide) {
        written = std::fwrite(image.Bytes(), 1, image.ByteCount(), file) == image.ByteCount();
    } else {
        // Big-endian samples, a block at a time.
        const uint16_t* samples = image.Data<uint16_t>();
        std::vector<uint8_t> block(1 << 16);
        for (int64_t i = 0; i < image.Samples() && written;) {
            size_t count =
                std::min<size_t>(block.size() / 2, static_cast<size_t>(image.Samples() - i));
            for (size_t k = 0; k < count; ++k) {
                block[2 * k] = static_cast<uint8_t>(samples[i + static_cast<int64_t>(k)] >> 8);
                block[2 * k + 1] = static_cast<uint8_t>(samples[i + static_cast<int64_t>(k)]);
            }
            written = std::fwrite(block.data(), 1, 2 * count, file) == 2 * count;
            i += static_cast<int64_t>(count);
        }
    }
    if (!written || std::ferror(file)) destination.Fail(std::strerror(errno));
}

std::string TypeList(const std::vector<IImage::CType>& types) {
    std::string list;
    for (size_t i = 0; i < types.size(); ++i) {
        if (i > 0) list += i + 1 == types.size() ? " and " : ", ";
        list += types[i].Name();
    }
    return list;
}

}  // namespace

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
    if (format == EnImageFormat::JPEG && (options.quality < 1 || options.quality > 100))
        throw CException(where,
                         CString("quality %1 is not between 1 and 100").Arg(options.quality));
    if (options.compression < -1 || options.compression > 9)
        throw CException(
            where, CString("compression %1 is not between -1 and 9").Arg(options.compression));

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
            EncodeTiff(*source, destination, options, path);
            break;
        default:
            EncodePnm(*source, destination);
    }
    destination.Keep();
}

}  // namespace ORVA
