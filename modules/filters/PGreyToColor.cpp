#include "PGreyToColor.h"

#include "Colour.h"
#include "FilterNode.h"

namespace ORVA::Filters {

namespace {

constexpr SChoice<EnColourMap> MAPS[] = {
    {"GREY", EnColourMap::GREY}, {"JET", EnColourMap::JET}, {"HOT", EnColourMap::HOT}};
constexpr SChoice<bool> OUT_TYPES[] = {{"IMAGE_RGB_8I", true}, {"IMAGE_RGB_8", false}};

}  // namespace

void CPGreyToColor::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Colour", "GreyToColor").HelpPage("filters", "PGreyToColor");
    doc.Brief("False colours for an 8-bit grey image.",
              "Each value v maps through a table of 256 colours, with t = v / 255 and each "
              "channel scaled by 255 and rounded half to even: GREY (v, v, v); JET r = clamp(1.5 "
              "- |4t - 3|), g = clamp(1.5 - |4t - 2|), b = clamp(1.5 - |4t - 1|); HOT r = "
              "clamp(3t), g = clamp(3t - 1), b = clamp(3t - 2), clamp to [0, 1]. These are the "
              "usual formulas, not OpenCV's own tables. Slices are coloured alike.");
    doc.Parameter("map", m_map, "GREY, JET or HOT").Values(ChoiceList(MAPS));
    doc.Parameter("out_type", m_outType, "IMAGE_RGB_8I (interleaved) or IMAGE_RGB_8 (planar)")
        .Values(ChoiceList(OUT_TYPES));
    doc.Input(0, "Grey image of type IMAGE_GREY_8.").Label("grey");
    doc.Output(0, "Colour image of type out_type and the input's size.").Label("colour");
    doc.Keywords({"false colour", "colormap", "applyColorMap", "jet", "hot", "pseudocolour"});
}

void CPGreyToColor::Run() {
    const char* where = "(filters) GreyToColor::Run";
    const EnColourMap map = Choose(where, "map", m_map, MAPS);
    const bool interleaved = Choose(where, "out_type", m_outType, OUT_TYPES);
    const CImage* input = Input(*this, 0, where);
    if (input->Type() != IMAGE_GREY_8) RefuseType(where, 0, input->Type(), "IMAGE_GREY_8");
    const CSize size = input->Size();
    const int64_t n = size.x * size.y;
    auto output = NewImage(interleaved ? IMAGE_RGB_8I : IMAGE_RGB_8, size);
    const uint8_t* in = input->Data<uint8_t>();
    uint8_t* out = output->Data<uint8_t>();
    for (int64_t z = 0; z < size.z; ++z) {
        const SPlane<const uint8_t> grey = Plane(in + z * n, size.x, size.y);
        if (interleaved) {
            GreyToInterleaved(grey, Plane(out + 3 * z * n, 3 * size.x, size.y), map);
        } else {
            uint8_t* slice = out + z * n;
            const int64_t channel = n * size.z;
            GreyToColour(grey, Plane(slice, size.x, size.y), Plane(slice + channel, size.x, size.y),
                         Plane(slice + 2 * channel, size.x, size.y), map);
        }
    }
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
