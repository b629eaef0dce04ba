#include "Server.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "Access.h"
#include "Describe.h"
#include "Preview.h"
#include "Session.h"
#include "Summary.h"

namespace orva {

using namespace ORVA;
namespace fs = std::filesystem;

namespace {

constexpr const char* JSON_TYPE = "application/json";
constexpr size_t KEPT_RUNS = 32;

std::string Json(const CValue& value) {
    return CTextSerializer::ToText(value, 0);
}

std::string Quoted(const std::string& text) {
    return Json(CValueString(text));
}

std::string ErrorJson(const std::string& message) {
    return "{\"error\": " + Quoted(message) + "}";
}

void Reply(httplib::Response& response, int status, const std::string& body,
           const char* type = JSON_TYPE) {
    response.status = status;
    response.set_content(body, type);
}

// A request's problem, answered with its status and message.
struct SRefusal {
    int status;
    std::string message;
};

const char* ContentType(const fs::path& path) {
    static const std::map<std::string, const char*> types = {
        {".html", "text/html; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".json", JSON_TYPE},
        {".png", "image/png"},
        {".svg", "image/svg+xml"},
        {".txt", "text/plain; charset=utf-8"}};
    auto found = types.find(path.extension().string());
    return found == types.end() ? "application/octet-stream" : found->second;
}

std::optional<std::string> ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in || fs::is_directory(path)) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A pointer value that owns its pointee is shared (reference-counted); a borrowed one is copied,
// since its owner may change or free it on the next run.
std::unique_ptr<CValue> Keep(const CValue& value) {
    const CValuePointerBase* pointer = value.Pointer();
    return value.CloneUnique(pointer && !pointer->Owns() ? OWNERSHIP_DEEP : OWNERSHIP_SHALLOW);
}

// The text an output shows for a number, a truth value or a text.
std::string ScalarText(const CValue& value) {
    if (value.GenericType() == CValue::VAL_STRING) return value.String();
    std::unique_ptr<CValue> plain = value.CloneUnique(OWNERSHIP_SHALLOW);
    plain->Meta().Clear();
    return Json(*plain);
}

// Percent-encoded for one segment of a path.
std::string UrlPart(const std::string& text) {
    std::string encoded;
    for (unsigned char c : text) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '~') {
            encoded += static_cast<char>(c);
        } else {
            const char* digits = "0123456789ABCDEF";
            encoded += {'%', digits[c >> 4], digits[c & 15]};
        }
    }
    return encoded;
}

int64_t Number(const httplib::Request& request, const char* key, int64_t fallback) {
    if (!request.has_param(key)) return fallback;
    const std::string text = request.get_param_value(key);
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end) throw SRefusal{400, std::string(key) + " is not a whole number"};
    return value;
}

}  // namespace

struct CServer::SImpl {
    // An output kept for previews and pixel values.
    struct SKept {
        std::unique_ptr<CValue> value;
        const CImage* image = nullptr;
        SImageSummary summary{};
        EnPreviewMode mode = EnPreviewMode::AS_IS;
    };

    struct SRun {
        std::string id;
        CancelFlag cancel{false};
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::string> events;            // JSON texts in order
        std::map<std::string, std::string> latest;  // node id -> its last event
        std::string state = "running";
        bool ended = false;
    };

    class CObserver;

    SServeOptions options;
    fs::path root, web, doc;
    std::string token;
    int port = 0;
    httplib::Server http;
    std::string catalogue;  // GET /api/nodes, made once

    // Graph runs: one session, updated by run requests and run by the worker, one at a time.
    std::mutex sessionMutex;
    CGraphSession session;
    std::map<std::string, std::unique_ptr<CValueVector>> lastOutputs;  // worker only

    std::mutex keptMutex;
    std::map<std::pair<std::string, int>, std::shared_ptr<const SKept>> kept;
    std::atomic<long> version{0};

