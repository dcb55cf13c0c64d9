#pragma once

// Visible outside the shared library; everything else is hidden.
#define TOOLBELT2_API __attribute__((visibility("default")))

namespace toolbelt2 {
}
namespace tb2 = toolbelt2;
