#include "Value/TextSerializer.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "Value/Container.h"
#include "Value/Pointer.h"
#include "base/Exception.h"
#include "image/Image.h"

namespace ORVA {

namespace {

constexpr const char* LOCATION = "CTextSerializer";
constexpr int MAX_DEPTH = 512;

// ---- writing ----

class Writer {
  public:
    explicit Writer(int indent) : m_indent(indent) {}

    std::string Take() { return std::move(m_out); }

    void Value(const CValue& value) {
        if (value.HasMeta()) {
            Open('{');
            Key("@value");
            Plain(value);
            Next();
            Key("@meta");
            Plain(*value.MetaIfAny());
            Close('}', true);
        } else {
            Plain(value);
        }
    }

  private:
    void Plain(const CValue& value) {
        switch (value.GenericType()) {
            case CValue::VAL_NULL:
                m_out += "null";
                break;
            case CValue::VAL_BOOL:
                m_out += value.Bool() ? "true" : "false";
                break;
            case CValue::VAL_LONG:
                m_out += std::to_string(value.Long());
                break;
            case CValue::VAL_DOUBLE:
                Double(value.Double());
                break;
            case CValue::VAL_STRING:
                String(static_cast<const CValueString&>(value).Text());
                break;
            case CValue::VAL_MAP:
                Map(*value.Map());
                break;
            case CValue::VAL_VECTOR:
                Vector(*value.Vector());
                break;
            case CValue::VAL_POINTER:
                Pointer(*value.Pointer());
                break;
        }
    }

    void Map(const CValueMap& map) {
        Open('{');
        bool first = true;
        for (const auto& [key, entry] : map) {
            if (!first) Next();
            first = false;
            Key(!key.empty() && key[0] == '@' ? "@" + key : key);
            Value(*entry);
        }
        Close('}', !first);
    }

    void Vector(const CValueVector& vector) {
        Open('[');
        bool first = true;
        for (const auto& entry : vector) {
            if (!first) Next();
            first = false;
            Value(*entry);
        }
        Close(']', !first);
    }

    void Pointer(const CValuePointerBase& pointer) {
        if (AreTypesEqual(pointer.ElementType(), typeid(CImage))) {
            Open('{');
            Key("@image");
            if (pointer.IsNull())
                m_out += "null";
            else
                Image(*static_cast<const CImage*>(pointer.VoidPointer()));
            Close('}', true);
        } else if (AreTypesEqual(pointer.ElementType(), typeid(CValueVector))) {
            Open('{');
            Key("@vector");
            if (pointer.IsNull())
                m_out += "null";
            else
                Vector(*static_cast<const CValueVector*>(pointer.VoidPointer()));
            Close('}', true);
        } else {
            throw CException(LOCATION, CString("cannot write a value pointing to %1")
                                           .Arg(TypeName(pointer.ElementType())));
        }
    }

    void Image(const CImage& image) {
        Open('{');
        Key("type");
        String(image.Type().Name());
        Next();
        Key("size");
        const CSize& size = image.Size();
        m_out += CString("[%1, %2, %3]").Arg(size.x).Arg(size.y).Arg(size.z);
        std::to_string(size.z) + "]";
        Next();
        Key("data");
        m_out += '[';
        DispatchAnyType(image.Type(), [&]<class T>(std::type_identity<T>) {
            const T* data = image.Data<T>();
            for (int64_t i = 0; i < image.Samples(); ++i) {
                if (i) m_out += ", ";
                Sample(data[i]);
            }
        });
        m_out += ']';
        if (!image.Attributes().IsEmpty()) {
            Next();
            Key("attributes");
            Map(image.Attributes());
        }
        Close('}', true);
    }

    template <class F>
    static void DispatchAnyType(IImage::CType type, F&& f) {
        using Id = IImage::CType::EnId;
        DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_64, Id::GREY_F, Id::GREY_D,
                     Id::RGB_8, Id::RGB_8I, Id::RGB_FI, Id::BINARY_FG, Id::BINARY_BG>(
            type, std::forward<F>(f));
    }

    template <class T>
    void Sample(T value) {
        if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(value)) {
                NonFinite(value);
                return;
            }
            Decimal(FormatNumber(value));
        } else {
            m_out += std::to_string(value);
        }
    }

