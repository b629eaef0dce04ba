#pragma once

// What RayMaximum and RayMinimum share: they project a 3d grey image onto its x-y plane by
// the largest, respectively smallest, value along every ray in z, and differ only in the
// comparison and their texts.
#include <algorithm>
#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

enum class EnRay { MAXIMUM, MINIMUM };

namespace RayKernel {

// The winner of the running value m and the next value v: v only when it is strictly larger
// (smaller). So a NaN already held stays, and a NaN met later is passed over.
template <EnRay Kind, class T>
inline T Winner(T v, T m) {
    if constexpr (Kind == EnRay::MAXIMUM)
        return v > m ? v : m;
    else
        return v < m ? v : m;
}

// out[i] = the winner over z of in[i + z * plane], z = 0 first. The planes stream past in
// memory order, four per pass over the result, each ray still taking them in order of z.
template <EnRay Kind, class T>
void Project(const T* in, T* out, int64_t plane, int64_t depth) {
    std::copy(in, in + plane, out);
    int64_t z = 1;
    for (; z + 4 <= depth; z += 4) {
        const T* p0 = in + z * plane;
        const T* p1 = p0 + plane;
        const T* p2 = p1 + plane;
        const T* p3 = p2 + plane;
        for (int64_t i = 0; i < plane; ++i) {
            T m = out[i];
            m = Winner<Kind>(p0[i], m);
            m = Winner<Kind>(p1[i], m);
            m = Winner<Kind>(p2[i], m);
            m = Winner<Kind>(p3[i], m);
            out[i] = m;
        }
    }
    for (; z < depth; ++z) {
        const T* p = in + z * plane;
        for (int64_t i = 0; i < plane; ++i)
            out[i] = Winner<Kind>(p[i], out[i]);
    }
}

}  // namespace RayKernel

// The run of both nodes; each declares its own document. "run_once" is read by NodeInit but
// not declared.
template <EnRay Kind>
class CRayProjectionNode : public CPNode {
  public:
    void NodeInit() override { m_runOnce.Reset(Parameters().EntryBool("run_once", false)); }
    void Run() override;

    bool HasRun() const noexcept { return m_runOnce.Done(); }

  protected:
    static constexpr const char* LOCATION = Kind == EnRay::MAXIMUM
                                                ? "(utility plugins) RayMaximum::Run"
                                                : "(utility plugins) RayMinimum::Run";
    static constexpr const char* NAME = Kind == EnRay::MAXIMUM ? "RayMaximum" : "RayMinimum";

  private:
    CRunOnce m_runOnce;
};

template <EnRay Kind>
void CRayProjectionNode<Kind>::Run() {
    using Id = IImage::CType::EnId;
    if (m_runOnce.Skip()) return;
    const CValue* value = GetStackInput(0, false);
    if (!value) throw CException(LOCATION, "input image is NULL");
    const CImage* input = UnwrapPointer<CImage>(value, LOCATION);
    // Both nodes report a missing image under RayMaximum's name.
    if (!input) throw CException("(utility plugins) RayMaximum::Run", "input image is NULL");
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
            RayKernel::Project<Kind>(input->Data<T>(), result->Data<T>(), size.x * size.y, size.z);
        });
    if (!known)
        throw CException(NAME, CString("Image type %1 not supported.").Arg(type.ToString()));
    SetStackOutput(0, OwnedImage(std::move(result)));
    m_runOnce.MarkDone();
}

}  // namespace ORVA
