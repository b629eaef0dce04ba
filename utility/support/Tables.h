#pragma once

// Tables of points, boxes or samples: IMAGE_GREY_F images with one row per item and one column
// per field, as GetCoordinates and ZoneList make them; nodes read and write them alike.
#include <cstdint>
#include <memory>

#include "NodeSupport.h"

namespace ORVA {

// The table on input `pin` of `node`: null for an empty pin; a CException (at `where`) unless it
// is an IMAGE_GREY_F image of at least `columns` columns.
inline const CImage* InputTable(CPNode& node, int pin, const char* where, int64_t columns) {
    const CImage* table = node.InputImage(pin, {.where = where, .optional = true});
    if (!table) return nullptr;
    if (table->Type() != IMAGE_GREY_F || table->Size().x < columns)
        throw CException(where, CString("input %1 must be an IMAGE_GREY_F table of at least %2 "
                                        "columns, but it is an %3 image of size %4")
                                    .Arg(pin)
                                    .Arg(columns)
                                    .Arg(table->Type().Name())
                                    .Arg(table->Size().ToString()));
    return table;
}

// The rows of a table: those of its first plane.
inline int64_t TableRows(const CImage& table) {
    return table.Pixels() > 0 ? table.Size().y : 0;
}

// A new table of `columns` x `rows`, every cell to be written.
inline std::unique_ptr<CImage> MakeTable(int64_t columns, int64_t rows) {
    return std::make_unique<CImage>(IMAGE_GREY_F, CSize(columns, rows), CSize(0, 0, 0),
                                    CImage::NoInit{});
}

}  // namespace ORVA
