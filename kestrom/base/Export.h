#pragma once

// Symbols of libtarsel stay visible to modules built with hidden visibility, so that type
// information, vtables and exceptions are shared across the library boundary.
#define TARSEL_API __attribute__((visibility("default")))
