// The extension module _orva: nodes and graphs of the runner, with Python values. The package
// (orva/__init__.py) puts the public face on it.
#include <pybind11/stl.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "Convert.h"
#include "Describe.h"
#include "Graph.h"

namespace orva::python {

using namespace ORVA;

namespace {

// Nodes that keep state between runs may keep it where every object of the process sees it
// (static storage, timers' counters); nodes without a declaration may too, for all we know.
// Such nodes run one at a time, whatever object or graph they belong to.
std::mutex g_sharedState;

bool SharesState(const CHostNode& node) {
    return !node.Declaration().IsDeclared() || node.Declaration().IsStateful();
}

// Taken with the GIL released, so that a thread waiting here holds up no other.
class CSharedLock {
  public:
    explicit CSharedLock(bool shares) : m_lock(g_sharedState, std::defer_lock) {
        if (shares) m_lock.lock();
    }

  private:
    std::unique_lock<std::mutex> m_lock;
};

SCheckOptions Options(bool lenient) {
    return SCheckOptions{.lenient = lenient};
}

std::vector<std::string> Nodes(const std::string& module) {
    return LoadModule(ModulePath(module)).ListPlugins();
}

// A node made only to be read: its declaration and document.
CHostNode Inspected(const std::string& name) {
    return CHostNode("describe", name);
}

class CPyNode {
  public:
    CPyNode(const std::string& name, const std::string& id, bool lenient, const py::dict& settings)
        : m_host(std::make_unique<CHostNode>(id, name)) {
        for (auto [key, value] : settings)
            m_host->Set(key.cast<std::string>(), ToValue(value), Options(lenient));
        m_pins = OutputPins(*m_host);
        m_shares = SharesState(*m_host);
        py::gil_scoped_release release;
        CSharedLock shared(m_shares);
        m_host->Initialise();
    }

    // Runs the node once on `positional` inputs (pin 0, 1, ...) and `pinned` ones ({pin:
    // value}); the outputs it declares, one value or a tuple.
    py::object Call(const py::tuple& positional, const py::dict& pinned) {
        std::vector<std::pair<int, std::unique_ptr<CValue>>> inputs;
        for (size_t pin = 0; pin < positional.size(); ++pin)
            inputs.emplace_back(static_cast<int>(pin), ToValue(positional[pin]));
        for (auto [key, value] : pinned) {
            if (!PyLong_Check(key.ptr())) throw py::type_error("input pins are ints");
            inputs.emplace_back(key.cast<int>(), ToValue(value));
        }
        std::vector<int> pins;
        std::vector<std::unique_ptr<CValue>> taken;
        std::vector<bool> set;
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> own(m_mutex);
            CSharedLock shared(m_shares);
            CPNode& node = m_host->Node();
            node.ClearStackInputs();
            for (auto& [pin, value] : inputs)
                node.SetStackInput(pin, value.get());
            try {
                m_host->Run();
            } catch (...) {
                node.ClearStackInputs();
                throw;
            }
            node.ClearStackInputs();
            pins = m_pins;
            // A node without pins on paper still has the outputs it set.
            if (pins.empty())
                for (int pin = 0; pin < node.StackOutputs(); ++pin)
                    pins.push_back(pin);
            // Taken, so that arrays own what they show and later runs cannot change it.
            for (int pin : pins) {
                set.push_back(node.IsStackOutputSet(pin));
                taken.push_back(set.back() ? node.TakeStackOutput(pin) : nullptr);
            }
        }
        py::list results;
        for (size_t i = 0; i < pins.size(); ++i) {
            // An output a run leaves unset keeps the value of the run before.
            if (set[i]) m_last[pins[i]] = FromValue(taken[i].get());
            auto last = m_last.find(pins[i]);
            results.append(last == m_last.end() ? py::none() : last->second);
        }
        if (results.size() == 1) return results[0];
        if (results.size() == 0) return py::none();
        return py::tuple(results);
    }

    const CHostNode& Host() const { return *m_host; }
    std::vector<int> OutputPinList() const { return m_pins; }
    bool Shares() const { return m_shares; }
    py::dict Settings() const {
        py::dict settings;
        for (const auto& [key, value] : m_host->Settings())
            settings[py::str(key)] = FromValue(value.get());
        return settings;
    }

  private:
    std::unique_ptr<CHostNode> m_host;
    std::vector<int> m_pins;
    bool m_shares = true;
    std::mutex m_mutex;
    std::map<int, py::object> m_last;
};

class CPyGraph {
  public:
    explicit CPyGraph(CGraph graph) : m_graph(std::move(graph)) {}

    static std::unique_ptr<CPyGraph> Load(const std::string& path, bool lenient) {
        return std::make_unique<CPyGraph>(CGraph::Load(path, Options(lenient)));
    }
    // Nodes of `previous` with the same id and plugin live on, with their state.
    static std::unique_ptr<CPyGraph> FromDict(const py::dict& document, bool lenient,
                                              CPyGraph* previous) {
        std::unique_ptr<CValue> value = ToValue(document);
        std::vector<std::unique_ptr<CHostNode>> reusable;
        if (previous) {
            std::lock_guard<std::mutex> lock(previous->m_mutex);
            reusable = previous->m_graph.TakeNodes();
        }
        return std::make_unique<CPyGraph>(
            CGraph::FromValue(*value, "graph", Options(lenient), previous ? &reusable : nullptr));
    }

    void Initialise() {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(m_mutex);
        bool shares = std::any_of(m_graph.Nodes().begin(), m_graph.Nodes().end(),
                                  [](const auto& node) { return SharesState(*node); });
        CSharedLock shared(shares);
        m_graph.Initialise();
    }

