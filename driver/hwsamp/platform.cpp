#include "hwsamp/platform.h"

#include "hwsamp/text_file.h"

#include <algorithm>
#include <ostream>
#include <sstream>

namespace samplefold::hwsamp {
namespace {

bool isPlain(char letter)
{
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || letter == '_';
}

std::string hexadecimal(std::uint64_t number)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "0x" << std::hex << number;
    return text.str();
}

} // namespace

bool isPlainPmuName(std::string_view name)
{
    return !name.empty() && std::ranges::all_of(name, isPlain);
}

std::string plainPmuName(std::string_view name)
{
    std::string plain(name);
    std::ranges::replace_if(
        plain, [](char letter) { return !isPlain(letter); }, '_');
    return plain;
}

void writePlatform(std::ostream& out, const Platform& platform)
{
    std::string name = platform.cpuName.empty() ? "unknown" : platform.cpuName;
    std::ranges::replace_if(name, isControl, ' ');
    out << "Platform: " << std::to_string(platform.number) << ", PMU: " << platform.pmu
        << ", Signature: " << hexadecimal(platform.signature) << ", CPU name: " << name << '\n';
}

} // namespace samplefold::hwsamp
