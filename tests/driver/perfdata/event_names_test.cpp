// Names of events that the recording does not name. The expected names are what 'perf evlist' of
// perf 6.1 prints for a recording with these attributes.

#include "perfdata/event_names.h"

#include <gtest/gtest.h>

namespace samplefold::perfdata {
namespace {

EventAttr makeAttr(std::uint32_t type, std::uint64_t config,
                   std::uint64_t flags = attrBit::ExcludeGuest)
{
    EventAttr attr;
    attr.type = type;
    attr.config = config;
    attr.flags = flags;
    return attr;
}

std::uint64_t precise(unsigned level)
{
    return std::uint64_t{level} << 15;
}

TEST(EventNames, NamesHardwareEvents)
{
    const char* expected[] = {"cycles",
                              "instructions",
                              "cache-references",
                              "cache-misses",
                              "branches",
                              "branch-misses",
                              "bus-cycles",
                              "stalled-cycles-frontend",
                              "stalled-cycles-backend",
                              "ref-cycles",
                              "unknown-hardware"};
    for (std::size_t config = 0; config < std::size(expected); ++config)
        EXPECT_EQ(generatedEventName(makeAttr(0, config)), expected[config]);
}

TEST(EventNames, NamesSoftwareEvents)
{
    const char* expected[] = {
        "cpu-clock",    "task-clock",   "page-faults",      "context-switches", "cpu-migrations",
        "minor-faults", "major-faults", "alignment-faults", "emulation-faults", "dummy"};
    for (std::size_t config = 0; config < std::size(expected); ++config)
        EXPECT_EQ(generatedEventName(makeAttr(1, config)), expected[config]);
    EXPECT_EQ(generatedEventName(makeAttr(1, 12)), "unknown-software");
}

TEST(EventNames, NamesSoftwareEventsThatPerfHasNoNameFor)
{
    EXPECT_EQ(generatedEventName(makeAttr(1, 10)), "bpf-output");
    EXPECT_EQ(generatedEventName(makeAttr(1, 11)), "cgroup-switches");
}

TEST(EventNames, NamesCacheEventsByCacheOperationAndResult)
{
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000000)), "L1-dcache-loads");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x010000)), "L1-dcache-load-misses");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x010100)), "L1-dcache-store-misses");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000201)), "L1-icache-prefetches");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x010002)), "LLC-load-misses");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000103)), "dTLB-stores");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x010004)), "iTLB-load-misses");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000005)), "branch-loads");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x010206)), "node-prefetch-misses");
}

TEST(EventNames, RefusesCacheEventsThatDoNotExist)
{
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000101)), "invalid-cache");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000204)), "invalid-cache");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000007)), "unknown-ext-hardware-cache-type");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x000300)), "unknown-ext-hardware-cache-op");
    EXPECT_EQ(generatedEventName(makeAttr(3, 0x030000)), "unknown-ext-hardware-cache-result");
}

TEST(EventNames, NamesRawAndOtherEventsByTheirNumbers)
{
    EXPECT_EQ(generatedEventName(makeAttr(4, 0x1c2)), "raw 0x1c2");
    EXPECT_EQ(generatedEventName(makeAttr(2, 1234)), "unknown tracepoint");
    EXPECT_EQ(generatedEventName(makeAttr(77, 1)), "unknown attr type: 77");
}

TEST(EventNames, NamesBreakpointsByAddressAndAccess)
{
    EventAttr attr = makeAttr(5, 0);
    attr.config1 = 0x4000;
    attr.breakpointType = 3;
    EXPECT_EQ(generatedEventName(attr), "mem:0x4000:rw");
    attr.breakpointType = 4;
    EXPECT_EQ(generatedEventName(attr), "mem:0x4000:x");
}

TEST(EventNames, AddsPrivilegeLevelsWhenSomeAreLeftOut)
{
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, attrBit::ExcludeKernel | attrBit::ExcludeHv)),
              "cycles:u");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, attrBit::ExcludeUser | attrBit::ExcludeHv)),
              "cycles:k");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, attrBit::ExcludeUser)), "cycles:kh");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, attrBit::ExcludeHv)), "cycles:ku");
}

TEST(EventNames, AddsAPerLevelOfPrecision)
{
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, precise(1))), "cycles:p");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, precise(3))), "cycles:ppp");
    EXPECT_EQ(generatedEventName(
                  makeAttr(0, 0, precise(2) | attrBit::ExcludeKernel | attrBit::ExcludeHv)),
              "cycles:upp");
}

TEST(EventNames, AddsHostAndGuestWhenTheyAreNotAsUsual)
{
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, 0)), "cycles:HG");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, attrBit::ExcludeHost)), "cycles:G");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, precise(1) | attrBit::ExcludeGuest)), "cycles:pH");
    EXPECT_EQ(generatedEventName(makeAttr(0, 0, attrBit::ExcludeUser | attrBit::ExcludeHost)),
              "cycles:khG");
}

} // namespace
} // namespace samplefold::perfdata