    // Every node once, in order; Ctrl-C stops the run between nodes.
    void Run() {
        for (size_t index = 0; index < m_graph.Nodes().size(); ++index) {
            {
                py::gil_scoped_release release;
                std::lock_guard<std::mutex> lock(m_mutex);
                CSharedLock shared(SharesState(*m_graph.Nodes()[index]));
                m_graph.RunNode(index, nullptr);
            }
            if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        }
    }

    py::object Output(const std::string& reference) {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto [node, pin] = m_graph.Find(reference);
        return FromValue(node->Node().StackOutput(pin));
    }

    // "ID:PIN" of every output of the nodes that feed no other node.
    std::vector<std::string> Ends() const {
        const auto& nodes = m_graph.Nodes();
        std::vector<bool> feeds(nodes.size(), false);
        for (size_t i = 0; i < nodes.size(); ++i)
            for (const SLink& link : m_graph.Links(i))
                feeds[link.source] = true;
        std::vector<std::string> ends;
        for (size_t i = 0; i < nodes.size(); ++i) {
            if (feeds[i]) continue;
            std::vector<int> pins = OutputPins(*nodes[i]);
            if (pins.empty())
                for (int pin = 0; pin < nodes[i]->Node().StackOutputs(); ++pin)
                    pins.push_back(pin);
            for (int pin : pins)
                ends.push_back(nodes[i]->Id() + ":" + std::to_string(pin));
        }
        return ends;
    }

    py::object ToDict() const { return FromValue(m_graph.ToValue().get()); }

  private:
    CGraph m_graph;
    std::mutex m_mutex;
};

void RaiseNodeError(const NodeFailure& failure) {
    py::object error = NodeErrorClass()(failure.what(), failure.Id(), failure.Plugin(),
                                        failure.Location(), failure.Message());
    PyErr_SetObject(NodeErrorClass().ptr(), error.ptr());
}

}  // namespace

}  // namespace orva::python

using namespace orva;
using namespace orva::python;
using namespace ORVA;

PYBIND11_MODULE(_orva, module) {
    module.doc() = "Nodes and graphs of orva; use the package orva.";

    py::register_exception_translator([](std::exception_ptr pointer) {
        try {
            if (pointer) std::rethrow_exception(pointer);
        } catch (const NodeFailure& failure) {
            RaiseNodeError(failure);
        } catch (const UsageError& error) {
            PyErr_SetString(PyExc_ValueError, error.what());
        } catch (const Cancelled& error) {
            PyErr_SetString(PyExc_KeyboardInterrupt, error.what());
        } catch (const CException& error) {
            PyErr_SetString(PyExc_ValueError, error.FormattedWhat().c_str());
        }
    });

    module.def("_set_classes", &SetClasses);
    module.def("nodes", &Nodes, py::arg("module") = "utility");
    module.def("modules", &InstalledModules);
    module.def("describe",
               [](const std::string& name) { return FromValue(&Inspected(name).Setup()); });
    module.def("help_text", [](const std::string& name) {
        return TextPage(SNodeHelp::FromNode(Inspected(name)));
    });
    module.def("install_root", &InstallRoot);
    // Whether the array can be an image of the named type.
    module.def("fits", [](const py::array& array, const std::string& type) {
        return LayoutOf(array, IImage::CType(type)).has_value();
    });
    module.def("pixel_types", [] {
        std::vector<std::string> names;
        for (int i = 0; i < IImage::CType::COUNT; ++i)
            names.push_back(IImage::CType::All()[i].Name());
        return names;
    });
    // The array through an image and back, with the image's pixel address: what every node
    // call does to its inputs and outputs, for checks that nothing is copied.
    module.def("_round_trip", [](const py::object& array) {
        std::unique_ptr<CImage> image = ImageFromArray(array);
        auto address = reinterpret_cast<uintptr_t>(image->Bytes());
        return py::make_tuple(address, ArrayFromImage(*image));
    });
    module.def("to_text",
               [](const py::object& value) { return CTextSerializer::ToText(*ToValue(value)); });
    module.def("from_text", [](const std::string& text) {
        return FromValue(CTextSerializer::FromText(text).get());
    });

    py::class_<CPyNode>(module, "Node")
        .def(py::init<const std::string&, const std::string&, bool, const py::dict&>(),
             py::arg("name"), py::arg("id"), py::arg("lenient"), py::arg("settings"))
        .def("__call__", &CPyNode::Call)
        .def_property_readonly("id", [](const CPyNode& node) { return node.Host().Id(); })
        .def_property_readonly("name",
                               [](const CPyNode& node) { return node.Host().Name().Address(); })
        .def_property_readonly("outputs", &CPyNode::OutputPinList)
        .def_property_readonly("shares_state", &CPyNode::Shares)
        .def_property_readonly("settings", &CPyNode::Settings)
        .def_property_readonly("runs", [](const CPyNode& node) { return node.Host().Runs(); })
        .def_property_readonly("seconds", [](const CPyNode& node) {
            return std::chrono::duration<double>(node.Host().Time()).count();
        });

    py::class_<CPyGraph>(module, "Graph")
        .def_static("load", &CPyGraph::Load)
        .def_static("from_dict", &CPyGraph::FromDict, py::arg("document"), py::arg("lenient"),
                    py::arg("previous").none(true))
        .def("initialise", &CPyGraph::Initialise)
        .def("run", &CPyGraph::Run)
        .def("output", &CPyGraph::Output)
        .def("ends", &CPyGraph::Ends)
        .def("to_dict", &CPyGraph::ToDict);
}
