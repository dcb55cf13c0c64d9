#pragma once

// Visible outside the shared library; everything else is hidden.
#define OPTBOOK2_API __attribute__((visibility("default")))

namespace optbook2 {
}
