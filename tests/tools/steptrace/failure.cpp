#include "failure.h"

#include <cerrno>
#include <system_error>

namespace steptrace {

void failWithErrno(const std::string& what)
{
    throw Failure(what + ": " + std::system_category().message(errno));
}

} // namespace steptrace
