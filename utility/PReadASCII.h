#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "AsciiNumbers.h"
#include "support/NodeSupport.h"

namespace ORVA {

// Loads a text matrix into an IMAGE_GREY_F image of two or three dimensions; the size comes
// from the layout of the file.
class CPReadASCII : public CPNode {
  public:
    CPReadASCII();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    std::string m_filename;
    std::string m_separator;
    bool m_verbose;
    CRunOnce m_runOnce;
};

// The lines of a file, split at line feeds only (a carriage return stays in its line); the
// piece after the last line feed is a line when it is not empty. Only a window of the file
// is held, at least as long as its longest line.
class CFileLines {
  public:
    // Throws `where`'s "Can not open file" for a file that cannot be opened or a directory.
    CFileLines(const std::string& path, const char* where);

    // The next line, valid until the next call; false at the end of the file.
    bool Next(std::string_view& line);
    // Starts again at the first line.
    void Rewind();
    // The size of the file when it was opened (0 when it has none, as a pipe).
    uint64_t Size() const noexcept { return m_size; }

  private:
    void Fill();
    [[noreturn]] void ReadFailed() const;

    struct SClose {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, SClose> m_file;
    std::string m_path;
    const char* m_where;
    std::vector<char> m_buffer;
    size_t m_begin = 0;    // start of the next line
    size_t m_scanned = 0;  // searched for a line feed up to here
    size_t m_end = 0;      // end of the bytes read
    bool m_eof = false;
    uint64_t m_size = 0;
};

// The separator a line suggests for "AUTO": '\0' for none.
char LineSeparatorCandidate(std::string_view line);

// The "AUTO" separator of a file, judged by its first data lines ('\0' for none). With
// `verbose` it says what it found on standard output. Leaves `lines` at the start.
char DetectSeparator(CFileLines& lines, bool verbose);

// What the first pass learns of a matrix file.
struct SMatrixLayout {
    int64_t width = 0;
    int64_t height = 0;
    int64_t depth = 1;
    std::string comments;  // each comment line and a line feed
};

// Values that the first pass keeps, up to a fixed room, so that no second pass is needed.
struct SValueStore {
    explicit SValueStore(int64_t room = 0);
    std::unique_ptr<float[]> values;
    int64_t room = 0;
    int64_t count = 0;
    bool complete = true;  // every value of the file is kept
};

// First pass: the size of the matrix and its comments; throws the inconsistency messages.
// With a store it keeps the values of the data lines in file order while they fit.
SMatrixLayout MeasureMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                            SValueStore* store = nullptr);

// Second pass: the values of the data lines, row after row, into `out` (room for
// width * height * depth values; what the file no longer holds stays 0).
void FillMatrix(CFileLines& lines, const CFloatReader& reader, char separator,
                const SMatrixLayout& layout, float* out);

}  // namespace ORVA
