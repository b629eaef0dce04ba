#include "Files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

namespace ORVA {

namespace {

constexpr size_t WINDOW = size_t(1) << 20;
constexpr size_t BLOCK = size_t(1) << 16;

// A file descriptor, closed when it goes.
struct SDescriptor {
    int fd;
    ~SDescriptor() {
        if (fd >= 0) ::close(fd);
    }
};

// Reads up to `count` bytes, again after a signal; -1 on failure.
ssize_t ReadSome(int fd, void* out, size_t count) {
    for (;;) {
        ssize_t done = ::read(fd, out, count);
        if (done >= 0 || errno != EINTR) return done;
    }
}

// The message of CTextSerializer::FromText on `text`, empty when it reads.
std::string TextError(const std::string& text) {
    try {
        CTextSerializer::FromText(text);
    } catch (const CException& error) {
        return error.Message();
    }
    return {};
}

// The failure of a text that begins with `start`, when what follows cannot change it: its
// error then comes before the end of `start`, so two different bytes after it fail alike.
std::string FailureOfStart(const std::string& start) {
    std::string first = TextError(start + '\x01');
    return first == TextError(start + '\x02') ? first : std::string();
}

}  // namespace

uint64_t ReadLimit(const char* where) {
    const char* setting = std::getenv("ORVA_READ_LIMIT");
    if (!setting || !*setting) return DEFAULT_READ_LIMIT;
    std::string_view text = setting;
    uint64_t value = 0;
    size_t i = 0;
    bool valid = !text.empty() && text[0] >= '0' && text[0] <= '9';
    for (; valid && i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        valid = value <= (UINT64_MAX - 9) / 10;
        value = value * 10 + static_cast<uint64_t>(text[i] - '0');
    }
    if (valid && i + 1 == text.size()) {
        const char* suffixes = "KMGT";
        const char* suffix = std::strchr(suffixes, text[i]);
        int shift = suffix ? 10 * static_cast<int>(suffix - suffixes + 1) : 0;
        valid = suffix && value <= (UINT64_MAX >> shift);
        value <<= shift;
    } else if (i != text.size()) {
        valid = false;
    }
    if (!valid)
        throw CException(where, CString("ORVA_READ_LIMIT is '%1'; expected a number of bytes, "
                                        "such as 4294967296 or 4G")
                                    .Arg(text));
    return value;
}

void CheckReadLimit(uint64_t bytes, uint64_t limit, const std::string& path, const char* where) {
    if (bytes > limit)
        throw CException(where, CString("reading '%1' takes more than the read limit of %2 bytes "
                                        "(ORVA_READ_LIMIT)")
                                    .Arg(path)
                                    .Arg(limit));
}

// ---- whole files ----

CFileBytes::CFileBytes(const std::string& path, const char* where, const FExtent& extent) {
    SDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.fd < 0) throw CException(where, "cannot open '" + path + "': " + std::strerror(errno));
    struct stat status;
    if (::fstat(file.fd, &status) != 0 || S_ISDIR(status.st_mode))
        throw CException(where, "cannot read '" + path + "': it is a directory");
    const uint64_t limit = ReadLimit(where);
    if (S_ISREG(status.st_mode) && status.st_size > 0) {
        CheckReadLimit(static_cast<uint64_t>(status.st_size), limit, path, where);
        void* mapped = ::mmap(nullptr, static_cast<size_t>(status.st_size), PROT_READ, MAP_PRIVATE,
                              file.fd, 0);
        if (mapped != MAP_FAILED) {
            m_mapped = static_cast<uint8_t*>(mapped);
            m_size = static_cast<size_t>(status.st_size);
            return;
        }
    }
    // A stream grows as it comes, up to where it says it ends.
    size_t capacity = static_cast<size_t>(std::min<uint64_t>(BLOCK, limit + 1));
    std::optional<size_t> end;
    try {
        m_data.reset(new uint8_t[capacity]);
        for (;;) {
            if (end && m_size >= *end) {
                m_size = *end;
                break;
            }
            if (m_size == capacity) {
                CheckReadLimit(capacity, limit, path, where);
                size_t larger = static_cast<size_t>(std::min<uint64_t>(2 * capacity, limit + 1));
                std::unique_ptr<uint8_t[]> grown(new uint8_t[larger]);
                std::memcpy(grown.get(), m_data.get(), m_size);
                m_data = std::move(grown);
                capacity = larger;
            }
            size_t wanted = (end ? std::min(*end, capacity) : capacity) - m_size;
            ssize_t count = ReadSome(file.fd, m_data.get() + m_size, wanted);
            if (count < 0)
                throw CException(where, "cannot read '" + path + "': " + std::strerror(errno));
            if (count == 0) break;
            m_size += static_cast<size_t>(count);
            if (!end && extent) {
                end = extent(m_data.get(), m_size);
                if (end) CheckReadLimit(*end, limit, path, where);
            }
        }
    } catch (const std::bad_alloc&) {
        throw CException(where, "not enough memory to read '" + path + "'");
    }
}

