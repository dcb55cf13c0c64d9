#pragma once

// Visible outside the shared library; everything else is hidden.
#define GLYPH_API __attribute__((visibility("default")))

namespace GLYPH_3_30 {
}
