#pragma once

// How libpng, libjpeg and libtiff report trouble to the image file code: each keeps the first
// message in the job's buffer; png and jpeg errors then jump back to the call that failed.
// Warnings are dropped.
#include <png.h>
#include <tiffio.h>

#include <csetjmp>
#include <cstdarg>
#include <cstdio>

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

namespace ORVA::CodecErrors {

constexpr size_t MESSAGE_SIZE = 256;

// `Job` holds `char message[MESSAGE_SIZE]` and is the error pointer of the png struct.
template <class Job>
void PngError(png_structp png, png_const_charp message) {
    auto* job = static_cast<Job*>(png_get_error_ptr(png));
    std::snprintf(job->message, MESSAGE_SIZE, "%s", message);
    png_longjmp(png, 1);
}

inline void PngWarning(png_structp, png_const_charp) {}

// `Job` holds the message and `std::jmp_buf jump`, and is the client data of the jpeg struct.
template <class Job>
void JpegErrorExit(j_common_ptr info) {
    auto* job = static_cast<Job*>(info->client_data);
    char text[JMSG_LENGTH_MAX];
    (*info->err->format_message)(info, text);
    std::snprintf(job->message, MESSAGE_SIZE, "%s", text);
    std::longjmp(job->jump, 1);
}

// The user data is a buffer of MESSAGE_SIZE chars, empty until the first error.
inline int TiffError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto* message = static_cast<char*>(user);
    if (message[0] == '\0') std::vsnprintf(message, MESSAGE_SIZE, format, arguments);
    return 1;
}

inline int TiffWarning(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

}  // namespace ORVA::CodecErrors
