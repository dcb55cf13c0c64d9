#pragma once

#include <toolbelt2/object.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

namespace SEEK_2_13 {

/// Counted handle on an object of this library; may be null.
template <class T>
using ObjectPtr = boost::intrusive_ptr<T>;

} // namespace SEEK_2_13
