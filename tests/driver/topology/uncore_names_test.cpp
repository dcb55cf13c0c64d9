#include "topology/uncore_names.h"

#include <samplefold_1/pci_devices_mapping.h>

#include <boost/regex.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

namespace samplefold::topology {
namespace {

struct Case {
    const char* pmu;
    const char* event;
    std::uint64_t config;
    std::uint64_t config1;
    const char* wanted; ///< empty for no name
};

void PrintTo(const Case& one, std::ostream* out)
{
    *out << one.pmu << " " << one.event;
}

std::string nameOf(std::string_view pmu, std::string_view event, std::uint64_t config = 0,
                   std::uint64_t config1 = 0)
{
    perfdata::EventAttr attr;
    attr.config = config;
    attr.config1 = config1;
    return uncoreEventName(pmu, event, attr).value_or("");
}

class UncoreNames : public ::testing::TestWithParam<Case> {};

TEST_P(UncoreNames, HaveTheFormThatEventsAreTiedBy)
{
    const Case& one = GetParam();
    EXPECT_EQ(nameOf(one.pmu, one.event, one.config, one.config1), one.wanted);
}

constexpr std::uint64_t bit(unsigned number)
{
    return std::uint64_t{1} << number;
}

INSTANTIATE_TEST_SUITE_P(
    FromLists, UncoreNames,
    ::testing::Values(
        Case{"uncore_iio_3", "unc_iio_data_req_of_cpu.mem_read.part2", 0, 0,
             "UNC_IIO_DATA_REQ_OF_CPU.MEM_READ.PART2[UNIT3]"},
        Case{"uncore_iio_3", "UNC_IIO_CLOCKTICKS", 0, 0, "UNC_IIO_CLOCKTICKS[UNIT3]"},
        Case{"uncore_iio_11", "unc_iio_clockticks [uncore_iio_11]", 0, 0,
             "UNC_IIO_CLOCKTICKS[UNIT11]"},
        Case{"uncore_iio_0", "uncore_iio_0/unc_iio_clockticks/", 0, 0, "UNC_IIO_CLOCKTICKS[UNIT0]"},
        Case{"uncore_iio_0", "unc_iio_txn_req_by_cpu.mem_write.iio_part0_ltr", 0, 0,
             "UNC_IIO_TXN_REQ_BY_CPU.MEM_WRITE.IIO_PART0_LTR.PART0[UNIT0]"},
        Case{"uncore_iio_0", "unc_iio_comp_buf_inserts.port2", 0, 0,
             "UNC_IIO_COMP_BUF_INSERTS.PORT2.PART2[UNIT0]"},
        Case{"uncore_iio_0", "unc_iio_x.part0-3", 0, 0, "UNC_IIO_X.PART0-3[UNIT0]"},
        Case{"uncore_iio_0", "unc_iio_x.part0.part1", 0, 0, "UNC_IIO_X.PART0.PART1.[UNIT0]"},
        Case{"uncore_iio_0", "counterpart7", 0, 0, "UNC_IIO_COUNTERPART7.[UNIT0]"},
        Case{"uncore_irp_1", "unc_i_faf_inserts", 0, 0, "UNC_I_FAF_INSERTS[UNIT1]"},
        Case{"uncore_cha_7", "unc_cha_tor_inserts.ia_miss", 0, 0,
             "UNC_CHA_TOR_INSERTS.IA_MISS[UNIT7]"},
        Case{"uncore_cha_7", "unc_cha_tor_inserts:tid=0x1f", 0, 0,
             "UNC_CHA_TOR_INSERTS:tid=0x1f[UNIT7]"},
        Case{"uncore_upi_2", "unc_upi_txl_flits.all_data", 0, 0,
             "UNC_XLK_TXL_FLITS.ALL_DATA[UNIT2]"},
        Case{"uncore_qpi_1", "unc_q_txl_flits_g0.data", 0, 0, "UNC_XLK_TXL_FLITS_G0.DATA[UNIT1]"},
        Case{"uncore_m3upi_1", "unc_m3upi_clockticks", 0, 0, "UNC_M3UPI_CLOCKTICKS[UNIT1]"},
        Case{"uncore_imc_4", "unc_m_cas_count.rd", 0, 0, "UNC_IMC_CAS_COUNT.RD[UNIT4]"},
        Case{"uncore_cbox_3", "unc_cbo_cache_lookup.any_i", 0, 0,
             "UNC_CBOX_CACHE_LOOKUP.ANY_I[UNIT3]"}));

INSTANTIATE_TEST_SUITE_P(
    FromTerms, UncoreNames,
    ::testing::Values(Case{"uncore_iio_3", "uncore_iio_3/event=0x83,umask=0x04/", 0, 0,
                           "UNC_IIO_event=0x83,umask=0x04[UNIT3]"},
                      Case{"uncore_iio_3", "uncore_iio_3/event=0x83,ch_mask=0x04/", 0, 0,
                           "UNC_IIO_event=0x83,ch_mask=0x04.PART2[UNIT3]"},
                      Case{"uncore_iio_3", "uncore_iio_3/event=0x83,ch_mask=0x0f/", bit(36), 0,
                           "UNC_IIO_event=0x83,ch_mask=0x0f[UNIT3]"},
                      Case{"uncore_cha_7", "uncore_cha_7/event=0x35,filter_tid=0x1f/", 0, 0,
                           "UNC_CHA_event=0x35:tid=0x1f[UNIT7]"},
                      Case{"uncore_cha_7", "uncore_cha/filter_tid4=31,event=0x35/", 0, 0,
                           "UNC_CHA_event=0x35:tid=0x1f[UNIT7]"},
                      Case{"uncore_imc_0", "uncore_imc/event=4,tid=3/", 0, 0,
                           "UNC_IMC_event=4,tid=0x3[UNIT0]"}));

INSTANTIATE_TEST_SUITE_P(
    FromBits, UncoreNames,
    ::testing::Values(
        Case{"uncore_iio_3", "reads", bit(38), 0, "UNC_IIO_READS.PART2[UNIT3]"},
        Case{"uncore_iio_3", "reads", bit(38) | bit(44), 0, "UNC_IIO_READS.PART2[UNIT3]"},
        Case{"uncore_iio_3", "reads", bit(45) | bit(48), 0, "UNC_IIO_READS.PART9[UNIT3]"},
        Case{"uncore_iio_3", "reads", bit(38) | bit(39), 0, "UNC_IIO_READS[UNIT3]"},
        Case{"uncore_iio_3", "reads.part5", bit(38), 0, "UNC_IIO_READS.PART5[UNIT3]"},
        Case{"uncore_irp_3", "reads", bit(38), 0, "UNC_I_READS[UNIT3]"},
        Case{"uncore_cha_7", "reads", 0, 0x1f, "UNC_CHA_READS:tid=0x1f[UNIT7]"},
        Case{"uncore_cha_7", "reads", bit(19), 0, "UNC_CHA_READS:tid=0x0[UNIT7]"},
        Case{"uncore_cha_7", "reads", 0, bit(17), "UNC_CHA_READS[UNIT7]"},
        Case{"uncore_imc_7", "reads", 0, 0x1f, "UNC_IMC_READS[UNIT7]"}));

INSTANTIATE_TEST_SUITE_P(
    OfOtherPmus, UncoreNames,
    ::testing::Values(
        Case{"uncore_imc", "data_reads", 0, 0, "UNC_IMC_DATA_READS[UNIT0]"},
        Case{"uncore_imc_free_running_0", "data_read", 0, 0,
             "UNC_IMC_FREE_RUNNING_DATA_READ[UNIT0]"},
        Case{"uncore_iio_free_running_2", "bw_in_port2", 0, 0, "UNC_IIO_BW_IN_PORT2.PART2[UNIT2]"},
        Case{"uncore_iio_free_running_2", "ioclk", 0, 0, "UNC_IIO_IOCLK[UNIT2]"},
        Case{"uncore_type_6_3", "event=1", 0, 0, "UNC_TYPE_6_event=1[UNIT3]"},
        Case{"uncore_iio", "x", 0, 0, "UNC_IIO_X[UNIT0]"},
        Case{"uncore_clock", "unc_clock.socket", 0, 0, "UNC_CLOCK_CLOCK.SOCKET[UNIT0]"},
        Case{"amd_df", "event=0x1f", 0, 0, "UNC_AMD_DF_event=0x1f[UNIT0]"},
        Case{"amd_umc_5", "reads", 0, 0, "UNC_AMD_UMC_READS[UNIT5]"},
        Case{"amd_l3", "l3_misses", 0, 0, "UNC_AMD_L3_L3_MISSES[UNIT0]"},
        Case{"uncore_iio_65536", "x", 0, 0, ""},
        Case{"uncore_iio_99999999999999999999", "x", 0, 0, ""}, Case{"cpu", "cycles", 0, 0, ""},
        Case{"power", "energy-pkg", 0, 0, ""}, Case{"", "cycles", 0, 0, ""}));

INSTANTIATE_TEST_SUITE_P(
    OfOddNames, UncoreNames,
    ::testing::Values(Case{"uncore_iio_3", "", 0, 0, "UNC_IIO_[UNIT3]"},
                      Case{"uncore_iio_3", "/", 0, 0, "UNC_IIO_/[UNIT3]"},
                      Case{"uncore_iio_3", "//", 0, 0, "UNC_IIO_//[UNIT3]"},
                      Case{"uncore_iio_3", "x[UNIT9]", 0, 0, "UNC_IIO_X[UNIT9][UNIT3]"},
                      Case{"uncore_iio_3", "unc_", 0, 0, "UNC_IIO_[UNIT3]"},
                      Case{"uncore_iio_3", "part99999999", 0, 0, "UNC_IIO_PART99999999.[UNIT3]"},
                      Case{"uncore_iio_3", "ch_mask=x", 0, 0, "UNC_IIO_ch_mask=x[UNIT3]"},
                      Case{"uncore_", "x", 0, 0, "UNC__X[UNIT0]"}));

/// The library's own pattern reads back what was meant.
TEST(UncoreNamesOfTheLibrary, AreReadBackByItsPattern)
{
    const auto read = [](const std::string& name) {
        boost::smatch groups;
        if (!boost::regex_match(name, groups, samplefold_1::PciDevicesMapping::m_pciEventPattern))
            return std::string("none");
        return groups["eventType"].str() + " " + groups["unitNum"].str() + " " +
               groups["partNum"].str() + " " + groups["tid"].str();
    };
    EXPECT_EQ(read(nameOf("uncore_iio_3", "unc_iio_x.part2")), "UNC_IIO 3 2 ");
    EXPECT_EQ(read(nameOf("uncore_iio_3", "reads", bit(45) | bit(48))), "UNC_IIO 3 9 ");
    EXPECT_EQ(read(nameOf("uncore_iio_3", "counterpart7")), "UNC_IIO 3  ");
    EXPECT_EQ(read(nameOf("uncore_iio_3", "unc_iio_x.part0.part1")), "UNC_IIO 3  ");
    EXPECT_EQ(read(nameOf("uncore_iio_3", "part99999999")), "UNC_IIO 3  ");
    EXPECT_EQ(read(nameOf("uncore_iio_free_running_2", "bw_in_port2")), "UNC_IIO 2 2 ");
    EXPECT_EQ(read(nameOf("uncore_irp_4", "unc_i_x")), "UNC_I 4  ");
    EXPECT_EQ(read(nameOf("uncore_cha_7", "x", 0, 0x1f)), "UNC_CHA 7  1f");
    EXPECT_EQ(read(nameOf("uncore_cha_7", "unc_cha_x:tid=0x1F:y")), "UNC_CHA 7  1f");
    EXPECT_EQ(read(nameOf("uncore_upi_0", "x")), "UNC_XLK 0  ");
    EXPECT_EQ(read(nameOf("amd_df", "x")), "UNC_AMD 0  ");
}

TEST(UncoreNamesOfALink, HaveItsNumber)
{
    EXPECT_EQ(linkOfEvent("UNC_XLK_X[UNIT2]"), 2);
    EXPECT_EQ(linkOfEvent("UNC_XLK_X[UNIT9][UNIT2]"), 2);
    for (const char* other : {"UNC_IIO_X[UNIT2]", "UNC_XLK_X[UNIT]", "UNC_XLK_X[UNIT2", "UNC_XLK_X",
                              "UNC_XLK_X[UNIT2x]", "UNC_XLK_X[UNIT99999999]", ""})
        EXPECT_EQ(linkOfEvent(other), std::nullopt) << other;
}

TEST(PlatformModel, IsThatOfOneMakerAndFamily)
{
    EXPECT_EQ(platformModel("GenuineIntel,6,85,7"), 85);
    EXPECT_EQ(platformModel("GenuineIntel,6,106,6"), 106);
    EXPECT_EQ(platformModel("GenuineIntel,6,134,0"), 134);
    for (const char* other : {"AuthenticAMD,6,85,7", "GenuineIntel,15,85,7", "GenuineIntel,6,",
                              "GenuineIntel,6,x,1", "GenuineIntel,6,99999,1", "85", ""})
        EXPECT_EQ(platformModel(other), 0) << other;
}

TEST(UncoreNamesOfAMegabyte, AreMadeInTime)
{
    const auto start = std::chrono::steady_clock::now();
    for (const char* piece :
         {"part1_", "P", ",", "/", "tid=0x1,", ":", "[UNIT3]", " [", "unc_", "_"}) {
        std::string text;
        while (text.size() < (std::size_t{1} << 20))
            text += piece;
        EXPECT_FALSE(nameOf("uncore_iio_3", text).empty()) << piece;
        EXPECT_FALSE(nameOf("uncore_cha_3", text).empty()) << piece;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

} // namespace
} // namespace samplefold::topology
