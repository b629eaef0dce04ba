// libpng reports errors by longjmp: each call into it happens in a small function that holds
// no object with a destructor, sets its jump target and returns false when the library gave
// up; everything with a destructor lives in its caller. No callback lets an exception into it.
#include "codecs/Png.h"

#include <png.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "codecs/CodecErrors.h"
#include "codecs/PngFast.h"

namespace ORVA {

namespace {

using namespace CodecErrors;

struct SPngReadJob {
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
    auto* job = static_cast<SPngReadJob*>(png_get_io_ptr(png));
    if (length > job->size - job->position) png_error(png, "the file ends early");
    std::memcpy(out, job->data + job->position, length);
    job->position += length;
}

// Reads the header and asks libpng for 8-bit grey, 16-bit grey in machine order or 8-bit
// RGB: palettes expanded, transparency and alpha dropped, 16-bit colour scaled.
bool PngReadHeader(SPngReadJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_read_info(job->png, job->info);
    int colour = png_get_color_type(job->png, job->info);
    int depth = png_get_bit_depth(job->png, job->info);
    if (colour == PNG_COLOR_TYPE_PALETTE) {
        // Expanding a palette with transparency makes RGBA.
        png_set_palette_to_rgb(job->png);
        if (png_get_valid(job->png, job->info, PNG_INFO_tRNS)) png_set_strip_alpha(job->png);
    }
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

bool PngReadRows(SPngReadJob* job, png_bytepp rows) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_read_image(job->png, rows);
    png_read_end(job->png, nullptr);
    return true;
}

struct SPngWriteJob {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    png_bytepp rows = nullptr;
    const SDeflated* idat = nullptr;  // the rows deflated already, or none
    png_uint_32 width = 0, height = 0;
    int depth = 8, colour = PNG_COLOR_TYPE_GRAY, compression = -1;
    char message[MESSAGE_SIZE] = "";
};

bool PngWrite(SPngWriteJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_init_io(job->png, job->file);
    png_set_IHDR(job->png, job->info, job->width, job->height, job->depth, job->colour,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (job->compression >= 0) png_set_compression_level(job->png, job->compression);
    png_write_info(job->png, job->info);
    if (job->idat) {
        // libpng writes the chunks of the stream deflated beforehand.
        const uint8_t* data = job->idat->bytes.Data();
        for (size_t left = job->idat->size; left > 0;) {
            const size_t length = std::min<size_t>(left, PNG_UINT_31_MAX);
            png_write_chunk(job->png, reinterpret_cast<png_const_bytep>("IDAT"), data, length);
            data += length;
            left -= length;
        }
        png_write_chunk(job->png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
        return true;
    }
    if (job->depth == 16 && std::endian::native == std::endian::little) png_set_swap(job->png);
    png_write_image(job->png, job->rows);
    png_write_end(job->png, nullptr);
    return true;
}

uint32_t BigEndian32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

}  // namespace

std::unique_ptr<CImage> DecodePngLibpng(const SDecoding& file) {
    SPngReadJob job;
    job.data = file.data;
    job.size = file.size;
    job.png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, PngError<SPngReadJob>, PngWarning);
    if (!job.png) throw CException(file.where, "libpng could not be set up");
    struct SRelease {
        SPngReadJob& job;
        ~SRelease() { png_destroy_read_struct(&job.png, job.info ? &job.info : nullptr, nullptr); }
    } release{job};
    job.info = png_create_info_struct(job.png);
    if (!job.info) throw CException(file.where, "libpng could not be set up");
    png_set_read_fn(job.png, &job, PngRead);
    if (!PngReadHeader(&job)) DecodeFailed(file, EnImageFormat::PNG, job.message);

    CSize plane = PlaneSize(job.width, job.height, file, EnImageFormat::PNG);
    if ((job.channels != 1 && job.channels != 3) || (job.channels == 3 && job.depth != 8))
        DecodeFailed(file, EnImageFormat::PNG, "unexpected layout after decoding");
    IImage::CType type = job.channels == 3 ? IMAGE_RGB_8I
                         : job.depth == 16 ? IMAGE_GREY_16
                                           : IMAGE_GREY_8;
    std::unique_ptr<CImage> image = NewImage(type, plane, file);
    std::vector<uint8_t*> rows = RowPointers(*image);
    if (!PngReadRows(&job, rows.data())) DecodeFailed(file, EnImageFormat::PNG, job.message);
    return image;
}

std::unique_ptr<CImage> DecodePng(const SDecoding& file) {
    std::unique_ptr<CImage> image = DecodePngFast(file);
    return image ? std::move(image) : DecodePngLibpng(file);
}

void EncodePng(const CImage& image, CDestination& destination, const SEncodeOptions& options) {
    SPngWriteJob job;
    job.png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, PngError<SPngWriteJob>, PngWarning);
    if (!job.png) destination.Fail("libpng could not be set up");
    struct SRelease {
        SPngWriteJob& job;
        ~SRelease() { png_destroy_write_struct(&job.png, job.info ? &job.info : nullptr); }
    } release{job};
    job.info = png_create_info_struct(job.png);
    if (!job.info) destination.Fail("libpng could not be set up");
    job.width = static_cast<png_uint_32>(image.Size().x);
    job.height = static_cast<png_uint_32>(image.Size().y);
    job.depth = image.Type() == IMAGE_GREY_16 ? 16 : 8;
    job.colour = image.Type().IsColour() ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
    job.compression = options.compression;
    // By default the rows go through libdeflate's fast level, whose files come out smaller
    // than zlib's fastest; explicit levels are zlib's, with libpng's choice of filters.
    std::optional<SDeflated> idat;
    std::vector<uint8_t*> rows;
    if (options.compression < 0) {
        idat = DeflatePngRows(image);
        if (idat->size == 0) destination.Fail("not enough memory to compress the image");
        job.idat = &*idat;
    } else {
        rows = RowPointers(image);
        job.rows = rows.data();
    }
    job.file = destination.Open();
    if (!PngWrite(&job)) destination.Fail(job.message);
}

std::optional<size_t> PngExtent(const uint8_t* data, size_t size) {
    // Each chunk: its length, its type (four letters), its data and a checksum. What breaks
    // that pattern is as far as the decoder needs to read to refuse the file.
    auto isLetter = [](uint8_t c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; };
    for (uint64_t at = 8; at + 8 <= size;) {
        const uint32_t length = BigEndian32(data + at);
        if (length > PNG_UINT_31_MAX || !isLetter(data[at + 4]) || !isLetter(data[at + 5]) ||
            !isLetter(data[at + 6]) || !isLetter(data[at + 7]))
            return size;
        uint64_t next = at + 12 + length;
        if (std::memcmp(data + at + 4, "IEND", 4) == 0) return static_cast<size_t>(next);
        at = next;
    }
    return std::nullopt;
}

}  // namespace ORVA
