#pragma once

// Values between Python and the nodes. Images cross without a copy where numpy's layout is the
// image's: an array goes in as a CImage over its memory, a CImage comes out as an array that
// shares the image's pixels.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <optional>

#include "tarsel.h"

namespace orva::python {

namespace py = pybind11;

// The classes the package defines in Python (orva.Image, orva.NodeError), handed over at import.
void SetClasses(py::object image, py::object nodeError);
py::object NodeErrorClass();

// The pixel type and size an array of this dtype and shape has as `type`, or without a type
// the one it is taken for: 2-D (y, x) and 3-D (z, y, x) grey by dtype, (y, x, 3) and
// (z, y, x, 3) uint8 or float32 as interleaved colour. Nothing when the array cannot be an image of
// that type.
struct SLayout {
    ORVA::IImage::CType type;
    ORVA::CSize size;
};
std::optional<SLayout> LayoutOf(const py::array& array, std::optional<ORVA::IImage::CType> type);

// The array as an image: over its memory when it is C-contiguous, aligned and in native byte
// order (the array stays alive as long as the image), else one copy. An orva.Image's
// pixel_type is kept when it fits the array, and its attributes go along. TypeError or
// ValueError when the array cannot be an image.
std::unique_ptr<ORVA::CImage> ImageFromArray(const py::handle& object);

// An orva.Image sharing the image's pixels (no copy), with its pixel type and attributes.
py::object ArrayFromImage(ORVA::CImage& image);

// A Python object as a value: None, bool, int (32 bits), float, str, dict with str keys,
// list or tuple, numpy scalars and arrays (images). TypeError or ValueError otherwise.
std::unique_ptr<ORVA::CValue> ToValue(const py::handle& object);

// A value as Python sees it: None, bool, int, float, str, dict, list, orva.Image (sharing the
// pixels of images the value holds).
py::object FromValue(const ORVA::CValue* value);

}  // namespace orva::python
