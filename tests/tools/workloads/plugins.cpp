// A library that is loaded, run and unloaded again and again. It lies beside the program.
#include "work.h"

#include <dlfcn.h>
#include <string>

using workload::Number;

namespace {

using Run = Number (*)(Number, Number (*)(Number));

WORKLOAD_FUNCTION Number back(Number seed)
{
    return workload::churn(seed, 8);
}

WORKLOAD_FUNCTION Number use(const std::string& path, Number seed)
{
    void* const library = dlopen(path.c_str(), RTLD_NOW);
    if (!library) return 0;
    const auto run = reinterpret_cast<Run>(dlsym(library, "pluginRun"));
    for (unsigned times = 0; run && times < 60; ++times)
        seed = run(seed, back);
    dlclose(library);
    return workload::keep(seed);
}

} // namespace

/// The argument names the library.
int main(int count, char** words)
{
    if (count != 2) return 2;
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds && seed; ++round)
        seed = use(words[1], seed);
    return seed == 0;
}
