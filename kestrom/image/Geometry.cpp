#include "image/Geometry.h"

#include <cinttypes>
#include <cstdio>

#include "base/Exception.h"
#include "base/String.h"

namespace ORVA {

std::string CPos::ToString() const {
    char text[96];
    std::snprintf(text, sizeof text, "(%" PRId64 ", %" PRId64 ", %" PRId64 ")", x, y, z);
    return text;
}

int64_t CSize::Elements() const {
    int64_t count = 0;
    if (__builtin_mul_overflow(x, y, &count) || __builtin_mul_overflow(count, z, &count))
        throw CException("CSize", CString("the size %1 has too many elements").Arg(ToString()));
    return count;
}

std::string CRect::ToString() const {
    char text[128];
    std::snprintf(text, sizeof text, "(%" PRId64 ", %" PRId64 "; %" PRId64 " x %" PRId64 ")", x, y,
                  width, height);
    return text;
}

std::string CBox::ToString() const {
    char text[192];
    std::snprintf(text, sizeof text,
                  "(%" PRId64 ", %" PRId64 ", %" PRId64 "; %" PRId64 " x %" PRId64 " x %" PRId64
                  ")",
                  x, y, z, width, height, depth);
    return text;
}

}  // namespace ORVA
