#include "verifier_fixture.h"

#include "support/log_capture.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <ostream>

namespace stack_test {
namespace {

constexpr std::uint64_t g_pageMask = 0xfff;

struct part_t {
    const char* prefix;
    const Listing& (*listing)();
    std::uint64_t base;
};

} // namespace

VerifierTest::VerifierTest()
{
    map(process, program(), programBase);
    map(process, library(), libraryBase);
    map(process, bareProgram(), bareBase);
    map(kernel, fixedProgram(), kernelBase);
    context.m_jitSession = loader;
    context.createJitLoader(pid);
}

std::uint64_t VerifierTest::at(const std::string& place)
{
    static const std::array<part_t, 4> s_parts{{{"library:", library, libraryBase},
                                                {"kernel:", fixedProgram, kernelBase},
                                                {"bare:", bareProgram, bareBase},
                                                {"", program, programBase}}};
    if (place.starts_with("jit:")) return jit + std::stoull(place.substr(4), nullptr, 16);
    for (const part_t& part : s_parts) {
        if (!place.starts_with(part.prefix)) continue;
        const std::string name = place.substr(std::string(part.prefix).size());
        const Listing& listing = part.listing();
        return part.base + (name == "apply@plt" ? listing.linkageEntry() : listing.rva(name));
    }
    return 0;
}

void VerifierTest::map(SegInstMap& space, const Listing& listing, std::uint64_t base)
{
    for (const Listing::code_t& code : listing.code()) {
        const std::uint64_t low = code.rva & ~g_pageMask;
        mapAs(space, listing.path(), base + low,
              base + ((code.rva + code.size + g_pageMask) & ~g_pageMask) - 1,
              code.offsetInFile & ~g_pageMask);
    }
}

void VerifierTest::mapAs(SegInstMap& space, const std::string& modulePath, std::uint64_t low,
                         std::uint64_t high, std::uint64_t offsetInFile)
{
    const Index module = addRow("dd_module_file", tb2::variant_t(modulePath.c_str()));
    const Index segment = addRow("dd_module_segment", tb2::variant_t(module.value()));
    const Index instance = addRow("dd_segment_instance", tb2::variant_t(segment.value()));
    space.values.push_back(
        {low, high, 0, ~std::uint64_t{0}, modulePath, offsetInFile, instance, module});
}

links_t VerifierTest::linksOf(const stack_t& records, std::uint64_t ip)
{
    stack_t kept = records;
    EXPECT_TRUE(verify(navigating, kept, ip));
    const links_t& links = navigating.lastLinks();
    const auto passed = static_cast<std::size_t>(
        std::count_if(links.begin(), links.end(), [](link_outcome_t outcome) {
            return outcome < link_outcome_t::cutUnresolvedTo;
        }));
    EXPECT_EQ(kept, stack_t(records.end() - static_cast<std::ptrdiff_t>(passed), records.end()));
    return links;
}

Index VerifierTest::addRow(const char* table, const tb2::variant_t& value)
{
    const rowvault1::OrphanRecord record =
        result->database()->getAttributeTable(table)->createOrphanRecord();
    record[0] = value;
    Index key;
    record.commit(key, 0, 0);
    return key;
}

lines_t debugLines(const std::function<void()>& action)
{
    const samplefold_test::LogCapture capture(log4cplus::DEBUG_LOG_LEVEL);
    action();
    lines_t lines;
    for (const auto& entry : capture.entries()) {
        EXPECT_EQ(entry.level, 10000) << entry.text;
        lines.push_back(entry.text);
    }
    return lines;
}

bool contains(const lines_t& lines, const std::string& line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::string hex(std::uint64_t number, std::size_t width)
{
    std::array<char, 24> digits{};
    std::snprintf(digits.data(), digits.size(), "0x%" PRIx64, number);
    std::string text = digits.data();
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

} // namespace stack_test

namespace samplefold_1 {

std::ostream& operator<<(std::ostream& out, link_outcome_t outcome)
{
    static constexpr std::array s_names{
        "generatedCode",  "linkageTable", "otherModule",     "privilegeChange",
        "symbol",         "basicBlocks",  "cutUnresolvedTo", "cutUnresolvedFrom",
        "cutCrossModule", "cutSymbol",    "cutBasicBlocks"};
    return out << s_names.at(static_cast<std::size_t>(outcome));
}

std::ostream& operator<<(std::ostream& out, merge_outcome_t outcome)
{
    static constexpr std::array s_names{"none",           "complete",      "marked",
                                        "notNecessary",   "noRecordsLeft", "unresolvedFrame",
                                        "unresolvedFrom", "otherModule",   "otherCall",
                                        "unresolvedLast"};
    return out << s_names.at(static_cast<std::size_t>(outcome));
}

} // namespace samplefold_1
