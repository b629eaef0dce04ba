#pragma once

// What RayMaximum and RayMinimum share: they project a 3d grey image onto its x-y plane by the
// largest, respectively smallest, value along every ray in z, and differ only in the
// comparison, their texts and locations.
#include "NodeSupport.h"
#include "algorithms/RayProjection.h"

namespace ORVA {

template <Rays::EnRay Kind>
class CRayProjectionNode : public CPNode {
  public:
    void Run() override;

  protected:
    static constexpr bool MAXIMUM = Kind == Rays::EnRay::MAXIMUM;
    static constexpr const char* NAME = MAXIMUM ? "RayMaximum" : "RayMinimum";

    // "run_once" is read by NodeInit but left out of the document.
    void DeclareRunOnce(CSetupDocument& doc) {
        doc.Undocumented("run_once", m_runOnce).Fallback(false);
    }

  private:
    CRunOnce m_runOnce;
};

template <Rays::EnRay Kind>
void CRayProjectionNode<Kind>::Run() {
    using Id = IImage::CType::EnId;
    constexpr const char* MAXIMUM_LOCATION = "(utility plugins) RayMaximum::Run";
    constexpr const char* LOCATION =
        MAXIMUM ? MAXIMUM_LOCATION : "(utility plugins) RayMinimum::Run";
    if (m_runOnce.Skip()) return;
    if (!HasStackInput(0)) throw CException(LOCATION, "input image is NULL");
    const CImage* input = InputImage(0, {.where = LOCATION, .optional = true});
    // Both nodes report a null image under RayMaximum's name.
    if (!input) throw CException(MAXIMUM_LOCATION, "input image is NULL");
    const IImage::CType type = input->Type();
    if (type != IMAGE_GREY_F && type != IMAGE_GREY_8 && type != IMAGE_GREY_16 &&
        type != IMAGE_GREY_32 && type != IMAGE_BINARY_FG)
        throw CException(LOCATION,
                         "input image must be IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_GREY_16, "
                         "IMAGE_GREY_32, or IMAGE_MONO_BINARY.");
    const CSize& size = input->Size();
    if (size.IsEmpty()) {  // passed on; the run does not count for "run_once"
        SetStackOutput(0, OwnedImage(std::make_unique<CImage>(*input)));
        return;
    }
    auto result =
        std::make_unique<CImage>(type, CSize(size.x, size.y, 1), CSize(0, 0, 0), CImage::NoInit{});
    bool known = DispatchType<Id::GREY_F, Id::GREY_32, Id::GREY_16, Id::GREY_8, Id::BINARY_FG>(
        type, [&]<class T>(std::type_identity<T>) {
            Rays::Project<Kind>(input->Data<T>(), result->Data<T>(), size.x * size.y, size.z);
        });
    if (!known)
        throw CException(NAME, CString("Image type %1 not supported.").Arg(type.ToString()));
    SetStackOutput(0, OwnedImage(std::move(result)));
    m_runOnce.MarkDone();
}

}  // namespace ORVA
