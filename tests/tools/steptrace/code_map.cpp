#include "code_map.h"

#include <fstream>
#include <optional>
#include <sstream>
#include <sys/mman.h>

namespace steptrace {
namespace {

std::uint32_t protectionOf(const std::string& letters)
{
    return (letters[0] == 'r' ? PROT_READ : 0U) | (letters[1] == 'w' ? PROT_WRITE : 0U) |
           (letters[2] == 'x' ? PROT_EXEC : 0U);
}

/// "START-END rwxp OFFSET MAJOR:MINOR INODE   NAME", all but the inode in hexadecimal.
std::optional<CodeMapping> parse(const std::string& line)
{
    CodeMapping mapping;
    std::string letters;
    char between = 0;
    std::istringstream words(line);
    words >> std::hex >> mapping.start >> between >> mapping.end >> letters >> mapping.offset >>
        mapping.major >> between >> mapping.minor >> std::dec >> mapping.inode >> std::ws;
    if (letters.size() != 4) return std::nullopt;
    std::getline(words, mapping.name);
    if (mapping.name.empty()) mapping.name = "//anon";
    mapping.protection = protectionOf(letters);
    mapping.flags = letters[3] == 's' ? MAP_SHARED : MAP_PRIVATE;
    return mapping;
}

} // namespace

std::vector<CodeMapping> codeMappings(pid_t pid)
{
    std::vector<CodeMapping> found;
    std::ifstream lines("/proc/" + std::to_string(pid) + "/maps");
    for (std::string line; std::getline(lines, line);) {
        std::optional<CodeMapping> mapping = parse(line);
        if (mapping && (mapping->protection & PROT_EXEC) && mapping->name != "[vsyscall]")
            found.push_back(std::move(*mapping));
    }
    return found;
}

} // namespace steptrace
