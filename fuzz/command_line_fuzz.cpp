// Fuzz target of the splitters of command lines, against slow models of their rules.

#include "utils_impl/command_line_model.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    if (!samplefold_test::splittersAgree(line)) std::abort();
    return 0;
}
