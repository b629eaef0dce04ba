#include "ServeCommand.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "Host.h"
#include "Server.h"

namespace orva {

void AddServeCommand(CLI::App& app) {
    auto options = std::make_shared<SServeOptions>();
    auto root = std::make_shared<std::string>(".");
    CLI::App* serve = app.add_subcommand(
        "serve", "Serve the graph editor in the browser; the first line printed is its address");
    serve->add_option("graph", options->graph, "Graph file to open");
    serve->add_option("--port", options->port, "Port to listen on (0: any free port)")
        ->capture_default_str();
    serve
        ->add_option("--host", options->host,
                     "Address to listen on; anything but loopback lets others run programs "
                     "as you, given the token")
        ->capture_default_str();
    serve->add_option("--root", *root, "Directory the editor opens and saves files in")
        ->capture_default_str();
    serve->callback([options, root] {
        options->root = *root;
        if (options->port < 0 || options->port > 65535)
            throw UsageError("--port must be between 0 and 65535");
        // Relative paths in parameters are read from the root, as `orva run` reads them from
        // where it runs; the installation is found wherever that is.
        const std::filesystem::path install = std::filesystem::absolute(InstallRoot());
        setenv("ORVADIR", install.c_str(), 1);
        CServer server(*options);
        server.Bind();
        std::filesystem::current_path(server.Root());
        // Scripts and tests read the address from this first line.
        std::cout << server.Url() << std::endl;
        server.Listen();
    });
}

}  // namespace orva
