#pragma once

// The module's own bitmap font for drawing text: a glyph for each printable ASCII character
// (codes 32 to 126) and a box for every other character.
#include <cstdint>

namespace ORVA {

struct SGlyph {
    static constexpr int WIDTH = 5;   // pixels
    static constexpr int HEIGHT = 9;  // rows 0 to 6 hold capitals and digits, 7 and 8 descenders
    // Advance from one character to the next and from one line to the next: the glyph and one
    // blank column and row.
    static constexpr int CELL_WIDTH = WIDTH + 1;
    static constexpr int CELL_HEIGHT = HEIGHT + 1;

    // One byte per row; bit WIDTH - 1 - c is column c.
    uint8_t rows[HEIGHT];

    bool IsSet(int column, int row) const { return (rows[row] >> (WIDTH - 1 - column)) & 1; }
};

// The glyph of `c`: its own for codes 32 to 126, the box for all others.
const SGlyph& Glyph(unsigned char c);

}  // namespace ORVA
