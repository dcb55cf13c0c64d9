#include "listing.h"

#include "tool.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace stack_test {
namespace {

using glyph_test::fromHex;
using glyph_test::linesOf;
using glyph_test::runTool;
using glyph_test::wordsOf;

/// The first entry leads to the dynamic linker.
constexpr std::uint64_t g_entrySize = 16;

} // namespace

Listing::Listing(const std::string& name, const std::string& places)
    : m_path(std::string(SF_LISTING_DIR) + "/" + name)
{
    readSegments();
    readSections();
    readPlaces(std::string(SF_LISTING_DIR) + "/" + (places.empty() ? name : places) + ".places");
}

std::uint64_t Listing::rva(const std::string& place) const
{
    auto found = m_places.find(place);
    if (found == m_places.end()) found = m_places.find("at_" + place);
    if (found != m_places.end()) return found->second;
    ADD_FAILURE() << "no place " << place << " in " << m_path;
    return 0;
}

void Listing::readSegments()
{
    m_linkedAt = ~std::uint64_t{0};
    for (const std::string& line : linesOf(runTool("readelf -lW '" + m_path + "'").text)) {
        const auto words = wordsOf(line);
        if (words.size() < 8 || words[0] != "LOAD") continue;
        const std::uint64_t address = fromHex(words[2]);
        m_linkedAt = std::min(m_linkedAt, address);
        if (line.find(" R E ") != std::string::npos)
            m_code.push_back({address, fromHex(words[4]), fromHex(words[1])});
    }
    for (code_t& code : m_code)
        code.rva -= m_linkedAt;
    EXPECT_EQ(m_code.size(), 1U) << m_path;
}

void Listing::readSections()
{
    for (const std::string& line : linesOf(runTool("readelf -SW '" + m_path + "'").text)) {
        const std::size_t name = line.find("] .plt ");
        if (name != std::string::npos)
            m_linkageEntry = fromHex(wordsOf(line.substr(name + 2))[2]) + g_entrySize - m_linkedAt;
    }
}

void Listing::readPlaces(const std::string& path)
{
    for (const std::string& line : linesOf(runTool("nm '" + path + "'").text)) {
        const auto words = wordsOf(line);
        if (words.size() == 3) m_places[words[2]] = fromHex(words[0]) - m_linkedAt;
    }
    EXPECT_FALSE(m_places.empty()) << path;
}

const Listing& program()
{
    static const Listing s_listing("listing");
    return s_listing;
}

const Listing& bareProgram()
{
    static const Listing s_listing("listing_bare", "listing");
    return s_listing;
}

const Listing& fixedProgram()
{
    static const Listing s_listing("listing_fixed");
    return s_listing;
}

const Listing& library()
{
    static const Listing s_listing("listing_lib");
    return s_listing;
}

} // namespace stack_test
