// libjpeg reports errors by longjmp: each call into it happens in a small function that holds
// no object with a destructor, sets its jump target and returns false when the library gave
// up; everything with a destructor lives in its caller.
#include "codecs/Jpeg.h"

#include <csetjmp>
#include <vector>

#include "codecs/CodecErrors.h"

// jerror.h needs jpeglib.h, which CodecErrors.h includes.
#include <jerror.h>

namespace ORVA {

namespace {

using namespace CodecErrors;

struct SJpegReadJob {
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
        JpegErrorExit<SJpegReadJob>(info);
    ++info->err->num_warnings;
}

void JpegProgress(j_common_ptr info) {
    auto* decompress = reinterpret_cast<j_decompress_ptr>(info);
    if (decompress->input_scan_number > MAX_JPEG_SCANS) {
        auto* job = static_cast<SJpegReadJob*>(info->client_data);
        std::snprintf(job->message, MESSAGE_SIZE, "more than %d scans", MAX_JPEG_SCANS);
        std::longjmp(job->jump, 1);
    }
}

bool JpegReadHeader(SJpegReadJob* job, const uint8_t* data, size_t size) {
    job->info.err = jpeg_std_error(&job->error);
    job->error.error_exit = JpegErrorExit<SJpegReadJob>;
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

bool JpegReadRows(SJpegReadJob* job, JSAMPROW* rows) {
    if (setjmp(job->jump)) return false;
    jpeg_start_decompress(&job->info);
    while (job->info.output_scanline < job->info.output_height)
        jpeg_read_scanlines(&job->info, rows + job->info.output_scanline,
                            job->info.output_height - job->info.output_scanline);
    jpeg_finish_decompress(&job->info);
    return true;
}

// For grey output libjpeg's last step only copies the rows of the inverse transform. When the
// image is a whole number of blocks wide, the transform can write them into the image itself,
// which saves that copy (a tenth of the decoding time).
bool DirectGrey(const jpeg_decompress_struct& info) {
    return info.num_components == 1 && info.out_color_space == JCS_GRAYSCALE &&
           info.comp_info[0].width_in_blocks * DCTSIZE == info.image_width;
}

// Block row by block row; the rows of the last one below the image go to `spare`, a row of
// the image's width.
bool JpegReadGreyBlocks(SJpegReadJob* job, JSAMPROW* rows, JSAMPROW spare) {
    if (setjmp(job->jump)) return false;
    jpeg_decompress_struct& info = job->info;
    info.raw_data_out = TRUE;
    jpeg_start_decompress(&info);
    const JDIMENSION band = static_cast<JDIMENSION>(info.max_v_samp_factor) * DCTSIZE;
    JSAMPROW bandRows[MAX_SAMP_FACTOR * DCTSIZE];
    JSAMPARRAY planes[1] = {bandRows};
    while (info.output_scanline < info.output_height) {
        for (JDIMENSION i = 0; i < band; ++i)
            bandRows[i] = info.output_scanline + i < info.output_height
                              ? rows[info.output_scanline + i]
                              : spare;
        if (jpeg_read_raw_data(&info, planes, band) == 0) {
            std::snprintf(job->message, MESSAGE_SIZE, "the decoder stopped early");
            return false;
        }
    }
    jpeg_finish_decompress(&info);
    return true;
}

struct SJpegWriteJob {
    jpeg_compress_struct info;
    jpeg_error_mgr error;
    std::jmp_buf jump;
    bool created = false;
    char message[MESSAGE_SIZE] = "";
};

void JpegQuiet(j_common_ptr, int) {}

bool JpegWrite(SJpegWriteJob* job, std::FILE* file, JSAMPROW* rows, int width, int height,
               bool colour, int quality) {
    job->info.err = jpeg_std_error(&job->error);
    job->error.error_exit = JpegErrorExit<SJpegWriteJob>;
    job->error.emit_message = JpegQuiet;
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

}  // namespace

std::unique_ptr<CImage> DecodeJpeg(const SDecoding& file) {
    auto job = std::make_unique<SJpegReadJob>();
    struct SRelease {
        SJpegReadJob& job;
        ~SRelease() {
            if (job.created) jpeg_destroy_decompress(&job.info);
        }
    } release{*job};
    if (!JpegReadHeader(job.get(), file.data, file.size))
        DecodeFailed(file, EnImageFormat::JPEG, job->message);
    jpeg_decompress_struct& info = job->info;
    CSize plane = PlaneSize(info.image_width, info.image_height, file, EnImageFormat::JPEG);
    IImage::CType type = IMAGE_RGB_8I;
    if (info.jpeg_color_space == JCS_GRAYSCALE) {
        info.out_color_space = JCS_GRAYSCALE;
        type = IMAGE_GREY_8;
    } else if (info.jpeg_color_space == JCS_YCbCr || info.jpeg_color_space == JCS_RGB) {
        info.out_color_space = JCS_RGB;
    } else {
        DecodeFailed(file, EnImageFormat::JPEG,
                     "CMYK and YCCK images are not supported, only grey and RGB");
    }
    std::unique_ptr<CImage> image = NewImage(type, plane, file);
    std::vector<uint8_t*> rows = RowPointers(*image);
    bool read = false;
    if (DirectGrey(info)) {
        std::vector<uint8_t> spare(info.image_width);
        read = JpegReadGreyBlocks(job.get(), rows.data(), spare.data());
    } else {
        read = JpegReadRows(job.get(), rows.data());
    }
    if (!read) DecodeFailed(file, EnImageFormat::JPEG, job->message);
    return image;
}

void EncodeJpeg(const CImage& image, CDestination& destination, const SEncodeOptions& options) {
    if (image.Size().x > JPEG_MAX_DIMENSION || image.Size().y > JPEG_MAX_DIMENSION)
        destination.Fail("JPEG holds at most " + std::to_string(JPEG_MAX_DIMENSION) +
                         " pixels in each direction");
    auto job = std::make_unique<SJpegWriteJob>();
    struct SRelease {
        SJpegWriteJob& job;
        ~SRelease() {
            if (job.created) jpeg_destroy_compress(&job.info);
        }
    } release{*job};
    std::vector<uint8_t*> rows = RowPointers(image);
    std::FILE* file = destination.Open();
    if (!JpegWrite(job.get(), file, rows.data(), static_cast<int>(image.Size().x),
                   static_cast<int>(image.Size().y), image.Type().IsColour(), options.quality))
        destination.Fail(job->message);
}

}  // namespace ORVA
