#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "AsciiNumbers.h"
#include "support/NodeSupport.h"

namespace ORVA {

// Writes an image as a text matrix that ReadASCII reads back: to a file or standard output
// ("SaveASCII"), or into a string output ("ImageToString").
class CPSaveASCII : public CPNode {
  public:
    explicit CPSaveASCII(bool toString);
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    bool m_toString;
    std::string m_filename;
    std::string m_text;
    bool m_append;
    int32_t m_precision;
    std::string m_baseType;
};

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

// The matrix text written to `stream` in its format state, then flushed.
template <class T>
void WriteMatrix(std::ostream& stream, const T* data, const CSize& size, std::string_view comment) {
    if (CNumberWriter::Handles(stream)) {
        CNumberWriter writer(stream.flags(), stream.precision());
        FormatMatrix(data, size, comment, writer, [&](const char* text, size_t length) {
            stream.write(text, static_cast<std::streamsize>(length));
        });
    } else {
        // A format the fast writer does not know (a width, showpos, hexadecimal, ...).
        using Printed = std::conditional_t<std::is_floating_point_v<T>, T, unsigned>;
        if (!comment.empty()) stream << comment << '\n';
        for (int64_t z = 0; z < size.z; ++z) {
            for (int64_t y = 0; y < size.y; ++y) {
                const T* row = data + (z * size.y + y) * size.x;
                for (int64_t x = 0; x < size.x; ++x)
                    stream << static_cast<Printed>(row[x]) << ' ';
                stream << '\n';
            }
            if (z + 1 < size.z) stream << "\n\n";
        }
    }
    stream.flush();
}

}  // namespace ORVA
