#include <toolbelt2/environment.h>

#include <cstdlib>

namespace toolbelt2 {

std::string get_environ_value(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

} // namespace toolbelt2
