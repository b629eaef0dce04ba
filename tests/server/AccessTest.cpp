#include "Access.h"

#include <gtest/gtest.h>

#include <fstream>

namespace orva {
namespace {

namespace fs = std::filesystem;

TEST(Access, HostMustNameThisServer) {
    struct {
        const char *host, *address;
        int port;
        bool allowed;
    } cases[] = {
        {"127.0.0.1:8080", "127.0.0.1", 8080, true},
        {"localhost:8080", "127.0.0.1", 8080, true},
        {"LocalHost:8080", "127.0.0.1", 8080, true},
        {"[::1]:8080", "127.0.0.1", 8080, true},
        {"localhost", "127.0.0.1", 8080, false},       // no port
        {"localhost:8081", "127.0.0.1", 8080, false},  // another port
        {"localhost.evil.example:8080", "127.0.0.1", 8080, false},
        {"evil.example:8080", "127.0.0.1", 8080, false},  // a name rebound to 127.0.0.1
        {"192.168.1.5:8080", "127.0.0.1", 8080, false},
        {"192.168.1.5:8080", "192.168.1.5", 8080, true},  // the address it listens on
        {"[fe80::1]:8080", "fe80::1", 8080, true},
        {"192.168.1.5:8080", "0.0.0.0", 8080, true},  // every interface: any address
        {"[fe80::1]:8080", "::", 8080, true},
        {"host.example:8080", "0.0.0.0", 8080, false},  // but never a name
        {"1.2.3:8080", "0.0.0.0", 8080, false},
        {"1.2.3.4:80", "0.0.0.0", 8080, false},
        {"", "127.0.0.1", 8080, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(HostAllowed(c.host, c.address, c.port), c.allowed)
            << c.host << " on " << c.address;
}

TEST(Access, OriginMustBeThisServer) {
    struct {
        const char* origin;
        bool allowed;
    } cases[] = {
        {"", true},  // not sent by a page
        {"http://127.0.0.1:8080", true},
        {"http://localhost:8080", true},
        {"https://127.0.0.1:8080", false},
        {"http://127.0.0.1:8081", false},
        {"http://evil.example", false},
        {"null", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OriginAllowed(c.origin, "127.0.0.1", 8080), c.allowed) << c.origin;
}

TEST(Access, TokenInCookieOrHeader) {
    const std::string token = "0123456789abcdef0123456789abcdef";
    struct {
        std::string cookie, header;
        bool carried;
    } cases[] = {
        {"", token, true},
        {"orva_token=" + token, "", true},
        {"a=1; orva_token=" + token + "; b=2", "", true},
        {"a=1;orva_token=" + token, "", true},
        {"xorva_token=" + token, "", false},
        {"orva_token=" + token + "0", "", false},
        {"orva_token=" + token.substr(1), "", false},
        {"orva_token=", "", false},
        {"", "", false},
        {"", token + " ", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CarriesToken(c.cookie, c.header, token), c.carried)
            << c.cookie << "|" << c.header;
}

class RootTest : public ::testing::Test {
  protected:
    void SetUp() override {
        base =
            fs::temp_directory_path() /
            ("orva-root-test-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
             "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(base);
        fs::create_directories(base / "root/sub");
        fs::create_directories(base / "outside");
        std::ofstream(base / "outside/secret.json") << "{}";
        fs::create_directory_symlink(base / "outside", base / "root/out");
        fs::create_directory_symlink(base / "root/sub", base / "root/alias");
        root = fs::canonical(base / "root");
    }
    void TearDown() override { fs::remove_all(base); }
    fs::path base, root;
};

TEST_F(RootTest, PathsStayBelowTheRoot) {
    struct {
        const char* relative;
        const char* inside;  // relative to the root, or null when refused
    } cases[] = {
        {"", ""},
        {".", ""},
        {"sub", "sub"},
        {"sub/new.json", "sub/new.json"},  // need not exist yet
        {"sub/../sub/x.json", "sub/x.json"},
        {"alias/x.json", "sub/x.json"},  // a link that stays inside
        {"..", nullptr},
        {"sub/../../x.json", nullptr},
        {"out", nullptr},  // a link that leads out
        {"out/secret.json", nullptr},
        {"/etc/passwd", nullptr},
    };
    for (const auto& c : cases) {
        const auto path = InsideRoot(root, c.relative);
        ASSERT_EQ(path.has_value(), c.inside != nullptr) << c.relative;
        if (path) {
            EXPECT_EQ(RelativeToRoot(root, *path), c.inside) << c.relative;
        }
    }
    // a root whose name another directory extends
    fs::create_directories(base / "root2");
    EXPECT_FALSE(InsideRoot(root, "../root2/x.json"));
}

}  // namespace
}  // namespace orva
