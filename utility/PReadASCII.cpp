#include "PReadASCII.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <new>

namespace ORVA {

namespace {
const char* const WHERE = "(file plugins) ReadASCII::Run";
constexpr size_t WINDOW = size_t(1) << 20;

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

// The separator the parameter names; "AUTO" looks at the file.
char ChooseSeparator(const std::string& choice, CFileLines& lines, bool verbose) {
    if (choice == "WHITE_SPACE") return '\0';
    if (choice == "AUTO") return DetectSeparator(lines, verbose);
    char separator = choice == "COMMA" ? ',' : choice.c_str()[0];
    if (verbose) std::cout << "Chosen separator: " << separator << std::endl;
    return separator;
}
}  // namespace

CPReadASCII::CPReadASCII()
    : m_filename("%ORVADIR%/examples/images/coconut.txt"),
      m_separator("WHITE_SPACE"),
      m_verbose(false) {}

void CPReadASCII::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("In-/Output", "File", "ReadASCII");
    doc.Brief(
        "Reads a matrix of numbers from a text file into a float image.",
        "Every line holding numbers is one image row; all rows hold the same number of values, "
        "which is the image width. Two empty lines in a row start a new plane (z direction); "
        "after the first such break a single empty line is enough. Lines beginning with '#' "
        "are comments: they are collected in the image attribute \"comments\", and the file "
        "path is kept in \"image_path\". The values of a line are read up to the first text "
        "that is not a number. The separator is a blank unless another one is chosen; AUTO "
        "guesses it from the first data lines.");
    doc.Note(
        "A directory fails like a missing file, a file that cannot be read to its end with "
        "\"Can not read file\". Numbers beyond the float range end the values of their line.");
    doc.Parameter("filename", m_filename,
                  "file to read; environment variables like %ORVADIR% are expanded")
        .Path("ASCII files (*.asc *.ascii *.txt *.mark *.csv);; All files (*.*)");
    doc.Parameter("separator", m_separator,
                  "separator between values: WHITE_SPACE (blanks and tabs), AUTO (detected), "
                  "COMMA, or the first character of any other text")
        .Values("WHITE_SPACE, AUTO, COMMA, ., /,?,;");
    doc.Parameter("verbose", m_verbose, "print feedback to the log").Toggle();
    doc.ParameterText("run_flag", "bool",
                      "INTERNAL Indicates whether the plugin already run before.", false);
    doc.Output(0, "Output image of type IMAGE_GREY_F, 2d or 3d.");
    doc.Keywords({"ascii", "file", "text", "load", "read", "CSV"});
    doc.WriteTo(setup);
}

void CPReadASCII::NodeInit() {
    // A missing file name is "NULL", not the default.
    m_filename = Parameters().EntryString("filename", "NULL");
    m_runOnce.Reset(Parameters().EntryBool("run_once", m_runOnce.Enabled()));
    m_separator = Parameters().EntryString("separator", m_separator);
    m_verbose = Parameters().EntryBool("verbose", m_verbose);
}

void CPReadASCII::Run() {
    if (m_runOnce.Skip()) return;
    std::string path = CPath(CStringTools::UnwrapEnvVars(m_filename)).PathString();
    std::unique_ptr<CImage> image;
    SMatrixLayout layout;
    try {
        CFileLines lines(path, WHERE);
        char separator = ChooseSeparator(m_separator, lines, m_verbose);
        CFloatReader reader(separator);
        // The first pass keeps the values in at most the file's size of memory; only files
        // denser than that are read a second time.
        SValueStore store(static_cast<int64_t>(lines.Size() / sizeof(float)));
        layout = MeasureMatrix(lines, reader, separator, &store);
        if (m_verbose) std::cout << "the depth is " << layout.depth << std::endl;
        image =
            std::make_unique<CImage>(IMAGE_GREY_F, CSize(layout.width, layout.height, layout.depth),
                                     CSize(0, 0, 0), CImage::NoInit{});
        if (store.complete && store.count == image->Pixels()) {
            std::copy_n(store.values.get(), store.count, image->Data<float>());
        } else {
            store = SValueStore();
            lines.Rewind();
            FillMatrix(lines, reader, separator, layout, image->Data<float>());
        }
    } catch (const std::bad_alloc&) {
        throw CException(WHERE, "not enough memory to read '" + path + "'");
    }
    image->Attributes().SetEntry("comments", new CValueString(std::move(layout.comments)));
    image->Attributes().SetEntry("image_path", new CValueString(path));
    SetStackOutput(0, OwnedImage(std::move(image)));
    if (Parameters().EntryBool("ui/automaticLabel", true)) {
        Parameters().SetEntry("ui/tooltip", new CValueString(path));
        Parameters().SetEntry("ui/label", new CValueString(CPath(path).Name()));
    }
    m_runOnce.MarkDone();
}

