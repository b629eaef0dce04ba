#include "PGetCoordinates.h"

#include <algorithm>
#include <iostream>

namespace ORVA {

void CPGetCoordinates::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "GetCoordinates");
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
    doc.Parameter("label", false, "put the value of input 0 in a first column").Toggle();
    doc.Parameter("3d", false, "scan all planes and add a z column").Toggle();
    doc.Keywords({"coordinate table", "coordinate vector", "extract coordinates", "pixel list"});
    doc.WriteTo(setup);
}

void CPGetCoordinates::Run() {
    const char* where = "(utility plugins) GetCoordinates::Run";
    CValue* value0 = GetStackInput(0, false);
    if (!value0) throw CException(where, "input 0 is NULL");
    if (!HoldsType<CImage>(value0)) throw CException(where, "input 0 is not an image");
    CValue* value1 = GetStackInput(1, false);
    if (value1 && !HoldsType<CImage>(value1)) throw CException(where, "input 1 is not an image");
    const CImage* input = UnwrapPointer<CImage>(value0, where);
    if (!input) throw CException(where, "input 0 is NULL");
    if (input->Type() != IMAGE_GREY_F)
        throw CException(where, "input image 0 is not of type IMAGE_GREY_F");
    const CImage* mask = value1 ? UnwrapPointer<CImage>(value1, where) : nullptr;
    if (mask && mask->Type() != IMAGE_GREY_F)
        throw CException(where, "input image 1 is not of type IMAGE_GREY_F");

    const bool label = Parameters().EntryBool("label", false);
    const bool threeD = Parameters().EntryBool("3d", false);
    const CSize size = input->Size();
    const int64_t planeSize = size.x * size.y;
    const int64_t region = planeSize * (threeD ? size.z : std::min<int64_t>(size.z, 1));
    const float* values = input->Data<float>();
    const float* selection = mask ? mask->Data<float>() : values;
    const int64_t selectable = std::min(region, mask ? mask->Pixels() : input->Pixels());

    int64_t rows = 0;
    for (int64_t i = 0; i < selectable; ++i)
        rows += selection[i] != 0;
    if (rows == 0)
        std::cout << where << " Warning: No non-zero pixel found, resulting image is zero-sized!"
                  << std::endl;
    const int64_t columns = 2 + (label ? 1 : 0) + (threeD ? 1 : 0);
    auto output = std::make_unique<CImage>(IMAGE_GREY_F, CSize(columns, rows, 1), CSize(0, 0, 0),
                                           CImage::NoInit{});
    float* row = output->Data<float>();
    for (int64_t i = 0; i < selectable; ++i) {
        if (selection[i] == 0) continue;
        if (label) *row++ = values[i];
        *row++ = static_cast<float>(i % size.x);
        *row++ = static_cast<float>(i / size.x % size.y);
        if (threeD) *row++ = static_cast<float>(i / planeSize);
    }
    SetStackOutput(0, OwnedImage(std::move(output)));
}

}  // namespace ORVA
