#pragma once

// The editor's web server: serves the browser editor and the JSON API it uses to list nodes,
// run graphs (through the same runner as `orva run`), show results and open and save graph
// files below one root directory.
#include <filesystem>
#include <memory>
#include <string>

namespace orva {

struct SServeOptions {
    std::string host = "127.0.0.1";
    int port = 8080;  // 0: any free port
    std::filesystem::path root = ".";
    std::string graph;                    // a graph file opened at the start (may be empty)
    size_t bodyLimit = 64 * 1024 * 1024;  // bytes of one request body
};

class CServer {
  public:
    // Checks the options and lists the installed nodes; the server is not yet listening.
    explicit CServer(SServeOptions options);
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    // Binds the address (a usage error when it cannot) and returns the port.
    int Bind();
    // "http://HOST:PORT/?token=TOKEN", once bound.
    std::string Url() const;
    // The directory served, resolved.
    const std::filesystem::path& Root() const;
    // Serves until Stop(); from another thread or a signal handler's thread.
    void Listen();
    void Stop();

  private:
    struct SImpl;
    std::unique_ptr<SImpl> m_impl;
};

}  // namespace orva
