#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "PixelCast.h"
#include "support/NodeSupport.h"

namespace ORVA {

// Replaces one grey value by another, or applies a table of (source, destination) pairs given
// as a second image; warns when a value cannot be held by the pixel type.
class CPReplaceValue : public CPNode {
  public:
    CPReplaceValue();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    float m_source;
    float m_destination;
};

namespace ReplaceValueKernel {

template <class T>
void ReplaceEqual(const T* in, T* out, int64_t n, T source, T destination) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = in[i] == source ? destination : in[i];
}

template <class T>
void ReplaceNaN(const T* in, T* out, int64_t n, T destination) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = in[i] != in[i] ? destination : in[i];
}

// Each pixel replaced by its entry of a table over every value of T (8 or 16 bits).
template <class T>
void Lookup(const T* in, T* out, int64_t n, const T* table) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = table[in[i]];
}

// A table of rows (source, destination): a pixel equal to the source of one or more rows takes
// the destination of the last of them; other pixels, NaN among them, are kept. Sources
// must not be NaN.
template <class T>
void ReplacePairs(const T* in, T* out, int64_t n, const T* pairs, int64_t rows) {
    // Sorted sources, each with the destination of its last row. Sources that compare equal
    // (0 and -0) are one source.
    std::vector<std::pair<T, T>> table;
    table.reserve(static_cast<size_t>(rows));
    for (int64_t row = 0; row < rows; ++row)
        table.emplace_back(pairs[2 * row], pairs[2 * row + 1]);
    auto bySource = [](const std::pair<T, T>& a, const std::pair<T, T>& b) {
        return a.first < b.first;
    };
    std::stable_sort(table.begin(), table.end(), bySource);
    size_t unique = 0;
    for (size_t i = 0; i < table.size(); ++i) {
        if (unique > 0 && table[unique - 1].first == table[i].first)
            table[unique - 1].second = table[i].second;
        else
            table[unique++] = table[i];
    }
    table.resize(unique);
    for (int64_t i = 0; i < n; ++i) {
        const T v = in[i];
        auto hit = std::lower_bound(table.begin(), table.end(), std::pair<T, T>(v, v), bySource);
        out[i] = hit != table.end() && hit->first == v ? hit->second : v;
    }
}

// Whether an integer pixel of type T holds `value` exactly.
template <class T>
bool Representable(double value) {
    return static_cast<double>(WrapToUnsigned<T>(value)) == value;
}

}  // namespace ReplaceValueKernel

}  // namespace ORVA