// ---- the file, line by line ----

CFileLines::CFileLines(const std::string& path, const char* where) : m_path(path), m_where(where) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) m_file.reset(std::fopen(path.c_str(), "rb"));
    if (!m_file) throw CException(where, std::string(where) + "Can not open file: '" + path + "'");
    m_size = std::filesystem::file_size(path, error);
    if (error) m_size = 0;
    m_buffer.resize(WINDOW);
}

bool CFileLines::Next(std::string_view& line) {
    for (;;) {
        const char* base = m_buffer.data();
        if (const void* feed = std::memchr(base + m_scanned, '\n', m_end - m_scanned)) {
            size_t at = static_cast<size_t>(static_cast<const char*>(feed) - base);
            line = std::string_view(base + m_begin, at - m_begin);
            m_begin = m_scanned = at + 1;
            return true;
        }
        m_scanned = m_end;
        if (m_eof) {
            if (m_begin == m_end) return false;
            line = std::string_view(base + m_begin, m_end - m_begin);
            m_begin = m_scanned = m_end;
            return true;
        }
        Fill();
    }
}

void CFileLines::Fill() {
    // Keep the unfinished line at the front; a line longer than the window widens it.
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_scanned -= m_begin;
        m_begin = 0;
    }
    if (m_end == m_buffer.size()) m_buffer.resize(m_buffer.size() * 2);
    m_end += std::fread(m_buffer.data() + m_end, 1, m_buffer.size() - m_end, m_file.get());
    if (std::ferror(m_file.get())) ReadFailed();
    m_eof = std::feof(m_file.get()) != 0;
}

void CFileLines::Rewind() {
    if (std::fseek(m_file.get(), 0, SEEK_SET) != 0) ReadFailed();
    std::clearerr(m_file.get());
    m_begin = m_scanned = m_end = 0;
    m_eof = false;
}

void CFileLines::ReadFailed() const {
    throw CException(m_where, "Can not read file: '" + m_path + "'");
}

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

char DetectSeparator(CFileLines& lines, bool verbose) {
    std::array<char, 4> kept{};
    int examined = 0;
    std::string_view line;
    while (examined < 4 && lines.Next(line))
        if (!line.empty() && line[0] != '#') kept[examined++] = LineSeparatorCandidate(line);
    lines.Rewind();

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
    if (verbose) {
        if (message)
            std::cout << message << std::endl;
        else
            std::cout << "Separator is: " << separator << std::endl;
    }
    return separator;
}

// ---- the two passes ----

SValueStore::SValueStore(int64_t room) {
    // Untouched pages of the room cost no memory.
    if (room > 0) values.reset(new (std::nothrow) float[static_cast<size_t>(room)]);
    this->room = values ? room : 0;
}

SMatrixLayout MeasureMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                            SValueStore* store) {
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
                throw CException(WHERE, "inconsistent data in z direction!");
            savedWidth = layout.width;
            savedRows = rows;
            ++planes;
            rows = 0;
        }
        previousEmpty = false;
        // A line holds at most one value per two characters, but for the last.
        int64_t count;
        int64_t most = static_cast<int64_t>(line.size() + 1) / 2;
        if (store && store->complete && store->room - store->count >= most) {
            count = reader.Read(line, store->values.get() + store->count, most);
            store->count += count;
        } else {
            if (store) store->complete = false;
            count = reader.Count(line);
        }
        if (count == 0) continue;
        if (layout.width == 0)
            layout.width = count;
        else if (count != layout.width)
            throw CException(WHERE, "inconsistent data in x direction!");
        ++rows;
    }
    layout.height = rows;
    layout.depth = planes;
    if (planes > 1 && (savedWidth != layout.width || savedRows != rows))
        throw CException(WHERE, "inconsistent data in the last plane in z direction!");
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

}  // namespace ORVA