    void Double(double value) {
        if (!std::isfinite(value)) {
            NonFinite(value);
            return;
        }
        Decimal(FormatNumber(value));
    }

    // A number that reads back as a real, never as an integer ("-0" would lose its sign).
    void Decimal(std::string text) {
        if (text.find_first_of(".e") == std::string::npos) text += ".0";
        m_out += text;
    }

    void NonFinite(double value) {
        m_out += std::isnan(value) ? "{\"@double\": \"nan\"}"
                 : value > 0       ? "{\"@double\": \"inf\"}"
                                   : "{\"@double\": \"-inf\"}";
    }

    void String(std::string_view text) {
        m_out += '"';
        for (char c : text) {
            switch (c) {
                case '"':
                    m_out += "\\\"";
                    break;
                case '\\':
                    m_out += "\\\\";
                    break;
                case '\n':
                    m_out += "\\n";
                    break;
                case '\r':
                    m_out += "\\r";
                    break;
                case '\t':
                    m_out += "\\t";
                    break;
                case '\b':
                    m_out += "\\b";
                    break;
                case '\f':
                    m_out += "\\f";
                    break;
                default:
                    if (static_cast<unsigned char>(c) < 0x20) {
                        char escape[8];
                        std::snprintf(escape, sizeof escape, "\\u%04x", c);
                        m_out += escape;
                    } else {
                        m_out += c;
                    }
            }
        }
        m_out += '"';
    }

    void Key(std::string_view key) {
        String(key);
        m_out += ": ";
    }

    void Open(char bracket) {
        m_out += bracket;
        ++m_depth;
        Break();
    }
    void Close(char bracket, bool hadEntries) {
        --m_depth;
        if (hadEntries)
            Break();
        else if (m_indent > 0)
            m_out.resize(m_out.find_last_not_of(" \n") + 1);
        m_out += bracket;
    }
    void Next() {
        m_out += ',';
        if (m_indent == 0) m_out += ' ';
        Break();
    }
    void Break() {
        if (m_indent <= 0) return;
        m_out += '\n';
        m_out.append(static_cast<size_t>(m_depth * m_indent), ' ');
    }

    int m_indent;
    int m_depth = 0;
    std::string m_out;
};

// ---- reading ----

struct Member;

// A parsed JSON element; numbers keep their text so that floats are read without rounding
// through double.
struct Node {
    enum Kind { NUL, BOOL, INTEGER, UNSIGNED, FLOAT, STRING, ARRAY, OBJECT } kind = NUL;
    bool boolean = false;
    int64_t integer = 0;
    uint64_t unsignedInteger = 0;
    double number = 0.0;
    std::string text;
    std::vector<Node> items;
    // Not std::pair: a pair of a type still incomplete does not compile with every library.
    std::vector<Member> members;
};

struct Member {
    std::string first;
    Node second;
};

class Builder : public nlohmann::json_sax<nlohmann::json> {
  public:
    explicit Builder(std::string_view text) : m_text(text) {}

    Node TakeRoot() { return std::move(m_root); }

