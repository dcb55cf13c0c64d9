#include "listing.h"

#include "tool.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <set>

namespace pathnav_test {
namespace {

using pathnav_3::terminator_t;

bool isPrefix(const std::string& word)
{
    static const std::set<std::string> s_prefixes = {
        "lock", "rep", "repz", "repnz", "repe", "repne", "bnd",    "notrack",  "data16",
        "cs",   "ds",  "es",   "fs",    "gs",   "ss",    "addr32", "xacquire", "xrelease"};
    return s_prefixes.count(word) != 0 || word.starts_with("rex");
}

terminator_t kindOf(const std::string& mnemonic)
{
    const auto begins = [&](std::string_view start) { return mnemonic.starts_with(start); };
    if (mnemonic == "(bad)") return terminator_t::invalid;
    if (begins("call") || begins("lcall")) return terminator_t::call;
    if (begins("jmp") || begins("ljmp")) return terminator_t::jump;
    if (begins("j") || begins("loop") || mnemonic == "xbegin") return terminator_t::conditional;
    if (begins("ret") || begins("lret") || begins("iret") || begins("sysret") ||
        begins("sysexit") || mnemonic == "uiret" || mnemonic == "rsm")
        return terminator_t::ret;
    if (begins("ud") || mnemonic == "hlt" || mnemonic == "int3") return terminator_t::trap;
    return terminator_t::fallThrough;
}

bool isHex(const std::string& word)
{
    return !word.empty() && word.find_first_not_of("0123456789abcdef") == std::string::npos;
}

} // namespace

bool parseListed(std::string_view line, listed_t& listed)
{
    const std::size_t colon = line.find(":\t");
    if (colon == std::string_view::npos) return false;
    const std::vector<std::string> place = glyph_test::wordsOf(line.substr(0, colon));
    if (place.size() != 1 || !isHex(place[0])) return false;
    std::vector<std::string> words = glyph_test::wordsOf(line.substr(colon + 2));
    while (words.size() > 1 && isPrefix(words.front()))
        words.erase(words.begin());
    if (words.empty()) return false;
    listed = {};
    listed.address = glyph_test::fromHex(place[0]);
    listed.mnemonic = words[0];
    listed.kind = kindOf(words[0]);
    listed.isJunk = listed.kind == terminator_t::invalid || isPrefix(words[0]);
    const bool hasTarget = listed.kind == terminator_t::conditional ||
                           listed.kind == terminator_t::jump || listed.kind == terminator_t::call;
    if (hasTarget && words.size() > 1 && isHex(words[1]))
        listed.target = glyph_test::fromHex(words[1]);
    return true;
}

std::vector<listed_t> listInstructions(const std::string& path, std::uint64_t start,
                                       std::uint64_t end)
{
    std::vector<listed_t> all;
    const std::string stretch = end == 0 ? ""
                                         : " --start-address=0x" + glyph_test::toHex(start) +
                                               " --stop-address=0x" + glyph_test::toHex(end);
    // As the processors of one maker read jumps with a prefix for small operands, which the library
    // follows.
    const std::string command = "LC_ALL=C objdump -d -z -w -M intel64 --no-show-raw-insn" +
                                stretch + " '" + path + "' 2>/dev/null";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"),
                                                               &::pclose);
    if (pipe == nullptr) return all;
    std::array<char, 4096> line;
    listed_t listed;
    while (std::fgets(line.data(), static_cast<int>(line.size()), pipe.get()) != nullptr)
        if (parseListed(line.data(), listed)) all.push_back(listed);
    std::stable_sort(all.begin(), all.end(),
                     [](const listed_t& a, const listed_t& b) { return a.address < b.address; });
    return all;
}

} // namespace pathnav_test
