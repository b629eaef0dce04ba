#pragma once

// Text drawn with the module's bitmap font, clipped at every border like all drawing.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "BitmapFont.h"
#include "Drawing.h"

namespace ORVA {

// Whether a line of `text` ends at byte i: a line feed, or a backslash followed by n as typed
// into a one-line field (then i moves to the n).
inline bool LineBreakAt(std::string_view text, size_t& i) {
    if (text[i] == '\n') return true;
    if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'n') {
        ++i;
        return true;
    }
    return false;
}

// Draws one glyph with its cell's top-left corner at (left, top), each font pixel a block of
// scale x scale; with `background` the whole cell is filled first.
template <class T>
void DrawGlyph(const SCanvas<T>& ink, const SCanvas<T>* background, const SGlyph& glyph,
               int64_t left, int64_t top, int64_t scale) {
    if (background)
        background->Box(left, top, left + SGlyph::CELL_WIDTH * scale - 1,
                        top + SGlyph::CELL_HEIGHT * scale - 1);
    for (int row = 0; row < SGlyph::HEIGHT; ++row) {
        int64_t first = 0, last = 0;
        ink.VisibleRows(top + row * scale, top + (row + 1) * scale - 1, &first, &last);
        for (int column = 0; column < SGlyph::WIDTH && first <= last;) {
            if (!glyph.IsSet(column, row)) {
                ++column;
                continue;
            }
            const int start = column;
            while (column < SGlyph::WIDTH && glyph.IsSet(column, row))
                ++column;
            for (int64_t y = first; y <= last; ++y)
                ink.Span(y, left + start * scale, left + column * scale - 1);
        }
    }
}

// Draws `text` with the top-left corner of its first cell at (x, y), scale >= 1. Each byte is a
// character; a byte that continues a UTF-8 sequence draws nothing, so that a character beyond
// ASCII gets one box. Only cells that reach into the image are drawn.
template <class T>
void DrawText(const SCanvas<T>& ink, const SCanvas<T>* background, std::string_view text, int64_t x,
              int64_t y, int64_t scale) {
    const int64_t cellWidth = SGlyph::CELL_WIDTH * scale;
    const int64_t cellHeight = SGlyph::CELL_HEIGHT * scale;
    int64_t left = x, top = y;
    for (size_t i = 0; i < text.size() && top < ink.height; ++i) {
        if (LineBreakAt(text, i)) {
            left = x;
            top += cellHeight;
            continue;
        }
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80 && c < 0xC0) continue;
        // Past the right border the rest of the line is not drawn, and left stops growing.
        if (left >= ink.width) continue;
        if (left + cellWidth > 0 && top + cellHeight > 0)
            DrawGlyph(ink, background, Glyph(c), left, top, scale);
        left += cellWidth;
    }
}

}  // namespace ORVA
