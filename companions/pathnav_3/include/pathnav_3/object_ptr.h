#pragma once

#include <toolbelt2/object.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

namespace pathnav_3 {

/// Counted handle on an object of this library; may be null.
template <class T>
using ObjectPtr = boost::intrusive_ptr<T>;

} // namespace pathnav_3
