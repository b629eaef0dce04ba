#pragma once

// Measurements of many items in the two forms nodes hand them out: an IMAGE_GREY_F table with
// one row per item, and a vector with one map per item.
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "support/NodeSupport.h"

namespace ORVA {

// One measurement: its key in the maps, whether it is a whole number (a long in the maps,
// else a double), and whether the table has a column for it.
struct SField {
    const char* key;
    bool whole;
    bool inTable = true;
};

// The table: row i holds the fields of item i that have columns, in order. fill(i, cells)
// writes the fields of item i into cells[0 .. fields.size()).
template <class Fill>
std::unique_ptr<CImage> TableImage(const std::vector<SField>& fields, int64_t items, Fill&& fill) {
    const int64_t columns = std::count_if(fields.begin(), fields.end(),
                                          [](const SField& field) { return field.inTable; });
    auto table = std::make_unique<CImage>(IMAGE_GREY_F, CSize(columns, items, 1), CSize(0, 0, 0),
                                          CImage::NoInit{});
    float* row = table->Data<float>();
    std::vector<double> cells(fields.size());
    for (int64_t i = 0; i < items; ++i) {
        fill(i, cells.data());
        for (size_t f = 0; f < fields.size(); ++f)
            if (fields[f].inTable) *row++ = static_cast<float>(cells[f]);
    }
    return table;
}

// A table of one row.
template <class T, size_t N>
std::unique_ptr<CImage> TableRow(const std::array<T, N>& cells) {
    auto table = std::make_unique<CImage>(IMAGE_GREY_F, CSize(static_cast<int64_t>(N), 1, 1),
                                          CSize(0, 0, 0), CImage::NoInit{});
    for (size_t c = 0; c < N; ++c)
        table->Data<float>()[c] = static_cast<float>(cells[c]);
    return table;
}

// The maps, one per item with every field.
template <class Fill>
std::unique_ptr<CValueVector> TableRecords(const std::vector<SField>& fields, int64_t items,
                                           Fill&& fill) {
    auto records = std::make_unique<CValueVector>();
    std::vector<double> cells(fields.size());
    for (int64_t i = 0; i < items; ++i) {
        fill(i, cells.data());
        auto record = std::make_unique<CValueMap>();
        for (size_t f = 0; f < fields.size(); ++f) {
            if (fields[f].whole)
                record->SetEntry(fields[f].key,
                                 new CValueLong(static_cast<int32_t>(
                                     std::clamp(cells[f], double(INT32_MIN), double(INT32_MAX)))));
            else
                record->SetEntry(fields[f].key, new CValueDouble(cells[f]));
        }
        records->PushBack(std::move(record));
    }
    return records;
}

}  // namespace ORVA