    std::mutex runsMutex;
    std::condition_variable runsChanged;
    std::map<long, std::shared_ptr<SRun>> runs;
    std::deque<std::shared_ptr<SRun>> queue;
    long lastRun = 0;
    bool stopping = false;
    std::thread worker;

    explicit SImpl(SServeOptions given);
    ~SImpl();
    void Routes();
    bool Admit(const httplib::Request& request, httplib::Response& response);

    std::shared_ptr<SRun> FindRun(const std::string& id);
    std::string StartRun(const std::string& body);
    void Work();
    void Execute(SRun& run);
    static void Emit(SRun& run, const std::string& id, const std::string& event);
    static void End(SRun& run, const std::string& state, const std::string& message = {});
    std::unique_ptr<CValueVector> Outputs(const CHostNode& node);
    std::shared_ptr<const SKept> Kept(const std::string& node, const std::string& pin);

    std::string NodeJson(const std::string& address);
    std::string Files(const std::string& dir);
    std::string Save(const std::string& body);
    std::string Load(const std::string& path);
    std::string GraphJson();
};

class CServer::SImpl::CObserver : public IRunObserver {
  public:
    CObserver(SImpl& server, SRun& run) : m_server(server), m_run(run) {}

    void NodeState(const CHostNode& node, EnState state, double milliseconds,
                   const std::string& message) override {
        CValueMap event;
        event.SetEntry("type", new CValueString("node"));
        event.SetEntry("id", new CValueString(node.Id()));
        const char* words[] = {"running", "done", "cached", "error"};
        event.SetEntry("state", new CValueString(words[static_cast<int>(state)]));
        if (state != EnState::RUNNING) event.SetEntry("time_ms", new CValueDouble(milliseconds));
        if (state == EnState::FAILED) {
            event.SetEntry("message", new CValueString(message));
            m_server.lastOutputs.erase(node.Id());
        }
        if (state == EnState::DONE) m_server.lastOutputs[node.Id()] = m_server.Outputs(node);
        if (state == EnState::DONE || state == EnState::CACHED) {
            auto found = m_server.lastOutputs.find(node.Id());
            if (found != m_server.lastOutputs.end())
                event.SetEntry("outputs", found->second->CloneUnique(OWNERSHIP_SHALLOW));
        }
        Emit(m_run, node.Id(), Json(event));
    }

  private:
    SImpl& m_server;
    SRun& m_run;
};

CServer::SImpl::SImpl(SServeOptions given) : options(std::move(given)) {
    std::error_code error;
    root = fs::canonical(options.root, error);
    if (error || !fs::is_directory(root))
        throw UsageError("--root '" + options.root.string() + "' is not a directory");
    const fs::path install = fs::absolute(InstallRoot());
    web = install / "share/orva/web";
    doc = install / "doc/vimbro/html";
    if (!options.graph.empty()) options.graph = fs::absolute(options.graph).string();
    token = NewToken();

    CValueMap list;
    auto modules = std::make_unique<CValueVector>();
    for (const std::string& module : InstalledModules()) {
        auto entry = std::make_unique<CValueMap>();
        entry->SetEntry("name", new CValueString(module));
        auto nodes = std::make_unique<CValueVector>();
        for (const std::string& name : LoadModule(ModulePath(module)).ListPlugins()) {
            const std::string address = module == "utility" ? name : module + "::" + name;
            try {
                CHostNode node(name, address);
                nodes->PushBack(NodeValue(node, true, false));
            } catch (const std::exception& failure) {
                std::cerr << "orva serve: node " << address << " left out: " << failure.what()
                          << std::endl;
            }
        }
        entry->SetEntry("nodes", std::move(nodes));
        modules->PushBack(std::move(entry));
    }
    list.SetEntry("modules", std::move(modules));
    catalogue = Json(list);

    // Every open connection holds a thread (event streams for the length of a run).
    http.new_task_queue = [] { return new httplib::ThreadPool(16); };
    http.set_payload_max_length(options.bodyLimit);
    http.set_keep_alive_timeout(2);
    Routes();
    worker = std::thread([this] { Work(); });
}