CFileBytes::~CFileBytes() {
    if (m_mapped) ::munmap(m_mapped, m_size);
}

// ---- lines ----

CFileLines::CFileLines(const std::string& path, const char* where) : m_path(path), m_where(where) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) m_file.reset(std::fopen(path.c_str(), "rb"));
    if (!m_file) throw CException(where, std::string(where) + "Can not open file: '" + path + "'");
    m_limit = ReadLimit(where);
    struct stat status;
    if (::fstat(::fileno(m_file.get()), &status) == 0 && S_ISREG(status.st_mode)) {
        m_seekable = true;
        m_size = static_cast<uint64_t>(status.st_size);
        CheckReadLimit(m_size, m_limit, path, where);
    }
    m_maxLine = static_cast<size_t>(std::min<uint64_t>(MAX_LINE_BYTES, m_limit));
    m_buffer.resize(std::min(WINDOW, m_maxLine + 1));
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
    // Keep the unfinished line at the front (a stream that keeps its start keeps all); a
    // line longer than the window widens it.
    if (m_begin > 0 && (m_seekable || !m_keepStart)) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_scanned -= m_begin;
        m_begin = 0;
        m_dropped = true;
    }
    if (m_end == m_buffer.size()) {
        if (m_end - m_begin > m_maxLine)
            throw CException(m_where, CString("'%1' has a line longer than %2 bytes")
                                          .Arg(m_path)
                                          .Arg(static_cast<uint64_t>(m_maxLine)));
        try {
            m_buffer.resize(std::min(2 * m_buffer.size(), m_begin + m_maxLine + 1));
        } catch (const std::bad_alloc&) {
            throw CException(m_where, "not enough memory to read '" + m_path + "'");
        }
    }
    size_t count = std::fread(m_buffer.data() + m_end, 1, m_buffer.size() - m_end, m_file.get());
    if (std::ferror(m_file.get())) ReadFailed();
    m_end += count;
    m_read += count;
    CheckReadLimit(m_read, m_limit, m_path, m_where);
    m_eof = std::feof(m_file.get()) != 0;
}

void CFileLines::Rewind() {
    if (m_seekable) {
        if (std::fseek(m_file.get(), 0, SEEK_SET) != 0) ReadFailed();
        std::clearerr(m_file.get());
        m_begin = m_scanned = m_end = 0;
        m_read = 0;
        m_eof = false;
        return;
    }
    if (m_dropped)
        throw CException(m_where, "'" + m_path + "' is a stream and cannot be read again");
    m_begin = m_scanned = 0;
}

void CFileLines::ReadFailed() const {
    throw CException(m_where, "Can not read file: '" + m_path + "'");
}

// ---- values ----

std::unique_ptr<CValue> ReadValueFile(const std::string& path, const char* where) {
    SDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.fd < 0) throw CException(where, CString("cannot open '%1' for reading").Arg(path));
    struct stat status;
    if (::fstat(file.fd, &status) != 0)
        throw CException(where, CString("cannot read '%1'").Arg(path));
    if (S_ISDIR(status.st_mode))
        throw CException(where, CString("cannot read '%1': it is a directory").Arg(path));
    const uint64_t limit = ReadLimit(where);
    const bool stream = !S_ISREG(status.st_mode);
    if (!stream) CheckReadLimit(static_cast<uint64_t>(status.st_size), limit, path, where);
    std::string text;
    bool checked = !stream;
    try {
        if (!stream) text.reserve(static_cast<size_t>(status.st_size));
        for (;;) {
            size_t used = text.size();
            text.resize(used + BLOCK);
            ssize_t count = ReadSome(file.fd, text.data() + used, BLOCK);
            if (count < 0) throw CException(where, CString("cannot read '%1'").Arg(path));
            text.resize(used + static_cast<size_t>(count));
            if (count == 0) break;
            CheckReadLimit(text.size(), limit, path, where);
            // A stream that fails from its start is not read on (/dev/zero never ends).
            if (!checked && text.size() >= BLOCK) {
                checked = true;
                if (std::string failure = FailureOfStart(text); !failure.empty())
                    throw CException(where, path + ": " + failure);
            }
        }
    } catch (const std::bad_alloc&) {
        throw CException(where, "not enough memory to read '" + path + "'");
    }
    try {
        return CTextSerializer::FromText(text);
    } catch (const CException& error) {
        throw CException(where, path + ": " + error.Message());
    }
}

// ---- labels ----

void LabelWithFile(CValueMap& parameters, const std::string& path) {
    if (!parameters.EntryBool(AUTOMATIC_LABEL, true)) return;
    parameters.SetEntry("ui/tooltip", new CValueString(path));
    parameters.SetEntry("ui/label", new CValueString(CPath(path).Name()));
}

}  // namespace ORVA
