#pragma once

#include <cstdio>
#include <string>

namespace samplefold_test {

/// MD5 of a file as the command md5sum prints it; empty when it fails. `path` has no quotes.
inline std::string md5OfFile(const std::string& path)
{
    std::FILE* const output = ::popen(("md5sum <'" + path + "'").c_str(), "r");
    char digits[33] = {};
    const std::size_t got = std::fread(digits, 1, 32, output);
    return ::pclose(output) == 0 && got == 32 ? digits : "";
}

} // namespace samplefold_test
