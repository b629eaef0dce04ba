#pragma once

// What the nodes that read and write files share: the read limit, files read whole or line by
// line within it, values in the framework's text format, and the labels such nodes give
// themselves.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarsel.h"

namespace ORVA {

// The most bytes a reader takes from one file, and the most memory it gives what it makes of
// them: the environment variable ORVA_READ_LIMIT (bytes, or a number with the suffix K, M, G
// or T for powers of 1024), 4 GiB when it is unset. Throws CException at `where` for a value
// that is not such a number.
uint64_t ReadLimit(const char* where);
constexpr uint64_t DEFAULT_READ_LIMIT = uint64_t(4) << 30;
// The longest line a line-by-line reader holds (less when the read limit is lower).
constexpr size_t MAX_LINE_BYTES = size_t(64) << 20;

// CException at `where` unless `bytes` (of or for `path`) are within `limit`.
void CheckReadLimit(uint64_t bytes, uint64_t limit, const std::string& path, const char* where);

// The bytes of a whole file. A regular file is mapped (no copy); a stream (a pipe, a device) is
// read until its end, or once `extent`, asked after each read with what came so far, tells how
// many bytes the stream holds, until there. Throws CException at `where` for a file that cannot
// be opened or read, a directory, and beyond the read limit.
class CFileBytes {
  public:
    using FExtent = std::function<std::optional<size_t>(const uint8_t* data, size_t size)>;
    CFileBytes(const std::string& path, const char* where, const FExtent& extent = {});
    ~CFileBytes();
    CFileBytes(const CFileBytes&) = delete;
    CFileBytes& operator=(const CFileBytes&) = delete;
    const uint8_t* Data() const noexcept { return m_mapped ? m_mapped : m_data.get(); }
    size_t Size() const noexcept { return m_size; }

  private:
    std::unique_ptr<uint8_t[]> m_data;
    uint8_t* m_mapped = nullptr;
    size_t m_size = 0;
};

// The lines of a file, split at line feeds only (a carriage return stays in its line); the
// piece after the last line feed is a line when it is not empty. Only a window of the file is
// held, at least as long as its longest line. Throws CException at `where` beyond the read
// limit and for lines longer than MAX_LINE_BYTES.
class CFileLines {
  public:
    // Throws `where`'s "Can not open file" for a file that cannot be opened or a directory.
    CFileLines(const std::string& path, const char* where);

    // The next line, valid until the next call; false at the end of the file.
    bool Next(std::string_view& line);
    // Starts again at the first line: a file by seeking, a stream while it keeps its start.
    void Rewind();
    // While set, a stream keeps every byte from its start, so that it can be rewound.
    void KeepStart(bool keep) noexcept { m_keepStart = keep; }
    // Whether the file can be read a second time (a stream cannot).
    bool Seekable() const noexcept { return m_seekable; }
    // The size of a regular file; 0 for a stream.
    uint64_t Size() const noexcept { return m_size; }
    uint64_t Limit() const noexcept { return m_limit; }
    const std::string& Path() const noexcept { return m_path; }
    const char* Where() const noexcept { return m_where; }

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
    bool m_seekable = false;
    bool m_keepStart = false;
    bool m_dropped = false;  // a stream that let go of its start
    uint64_t m_size = 0;
    uint64_t m_read = 0;
    uint64_t m_limit = 0;
    size_t m_maxLine = 0;
};

// The value a file in the framework's text format holds, as CTextSerializer::FromFile reads it
// and with its messages, within the read limit; a stream whose first bytes fail already is not
// read further. A directory is a CException (at `where`, as every failure).
std::unique_ptr<CValue> ReadValueFile(const std::string& path, const char* where);

// The key of a node's parameters that turns the labels below off.
constexpr const char* AUTOMATIC_LABEL = "ui/automaticLabel";
// Labels a node by the file it read or wrote: "ui/tooltip" is the path and "ui/label" the
// file's name, unless its parameter AUTOMATIC_LABEL (true by default) is false.
void LabelWithFile(CValueMap& parameters, const std::string& path);

}  // namespace ORVA
