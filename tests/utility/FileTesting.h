#pragma once

// Helpers for the tests of the nodes that read and write files: a directory of the test's own,
// whole files as bytes, pipes, environment variables set for one test, and parameter maps
// written inline.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "NodeTesting.h"

namespace testing_support {

// A fixture with an empty directory of the test's own, removed afterwards.
class FileTest : public testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(m_directory); }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    std::string Path(const std::string& name) const { return (m_directory / name).string(); }

    std::filesystem::path m_directory =
        std::filesystem::temp_directory_path() /
        ("orva-" + std::to_string(getpid()) + "-" +
         testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() + "-" +
         testing::UnitTest::GetInstance()->current_test_info()->name());
};

// An image whose bytes use every bit of every sample: floats among them are NaN and subnormal.
inline std::unique_ptr<ORVA::CImage> Pattern(ORVA::IImage::CType type, ORVA::CSize size) {
    auto image = std::make_unique<ORVA::CImage>(type, size);
    for (size_t i = 0; i < image->ByteCount(); ++i)
        image->Bytes()[i] = static_cast<uint8_t>(i * 151 + (i >> 7) * 13);
    return image;
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// `text` with every `value` in it replaced by `placeholder`.
inline std::string Replaced(std::string text, const std::string& value,
                            const std::string& placeholder) {
    for (size_t at = 0; !value.empty() && (at = text.find(value, at)) != std::string::npos;
         at += placeholder.size())
        text.replace(at, value.size(), placeholder);
    return text;
}

// A pipe holding `bytes` (at most 64 KiB), which a node opens by Path(). Unless `ended`, its
// write end stays open: a stream that has not ended, where reading on would wait for ever.
class CPipe {
  public:
    CPipe(const std::string& bytes, bool ended) {
        if (::pipe(m_ends) != 0) throw std::runtime_error("no pipe");
        if (::write(m_ends[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("the pipe is full");
        if (ended) Close(m_ends[1]);
    }
    ~CPipe() {
        Close(m_ends[0]);
        Close(m_ends[1]);
    }
    CPipe(const CPipe&) = delete;
    CPipe& operator=(const CPipe&) = delete;
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_ends[0]); }

  private:
    static void Close(int& fd) {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
    int m_ends[2] = {-1, -1};
};

// Sets an environment variable (or unsets it, for a null value) until the end of the scope.
class CScopedVariable {
  public:
    CScopedVariable(const char* name, const char* value) : m_name(name) {
        const char* previous = std::getenv(name);
        m_had = previous != nullptr;
        if (previous) m_previous = previous;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~CScopedVariable() { m_had ? setenv(m_name, m_previous.c_str(), 1) : unsetenv(m_name); }
    CScopedVariable(const CScopedVariable&) = delete;
    CScopedVariable& operator=(const CScopedVariable&) = delete;

  private:
    const char* m_name;
    std::string m_previous;
    bool m_had = false;
};

inline ORVA::CValueMap Parameters(std::initializer_list<SParameter> entries) {
    return ParameterMap(entries);
}

}  // namespace testing_support
