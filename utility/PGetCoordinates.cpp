#include "PGetCoordinates.h"

#include <algorithm>
#include <iostream>

#include "algorithms/PixelCoordinates.h"

namespace ORVA {

void CPGetCoordinates::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "GetCoordinates");
    doc.Brief("Lists the coordinates of non-zero pixels.",
              "Writes one row per selected pixel, in the order planes, rows, columns: the value "
              "of input 0 there (with label), x, y, and z (with 3d). A pixel is selected where "
              "the mask (input 1, else input 0 itself) is not 0; NaN counts as non-zero. The mask "
              "is read at the same pixel index as input 0; pixels beyond the mask's end are not "
              "selected, and an empty mask image counts as none. Without 3d only the first plane "
              "is scanned. When no pixel is selected a warning is printed and the table has no "
              "rows.");
    doc.Input(0, "Input image of type IMAGE_GREY_F.");
    doc.Input(1, "Optional mask of type IMAGE_GREY_F and the size of input 0.").Optional();
    doc.Output(0, "Table of type IMAGE_GREY_F with one row per selected pixel.");
    doc.ParameterReadInRun("label", false, "put the value of input 0 in a first column").Toggle();
    doc.ParameterReadInRun("3d", false, "scan all planes and add a z column").Toggle();
    doc.Keywords({"coordinate table", "coordinate vector", "extract coordinates", "pixel list"});
}

void CPGetCoordinates::Run() {
    const char* where = "(utility plugins) GetCoordinates::Run";
    if (!HasStackInput(0)) throw CException(where, "input 0 is NULL");
    // Both values are checked for images before input 0 for a null image.
    const CImage* input =
        InputImage(0, {.where = where, .notImage = "input 0 is not an image", .optional = true});
    const CImage* mask =
        InputImage(1, {.where = where, .notImage = "input 1 is not an image", .optional = true});
    if (!input) throw CException(where, "input 0 is NULL");
    if (input->Type() != IMAGE_GREY_F)
        throw CException(where, "input image 0 is not of type IMAGE_GREY_F");
    if (mask && mask->Type() != IMAGE_GREY_F)
        throw CException(where, "input image 1 is not of type IMAGE_GREY_F");

    const bool label = Parameters().EntryBool("label", false);
    const bool threeD = Parameters().EntryBool("3d", false);
    const CSize size = input->Size();
    const int64_t region = size.x * size.y * (threeD ? size.z : std::min<int64_t>(size.z, 1));
    const float* values = input->Data<float>();
    const float* selection = mask ? mask->Data<float>() : values;
    const int64_t selectable = std::min(region, mask ? mask->Pixels() : input->Pixels());

    const int64_t rows = CountSelected(selection, selectable);
    if (rows == 0)
        std::cout << where << " Warning: No non-zero pixel found, resulting image is zero-sized!"
                  << std::endl;
    const int64_t columns = 2 + (label ? 1 : 0) + (threeD ? 1 : 0);
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, CSize(columns, rows, 1), CSize(0, 0, 0),
                                           CImage::NoInit{});
    ListCoordinates(values, selection, selectable, size, label, threeD, output->Data<float>());
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
