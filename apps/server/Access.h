#pragma once

// Who may use the server and what it may touch: the access token, the Host and Origin checks
// against DNS rebinding and other sites, and paths kept inside the served root.
#include <filesystem>
#include <optional>
#include <string>

namespace orva {

// 128 random bits as 32 hex digits.
std::string NewToken();

// Whether a request carries `token`: in the cookie "orva_token" or the header "X-Orva-Token".
bool CarriesToken(const std::string& cookieHeader, const std::string& tokenHeader,
                  const std::string& token);

// Whether a Host header names this server: the address it listens on, or a loopback name
// (localhost, 127.0.0.1, [::1]), with the port it listens on.
bool HostAllowed(const std::string& host, const std::string& address, int port);

// Whether an Origin header is this server's own ("http://" and an allowed host); a request
// without one (not from a page) passes.
bool OriginAllowed(const std::string& origin, const std::string& address, int port);

// `relative` below `root` (canonical), with symbolic links resolved; nothing when it is
// absolute or leads outside the root.
std::optional<std::filesystem::path> InsideRoot(const std::filesystem::path& root,
                                                const std::string& relative);

// A path below `root` as the API shows it: relative, "" for the root itself.
std::string RelativeToRoot(const std::filesystem::path& root, const std::filesystem::path& path);

}  // namespace orva
