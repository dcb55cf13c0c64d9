#include "known_differences.h"

#include "tool.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace glyph_test {
namespace {

using namespace GLYPH_3_30;

/// Rows of the line tables of a file, as objdump decodes them: file without folder, and line.
class DecodedLines {
public:
    explicit DecodedLines(const std::string& path)
    {
        for (const std::string& line :
             linesOf(runTool("objdump --dwarf=decodedline " + path).text)) {
            const std::vector<std::string> words = wordsOf(line);
            if (words.size() < 3 || !words[2].starts_with("0x")) continue;
            m_rows[fromHex(words[2])].insert(words[0] + ":" + words[1]);
        }
    }
    /// Whether the last row at or before the address, or one more at the same place, is this.
    bool has(std::uint64_t address, const std::string& place) const
    {
        const auto behind = m_rows.upper_bound(address);
        if (behind == m_rows.begin()) return false;
        const std::size_t slash = place.rfind('/');
        return std::prev(behind)->second.count(
                   slash == std::string::npos ? place : place.substr(slash + 1)) != 0;
    }

private:
    std::map<std::uint64_t, std::set<std::string>> m_rows;
};

std::string lineOf(const std::string& place)
{
    return place.substr(place.rfind(':') + 1);
}

bool isWithoutLine(const std::string& place)
{
    return place == "?" || lineOf(place) == "0";
}

bool isRelativePath(const std::string& ours, const std::string& theirs)
{
    if (ours.empty() || ours.front() == '/') return false;
    std::string relative = ours;
    while (relative.starts_with("../"))
        relative.erase(0, 3);
    return theirs.ends_with("/" + relative) || theirs == relative;
}

bool isDecodedPlace(const compared_t& compared)
{
    const std::string& ours = compared.ours[1];
    const std::string& theirs = compared.theirs[1];
    if (ours == "?" || (compared.isCovered && theirs == "?")) return false;
    if (!isWithoutLine(theirs) && lineOf(ours) != lineOf(theirs)) return false;
    static std::map<std::string, DecodedLines> s_tables;
    return s_tables.try_emplace(compared.debugPath, compared.debugPath)
        .first->second.has(compared.address, ours);
}

std::string whyPlace(const compared_t& compared, std::size_t frame)
{
    const std::string& ours = compared.ours[frame + 1];
    const std::string& theirs = compared.theirs[frame + 1];
    if (ours == theirs) return {};
    if (theirs.find("<artificial>") != std::string::npos && lineOf(ours) == lineOf(theirs))
        return "madeUpUnit";
    if (isRelativePath(ours, theirs)) return "relativeFolder";
    if (frame == 0 && isDecodedPlace(compared)) return "lineOfTheTable";
    return "unexplained";
}

/// Whether `name`, without namespace and arguments, is that of the demangled function. Arguments of
/// a template are written in another way in plain names.
bool isPlainNameOf(const std::string& name, const std::string& function)
{
    const std::string plain = name.substr(0, name.find('<', 1));
    for (std::size_t at = function.find(plain); at != std::string::npos;
         at = function.find(plain, at + 1)) {
        const std::size_t end = at + plain.size();
        const bool isWhole = end < function.size() && std::strchr("(<", function[end]) != nullptr;
        if (isWhole && (at == 0 || std::strchr(": ", function[at - 1]) != nullptr)) return true;
    }
    return false;
}

bool isAlias(const compared_t& compared, const symbol_t& symbol, const std::string& theirs)
{
    const auto aliases = compared.bank.getSymbolsAt(symbol.start);
    return std::any_of(aliases.begin(), aliases.end(), [&](const symbol_t& alias) {
        const std::string name = alias.name;
        return name.substr(0, name.find('@')) == theirs.substr(0, theirs.find('@'));
    });
}

std::string whyName(const compared_t& compared, std::size_t frame)
{
    const std::string& ours = compared.ours[frame];
    const std::string& theirs = compared.theirs[frame];
    if (ours == theirs) return {};
    symbol_t symbol;
    const bool isInSymbol = compared.bank.findSymbol(compared.address, symbol);
    if (!compared.isCovered && isWithoutLine(compared.theirs[1])) return "linesWithoutFunction";
    if (!isInSymbol) return ours.empty() ? "betweenFunctions" : "unexplained";
    if (theirs == "??") return "nameOfSymbol";
    if (isPlainNameOf(theirs, demangle(ours.c_str()))) return "nameOfSymbol";
    return isAlias(compared, symbol, theirs) ? "aliasOrSymbol" : "unexplained";
}

const std::vector<difference_t> g_known = {
    {"relativeFolder",
     "A path is relative in the debug information. The tool puts the folder of compilation in "
     "front "
     "of it even where that is relative itself, and in the path already.",
     100,
     {}},
    {"madeUpUnit",
     "For the first file of a unit of link time optimisation the tool shows the unit's made-up "
     "name.",
     100,
     {"linkTime"}},
    {"lineOfTheTable",
     "The tool takes the wrong file or none for the line, since it counts the files of some tables "
     "of the fifth version from another number. objdump decodes the row that we give.",
     100,
     {}},
    {"linesWithoutFunction",
     "No function of the debug information has the address, and the tool names a symbol without a "
     "line.",
     100,
     {}},
    {"betweenFunctions",
     "Between functions the tool takes the one before, and here there is none.",
     100,
     {}},
    {"nameOfSymbol",
     "For want of a mangled name, as functions of unnamed namespaces lack it, the tool has the "
     "plain "
     "name or none. Here the symbol's takes its place.",
     100,
     {}},
    {"aliasOrSymbol",
     "The tool takes the name of a symbol that starts with ours, even for what was inlined there.",
     100,
     {}},
};

} // namespace

std::span<const difference_t> knownDifferences()
{
    return g_known;
}

std::vector<std::string> reasonsOf(const compared_t& compared)
{
    std::vector<std::string> reasons;
    for (std::size_t frame = 0; frame < compared.ours.size(); frame += 2)
        for (const std::string& reason : {whyPlace(compared, frame), whyName(compared, frame)})
            if (!reason.empty()) reasons.push_back(reason);
    return reasons;
}

} // namespace glyph_test
