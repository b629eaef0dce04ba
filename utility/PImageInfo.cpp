#include "PImageInfo.h"

namespace ORVA {

namespace {

constexpr const char* LOCATION = "(utility plugins) ImageInfo::Run";

// "type", "width", "height", "depth" and, where the attributes name one, "image_path".
std::unique_ptr<CValueMap> InfoMap(const CImage& image) {
    auto info = std::make_unique<CValueMap>();
    info->SetEntry("type", new CValueString(image.Type().ToString()));
    info->SetEntry("width", new CValueLong(static_cast<int32_t>(image.Size().x)));
    info->SetEntry("height", new CValueLong(static_cast<int32_t>(image.Size().y)));
    info->SetEntry("depth", new CValueLong(static_cast<int32_t>(image.Size().z)));
    if (const CValue* path = image.Attributes().Entry("image_path"))
        info->SetEntry("image_path", new CValueString(path->String()));
    return info;
}

// An IMAGE_GREY_F image 1 x 3 x 1 holding width, height and depth.
std::unique_ptr<CImage> InfoImage(const CImage& image) {
    auto info = std::make_unique<CImage>(IMAGE_GREY_F, CSize(1, 3, 1), CSize(0, 0, 0));
    float* extents = info->Data<float>();
    extents[0] = static_cast<float>(image.Size().x);
    extents[1] = static_cast<float>(image.Size().y);
    extents[2] = static_cast<float>(image.Size().z);
    return info;
}

}  // namespace

CPImageInfo::CPImageInfo() : m_verbose(false) {}

void CPImageInfo::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "ImageInfo");
    doc.Brief("Node to extract basic information from the input image",
              "Reports the pixel type and the extents of the input image, as a float image and "
              "as a map that also holds the attribute \"image_path\" where the image has one.");
    doc.Input(0, "Input image of an arbitrary image type.");
    doc.Output(0, "Image of type IMAGE_GREY_F and size 1 x 3 x 1 holding width, height and depth.")
        .Label("Information of image as image");
    doc.Output(1, "CValueMap with the entries type, width, height, depth and image_path.",
               CSetupDocument::PIN_MAP)
        .Label("Information of image as CValueMap");
    doc.Parameter("verbose", m_verbose, "print the result map to standard output").Toggle();
}

void CPImageInfo::Run() {
    const CImage* image = InputImage(0, {.where = LOCATION});
    std::unique_ptr<CValueMap> info = InfoMap(*image);
    std::unique_ptr<CImage> extents = InfoImage(*image);
    if (m_verbose) CTextSerializer(1, 0, nullptr).Write(*info);
    SetStackOutput(0, OwnedImage(std::move(extents)));
    SetStackOutput(1, std::move(info));
}

}  // namespace ORVA
