#pragma once

// The text matrix format: numbers in rows, one row per line, planes parted by empty lines,
// '#' comments. ReadASCII reads files of it, SaveASCII and ImageToString write it, StringToImage
// reads a string of it (without planes).
#include <algorithm>
#include <cstdint>
#include <ios>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "codecs/AsciiNumbers.h"
#include "support/Files.h"

namespace ORVA {

// ---- reading ----

// The separator a line suggests for "AUTO": '\0' for none.
char LineSeparatorCandidate(std::string_view line);

// The "AUTO" separator of a file, judged by its first data lines ('\0' for none). What it
// found is said on `log` when there is one. Leaves `lines` at the start.
char DetectSeparator(CFileLines& lines, std::ostream* log);

// The separator a choice names: "WHITE_SPACE" none, "AUTO" the file's, "COMMA" ',', anything
// else its first character. What was chosen is said on `log`.
char ChooseSeparator(const std::string& choice, CFileLines& lines, std::ostream* log);

// What the first pass learns of a matrix file.
struct SMatrixLayout {
    int64_t width = 0;
    int64_t height = 0;
    int64_t depth = 1;
    std::string comments;  // each comment line and a line feed
};

// Values that the first pass keeps, so that no second pass is needed: up to a fixed room, or,
// with `grow`, as many as come (a stream cannot be read twice) within `limit` bytes.
class CValueStore {
  public:
    CValueStore() = default;
    CValueStore(int64_t room, bool grow, uint64_t limit);
    // Room for `count` more values; false when a fixed room lacks it (the store is then
    // incomplete). Throws CException at `lines`' place beyond the limit.
    bool Reserve(int64_t count, const CFileLines& lines);
    float* End() noexcept { return m_values.get() + m_count; }
    void Added(int64_t count) noexcept { m_count += count; }
    const float* Values() const noexcept { return m_values.get(); }
    int64_t Count() const noexcept { return m_count; }
    // Whether every value of the file is kept.
    bool Complete() const noexcept { return m_complete; }

  private:
    std::unique_ptr<float[]> m_values;
    int64_t m_room = 0;
    int64_t m_count = 0;
    bool m_grow = false;
    bool m_complete = true;
    uint64_t m_limit = 0;
};

// First pass: the size of the matrix and its comments; throws the inconsistency messages at
// `where`. With a store it keeps the values of the data lines in file order while they fit.
SMatrixLayout MeasureMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                            const char* where, CValueStore* store = nullptr);

// Second pass: the values of the data lines, row after row, into `out` (room for
// width * height * depth values; what the file no longer holds stays 0).
void FillMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                const SMatrixLayout& layout, float* out);

// A matrix file read whole: an IMAGE_GREY_F image of its layout, and its comments.
struct SMatrixFile {
    std::unique_ptr<CImage> image;
    std::string comments;
};
// Reads the matrix file at `path` with the separator `choice` names; progress is said on `log`.
// Failures throw CException at `where`.
SMatrixFile ReadMatrixFile(const std::string& path, const std::string& choice, std::ostream* log,
                           const char* where);

// The IMAGE_GREY_F image of a matrix string: rows at line feeds, empty and '#' lines skipped,
// no planes. Null when its rows differ in length.
std::unique_ptr<CImage> ReadMatrixString(std::string_view text);

// ---- writing ----

// The pixel types the writer takes: IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32
// and IMAGE_BINARY_FG.
bool IsMatrixType(IImage::CType type);

// Sets the number format of `stream` as base_type and precision ask (a negative precision
// is 8): "fixed" and "scientific" choose the notation, "dec" and "floatfield" clear the
// integer base, anything else leaves the flags as they are.
void ApplyNumberFormat(std::ios_base& stream, const std::string& baseType, int32_t precision);

// The matrix text of an image of width x height x depth samples (x fastest): the comment and
// a line feed when there is one, each value followed by a blank, a line feed after each row,
// two more between planes, none at the end. The text goes to `sink(const char*, size_t)` in
// pieces.
template <class T, class Sink>
void FormatMatrix(const T* data, const CSize& size, std::string_view comment,
                  const CNumberWriter& writer, Sink&& sink) {
    const size_t room = std::is_floating_point_v<T> ? writer.MaxLength() : 24;
    const size_t capacity = std::max<size_t>(size_t(1) << 18, 8 * room);
    std::unique_ptr<char[]> buffer(new char[capacity]);
    // Whenever `used` is below `fill`, a number, its blank and three line feeds still fit.
    const size_t fill = capacity - room - 4;
    size_t used = 0;
    auto flushIfFull = [&] {
        if (used < fill) return;
        sink(buffer.get(), used);
        used = 0;
    };
    if (!comment.empty()) {
        sink(comment.data(), comment.size());
        sink("\n", 1);
    }
    for (int64_t z = 0; z < size.z; ++z) {
        for (int64_t y = 0; y < size.y; ++y) {
            const T* row = data + (z * size.y + y) * size.x;
            char* out = buffer.get() + used;
            for (int64_t x = 0; x < size.x; ++x) {
                out = writer.Write(out, row[x]);
                *out++ = ' ';
                used = static_cast<size_t>(out - buffer.get());
                if (used >= fill) {
                    flushIfFull();
                    out = buffer.get();
                }
            }
            *out++ = '\n';
            used = static_cast<size_t>(out - buffer.get());
            flushIfFull();
        }
        if (z + 1 < size.z) {
            buffer[used++] = '\n';
            buffer[used++] = '\n';
            flushIfFull();
        }
    }
    if (used > 0) sink(buffer.get(), used);
}

// The matrix text of `image` (of a matrix type) written to `stream` in its format state, then
// flushed.
void WriteMatrix(std::ostream& stream, const CImage& image, std::string_view comment);
// The matrix text of `image` (of a matrix type), without a comment.
std::string MatrixText(const CImage& image, const CNumberWriter& writer);

// Restores a stream's format state (flags, precision, width, fill, locale) when it goes.
class CStreamFormatGuard {
  public:
    explicit CStreamFormatGuard(std::ostream& stream);
    ~CStreamFormatGuard();
    CStreamFormatGuard(const CStreamFormatGuard&) = delete;
    CStreamFormatGuard& operator=(const CStreamFormatGuard&) = delete;

  private:
    std::ostream& m_stream;
    std::ios::fmtflags m_flags;
    std::streamsize m_precision, m_width;
    char m_fill;
    std::locale m_locale;
};

}  // namespace ORVA
