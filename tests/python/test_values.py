import numpy as np
import pytest

import orva
from orva import _orva


def address(array):
    return array.__array_interface__["data"][0]


# dtype, shape, pixel type the array is taken for
LAYOUTS = [
    (np.uint8, (3, 4), "IMAGE_GREY_8"),
    (np.uint16, (3, 4), "IMAGE_GREY_16"),
    (np.uint32, (3, 4), "IMAGE_GREY_32"),
    (np.uint64, (3, 4), "IMAGE_GREY_64"),
    (np.float32, (3, 4), "IMAGE_GREY_F"),
    (np.float64, (3, 4), "IMAGE_GREY_D"),
    (np.uint8, (2, 3, 4), "IMAGE_GREY_8"),  # (z, y, x)
    (np.uint8, (3, 4, 3), "IMAGE_RGB_8I"),
    (np.uint8, (2, 3, 4, 3), "IMAGE_RGB_8I"),  # (z, y, x, 3)
    (np.float32, (3, 4, 3), "IMAGE_RGB_FI"),
    (np.float64, (3, 4, 3), "IMAGE_GREY_D"),  # no float64 colour: a 3-D grey image
    (np.uint8, (0, 5), "IMAGE_GREY_8"),
]


@pytest.mark.parametrize("dtype, shape, pixel_type", LAYOUTS)
def test_every_type_crosses_without_a_copy(dtype, shape, pixel_type):
    array = (np.arange(np.prod(shape)) % 251).astype(dtype).reshape(shape)
    pixels, back = _orva._round_trip(array)
    if array.size:
        assert pixels == address(array)
        assert address(back) == pixels
    assert back.pixel_type == pixel_type
    assert back.dtype == dtype and back.shape == shape
    np.testing.assert_array_equal(back, array)


# forced type, array
FORCED = [
    ("IMAGE_BINARY_BG", np.array([[0, 1], [1, 0]], np.uint8)),
    ("IMAGE_RGB_8", np.arange(24, dtype=np.uint8).reshape(3, 2, 4)),
    ("IMAGE_GREY_8", np.arange(24, dtype=np.uint8).reshape(2, 4, 3)),  # width 3, not colour
]


@pytest.mark.parametrize("pixel_type, array", FORCED)
def test_forced_types_survive_a_node(pixel_type, array):
    image = orva.as_type(array, pixel_type)
    assert address(image) == address(array)
    copy = orva.Node("CopyImage")(image)
    assert copy.pixel_type == pixel_type and copy.shape == array.shape
    np.testing.assert_array_equal(copy, array)
    # the result goes back in as the same type
    assert orva.Node("CopyImage")(copy).pixel_type == pixel_type


def test_arrays_that_cannot_be_used_in_place_are_copied_with_their_values():
    base = np.arange(48, dtype=np.uint16).reshape(6, 8)
    cases = [base[::2, ::3], base.T, base.astype(">u2"), np.asfortranarray(base)]
    assert _orva._round_trip(base)[0] == address(base)  # while the base itself goes in place
    for array in cases:
        pixels, back = _orva._round_trip(array)
        assert pixels != address(array)
        assert back.dtype == np.uint16 and back.dtype.isnative
        np.testing.assert_array_equal(back, array)


def test_read_only_arrays_go_in_place():
    array = np.arange(6, dtype=np.float32).reshape(2, 3)
    array.setflags(write=False)
    assert _orva._round_trip(array)[0] == address(array)
    np.testing.assert_array_equal(orva.Node("CopyImage")(array), array)


def test_results_outlive_later_calls_and_the_node_that_made_them():
    node = orva.Node("CopyImage")
    result = node(np.full((64, 64), 7, np.float32))
    node(np.ones((64, 64), np.float32))
    del node
    import gc
    gc.collect()
    assert result.sum() == 7 * 64 * 64


# 1-D, 4-D grey, signed
@pytest.mark.parametrize("array", [np.zeros(5, np.uint8), np.zeros((2, 2, 2, 2), np.uint8), np.zeros((2, 2), np.int16)])
def test_arrays_that_are_no_image_are_refused(array):
    with pytest.raises(TypeError, match="as an image"):
        orva.Node("CopyImage")(array)


@pytest.mark.parametrize("pixel_type, array", [
    ("IMAGE_RGB_8", np.zeros((2, 3, 4), np.uint8)),   # first axis must be 3
    ("IMAGE_GREY_16", np.zeros((2, 2), np.uint8)),    # dtype
    ("IMAGE_GREY_9", np.zeros((2, 2), np.uint8)),     # no such type
])
def test_as_type_refuses_what_does_not_fit(pixel_type, array):
    with pytest.raises(ValueError):
        orva.as_type(array, pixel_type)


# Values stored and read back through the node that keeps values by key.
VALUES = [True, False, 0, -2**31, 2**31 - 1, 1.5, float("inf"), "text", "",
          [1, "a", [2.5]], {"a": 1, "b": {"c": [True, None]}}, np.int64(5), np.float32(0.5),
          np.bool_(True)]


@pytest.mark.parametrize("value", VALUES)
def test_values_cross_both_ways(value):
    orva.Node("StaticStorage", mode="WRITE", key="crossing")(value)
    back = orva.Node("StaticStorage", mode="READ", key="crossing")()
    assert back == value and type(back) is type(value.item() if hasattr(value, "item") else value)


@pytest.mark.parametrize("value, error", [
    (2**31, ValueError), (b"bytes", TypeError), ({1: 2}, TypeError), (object(), TypeError),
])
def test_values_nodes_cannot_take_are_refused(value, error):
    with pytest.raises(error):
        orva.Node("StaticStorage", mode="WRITE", key="refused")(value)


def test_attributes_go_in_and_come_out():
    tagged = orva.Node("SetImageAttributes", key="unit", value="mm")(np.zeros((2, 2), np.uint8))
    assert tagged.attributes == {"unit": "mm"}
    tagged.attributes["scale"] = [2.5, None]
    assert orva.Node("CopyImage")(tagged).attributes == {"scale": [2.5, None], "unit": "mm"}


def test_results_pickle_with_their_type_and_attributes():
    import pickle

    image = orva.as_type(np.array([[0, 1]], np.uint8), "IMAGE_BINARY_FG")
    image.attributes = {"unit": "mm"}
    back = pickle.loads(pickle.dumps(image))
    assert (back.pixel_type, back.attributes) == ("IMAGE_BINARY_FG", {"unit": "mm"})
    np.testing.assert_array_equal(back, image)
