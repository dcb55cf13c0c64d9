#pragma once

// Visible outside the shared library; everything else is hidden.
#define SEEK_API __attribute__((visibility("default")))

namespace SEEK_2_13 {
}
