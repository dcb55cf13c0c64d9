#pragma once

// Visible outside the shared library; everything else is hidden.
#define JITLENS_API __attribute__((visibility("default")))

namespace jitlens_3_13 {
}
