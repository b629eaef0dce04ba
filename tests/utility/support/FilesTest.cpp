// The readers of files within the read limit: endless and huge inputs end in a clear error at
// once, and the limit is what ORVA_READ_LIMIT says.
#include <chrono>
#include <filesystem>
#include <functional>

#include "FileTesting.h"
#include "PReadASCII.h"
#include "PReadImage.h"
#include "PReadMap.h"
#include "PTextSerializer.h"
#include "support/Files.h"

using namespace ORVA;
using namespace testing_support;

namespace {

using ReadLimits = FileTest;

// Each reading node, made to read `file`.
struct SReader {
    const char* location;
    std::function<std::unique_ptr<CPNode>(const std::string& file)> make;
};

template <class Node>
std::unique_ptr<CPNode> Reading(const std::string& file) {
    auto node = std::make_unique<Node>();
    Configure(*node, Parameters({{"filename", file}, {"mode", "READ"}}));
    return node;
}

const SReader READERS[] = {
    {"(file plugins) ReadASCII::Run", Reading<CPReadASCII>},
    {"(utility plugins) ReadImage::Run", Reading<CPReadImage>},
    {"(utility plugins) TextSerializer::Run", Reading<CTextSerializerNode>},
    {"(utility plugins) ReadMap::Run", Reading<CPReadMap>},
};

TEST(ReadLimit, ComesFromTheEnvironment) {
    const std::pair<const char*, uint64_t> cases[] = {
        {nullptr, uint64_t(4) << 30},
        {"", uint64_t(4) << 30},
        {"1000", 1000},
        {"0", 0},
        {"3K", 3072},
        {"1T", uint64_t(1) << 40},
        {"16777215T", uint64_t(16777215) << 40},
    };
    for (const auto& [setting, limit] : cases) {
        CScopedVariable variable("ORVA_READ_LIMIT", setting);
        EXPECT_EQ(ReadLimit("here"), limit) << (setting ? setting : "unset");
    }
    for (const char* setting :
         {"12x", "-1", "K", "1.5G", "4 G", "4g", "16777216T", "99999999999999999999"}) {
        CScopedVariable variable("ORVA_READ_LIMIT", setting);
        EXPECT_EQ(ErrorOf([] { ReadLimit("here"); }, true),
                  std::string("here | ORVA_READ_LIMIT is '") + setting +
                      "'; expected a number of bytes, such as 4294967296 or 4G")
            << setting;
    }
}

TEST_F(ReadLimits, EndlessAndHugeInputsEndAtOnce) {
    CScopedVariable unset("ORVA_READ_LIMIT", nullptr);
    const std::string huge = Path("huge");
    WriteFile(huge, "");
    std::filesystem::resize_file(huge, uint64_t(64) << 30);  // sparse
    const std::string beyond = "'" + huge + "' takes more than the read limit of 4294967296 bytes";
    const std::string malformed = ": malformed JSON at line 1, column 1: ";
    // What each reader but ReadMap (TextSerializer's reader) says of /dev/zero, a huge file and
    // /dev/urandom (how it begins).
    const std::string expected[][3] = {
        {"'/dev/zero' has a line longer than 67108864 bytes", "reading " + beyond,
         "inconsistent data in "},
        {"'/dev/zero' is not a PNG, TIFF, JPEG, PGM or PPM file: it begins with the bytes 00 00 "
         "00 00 00 00 00 00",
         "reading " + beyond,
         "'/dev/urandom' is not a PNG, TIFF, JPEG, PGM or PPM file: it begins"},
        {"/dev/zero" + malformed, "reading " + beyond, "/dev/urandom: malformed JSON at line "},
    };
    for (size_t r = 0; r < std::size(expected); ++r) {
        const std::string files[] = {"/dev/zero", huge, "/dev/urandom"};
        for (size_t f = 0; f < 3; ++f) {
            auto start = std::chrono::steady_clock::now();
            std::unique_ptr<CPNode> node = READERS[r].make(files[f]);
            std::string error = ErrorOf([&] { node->Run(); }, true);
            const std::string lead = std::string(READERS[r].location) + " | " + expected[r][f];
            EXPECT_EQ(error.substr(0, lead.size()), lead);
            EXPECT_LT(
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                20.0)
                << error;
        }
    }
}

TEST_F(ReadLimits, TheLimitBoundsFilesStreamsAndWhatIsMadeOfThem) {
    CScopedVariable limit("ORVA_READ_LIMIT", "4K");
    std::string rows;
    for (int i = 0; i < 300; ++i)
        rows += "1 2 3\n";  // 1800 bytes, 3600 of floats
    WriteFile(Path("rows.txt"), rows);
    WriteFile(Path("big.json"), "[" + std::string(5000, ' ') + "]");
    CPipe pipe(rows + rows + rows, true);
    const std::pair<std::string, const SReader*> cases[] = {{Path("big.json"), &READERS[3]},
                                                            {Path("big.json"), &READERS[1]},
                                                            {pipe.Path(), &READERS[0]}};
    for (const auto& [file, reader] : cases) {
        std::unique_ptr<CPNode> node = reader->make(file);
        EXPECT_EQ(ErrorOf([&] { node->Run(); }, true),
                  std::string(reader->location) + " | reading '" + file +
                      "' takes more than the read limit of 4096 bytes (ORVA_READ_LIMIT)");
    }
    CScopedVariable lower("ORVA_READ_LIMIT", "3000");
    std::unique_ptr<CPNode> node = READERS[0].make(Path("rows.txt"));
    EXPECT_EQ(ErrorOf([&] { node->Run(); }),
              "reading '" + Path("rows.txt") +
                  "' takes more than the read limit of 3000 bytes (ORVA_READ_LIMIT)");
}

}  // namespace