CServer::SImpl::~SImpl() {
    {
        std::lock_guard lock(runsMutex);
        stopping = true;
        for (auto& [id, run] : runs)
            run->cancel = true;
    }
    runsChanged.notify_all();
    worker.join();
}

bool CServer::SImpl::Admit(const httplib::Request& request, httplib::Response& response) {
    if (!HostAllowed(request.get_header_value("Host"), options.host, port)) {
        Reply(response, 403, ErrorJson("this server does not answer to that host name"));
        return false;
    }
    if (!OriginAllowed(request.get_header_value("Origin"), options.host, port)) {
        Reply(response, 403, ErrorJson("requests from other sites are refused"));
        return false;
    }
    if (request.has_param("token") && request.get_param_value("token") == token) {
        // The first visit: images and the event stream carry only the cookie.
        response.set_header("Set-Cookie",
                            "orva_token=" + token + "; HttpOnly; SameSite=Strict; Path=/");
        return true;
    }
    if (CarriesToken(request.get_header_value("Cookie"), request.get_header_value("X-Orva-Token"),
                     token))
        return true;
    Reply(response, 403, ErrorJson("open the address orva serve printed (it carries the token)"));
    return false;
}

void CServer::SImpl::Routes() {
    using httplib::Request;
    using httplib::Response;
    http.set_pre_routing_handler([this](const Request& request, Response& response) {
        return Admit(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                        : httplib::Server::HandlerResponse::Handled;
    });
    // Every handler's failures become answers; nothing escapes into the library.
    auto guarded = [](auto handler) {
        return [handler](const Request& request, Response& response) {
            try {
                handler(request, response);
            } catch (const SRefusal& refusal) {
                Reply(response, refusal.status, ErrorJson(refusal.message));
            } catch (const UsageError& error) {
                Reply(response, 400, ErrorJson(error.what()));
            } catch (const CException& error) {
                Reply(response, 400, ErrorJson(error.Message()));
            } catch (const std::exception& error) {
                Reply(response, 500, ErrorJson(error.what()));
            }
        };
    };

    http.Get("/api/nodes", guarded([this](const Request&, Response& response) {
                 Reply(response, 200, catalogue);
             }));
    http.Get("/api/node", guarded([this](const Request& request, Response& response) {
                 Reply(response, 200, NodeJson(request.get_param_value("address")));
             }));
    http.Get("/api/graph", guarded([this](const Request&, Response& response) {
                 Reply(response, 200, GraphJson());
             }));
    http.Post("/api/run", guarded([this](const Request& request, Response& response) {
                  Reply(response, 200, "{\"run\": " + Quoted(StartRun(request.body)) + "}");
              }));
    http.Get(R"(/api/run/([^/]+))", guarded([this](const Request& request, Response& response) {
                 std::shared_ptr<SRun> run = FindRun(request.matches[1]);
                 std::lock_guard lock(run->mutex);
                 std::string nodes;
                 for (const auto& [id, event] : run->latest)
                     nodes += (nodes.empty() ? "" : ", ") + Quoted(id) + ": " + event;
                 Reply(response, 200,
                       "{\"state\": " + Quoted(run->state) + ", \"nodes\": {" + nodes + "}}");
             }));
    http.Post(R"(/api/run/([^/]+)/cancel)",
              guarded([this](const Request& request, Response& response) {
                  FindRun(request.matches[1])->cancel = true;
                  Reply(response, 200, "{}");
              }));
    http.Get(
        R"(/api/run/([^/]+)/events)", guarded([this](const Request& request, Response& response) {
            std::shared_ptr<SRun> run = FindRun(request.matches[1]);
            response.set_header("Cache-Control", "no-cache");
            // From the first event, whenever the stream connects.
            size_t next = 0;
            response.set_chunked_content_provider(
                "text/event-stream", [this, run, next](size_t, httplib::DataSink& sink) mutable {
                    std::string chunk;
                    bool ended = false;
                    {
                        std::unique_lock lock(run->mutex);
                        run->changed.wait_for(lock, std::chrono::milliseconds(250), [&] {
                            return next < run->events.size() || run->ended;
                        });
                        for (; next < run->events.size(); ++next)
                            chunk += "data: " + run->events[next] + "\n\n";
                        ended = run->ended;
                    }
                    if (!chunk.empty() && !sink.write(chunk.data(), chunk.size())) return false;
                    if (ended) sink.done();
                    std::lock_guard lock(runsMutex);
                    return !stopping;
                });
        }));
    http.Get(R"(/api/preview/([^/]+)/([^/]+))",
             guarded([this](const Request& request, Response& response) {
                 std::shared_ptr<const SKept> output = Kept(request.matches[1], request.matches[2]);
                 if (!output->image) throw SRefusal{404, "the output holds no image"};
                 const std::string png =
                     PreviewPng(*output->image, output->summary, output->mode,
                                Number(request, "plane", 0), Number(request, "max", 0));
                 // Each version of an output has its own address.
                 response.set_header("Cache-Control", "private, max-age=3600");
                 Reply(response, 200, png, "image/png");
             }));
    http.Get(R"(/api/pixel/([^/]+)/([^/]+))",
             guarded([this](const Request& request, Response& response) {
                 std::shared_ptr<const SKept> output = Kept(request.matches[1], request.matches[2]);
                 std::unique_ptr<CValue> value =
                     output->image ? PixelValue(*output->image, Number(request, "x", 0),
                                                Number(request, "y", 0), Number(request, "z", 0))
                                   : std::make_unique<CValueNull>();
                 Reply(response, 200, "{\"value\": " + Json(*value) + "}");
             }));
    http.Get("/api/files", guarded([this](const Request& request, Response& response) {
                 Reply(response, 200, Files(request.get_param_value("dir")));
             }));
    http.Post("/api/save", guarded([this](const Request& request, Response& response) {
                  Reply(response, 200, Save(request.body));
              }));
    http.Get("/api/load", guarded([this](const Request& request, Response& response) {
                 Reply(response, 200, Load(request.get_param_value("path")));
             }));
    // Help pages and the editor itself: files below their directories, nothing else.
    auto files = [this](const fs::path& base, const std::string& relative, Response& response) {
        std::optional<fs::path> path =
            fs::exists(base) ? InsideRoot(fs::canonical(base), relative) : std::nullopt;
        std::optional<std::string> content = path ? ReadFile(*path) : std::nullopt;
        if (!content) throw SRefusal{404, "no such page"};
        Reply(response, 200, *content, ContentType(*path));
    };
    http.Get(R"(/doc/(.+))", guarded([this, files](const Request& request, Response& response) {
                 files(doc, request.matches[1], response);
             }));
    http.Get(R"(/(.*))", guarded([this, files](const Request& request, Response& response) {
                 const std::string name = request.matches[1];
                 if (name.rfind("api/", 0) == 0) throw SRefusal{404, "no such request"};
                 files(web, name.empty() ? "index.html" : name, response);
             }));
    http.set_error_handler([](const Request&, Response& response) {
        if (response.body.empty()) response.set_content(ErrorJson("not found"), JSON_TYPE);
    });
}

std::shared_ptr<CServer::SImpl::SRun> CServer::SImpl::FindRun(const std::string& id) {
    char* end = nullptr;
    const long number = std::strtol(id.c_str(), &end, 10);
    std::lock_guard lock(runsMutex);
    auto found = id.empty() || *end ? runs.end() : runs.find(number);
    if (found == runs.end()) throw SRefusal{404, "no run " + id};
    return found->second;
}

// A new run stops the one before between two of its nodes, then takes the graph as it is now.
// Only what changed since runs again.
std::string CServer::SImpl::StartRun(const std::string& body) {
    std::unique_ptr<CValue> request = CTextSerializer::FromText(body);
    const CValue* graph = request->Map() ? request->Map()->Entry("graph") : nullptr;
    if (!graph || !graph->Map()) throw SRefusal{400, "the request holds no \"graph\" object"};
    auto run = std::make_shared<SRun>();
    long number = 0;
    {
        std::lock_guard lock(runsMutex);
        for (auto& [id, earlier] : runs)
            earlier->cancel = true;
        number = ++lastRun;
        run->id = std::to_string(number);
        runs[number] = run;
        while (runs.size() > KEPT_RUNS)
            runs.erase(runs.begin());
    }
    try {
        std::lock_guard lock(sessionMutex);
        session.Update(*graph);
    } catch (...) {
        std::lock_guard lock(runsMutex);
        runs.erase(number);
        throw;
    }
    {
        std::lock_guard lock(runsMutex);
        queue.push_back(run);
    }
    runsChanged.notify_all();
    return run->id;
}

void CServer::SImpl::Work() {
    for (;;) {
        std::shared_ptr<SRun> run;
        {
            std::unique_lock lock(runsMutex);
            runsChanged.wait(lock, [&] { return stopping || !queue.empty(); });
            if (stopping) {
                for (auto& waiting : queue)
                    End(*waiting, "cancelled");
                return;
            }
            run = queue.front();
            queue.pop_front();
        }
        Execute(*run);
    }
}

void CServer::SImpl::Execute(SRun& run) {
    std::lock_guard lock(sessionMutex);
    if (run.cancel) return End(run, "cancelled");
    CObserver observer(*this, run);
    try {
        session.Run(&observer, &run.cancel);
        End(run, "done");
    } catch (const NodeFailure& failure) {
        // The nodes after the one that failed did not run.
        const auto& nodes = session.Graph().Nodes();
        for (size_t i = session.Graph().IndexOf(failure.Id()) + 1; i < nodes.size(); ++i) {
            lastOutputs.erase(nodes[i]->Id());
            Emit(run, nodes[i]->Id(),
                 "{\"type\": \"node\", \"id\": " + Quoted(nodes[i]->Id()) +
                     ", \"state\": \"skipped\"}");
        }
        End(run, "error");
    } catch (const Cancelled&) {
        End(run, "cancelled");
    } catch (const CException& error) {
        End(run, "error", error.Message());
    } catch (const std::exception& error) {
        End(run, "error", error.what());
    }
}

void CServer::SImpl::Emit(SRun& run, const std::string& id, const std::string& event) {
    {
        std::lock_guard lock(run.mutex);
        run.events.push_back(event);
        run.latest[id] = event;
    }
    run.changed.notify_all();
}

void CServer::SImpl::End(SRun& run, const std::string& state, const std::string& message) {
    {
        std::lock_guard lock(run.mutex);
        run.events.push_back("{\"type\": \"end\", \"state\": " + Quoted(state) +
                             (message.empty() ? "" : ", \"message\": " + Quoted(message)) + "}");
        run.state = state;
        run.ended = true;
    }
    run.changed.notify_all();
}

// What a node's outputs show, each image kept for its previews under a new version.
std::unique_ptr<CValueVector> CServer::SImpl::Outputs(const CHostNode& node) {
    auto outputs = std::make_unique<CValueVector>();
    // Label images are shown in false colour: the integer images of labelling nodes.
    const bool labels = std::string(node.Setup().EntryString("subType", "")) == "LabelImage";
    for (int pin : OutputPins(node)) {
        const CValue* value = node.Node().StackOutput(pin);
        auto entry = std::make_unique<CValueMap>();
        entry->SetEntry("pin", new CValueLong(pin));
        const long number = ++version;
        entry->SetEntry("version", new CValueLong(static_cast<int32_t>(number)));
        const std::string kind = value ? ValueKind(*value) : "null";
        const CImage* image = value && kind == "image" ? UnwrapPointer<CImage>(value) : nullptr;
        if (image) {
            auto output = std::make_shared<SKept>();
            output->value = Keep(*value);
            output->image = UnwrapPointer<CImage>(output->value.get());
            output->summary = Summarize(*output->image);
            output->mode = PreviewMode(image->Type(), labels);
            {
                std::lock_guard lock(keptMutex);
                kept[{node.Id(), pin}] = std::move(output);
            }
            entry->SetEntry("kind", new CValueString("image"));
            entry->SetEntry("image", SummaryValue(*image));
            entry->SetEntry("preview",
                            new CValueString("/api/preview/" + UrlPart(node.Id()) + "/" +
                                             std::to_string(pin) + "?v=" + std::to_string(number)));
            outputs->PushBack(std::move(entry));
            continue;
        }
        {
            std::lock_guard lock(keptMutex);
            kept.erase({node.Id(), pin});
        }
        if (kind == "image" || kind == "null" || !value) {
            entry->SetEntry("kind", new CValueString("null"));
        } else if (kind == "map" || kind == "vector") {
            entry->SetEntry("kind", new CValueString(kind));
            const CValueVector* pointee =
                value->Pointer() ? UnwrapPointer<CValueVector>(value) : nullptr;
            std::unique_ptr<CValue> json = pointee ? pointee->CloneUnique(OWNERSHIP_SHALLOW)
                                                   : value->CloneUnique(OWNERSHIP_SHALLOW);
            if (!pointee && value->Pointer()) json = std::make_unique<CValueNull>();
            json->Meta().Clear();  // the attributes of the list are not part of it
            entry->SetEntry("json", std::move(json));
        } else {
            entry->SetEntry("kind", new CValueString(kind));
            entry->SetEntry("text", new CValueString(ScalarText(*value)));
        }
        outputs->PushBack(std::move(entry));
    }
    return outputs;
}

std::shared_ptr<const CServer::SImpl::SKept> CServer::SImpl::Kept(const std::string& node,
                                                                  const std::string& pin) {
    char* end = nullptr;
    const long number = std::strtol(pin.c_str(), &end, 10);
    std::lock_guard lock(keptMutex);
    auto found = pin.empty() || *end ? kept.end() : kept.find({node, static_cast<int>(number)});
    if (found == kept.end()) throw SRefusal{404, "no image at " + node + ":" + pin};
    return found->second;
}

std::string CServer::SImpl::NodeJson(const std::string& address) {
    if (address.empty()) throw SRefusal{400, "address names no node"};
    CHostNode node(address, address);
    const auto listed = LoadModule(node.Name().modulePath).ListPlugins();
    const bool isListed = std::find(listed.begin(), listed.end(), node.Name().node) != listed.end();
    return Json(*NodeValue(node, isListed, !isListed));
}

std::string CServer::SImpl::Files(const std::string& dir) {
    std::optional<fs::path> path = InsideRoot(root, dir);
    if (!path) throw SRefusal{403, "'" + dir + "' is outside the served directory"};
    if (!fs::is_directory(*path)) throw SRefusal{404, "'" + dir + "' is no directory"};
    std::vector<std::tuple<bool, std::string, uintmax_t>> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(*path)) {
        const std::string name = entry.path().filename().string();
        if (name.empty() || name[0] == '.') continue;
        std::error_code error;
        const bool directory = entry.is_directory(error);
        // A link that leads out of the root is not offered.
        if (!InsideRoot(root, RelativeToRoot(root, entry.path()))) continue;
        found.emplace_back(!directory, name, directory ? 0 : entry.file_size(error));
    }
    std::sort(found.begin(), found.end());
    CValueMap listing;
    listing.SetEntry("dir", new CValueString(RelativeToRoot(root, *path)));
    auto entries = std::make_unique<CValueVector>();
    for (const auto& [file, name, size] : found) {
        auto entry = std::make_unique<CValueMap>();
        entry->SetEntry("name", new CValueString(name));
        entry->SetEntry("dir", new CValueBool(!file));
        if (size <= static_cast<uintmax_t>(INT32_MAX))
            entry->SetEntry("size", new CValueLong(static_cast<int32_t>(size)));
        else
            entry->SetEntry("size", new CValueDouble(static_cast<double>(size)));
        entries->PushBack(std::move(entry));
    }
    listing.SetEntry("entries", std::move(entries));
    return Json(listing);
}

