#include "codecs/AsciiMatrix.h"

#include <array>
#include <locale>
#include <new>

namespace ORVA {

namespace {

// A comment as the file shows it after the separator became a blank.
void AppendComment(std::string& comments, std::string_view line, char separator) {
    size_t start = comments.size();
    comments.append(line);
    if (separator != '\0') std::replace(comments.begin() + start, comments.end(), separator, ' ');
    comments.push_back('\n');
}

bool IsComment(std::string_view line, char separator) {
    return line[0] == '#' && separator != '#';
}

void Say(std::ostream* log, const char* text) {
    if (log) *log << text << std::endl;
}

// Calls `write` with the samples of `image`, typed by its pixel type (one of the matrix types).
template <class Write>
void WithSamples(const CImage& image, Write&& write) {
    using T = IImage::CType;
    DispatchType<T::GREY_F, T::GREY_8, T::GREY_16, T::GREY_32, T::BINARY_FG>(
        image.Type(),
        [&]<class Element>(std::type_identity<Element>) { write(image.Data<Element>()); });
}

}  // namespace

// ---- the separator ----

char LineSeparatorCandidate(std::string_view line) {
    // Characters other than blanks, digits, '-' and 'e' are candidates, in order of first
    // appearance; a point is a decimal point unless it parts every run of digits.
    std::array<int64_t, 256> counts{};
    char first = '\0', second = '\0';
    int distinct = 0;
    int64_t digitRuns = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        bool digit = c >= '0' && c <= '9';
        if (digit && (i + 1 == line.size() || line[i + 1] < '0' || line[i + 1] > '9')) ++digitRuns;
        if (c == ' ' || digit || c == '-' || c == 'e') continue;
        if (counts[static_cast<uint8_t>(c)]++ > 0) continue;
        if (distinct == 0) first = c;
        if (distinct == 1) second = c;
        ++distinct;
    }
    if (distinct >= 3) return '\0';
    if (first == '.' && distinct == 2) return second;
    if (first == '.' && counts[static_cast<uint8_t>('.')] != digitRuns - 1) return '\0';
    return first;
}

char DetectSeparator(CFileLines& lines, std::ostream* log) {
    std::array<char, 4> kept{};
    int examined = 0;
    std::string_view line;
    lines.KeepStart(true);
    while (examined < 4 && lines.Next(line))
        if (!line.empty() && line[0] != '#') kept[examined++] = LineSeparatorCandidate(line);
    lines.Rewind();
    lines.KeepStart(false);

    char separator = '\0';
    const char* message = nullptr;
    if (kept[0] == kept[1] && kept[1] == kept[2]) {
        separator = kept[0];
        if (separator == '\0') message = "No separator found";
    } else if (examined >= 3) {
        message = "Unexpected Error";
    } else if (kept[0] == '1') {
        message = "No separator found";
    } else {
        separator = kept[0];
    }
    if (message)
        Say(log, message);
    else if (log)
        *log << "Separator is: " << separator << std::endl;
    return separator;
}

char ChooseSeparator(const std::string& choice, CFileLines& lines, std::ostream* log) {
    if (choice == "WHITE_SPACE") return '\0';
    if (choice == "AUTO") return DetectSeparator(lines, log);
    char separator = choice == "COMMA" ? ',' : choice.c_str()[0];
    if (log) *log << "Chosen separator: " << separator << std::endl;
    return separator;
}

// ---- the two passes ----

CValueStore::CValueStore(int64_t room, bool grow, uint64_t limit) : m_grow(grow), m_limit(limit) {
    // Untouched pages of the room cost no memory.
    if (room > 0) m_values.reset(new (std::nothrow) float[static_cast<size_t>(room)]);
    m_room = m_values ? room : 0;
}

