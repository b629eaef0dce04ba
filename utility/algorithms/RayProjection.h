#pragma once

// Projection of a 3d image onto its x-y plane by the largest or smallest value along every ray
// in z.
#include <algorithm>
#include <cstdint>

namespace ORVA::Rays {

enum class EnRay { MAXIMUM, MINIMUM };

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

}  // namespace ORVA::Rays