std::string CServer::SImpl::Save(const std::string& body) {
    std::unique_ptr<CValue> request = CTextSerializer::FromText(body);
    const CValueMap* map = request->Map();
    const CValue* graph = map ? map->Entry("graph") : nullptr;
    const std::string relative = map ? std::string(map->EntryString("path", "")) : "";
    if (!graph || !graph->Map() || relative.empty())
        throw SRefusal{400, "a save needs a \"path\" and a \"graph\" object"};
    std::optional<fs::path> path = InsideRoot(root, relative);
    if (!path || *path == root)
        throw SRefusal{403, "'" + relative + "' is outside the served directory"};
    std::error_code error;
    fs::create_directories(path->parent_path(), error);
    std::ofstream out(*path, std::ios::binary | std::ios::trunc);
    out << CTextSerializer::ToText(*graph, 1) << "\n";
    out.close();
    if (!out) throw SRefusal{500, "could not write '" + relative + "'"};
    return "{\"path\": " + Quoted(RelativeToRoot(root, *path)) + "}";
}

std::string CServer::SImpl::Load(const std::string& relative) {
    std::optional<fs::path> path = InsideRoot(root, relative);
    if (!path) throw SRefusal{403, "'" + relative + "' is outside the served directory"};
    if (!fs::is_regular_file(*path)) throw SRefusal{404, "no file '" + relative + "'"};
    std::unique_ptr<CValue> graph = CTextSerializer::FromFile(path->string());
    return "{\"graph\": " + Json(*graph) + ", \"path\": " + Quoted(RelativeToRoot(root, *path)) +
           "}";
}

