#pragma once

#include <cstdlib>
#include <string>

namespace samplefold_test {

/// Sets an environment variable for as long as it lives.
class ScopedEnvironment {
public:
    ScopedEnvironment(std::string name, const char* value) : m_name(std::move(name))
    {
        ::setenv(m_name.c_str(), value, 1);
    }
    ~ScopedEnvironment() { ::unsetenv(m_name.c_str()); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string m_name;
};

inline constexpr const char* loadToSqlite = "KESTREL_LOAD_INSTANCE_DATA_TO_SQLITE";

} // namespace samplefold_test