bool CValueStore::Reserve(int64_t count, const CFileLines& lines) {
    if (!m_complete) return false;
    if (m_room - m_count >= count) return true;
    if (!m_grow) {
        m_complete = false;
        m_values.reset();
        return false;
    }
    const uint64_t needed = static_cast<uint64_t>(m_count + count);
    CheckReadLimit(needed * sizeof(float), m_limit, lines.Path(), lines.Where());
    const uint64_t room = std::min(std::max<uint64_t>(needed, 2 * static_cast<uint64_t>(m_room)),
                                   std::max<uint64_t>(needed, m_limit / sizeof(float)));
    std::unique_ptr<float[]> larger(new float[static_cast<size_t>(room)]);
    std::copy_n(m_values.get(), m_count, larger.get());
    m_values = std::move(larger);
    m_room = static_cast<int64_t>(room);
    return true;
}

SMatrixLayout MeasureMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                            const char* where, CValueStore* store) {
    SMatrixLayout layout;
    int64_t rows = 0, planes = 1, savedWidth = 0, savedRows = 0;
    bool previousEmpty = false, planeBreaks = false;
    std::string_view line;
    while (lines.Next(line)) {
        if (line.empty()) {
            // The first pair of empty lines turns plane breaks on for good.
            if (previousEmpty) planeBreaks = true;
            previousEmpty = true;
            continue;
        }
        if (IsComment(line, separator)) {
            previousEmpty = false;
            AppendComment(layout.comments, line, separator);
            continue;
        }
        if (previousEmpty && planeBreaks) {
            if (planes >= 2 && (savedWidth != layout.width || savedRows != rows))
                throw CException(where, "inconsistent data in z direction!");
            savedWidth = layout.width;
            savedRows = rows;
            ++planes;
            rows = 0;
        }
        previousEmpty = false;
        // A line holds at most one value per two characters, but for the last.
        int64_t count;
        int64_t most = static_cast<int64_t>(line.size() + 1) / 2;
        if (store && store->Reserve(most, lines)) {
            count = reader.Read(line, store->End(), most);
            store->Added(count);
        } else {
            count = reader.Count(line);
        }
        if (count == 0) continue;
        if (layout.width == 0)
            layout.width = count;
        else if (count != layout.width)
            throw CException(where, "inconsistent data in x direction!");
        ++rows;
    }
    layout.height = rows;
    layout.depth = planes;
    if (planes > 1 && (savedWidth != layout.width || savedRows != rows))
        throw CException(where, "inconsistent data in the last plane in z direction!");
    return layout;
}

void FillMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                const SMatrixLayout& layout, float* out) {
    const int64_t capacity = layout.width * layout.height * layout.depth;
    // A consistent file never reaches this many rows early.
    const int64_t rowLimit = (layout.depth + 2) * layout.height - 2;
    int64_t stored = 0, rows = 0;
    std::string_view line;
    while (rows < rowLimit && lines.Next(line)) {
        if (line.empty() || IsComment(line, separator)) continue;
        int64_t count = reader.Read(line, out + stored, std::min(layout.width, capacity - stored));
        stored += count;
        if (count == layout.width) ++rows;
    }
    // The file changed since the first pass.
    std::fill(out + stored, out + capacity, 0.0f);
}

SMatrixFile ReadMatrixFile(const std::string& path, const std::string& choice, std::ostream* log,
                           const char* where) {
    try {
        CFileLines lines(path, where);
        char separator = ChooseSeparator(choice, lines, log);
        CFloatReader reader(separator);
        // The first pass keeps the values, in at most the file's size of memory for a file;
        // only files denser than that are read a second time. A stream keeps all it gives.
        CValueStore store(static_cast<int64_t>(lines.Size() / sizeof(float)), !lines.Seekable(),
                          lines.Limit());
        SMatrixLayout layout = MeasureMatrix(lines, reader, separator, where, &store);
        if (log) *log << "the depth is " << layout.depth << std::endl;
        const CSize size(layout.width, layout.height, layout.depth);
        CheckReadLimit(static_cast<uint64_t>(size.Elements()) * sizeof(float), lines.Limit(), path,
                       where);
        auto image = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0), CImage::NoInit{});
        if (store.Complete() && store.Count() == image->Pixels()) {
            std::copy_n(store.Values(), store.Count(), image->Data<float>());
        } else {
            store = CValueStore();
            lines.Rewind();
            FillMatrix(lines, reader, separator, layout, image->Data<float>());
        }
        return {std::move(image), std::move(layout.comments)};
    } catch (const std::bad_alloc&) {
        throw CException(where, "not enough memory to read '" + path + "'");
    }
}

