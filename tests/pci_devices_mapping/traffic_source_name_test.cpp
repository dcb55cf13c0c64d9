#include "support/call_log.h"

#include <samplefold_1/traffic_source_name.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <random>

namespace samplefold_1 {
namespace {

using ranges_t = std::vector<function_range_t>;

ranges_t rangesOf(const std::set<int>& numbers)
{
    ranges_t ranges;
    findContigiousRanges(numbers.begin(), numbers.end(), ranges);
    return ranges;
}

std::string pretty(const ranges_t& ranges)
{
    std::string text = "replaced";
    prettyFormatFunctionRanges(ranges, text);
    return text;
}

pci_device_info_t device(const std::string& name, std::uint32_t domain, std::uint16_t bus,
                         std::uint16_t deviceNumber, std::uint16_t function)
{
    pci_device_info_t one;
    one.name = name;
    one.address = {domain, bus, deviceNumber, function, ""};
    return one;
}

std::string nameOf(const pci_device_set_t& devices)
{
    std::string text = "replaced";
    getTrafficSourceName(devices.begin(), devices.end(), text);
    return text;
}

TEST(FunctionRanges, NumbersAreContiguousWhenTheFirstIsOneMore)
{
    EXPECT_TRUE(is_contiguous(1, 0));
    EXPECT_TRUE(is_contiguous(0, -1));
    EXPECT_FALSE(is_contiguous(0, 1));
    EXPECT_FALSE(is_contiguous(2, 0));
    EXPECT_FALSE(is_contiguous(3, 3));
    EXPECT_FALSE(is_contiguous(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

TEST(FunctionRanges, RunsAreFoundAndAppended)
{
    EXPECT_EQ(rangesOf({0, 1, 2, 5}), (ranges_t{{0, 2}, {5, 5}}));
    EXPECT_EQ(rangesOf({7}), (ranges_t{{7, 7}}));
    EXPECT_EQ(rangesOf({0, 2, 4}), (ranges_t{{0, 0}, {2, 2}, {4, 4}}));

    ranges_t ranges{{9, 9}};
    const std::set<int> numbers{1, 2};
    findContigiousRanges(numbers.begin(), numbers.end(), ranges);
    EXPECT_EQ(ranges, (ranges_t{{9, 9}, {1, 2}}));
}

struct pretty_case_t {
    std::set<int> functions;
    const char* text;
};

class PrettyFunctions : public testing::TestWithParam<pretty_case_t> {};

TEST_P(PrettyFunctions, AreWrittenAsInTheTable)
{
    EXPECT_EQ(pretty(rangesOf(GetParam().functions)), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PrettyFunctions,
    testing::Values(pretty_case_t{{0}, "0"}, pretty_case_t{{3}, "3"},
                    pretty_case_t{{0, 1}, "[0,1]"}, pretty_case_t{{0, 1, 2}, "[0-2]"},
                    pretty_case_t{{0, 2}, "[0,2]"}, pretty_case_t{{0, 1, 2, 5}, "[0-2,5]"},
                    pretty_case_t{{1, 2, 5, 6}, "[1,2,5,6]"}, pretty_case_t{{10}, "a"},
                    pretty_case_t{{9, 10, 11, 16}, "[9-b,10]"},
                    pretty_case_t{{65534, 65535}, "[fffe,ffff]"}));

TEST(TrafficSourceName, OfNoDevicesIsEmpty)
{
    EXPECT_EQ(nameOf({}), "");
}

TEST(TrafficSourceName, FunctionsOfOneNameAndDeviceShareBrackets)
{
    EXPECT_EQ(nameOf({device("nic", 0, 0x3b, 0, 0), device("nic", 0, 0x3b, 0, 1)}),
              "nic (0000:3b:00.[0,1])");
}

TEST(TrafficSourceName, ADeviceOnTwoBusesHasTwoAddressesInBusOrder)
{
    EXPECT_EQ(nameOf({device("nic", 0, 0xaf, 0, 0), device("nic", 0, 0x3b, 0, 0)}),
              "nic (0000:3b:00.0, 0000:af:00.0)");
}

TEST(TrafficSourceName, NamesComeInTextOrderAndNotByAddress)
{
    EXPECT_EQ(nameOf({device("ssd", 0, 1, 0, 0), device("nic", 0, 2, 0, 0)}),
              "nic (0000:02:00.0), ssd (0000:01:00.0)");
}

TEST(TrafficSourceName, FunctionNumbersAreHexadecimal)
{
    EXPECT_EQ(nameOf({device("nic", 0x10000, 0, 0x1f, 10)}), "nic (10000:00:1f.a)");
}

TEST(TrafficSourceName, OnlyTheDevicesOfTheRangeCount)
{
    const pci_device_set_t devices{device("bridge", 0, 0, 0, 0), device("nic", 0, 1, 0, 0)};
    std::string text;
    getTrafficSourceName(std::next(devices.begin()), devices.end(), text);
    EXPECT_EQ(text, "nic (0000:01:00.0)");
}

TEST(PciAddresses, AreTakenFromDevices)
{
    pci_address_set_t addresses{{0, 9, 0, 0, "kept"}};
    getPciAddresses({device("a", 0, 1, 0, 0), device("b", 0, 2, 0, 3)}, addresses);
    ASSERT_EQ(addresses.size(), 3u);
    EXPECT_EQ(addresses.begin()->bus, 1);
    EXPECT_EQ(addresses.rbegin()->text, "kept");
}

TEST(PciAddresses, AreJoinedByCommasWithoutBlanks)
{
    EXPECT_EQ(pciAddressesToString({}), "");
    EXPECT_EQ(pciAddressesToString({{0, 1, 0, 0, "x"}}), "x");
    EXPECT_EQ(pciAddressesToString({{0, 2, 0, 0, "late"}, {0, 1, 0, 0, "early"}}), "early,late");
}

TEST(PciAddresses, AreOrderedByNumbersAndNotByText)
{
    const pci_address_t base{1, 2, 3, 4, "z"};
    EXPECT_TRUE(base < (pci_address_t{2, 0, 0, 0, "a"}));
    EXPECT_TRUE(base < (pci_address_t{1, 3, 0, 0, "a"}));
    EXPECT_TRUE(base < (pci_address_t{1, 2, 4, 0, "a"}));
    EXPECT_TRUE(base < (pci_address_t{1, 2, 3, 5, "a"}));
    EXPECT_FALSE(base < (pci_address_t{1, 2, 3, 4, "zz"}));
    EXPECT_FALSE((pci_address_t{1, 2, 3, 4, "a"}) < base);
}

TEST(PciRecords, KeysOfChannelsAndEventsAreOrderedFieldByFieldAndSigned)
{
    EXPECT_LT((io_channel_info_t{Index(-1), 9, 9}), (io_channel_info_t{Index(0), 0, 0}));
    EXPECT_LT((io_channel_info_t{Index(1), -1, 9}), (io_channel_info_t{Index(1), 0, 0}));
    EXPECT_LT((io_channel_info_t{Index(1), 0, -1}), (io_channel_info_t{Index(1), 0, 0}));
    EXPECT_LT((package_num_and_event_type_t{-1, Index(9)}),
              (package_num_and_event_type_t{0, Index(0)}));
    EXPECT_LT((package_num_and_event_type_t{0, Index(-1)}),
              (package_num_and_event_type_t{0, Index(0)}));
}

/// The text by asking each number alone whether it begins or ends a run, and by walking all pairs
/// of devices instead of maps.
class SlowNames {
public:
    explicit SlowNames(const pci_device_set_t& devices) : m_devices(devices.begin(), devices.end())
    {
    }

    std::string text() const
    {
        std::set<std::string> names;
        for (const auto& one : m_devices)
            names.insert(one.name);
        samplefold_test::lines_t parts;
        for (const auto& name : names)
            parts.push_back(name + " (" + places(name) + ")");
        return join(parts, ", ");
    }

private:
    static std::string join(const samplefold_test::lines_t& parts, const std::string& separator)
    {
        std::string all;
        for (std::size_t i = 0; i < parts.size(); ++i)
            all += (i == 0 ? "" : separator) + parts[i];
        return all;
    }
    std::string places(const std::string& name) const
    {
        samplefold_test::lines_t parts;
        for (const auto& one : m_devices) {
            if (one.name != name) continue;
            char head[64];
            std::snprintf(head, sizeof head, "%04x:%02x:%02x.", one.address.domain, one.address.bus,
                          one.address.device);
            const std::string part = head + functions(one);
            if (std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(part);
        }
        return join(parts, ", ");
    }
    bool has(const pci_device_info_t& like, int function) const
    {
        return std::any_of(m_devices.begin(), m_devices.end(), [&](const pci_device_info_t& one) {
            return one.name == like.name && one.address.domain == like.address.domain &&
                   one.address.bus == like.address.bus &&
                   one.address.device == like.address.device && one.address.function == function;
        });
    }
    std::string functions(const pci_device_info_t& like) const
    {
        samplefold_test::lines_t parts;
        int count = 0;
        for (int number = 0; number < 70; ++number) {
            if (!has(like, number)) continue;
            ++count;
            const bool middle = has(like, number - 1) && has(like, number + 1);
            if (middle) continue;
            char digits[16];
            std::snprintf(digits, sizeof digits, "%x", static_cast<unsigned>(number));
            const bool endsLong = has(like, number - 1) && has(like, number - 2);
            if (endsLong)
                parts.back() += std::string("-") + digits;
            else
                parts.push_back(digits);
        }
        return count == 1 ? parts[0] : "[" + join(parts, ",") + "]";
    }

    std::vector<pci_device_info_t> m_devices; ///< by address
};

TEST(TrafficSourceName, EqualsTheSlowModelOnRandomSets)
{
    std::mt19937 random(7);
    const auto below = [&](unsigned bound) { return static_cast<unsigned>(random() % bound); };
    const char* const names[] = {"nic", "ssd", "nic 2", "", "Bridge"};
    for (int round = 0; round < 2000; ++round) {
        pci_device_set_t devices;
        const unsigned count = 1 + below(40);
        for (unsigned i = 0; i < count; ++i) {
            devices.insert(device(names[below(1 + below(5))], below(2) * 0x12345,
                                  static_cast<std::uint16_t>(below(2) * 0xfe),
                                  static_cast<std::uint16_t>(below(3)),
                                  static_cast<std::uint16_t>(below(1 + below(20)))));
        }
        ASSERT_EQ(nameOf(devices), SlowNames(devices).text());
    }
}

} // namespace
} // namespace samplefold_1
