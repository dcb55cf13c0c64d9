#pragma once

// Visible outside the shared library; everything else is hidden.
#define ROWVAULT1_API __attribute__((visibility("default")))

namespace rowvault1 {
}
namespace rv1 = rowvault1;
