#include "Convert.h"

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace orva::python {

using namespace ORVA;
using Id = IImage::CType::EnId;

namespace {

// Owned by the module: set at import, dropped at interpreter exit without a decref (the
// interpreter is gone by then).
py::object* g_image = nullptr;
py::object* g_nodeError = nullptr;

py::dtype DtypeOf(IImage::CType type) {
    switch (type.Id()) {
        case Id::GREY_16:
            return py::dtype::of<uint16_t>();
        case Id::GREY_32:
            return py::dtype::of<uint32_t>();
        case Id::GREY_64:
            return py::dtype::of<uint64_t>();
        case Id::GREY_F:
        case Id::RGB_FI:
            return py::dtype::of<float>();
        case Id::GREY_D:
            return py::dtype::of<double>();
        default:
            return py::dtype::of<uint8_t>();
    }
}

// Whether numpy's sample type is the pixel type's: same size and kind, native byte order.
bool SameSamples(const py::dtype& dtype, IImage::CType type) {
    char kind = dtype.kind();
    if (kind != (type.IsFloating() ? 'f' : 'u')) return false;
    return static_cast<size_t>(dtype.itemsize()) == type.ElementSize();
}

// Grey extents (z, y, x) from a 2-D or 3-D shape.
std::optional<CSize> GreySize(const std::vector<py::ssize_t>& shape) {
    if (shape.size() == 2) return CSize(shape[1], shape[0], 1);
    if (shape.size() == 3) return CSize(shape[2], shape[1], shape[0]);
    return std::nullopt;
}

std::vector<py::ssize_t> ShapeOf(const py::array& array) {
    return std::vector<py::ssize_t>(array.shape(), array.shape() + array.ndim());
}

std::optional<IImage::CType> PixelTypeAttribute(const py::handle& object) {
    if (!g_image || !py::isinstance(object, *g_image)) return std::nullopt;
    py::object name = object.attr("pixel_type");
    if (name.is_none()) return std::nullopt;
    try {
        return IImage::CType(name.cast<std::string>());
    } catch (const CException&) {
        return std::nullopt;  // a stale or foreign name: the array decides
    }
}

}  // namespace

void SetClasses(py::object image, py::object nodeError) {
    g_image = new py::object(std::move(image));
    g_nodeError = new py::object(std::move(nodeError));
}

py::object NodeErrorClass() {
    return g_nodeError ? *g_nodeError : py::reinterpret_borrow<py::object>(PyExc_RuntimeError);
}

std::optional<SLayout> LayoutOf(const py::array& array, std::optional<IImage::CType> forced) {
    std::vector<py::ssize_t> shape = ShapeOf(array);
    py::dtype dtype = array.dtype();
    const size_t n = shape.size();
    auto fits = [&](IImage::CType type) -> std::optional<SLayout> {
        if (!SameSamples(dtype, type)) return std::nullopt;
        if (!type.IsColour()) {
            if (auto size = GreySize(shape)) return SLayout{type, *size};
            return std::nullopt;
        }
        if (n != 3 && n != 4) return std::nullopt;
        if (type.IsPlanar()) {
            if (shape[0] != 3) return std::nullopt;
            return SLayout{
                type, n == 3 ? CSize(shape[2], shape[1], 1) : CSize(shape[3], shape[2], shape[1])};
        }
        if (shape[n - 1] != 3) return std::nullopt;
        return SLayout{type,
                       n == 3 ? CSize(shape[1], shape[0], 1) : CSize(shape[2], shape[1], shape[0])};
    };
    if (forced) return fits(*forced);
    // Trailing 3 of bytes or floats is colour; everything else grey by sample type.
    if ((n == 3 || n == 4) && shape[n - 1] == 3) {
        if (auto colour = fits(IMAGE_RGB_8I)) return colour;
        if (auto colour = fits(IMAGE_RGB_FI)) return colour;
    }
    for (IImage::CType type :
         {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_64, IMAGE_GREY_F, IMAGE_GREY_D})
        if (auto grey = fits(type)) return grey;
    return std::nullopt;
}

std::unique_ptr<CImage> ImageFromArray(const py::handle& object) {
    py::array array = py::reinterpret_borrow<py::array>(object);
    py::dtype dtype = array.dtype();
    // Byte order does not matter here: a swapped array is taken by a copy below.
    std::optional<SLayout> layout = LayoutOf(array, PixelTypeAttribute(object));
    if (!layout) layout = LayoutOf(array, std::nullopt);
    if (!layout) {
        std::string shape;
        for (py::ssize_t extent : ShapeOf(array))
            shape += (shape.empty() ? "" : ", ") + std::to_string(extent);
        throw py::type_error(
            "cannot pass an array of dtype " + py::str(dtype).cast<std::string>() + " and shape (" +
            shape +
            ") as an image: images are 2-D (y, x) or 3-D (z, y, x) arrays of uint8, uint16, "
            "uint32, uint64, float32 or float64, or (y, x, 3) and (z, y, x, 3) uint8 or float32 "
            "colour");
    }
    std::unique_ptr<CImage> image;
    const int flags = array.flags();
    const bool inPlace = (flags & py::array::c_style) &&
                         (flags & py::detail::npy_api::NPY_ARRAY_ALIGNED_) &&
                         dtype.attr("isnative").cast<bool>();
    const size_t bytes = static_cast<size_t>(array.nbytes());
    try {
        if (inPlace) {
            // Borrowed for the image's life: the keeper holds a reference to the array.
            auto* held = new py::object(py::reinterpret_borrow<py::object>(object));
            std::shared_ptr<void> keeper(held, [](py::object* array) {
                py::gil_scoped_acquire gil;
                delete array;
            });
            auto* data = static_cast<uint8_t*>(const_cast<void*>(array.data()));
            image = std::make_unique<CImage>(layout->type, layout->size,
                                             CBuffer(data, bytes, std::move(keeper)));
        } else {
            image = std::make_unique<CImage>(layout->type, layout->size, CSize(0, 0, 0),
                                             CImage::NoInit{});
            // numpy copies (and swaps bytes) into the image's memory, seen as an array.
            py::array target(DtypeOf(layout->type), ShapeOf(array), image->Bytes(), py::none());
            py::module_::import("numpy").attr("copyto")(target, array, "same_kind");
        }
    } catch (const CException& error) {
        throw py::value_error(error.FormattedWhat());
    }
    if (g_image && py::isinstance(object, *g_image)) {
        py::object attributes = object.attr("attributes");
        if (!attributes.is_none()) {
            std::unique_ptr<CValue> map = ToValue(attributes);
            if (!map->Map()) throw py::type_error("Image.attributes must be a dict");
            image->Attributes() = std::move(*map->Map());
        }
    }
    return image;
}

py::object ArrayFromImage(CImage& image) {
    const IImage::CType type = image.Type();
    const CSize& size = image.Size();
    std::vector<py::ssize_t> shape;
    if (type.IsPlanar()) shape.push_back(3);
    if (size.z != 1) shape.push_back(size.z);
    shape.push_back(size.y);
    shape.push_back(size.x);
    if (type.IsColour() && !type.IsPlanar()) shape.push_back(3);

    auto* pixels = new std::shared_ptr<uint8_t>(image.SharePixels());
    py::capsule owner(pixels,
                      [](void* shared) { delete static_cast<std::shared_ptr<uint8_t>*>(shared); });
    py::array array(DtypeOf(type), shape, pixels->get(), owner);
    if (!g_image) return array;
    py::object result = array.attr("view")(*g_image);
    result.attr("pixel_type") = type.Name();
    result.attr("attributes") = FromValue(&image.Attributes());
    return result;
}

std::unique_ptr<CValue> ToValue(const py::handle& object) {
    if (object.is_none()) return std::make_unique<CValueNull>();
    if (py::isinstance<py::array>(object)) {
        return std::make_unique<CValueOwnedPointer<CImage>>(ImageFromArray(object));
    }
    PyObject* raw = object.ptr();
    static py::handle numpyBool = py::object(py::module_::import("numpy").attr("bool_")).release();
    if (PyBool_Check(raw) || py::isinstance(object, numpyBool))
        return std::make_unique<CValueBool>(PyObject_IsTrue(raw) == 1);
    if (PyIndex_Check(raw)) {
        long long number = py::int_(py::reinterpret_borrow<py::object>(object)).cast<long long>();
        if (number < INT32_MIN || number > INT32_MAX)
            throw py::value_error("integer " + std::to_string(number) +
                                  " does not fit a node's 32-bit long; pass a float");
        return std::make_unique<CValueLong>(static_cast<int32_t>(number));
    }
    if (PyFloat_Check(raw) || py::hasattr(object, "__float__")) {
        double number = PyFloat_AsDouble(raw);
        if (number == -1.0 && PyErr_Occurred()) throw py::error_already_set();
        return std::make_unique<CValueDouble>(number);
    }
    if (PyUnicode_Check(raw)) return std::make_unique<CValueString>(object.cast<std::string>());
    if (PyDict_Check(raw)) {
        auto map = std::make_unique<CValueMap>();
        for (auto [key, value] : py::reinterpret_borrow<py::dict>(object)) {
            if (!PyUnicode_Check(key.ptr()))
                throw py::type_error(
                    "map keys must be str, not " +
                    py::str(py::type::of(key).attr("__name__")).cast<std::string>());
            map->SetEntry(CValue_Key(key.cast<std::string>()), ToValue(value));
        }
        return map;
    }
    if (PyList_Check(raw) || PyTuple_Check(raw)) {
        auto vector = std::make_unique<CValueVector>();
        for (py::handle item : object)
            vector->PushBack(ToValue(item));
        return vector;
    }
    throw py::type_error("cannot pass a " +
                         py::str(py::type::of(object).attr("__name__")).cast<std::string>() +
                         " to a node: values are None, bool, int, float, str, dict, list and "
                         "numpy arrays");
}

py::object FromValue(const CValue* value) {
    if (!value) return py::none();
    switch (value->GenericType()) {
        case CValue::VAL_NULL:
            return py::none();
        case CValue::VAL_BOOL:
            return py::bool_(value->Bool());
        case CValue::VAL_LONG:
            return py::int_(value->Long());
        case CValue::VAL_DOUBLE:
            return py::float_(value->Double());
        case CValue::VAL_STRING:
            return py::str(std::string(value->String()));
        case CValue::VAL_MAP: {
            py::dict dict;
            for (const auto& [key, entry] : *value->Map())
                dict[py::str(key)] = FromValue(entry.get());
            return dict;
        }
        case CValue::VAL_VECTOR: {
            py::list list;
            for (const auto& entry : *value->Vector())
                list.append(FromValue(entry.get()));
            return list;
        }
        case CValue::VAL_POINTER: {
            const CValuePointerBase* pointer = value->Pointer();
            if (pointer->IsNull()) return py::none();
            if (AreTypesEqual(pointer->ElementType(), typeid(CImage)))
                return ArrayFromImage(*static_cast<CImage*>(pointer->VoidPointer()));
            if (AreTypesEqual(pointer->ElementType(), typeid(CValueVector)))
                return FromValue(static_cast<const CValueVector*>(pointer->VoidPointer()));
            throw py::type_error("a node gave a " + TypeName(pointer->ElementType()) +
                                 ", which Python cannot take");
        }
    }
    return py::none();
}

}  // namespace orva::python
