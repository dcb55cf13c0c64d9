#include "report/elf_names.h"

#include <SEEK_2_13/validators.h>

namespace samplefold::report {

ElfNames elfNames(const std::string& path)
{
    const auto file = SEEK_2_13::ISymbolFileValidatorCallback::create(path.c_str());
    if (!file) return {};
    const char* const link = file->getExpectedSymbolFileName();
    return {true, file->getBuildId(), link != nullptr ? link : ""};
}

bool buildIdFits(const std::string& recorded, const std::string& found)
{
    constexpr std::size_t paddedDigits = 40;
    if (found.empty() || !recorded.starts_with(found)) return false;
    const bool isPadded = recorded.size() == paddedDigits &&
                          recorded.find_first_not_of('0', found.size()) == std::string::npos;
    return recorded.size() == found.size() || isPadded;
}

} // namespace samplefold::report
