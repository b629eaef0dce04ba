#include "PColorToGrey.h"

#include "Colour.h"
#include "FilterNode.h"

namespace ORVA::Filters {

namespace {

constexpr SChoice<SLuma> MODES[] = {{"LUMA", SLuma{}},
                                    {"RED", SLuma{1, 0, 0}},
                                    {"GREEN", SLuma{0, 1, 0}},
                                    {"BLUE", SLuma{0, 0, 1}}};
using ColourTypes = STypes<CT::RGB_8, CT::RGB_8I, CT::RGB_FI>;

}  // namespace

void CPColorToGrey::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Colour", "ColorToGrey").HelpPage("filters", "PColorToGrey");
    doc.Brief("Grey values of a colour image: its luma or one of its channels.",
              "LUMA is y = 0.299 r + 0.587 g + 0.114 b, as OpenCV's cvtColor to grey: 8-bit "
              "samples in 14-bit fixed point, (4899 r + 9617 g + 1868 b + 2^13) >> 14; float "
              "samples in float in that order. RED, GREEN and BLUE copy one channel. 8-bit "
              "colour gives IMAGE_GREY_8, IMAGE_RGB_FI gives IMAGE_GREY_F. Slices are "
              "converted alike.");
    doc.Parameter("mode", m_mode, "LUMA, RED, GREEN or BLUE").Values(ChoiceList(MODES));
    doc.Input(0, "Colour image of type " + ColourTypes::Names() + ".").Label("colour");
    doc.Output(0, "Grey image of the input's size.").Label("grey");
    doc.Keywords({"grey", "gray", "luma", "luminance", "channel", "cvtColor"});
    doc.Example(
        "ReadImage filename=%ORVADIR%/examples/images/coconut.png ! filters::GreyToColor ! "
        "filters::ColorToGrey");
}

void CPColorToGrey::Run() {
    const char* where = "(filters) ColorToGrey::Run";
    const SLuma luma = Choose(where, "mode", m_mode, MODES);
    const CImage* input = Input(*this, 0, where);
    const CSize size = input->Size();
    const int64_t n = size.x * size.y;
    auto output = NewImage(input->Type() == IMAGE_RGB_FI ? IMAGE_GREY_F : IMAGE_GREY_8, size);
    Dispatch(ColourTypes{}, where, input->Type(), [&]<class T>(std::type_identity<T>) {
        const T* in = input->Data<T>();
        T* out = output->Data<T>();
        for (int64_t z = 0; z < size.z; ++z) {
            const SPlane<T> grey = Plane(out + z * n, size.x, size.y);
            if (input->Type().IsPlanar()) {
                // Each channel is one plane of all slices.
                const T* slice = in + z * n;
                const int64_t channel = n * size.z;
                ColourToGrey(SPlane<const T>(Plane(slice, size.x, size.y)),
                             SPlane<const T>(Plane(slice + channel, size.x, size.y)),
                             SPlane<const T>(Plane(slice + 2 * channel, size.x, size.y)), grey,
                             luma);
            } else {
                InterleavedToGrey(SPlane<const T>(Plane(in + 3 * z * n, 3 * size.x, size.y)), grey,
                                  luma);
            }
        }
    });
    SetImage(*this, 0, std::move(output));
}

}  // namespace ORVA::Filters