std::string CServer::SImpl::GraphJson() {
    if (options.graph.empty()) return "{\"graph\": null, \"path\": null}";
    std::unique_ptr<CValue> graph = CTextSerializer::FromFile(options.graph);
    const fs::path path = fs::weakly_canonical(options.graph);
    const std::string relative = RelativeToRoot(root, path);
    const bool inside = InsideRoot(root, relative).has_value() && relative.rfind("..", 0) != 0;
    return "{\"graph\": " + Json(*graph) + ", \"path\": " + (inside ? Quoted(relative) : "null") +
           "}";
}

CServer::CServer(SServeOptions options) : m_impl(std::make_unique<SImpl>(std::move(options))) {}

CServer::~CServer() = default;

int CServer::Bind() {
    SImpl& impl = *m_impl;
    impl.port =
        impl.options.port == 0
            ? impl.http.bind_to_any_port(impl.options.host)
            : (impl.http.bind_to_port(impl.options.host, impl.options.port) ? impl.options.port
                                                                            : -1);
    if (impl.port < 0)
        throw UsageError("cannot listen on " + impl.options.host + ":" +
                         std::to_string(impl.options.port));
    return impl.port;
}

std::string CServer::Url() const {
    const std::string& host = m_impl->options.host;
    const std::string name = host.find(':') != std::string::npos ? "[" + host + "]" : host;
    return "http://" + name + ":" + std::to_string(m_impl->port) + "/?token=" + m_impl->token;
}

const fs::path& CServer::Root() const {
    return m_impl->root;
}

void CServer::Listen() {
    m_impl->http.listen_after_bind();
}

void CServer::Stop() {
    m_impl->http.stop();
}

}  // namespace orva
