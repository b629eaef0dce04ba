#include "PStaticImage.h"

#include <algorithm>
#include <mutex>

namespace ORVA {

namespace {

constexpr const char* LOCATION = "(utility plugins) StaticImage::Run";

// The module's image lives from load to unload, empty until the first WRITE.
std::mutex g_imageMutex;
CImage g_image(IMAGE_GREY_F, CSize(0, 0, 0));

}  // namespace

CPStaticImage::CPStaticImage() : m_mode("READ") {}

void CPStaticImage::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "StaticImage").KeepsState();
    doc.Brief("Keeps one float image between runs and shares it between all nodes.",
              "WRITE stores a copy of the IMAGE_GREY_F image on input 0; READ outputs a "
              "copy of the stored image, which is empty (0 x 0 x 0) before the first "
              "WRITE. Any other mode does nothing. The image lives as long as the module "
              "and is shared by every StaticImage node of the process.");
    doc.Input(0, "Image of type IMAGE_GREY_F to store (WRITE).").Optional();
    doc.Output(0, "Copy of the stored image (READ).");
    doc.Parameter("mode", m_mode, "operation on the stored image")
        .Fallback("READ")
        .Values("READ, WRITE");
    doc.Keywords({"static", "global", "variable", "storage", "state"});
    doc.SeeAlso("StaticStorage");
}

void CPStaticImage::Run() {
    if (m_mode == "WRITE") {
        const CImage* input = InputImage(0, {.where = LOCATION});
        if (input->Type() != IMAGE_GREY_F)
            throw CException(LOCATION, "input image must be of type IMAGE_GREY_F");
        std::lock_guard lock(g_imageMutex);
        g_image.Resize(input->Size());
        std::copy_n(input->Data<float>(), input->Pixels(), g_image.Data<float>());
    } else if (m_mode == "READ") {
        std::unique_ptr<CImage> copy;
        {
            std::lock_guard lock(g_imageMutex);
            copy = std::make_unique<CImage>(g_image);
        }
        SetStackOutput(0, OwnedImage(std::move(copy)));
    }
}

}  // namespace ORVA