std::unique_ptr<CImage> ReadMatrixString(std::string_view text) {
    // Calls `visit` with each data line (split at line feeds, a last piece only when it is not
    // empty), leaving out empty lines and comments; stops when `visit` returns false.
    auto forEachDataLine = [text](auto&& visit) {
        std::string_view rest = text;
        while (!rest.empty()) {
            size_t feed = rest.find('\n');
            std::string_view line = rest.substr(0, feed);
            rest.remove_prefix(feed == std::string_view::npos ? rest.size() : feed + 1);
            if (line.empty() || line[0] == '#') continue;
            if (!visit(line)) return;
        }
    };
    const CFloatReader reader;
    int64_t width = 0, height = 0;
    bool consistent = true;
    forEachDataLine([&](std::string_view line) {
        int64_t count = reader.Count(line);
        if (count == 0) return true;
        if (width == 0) width = count;
        consistent = count == width;
        height += consistent ? 1 : 0;
        return consistent;
    });
    if (!consistent) return nullptr;

    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(width, height, 1));
    float* out = image->Data<float>();
    const int64_t capacity = image->Pixels();
    int64_t stored = 0;
    forEachDataLine([&](std::string_view line) {
        stored += reader.Read(line, out + stored, capacity - stored);
        return true;
    });
    return image;
}

// ---- writing ----

bool IsMatrixType(IImage::CType type) {
    return type == IMAGE_GREY_F || type == IMAGE_GREY_8 || type == IMAGE_GREY_16 ||
           type == IMAGE_GREY_32 || type == IMAGE_BINARY_FG;
}

void ApplyNumberFormat(std::ios_base& stream, const std::string& baseType, int32_t precision) {
    if (baseType == "fixed")
        stream.setf(std::ios::fixed, std::ios::floatfield);
    else if (baseType == "scientific")
        stream.setf(std::ios::scientific, std::ios::floatfield);
    else if (baseType == "dec" || baseType == "floatfield")
        stream.unsetf(std::ios::basefield);
    stream.precision(precision < 0 ? 8 : precision);
}

void WriteMatrix(std::ostream& stream, const CImage& image, std::string_view comment) {
    const CSize& size = image.Size();
    WithSamples(image, [&]<class T>(const T* data) {
        if (CNumberWriter::Handles(stream)) {
            CNumberWriter writer(stream.flags(), stream.precision());
            FormatMatrix(data, size, comment, writer, [&](const char* text, size_t length) {
                stream.write(text, static_cast<std::streamsize>(length));
            });
            return;
        }
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
    });
    stream.flush();
}

std::string MatrixText(const CImage& image, const CNumberWriter& writer) {
    std::string text;
    WithSamples(image, [&](const auto* data) {
        FormatMatrix(data, image.Size(), {}, writer,
                     [&](const char* piece, size_t length) { text.append(piece, length); });
    });
    return text;
}

CStreamFormatGuard::CStreamFormatGuard(std::ostream& stream)
    : m_stream(stream),
      m_flags(stream.flags()),
      m_precision(stream.precision()),
      m_width(stream.width()),
      m_fill(stream.fill()),
      m_locale(stream.getloc()) {}

CStreamFormatGuard::~CStreamFormatGuard() {
    m_stream.flags(m_flags);
    m_stream.precision(m_precision);
    m_stream.width(m_width);
    m_stream.fill(m_fill);
    m_stream.imbue(m_locale);
}

}  // namespace ORVA
