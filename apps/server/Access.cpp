#include "Access.h"

#include <random>

namespace orva {

namespace {

// Compares in time that does not depend on where the texts differ.
bool SameText(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

}  // namespace

std::string NewToken() {
    std::random_device device;
    const char* digits = "0123456789abcdef";
    std::string token;
    for (int i = 0; i < 4; ++i) {
        uint32_t bits = device();
        for (int j = 0; j < 8; ++j, bits >>= 4)
            token += digits[bits & 15];
    }
    return token;
}

bool CarriesToken(const std::string& cookieHeader, const std::string& tokenHeader,
                  const std::string& token) {
    if (!tokenHeader.empty() && SameText(tokenHeader, token)) return true;
    // "a=1; orva_token=T; b=2"
    size_t begin = 0;
    while (begin < cookieHeader.size()) {
        size_t end = cookieHeader.find(';', begin);
        if (end == std::string::npos) end = cookieHeader.size();
        std::string cookie = cookieHeader.substr(begin, end - begin);
        const size_t first = cookie.find_first_not_of(' ');
        cookie = first == std::string::npos ? "" : cookie.substr(first);
        const std::string name = "orva_token=";
        if (cookie.compare(0, name.size(), name) == 0 &&
            SameText(cookie.substr(name.size()), token))
            return true;
        begin = end + 1;
    }
    return false;
}

namespace {

// Four dotted decimal numbers, or an address in brackets: names no DNS answer can rebind.
bool IsAddressLiteral(const std::string& name) {
    if (name.size() > 2 && name.front() == '[' && name.back() == ']')
        return name.find_first_not_of("0123456789abcdef:.", 1) == name.size() - 1;
    int dots = 0;
    for (char c : name)
        if (c == '.')
            ++dots;
        else if (c < '0' || c > '9')
            return false;
    return dots == 3 && !name.empty();
}

}  // namespace

bool HostAllowed(const std::string& host, const std::string& address, int port) {
    const std::string wanted = Lower(host);
    const std::string suffix = ":" + std::to_string(port);
    // Listening on every interface: reached by any address of the machine, never by a name.
    if ((address == "0.0.0.0" || address == "::") && wanted.size() > suffix.size() &&
        wanted.compare(wanted.size() - suffix.size(), suffix.size(), suffix) == 0 &&
        IsAddressLiteral(wanted.substr(0, wanted.size() - suffix.size())))
        return true;
    for (std::string name : {Lower(address), std::string("localhost"), std::string("127.0.0.1"),
                             std::string("[::1]")}) {
        if (name.find(':') != std::string::npos && name.front() != '[') name = "[" + name + "]";
        if (wanted == name + suffix) return true;
    }
    return false;
}

bool OriginAllowed(const std::string& origin, const std::string& address, int port) {
    if (origin.empty()) return true;
    const std::string scheme = "http://";
    return origin.compare(0, scheme.size(), scheme) == 0 &&
           HostAllowed(origin.substr(scheme.size()), address, port);
}

std::optional<std::filesystem::path> InsideRoot(const std::filesystem::path& root,
                                                const std::string& relative) {
    const std::filesystem::path given(relative);
    if (given.is_absolute() || given.has_root_name()) return std::nullopt;
    std::error_code error;
    const std::filesystem::path path = std::filesystem::weakly_canonical(root / given, error);
    if (error) return std::nullopt;
    const std::string text = path.string(), base = root.string();
    if (text == base) return path;
    const std::string prefix = base.back() == '/' ? base : base + "/";
    if (text.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
    return path;
}

std::string RelativeToRoot(const std::filesystem::path& root, const std::filesystem::path& path) {
    const std::string relative = path.lexically_relative(root).string();
    return relative == "." ? "" : relative;
}

}  // namespace orva
