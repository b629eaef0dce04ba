// libpng reports errors by longjmp: the call into it sits in one small function that holds no
// object with a destructor and returns false when the library gave up.
#include "Preview.h"

#include <png.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

namespace orva {

using namespace ORVA;

namespace {

struct SRaster {
    int64_t width = 0, height = 0;
    int channels = 1;
    std::vector<uint8_t> pixels;
};

// Samples of one pixel, wherever the type keeps its channels.
template <class E>
struct SSampler {
    const E* data;
    int64_t planeSize;  // distance between the channel planes of IMAGE_RGB_8
    int stride;         // 3 for interleaved colour, else 1
    E At(int64_t pixel, int channel) const {
        return stride == 3 ? data[pixel * 3 + channel] : data[channel * planeSize + pixel];
    }
};

template <class E, EnPreviewMode M>
void Fill(const SSampler<E>& in, const SImageSummary& summary, int64_t width, int64_t first,
          int64_t step, SRaster& out) {
    const bool colourIn = in.stride == 3 || in.planeSize > 0;
    const double low = summary.minimum;
    const double scale =
        summary.maximum > summary.minimum ? 255.0 / (summary.maximum - summary.minimum) : 0.0;
    auto stretch = [&](E sample, uint8_t* pixel, int channel) -> bool {
        const double v = static_cast<double>(sample);
        if constexpr (std::is_floating_point_v<E>) {
            if (!std::isfinite(v)) return false;
        }
        const double scaled = (v - low) * scale + 0.5;
        pixel[channel] = static_cast<uint8_t>(scaled < 0.0 ? 0.0 : scaled > 255.0 ? 255.0 : scaled);
        return true;
    };
    uint8_t* to = out.pixels.data();
    for (int64_t oy = 0; oy < out.height; ++oy) {
        const int64_t row = first + oy * step * width;
        for (int64_t ox = 0; ox < out.width; ++ox, to += out.channels) {
            const int64_t p = row + ox * step;
            if constexpr (M == EnPreviewMode::LABELS) {
                const auto label = static_cast<uint64_t>(in.At(p, 0));
                if (label == 0)
                    to[0] = to[1] = to[2] = 0;
                else
                    LabelColour(label, to);
            } else if constexpr (M == EnPreviewMode::BINARY) {
                std::memset(to, in.At(p, 0) != 0 ? 255 : 0, out.channels);
            } else if constexpr (M == EnPreviewMode::AS_IS) {
                for (int c = 0; c < out.channels; ++c)
                    to[c] = static_cast<uint8_t>(in.At(p, colourIn ? c : 0));
            } else {
                bool finite = true;
                for (int c = 0; c < (colourIn ? 3 : 1); ++c)
                    finite = stretch(in.At(p, c), to, c) && finite;
                if (!finite)
                    std::memcpy(to, NONFINITE_RGB, 3);
                else if (!colourIn && out.channels == 3)
                    to[1] = to[2] = to[0];
            }
        }
    }
}

struct SPngJob {
    png_structp png = nullptr;
    png_infop info = nullptr;
    const SRaster* raster = nullptr;
    png_bytepp rows = nullptr;
    // Written by the callback with malloc, so that nothing in it can throw.
    uint8_t* data = nullptr;
    size_t size = 0, capacity = 0;
    bool full = false;
};

void PngWriteData(png_structp png, png_bytep bytes, size_t length) {
    auto* job = static_cast<SPngJob*>(png_get_io_ptr(png));
    if (job->size + length > job->capacity) {
        size_t capacity = (job->capacity + length) * 2;
        auto* grown = static_cast<uint8_t*>(std::realloc(job->data, capacity));
        if (!grown) {
            job->full = true;
            png_error(png, "out of memory");
        }
        job->data = grown;
        job->capacity = capacity;
    }
    std::memcpy(job->data + job->size, bytes, length);
    job->size += length;
}

void PngFlush(png_structp) {}

bool PngEncode(SPngJob* job) {
    if (setjmp(png_jmpbuf(job->png))) return false;
    png_set_write_fn(job->png, job, PngWriteData, PngFlush);
    png_set_IHDR(job->png, job->info, static_cast<png_uint_32>(job->raster->width),
                 static_cast<png_uint_32>(job->raster->height), 8,
                 job->raster->channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Made to be shown at once, not kept: speed before size.
    png_set_filter(job->png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_compression_level(job->png, Z_BEST_SPEED);
    png_set_compression_strategy(job->png, Z_RLE);
    png_write_info(job->png, job->info);
    png_write_image(job->png, job->rows);
    png_write_end(job->png, nullptr);
    return true;
}

std::string Encode(const SRaster& raster) {
    const char* where = "PreviewPng";
    std::vector<png_bytep> rows(static_cast<size_t>(raster.height));
    for (int64_t y = 0; y < raster.height; ++y)
        rows[y] = const_cast<png_bytep>(raster.pixels.data() + y * raster.width * raster.channels);
    SPngJob job;
    job.raster = &raster;
    job.rows = rows.data();
    job.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (!job.png) throw CException(where, "libpng could not be set up");
    job.info = png_create_info_struct(job.png);
    const bool written = job.info && PngEncode(&job);
    png_destroy_write_struct(&job.png, job.info ? &job.info : nullptr);
    std::string png = written ? std::string(reinterpret_cast<char*>(job.data), job.size) : "";
    std::free(job.data);
    if (!written) throw CException(where, "the preview could not be encoded");
    return png;
}

}  // namespace

EnPreviewMode PreviewMode(IImage::CType type, bool labels) {
    using T = IImage::CType;
    switch (type.Id()) {
        case T::BINARY_FG:
        case T::BINARY_BG:
            return EnPreviewMode::BINARY;
        case T::GREY_8:
            return labels ? EnPreviewMode::LABELS : EnPreviewMode::AS_IS;
        case T::RGB_8:
        case T::RGB_8I:
            return EnPreviewMode::AS_IS;
        case T::GREY_16:
        case T::GREY_32:
        case T::GREY_64:
            return labels ? EnPreviewMode::LABELS : EnPreviewMode::STRETCH;
        default:
            return EnPreviewMode::STRETCH;
    }
}

void LabelColour(uint64_t label, uint8_t rgb[3]) {
    // Neighbouring labels get distant colours; each channel stays above 55 so none is black.
    const uint64_t h = label * 0x9E3779B97F4A7C15ull;
    rgb[0] = static_cast<uint8_t>(56 + (h >> 56) % 200);
    rgb[1] = static_cast<uint8_t>(56 + (h >> 40) % 200);
    rgb[2] = static_cast<uint8_t>(56 + (h >> 24) % 200);
}

std::string PreviewPng(const CImage& image, const SImageSummary& summary, EnPreviewMode mode,
                       int64_t plane, int64_t longest) {
    const char* where = "PreviewPng";
    const CSize size = image.Size();
    if (size.x <= 0 || size.y <= 0) throw CException(where, "the image is empty");
    if (plane < 0 || plane >= std::max<int64_t>(size.z, 1))
        throw CException(where, "the image has no plane " + std::to_string(plane));
    const int64_t side = std::max(size.x, size.y);
    const int64_t step = longest > 0 && side > longest ? (side + longest - 1) / longest : 1;
    SRaster raster;
    raster.width = (size.x + step - 1) / step;
    raster.height = (size.y + step - 1) / step;
    const bool colour = image.Type().IsColour();
    raster.channels = colour || mode == EnPreviewMode::LABELS ||
                              (mode == EnPreviewMode::STRETCH && summary.nonFinite > 0)
                          ? 3
                          : 1;
    raster.pixels.resize(static_cast<size_t>(raster.width * raster.height * raster.channels));
    const int64_t first = plane * size.x * size.y;
    using T = IImage::CType;
    DispatchType<T::GREY_8, T::GREY_16, T::GREY_32, T::GREY_64, T::GREY_F, T::GREY_D, T::RGB_8,
                 T::RGB_8I, T::RGB_FI, T::BINARY_FG, T::BINARY_BG>(
        image.Type(), [&]<class E>(std::type_identity<E>) {
            const SSampler<E> in{image.Data<E>(), image.Type().IsPlanar() ? image.Pixels() : 0,
                                 colour && !image.Type().IsPlanar() ? 3 : 1};
            switch (mode) {
                case EnPreviewMode::AS_IS:
                    return Fill<E, EnPreviewMode::AS_IS>(in, summary, size.x, first, step, raster);
                case EnPreviewMode::STRETCH:
                    return Fill<E, EnPreviewMode::STRETCH>(in, summary, size.x, first, step,
                                                           raster);
                case EnPreviewMode::LABELS:
                    if constexpr (std::is_integral_v<E>)
                        return Fill<E, EnPreviewMode::LABELS>(in, summary, size.x, first, step,
                                                              raster);
                    else
                        return Fill<E, EnPreviewMode::STRETCH>(in, summary, size.x, first, step,
                                                               raster);
                case EnPreviewMode::BINARY:
                    return Fill<E, EnPreviewMode::BINARY>(in, summary, size.x, first, step, raster);
            }
        });
    return Encode(raster);
}

std::unique_ptr<CValue> PixelValue(const CImage& image, int64_t x, int64_t y, int64_t z) {
    const CSize size = image.Size();
    if (x < 0 || y < 0 || z < 0 || x >= size.x || y >= size.y || z >= std::max<int64_t>(size.z, 1))
        return std::make_unique<CValueNull>();
    const int64_t pixel = (z * size.y + y) * size.x + x;
    std::unique_ptr<CValue> value;
    using T = IImage::CType;
    DispatchType<T::GREY_8, T::GREY_16, T::GREY_32, T::GREY_64, T::GREY_F, T::GREY_D, T::RGB_8,
                 T::RGB_8I, T::RGB_FI, T::BINARY_FG, T::BINARY_BG>(
        image.Type(), [&]<class E>(std::type_identity<E>) {
            auto number = [](E sample) -> CValue* {
                if constexpr (std::is_integral_v<E>) {
                    if (sample <= static_cast<E>(INT32_MAX) &&
                        (!std::is_signed_v<E> || static_cast<int64_t>(sample) >= INT32_MIN))
                        return new CValueLong(static_cast<int32_t>(sample));
                }
                return new CValueDouble(static_cast<double>(sample));
            };
            const E* data = image.Data<E>();
            if (!image.Type().IsColour()) {
                value.reset(number(data[pixel]));
                return;
            }
            auto rgb = std::make_unique<CValueVector>();
            for (int c = 0; c < 3; ++c)
                rgb->PushBack(number(image.Type().IsPlanar() ? data[c * image.Pixels() + pixel]
                                                             : data[pixel * 3 + c]));
            value = std::move(rgb);
        });
    return value;
}

}  // namespace orva
