#pragma once

#include <toolbelt2/object.h>

namespace jitlens_3_13 {

/// JIT symbol data of one session. The context holds handles on it; nothing is asked of it yet.
class IJitLoader : public tb2::object_interface_t {};

} // namespace jitlens_3_13
