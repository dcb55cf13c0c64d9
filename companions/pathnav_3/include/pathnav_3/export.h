#pragma once

// Visible outside the shared library; everything else is hidden.
#define PATHNAV_API __attribute__((visibility("default")))

namespace pathnav_3 {
}