    bool null() override { return Add(Node{}); }
    bool boolean(bool value) override {
        Node node;
        node.kind = Node::BOOL;
        node.boolean = value;
        return Add(std::move(node));
    }
    bool number_integer(number_integer_t value) override {
        Node node;
        node.kind = Node::INTEGER;
        node.integer = value;
        return Add(std::move(node));
    }
    bool number_unsigned(number_unsigned_t value) override {
        Node node;
        node.kind = Node::UNSIGNED;
        node.unsignedInteger = value;
        return Add(std::move(node));
    }
    bool number_float(number_float_t value, const string_t& text) override {
        Node node;
        node.kind = Node::FLOAT;
        node.number = value;
        node.text = text;
        return Add(std::move(node));
    }
    bool string(string_t& value) override {
        Node node;
        node.kind = Node::STRING;
        node.text = std::move(value);
        return Add(std::move(node));
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return Push(Node::OBJECT); }
    bool key(string_t& key) override {
        m_keys.back() = std::move(key);
        return true;
    }
    bool end_object() override { return Pop(); }
    bool start_array(std::size_t) override { return Push(Node::ARRAY); }
    bool end_array() override { return Pop(); }
    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        Fail(position, error.what());
    }

  private:
    [[noreturn]] void Fail(size_t position, const std::string& what) const {
        size_t line = 1, column = 1;
        for (size_t i = 0; i < position && i < m_text.size(); ++i) {
            if (m_text[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        // nlohmann reports the position after the offending character.
        if (column > 1) --column;
        std::string reason = what;
        if (size_t colon = reason.find(": ");
            colon != std::string::npos && reason.rfind("[json.exception", 0) == 0)
            reason = reason.substr(colon + 2);
        throw CException(
            LOCATION,
            CString("malformed JSON at line %1, column %2: %3").Arg(line).Arg(column).Arg(reason));
    }

    bool Push(Node::Kind kind) {
        if (m_stack.size() >= MAX_DEPTH)
            throw CException(LOCATION, CString("JSON nested deeper than %1 levels").Arg(MAX_DEPTH));
        Node node;
        node.kind = kind;
        m_stack.push_back(std::move(node));
        m_keys.emplace_back();
        return true;
    }
    bool Pop() {
        Node node = std::move(m_stack.back());
        m_stack.pop_back();
        m_keys.pop_back();
        return Add(std::move(node));
    }
    bool Add(Node node) {
        if (m_stack.empty()) {
            m_root = std::move(node);
            return true;
        }
        Node& parent = m_stack.back();
        if (parent.kind == Node::ARRAY)
            parent.items.push_back(std::move(node));
        else
            parent.members.push_back(Member{m_keys.back(), std::move(node)});
        return true;
    }

    std::string_view m_text;
    std::vector<Node> m_stack;
    std::vector<std::string> m_keys;
    Node m_root;
};

[[noreturn]] void Invalid(const std::string& path, const std::string& what) {
    throw CException(LOCATION,
                     CString("invalid value at %1: %2").Arg(path.empty() ? "/" : path).Arg(what));
}

const Node* Member(const Node& object, std::string_view key) {
    const Node* found = nullptr;
    for (const auto& [name, node] : object.members)
        if (name == key) found = &node;  // the last of duplicate keys wins
    return found;
}

bool IsNumber(const Node& node) {
    return node.kind == Node::INTEGER || node.kind == Node::UNSIGNED || node.kind == Node::FLOAT;
}

double NumberOf(const Node& node) {
    switch (node.kind) {
        case Node::INTEGER:
            return static_cast<double>(node.integer);
        case Node::UNSIGNED:
            return static_cast<double>(node.unsignedInteger);
        default:
            return node.number;
    }
}

// {"@double": "nan"} and friends, or a plain number.
bool SpecialDouble(const Node& node, double* value) {
    if (IsNumber(node)) {
        *value = NumberOf(node);
        return true;
    }
    if (node.kind == Node::OBJECT && node.members.size() == 1 &&
        node.members[0].first == "@double") {
        const Node& inner = node.members[0].second;
        if (IsNumber(inner)) {
            *value = NumberOf(inner);
            return true;
        }
        if (inner.kind == Node::STRING) {
            if (inner.text == "nan")
                *value = std::numeric_limits<double>::quiet_NaN();
            else if (inner.text == "inf")
                *value = std::numeric_limits<double>::infinity();
            else if (inner.text == "-inf")
                *value = -std::numeric_limits<double>::infinity();
            else
                return false;
            return true;
        }
    }
    return false;
}

template <class T>
T SampleOf(const Node& node, const std::string& path) {
    if constexpr (std::is_floating_point_v<T>) {
        if (node.kind == Node::FLOAT) {
            T value{};
            auto [end, error] =
                std::from_chars(node.text.data(), node.text.data() + node.text.size(), value);
            if (error == std::errc() && end == node.text.data() + node.text.size()) return value;
            if (error == std::errc::result_out_of_range) return static_cast<T>(node.number);
        }
        double value = 0.0;
        if (!SpecialDouble(node, &value)) Invalid(path, "expected a number");
        return static_cast<T>(value);
    } else {
        if (node.kind == Node::INTEGER && node.integer >= 0 &&
            static_cast<uint64_t>(node.integer) <= std::numeric_limits<T>::max())
            return static_cast<T>(node.integer);
        if (node.kind == Node::UNSIGNED && node.unsignedInteger <= std::numeric_limits<T>::max())
            return static_cast<T>(node.unsignedInteger);
        Invalid(path,
                CString("expected an integer from 0 to %1").Arg(std::numeric_limits<T>::max()));
    }
}

std::unique_ptr<CValue> Convert(const Node& node, const std::string& path);

std::unique_ptr<CImage> ConvertImage(const Node& node, const std::string& path) {
    if (node.kind != Node::OBJECT) Invalid(path, "an image is an object");
    const Node* type = Member(node, "type");
    const Node* size = Member(node, "size");
    const Node* data = Member(node, "data");
    if (!type || type->kind != Node::STRING) Invalid(path + "/type", "expected a pixel type name");
    if (!size || size->kind != Node::ARRAY || size->items.size() != 3)
        Invalid(path + "/size", "expected [width, height, depth]");
    int64_t extents[3];
    for (int i = 0; i < 3; ++i) {
        const Node& extent = size->items[static_cast<size_t>(i)];
        if (extent.kind != Node::INTEGER && extent.kind != Node::UNSIGNED)
            Invalid(path + "/size", "extents are integers");
        if (extent.kind == Node::UNSIGNED && extent.unsignedInteger > INT64_MAX)
            Invalid(path + "/size", "extent too large");
        extents[i] = extent.kind == Node::INTEGER ? extent.integer
                                                  : static_cast<int64_t>(extent.unsignedInteger);
    }
    IImage::CType pixelType(type->text);
    CSize imageSize(extents[0], extents[1], extents[2]);
    // The data must be there before any memory is asked for, so a forged size cannot
    // make us allocate what the text does not hold.
    if (!data || data->kind != Node::ARRAY) Invalid(path + "/data", "expected an array of samples");
    int64_t samples = imageSize.Elements();
    if (samples < 0 || samples > INT64_MAX / pixelType.Channels() ||
        static_cast<uint64_t>(samples * pixelType.Channels()) != data->items.size())
        Invalid(path + "/data", CString("expected %1 samples for %2 of size %3, found %4")
                                    .Arg(samples < 0 ? 0 : samples * pixelType.Channels())
                                    .Arg(pixelType.Name())
                                    .Arg(imageSize.ToString())
                                    .Arg(data->items.size()));
    auto image = std::make_unique<CImage>(pixelType, imageSize, CSize(0, 0, 0), CImage::NoInit{});
    using Id = IImage::CType::EnId;
    DispatchType<Id::GREY_8, Id::GREY_16, Id::GREY_32, Id::GREY_64, Id::GREY_F, Id::GREY_D,
                 Id::RGB_8, Id::RGB_8I, Id::RGB_FI, Id::BINARY_FG, Id::BINARY_BG>(
        pixelType, [&]<class T>(std::type_identity<T>) {
            T* out = image->Data<T>();
            for (size_t i = 0; i < data->items.size(); ++i)
                out[i] = SampleOf<T>(data->items[i], path + "/data/" + std::to_string(i));
        });
    if (const Node* attributes = Member(node, "attributes")) {
        std::unique_ptr<CValue> map = Convert(*attributes, path + "/attributes");
        if (!map->Map()) Invalid(path + "/attributes", "attributes are an object");
        image->Attributes() = std::move(*map->Map());
    }
    return image;
}

std::unique_ptr<CValue> ConvertSpecial(const Node& node, const std::string& path) {
    const auto& [key, inner] = node.members.front();
    std::string innerPath = path + "/" + key;
    if (key == "@double") {
        double value = 0.0;
        if (!SpecialDouble(node, &value))
            Invalid(innerPath, "expected a number, \"nan\", \"inf\" or \"-inf\"");
        if (inner.kind == Node::FLOAT) value = SampleOf<double>(inner, innerPath);
        return std::make_unique<CValueDouble>(value);
    }
    if (key == "@long") {
        bool fits = (inner.kind == Node::INTEGER && inner.integer >= INT32_MIN &&
                     inner.integer <= INT32_MAX) ||
                    (inner.kind == Node::UNSIGNED && inner.unsignedInteger <= INT32_MAX);
        if (!fits) Invalid(innerPath, "expected a 32-bit integer");
        return std::make_unique<CValueLong>(static_cast<int32_t>(
            inner.kind == Node::INTEGER ? inner.integer
                                        : static_cast<int64_t>(inner.unsignedInteger)));
    }
    if (key == "@image") {
        if (inner.kind == Node::NUL) return std::make_unique<CValueOwnedPointer<CImage>>(nullptr);
        return std::make_unique<CValueOwnedPointer<CImage>>(ConvertImage(inner, innerPath));
    }
    if (key == "@vector") {
        if (inner.kind == Node::NUL)
            return std::make_unique<CValueOwnedPointer<CValueVector>>(nullptr);
        std::unique_ptr<CValue> vector = Convert(inner, innerPath);
        if (!vector->Vector()) Invalid(innerPath, "expected an array");
        return std::make_unique<CValueOwnedPointer<CValueVector>>(
            std::make_unique<CValueVector>(std::move(*vector->Vector())));
    }
    Invalid(innerPath, CString("unknown form '%1'").Arg(key));
}

std::unique_ptr<CValue> Convert(const Node& node, const std::string& path) {
    switch (node.kind) {
        case Node::NUL:
            return std::make_unique<CValueNull>();
        case Node::BOOL:
            return std::make_unique<CValueBool>(node.boolean);
        case Node::INTEGER:
            if (node.integer >= INT32_MIN && node.integer <= INT32_MAX)
                return std::make_unique<CValueLong>(static_cast<int32_t>(node.integer));
            return std::make_unique<CValueDouble>(static_cast<double>(node.integer));
        case Node::UNSIGNED:
            if (node.unsignedInteger <= INT32_MAX)
                return std::make_unique<CValueLong>(static_cast<int32_t>(node.unsignedInteger));
            return std::make_unique<CValueDouble>(static_cast<double>(node.unsignedInteger));
        case Node::FLOAT:
            return std::make_unique<CValueDouble>(SampleOf<double>(node, path));
        case Node::STRING:
            return std::make_unique<CValueString>(node.text);
        case Node::ARRAY: {
            auto vector = std::make_unique<CValueVector>();
            for (size_t i = 0; i < node.items.size(); ++i)
                vector->PushBack(Convert(node.items[i], path + "/" + std::to_string(i)));
            return vector;
        }
        case Node::OBJECT:
            break;
    }
    if (const Node* value = Member(node, "@value")) {
        std::unique_ptr<CValue> result = Convert(*value, path + "/@value");
        if (const Node* meta = Member(node, "@meta")) {
            std::unique_ptr<CValue> map = Convert(*meta, path + "/@meta");
            if (!map->Map()) Invalid(path + "/@meta", "metadata is an object");
            result->Meta() = std::move(*map->Map());
        }
        return result;
    }
    if (node.members.size() == 1 && node.members[0].first.size() > 1 &&
        node.members[0].first[0] == '@' && node.members[0].first[1] != '@')
        return ConvertSpecial(node, path);
    auto map = std::make_unique<CValueMap>();
    for (const auto& [name, member] : node.members) {
        if (!name.empty() && name[0] == '@' && (name.size() < 2 || name[1] != '@'))
            Invalid(path, CString("unexpected key '%1'").Arg(name));
        std::string key = name.empty() || name[0] != '@' ? name : name.substr(1);
        // As everywhere in maps, a "/" in a key addresses a nested map.
        map->SetEntry(key, Convert(member, path + "/" + key));
    }
    return map;
}

}  // namespace

CTextSerializer::CTextSerializer(int indent, int, std::ostream* stream)
    : m_indent(indent < 0 ? 0 : indent), m_stream(stream ? stream : &std::cout) {}

void CTextSerializer::Write(const CValue& value) {
    *m_stream << ToText(value, m_indent) << '\n';
    m_stream->flush();
}

std::unique_ptr<CValue> CTextSerializer::Read(std::istream& stream) {
    std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    return FromText(text);
}

std::string CTextSerializer::ToText(const CValue& value, int indent) {
    Writer writer(indent);
    writer.Value(value);
    return writer.Take();
}

std::unique_ptr<CValue> CTextSerializer::FromText(std::string_view text) {
    Builder builder(text);
    nlohmann::json::sax_parse(text.begin(), text.end(), &builder);
    return Convert(builder.TakeRoot(), "");
}

std::unique_ptr<CValue> CTextSerializer::FromFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw CException(LOCATION, CString("cannot open '%1' for reading").Arg(path));
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad()) throw CException(LOCATION, CString("cannot read '%1'").Arg(path));
    try {
        return FromText(text);
    } catch (const CException& error) {
        throw CException(LOCATION, path + ": " + error.Message());
    }
}

}  // namespace ORVA
