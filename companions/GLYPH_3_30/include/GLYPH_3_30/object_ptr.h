#pragma once

#include <toolbelt2/object.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

namespace GLYPH_3_30 {

/// Counted handle on an object of this library; may be null.
template <class T>
using SymMgrObjectPtr = boost::intrusive_ptr<T>;

} // namespace GLYPH_3_30
