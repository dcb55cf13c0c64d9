#include "result_fixture.h"

#include <limits>

using namespace rowvault1;
using tb2::variant_t;

namespace {

class Values : public ResultTest {
protected:
    /// Writes one value, reads it back from the store.
    variant_t roundTrip(const char* table, std::uint16_t column, const variant_t& value)
    {
        if (!m_result) m_result = create();
        const Index key = addRow(*m_result, table, {{column, value}});
        return m_result->database()->getAttributeTable(table)->getRecord(key)->getField(column);
    }
    std::string stored(const std::string& sql)
    {
        m_result->finish();
        return shell(sql);
    }

private:
    tb2::sptr_t<IResult> m_result;
};

TEST_F(Values, EveryKindComesBackAsItsColumnDeclares)
{
    EXPECT_EQ(roundTrip("dd_cpu", 0, variant_t(std::int32_t{-5})), variant_t(std::int32_t{-5}));
    EXPECT_EQ(roundTrip("dd_pci_device_info", 5, variant_t(std::uint16_t{65535})),
              variant_t(std::uint16_t{65535}));
    EXPECT_EQ(roundTrip("dd_pci_device_info", 4, variant_t(4294967295U)), variant_t(4294967295U));
    EXPECT_EQ(roundTrip("dd_module_segment", 2, variant_t(std::int64_t{-1} << 40)),
              variant_t(std::int64_t{-1} << 40));
    EXPECT_EQ(roundTrip("dd_pci_device_info", 11, variant_t(2.5)), variant_t(2.5));
    EXPECT_EQ(roundTrip("dd_pci_device_info", 11, variant_t(8.0)), variant_t(8.0));
    EXPECT_EQ(roundTrip("dd_package", 0, variant_t("package_0")), variant_t("package_0"));
    EXPECT_EQ(roundTrip("dd_package", 0, variant_t("")), variant_t(""));
}

TEST_F(Values, UnsignedSixtyFourBitValuesKeepTheirBits)
{
    const std::uint64_t big = 0xffffffff81000123U;
    EXPECT_EQ(roundTrip("dd_sample", 2, variant_t(big)), variant_t(big));
    EXPECT_EQ(roundTrip("dd_sample", 2, variant_t(std::numeric_limits<std::uint64_t>::max())),
              variant_t(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(stored("SELECT printf('%llx', ip) FROM dd_sample"),
              "ffffffff81000123\nffffffffffffffff");
}

TEST_F(Values, NullStaysNullInEveryKind)
{
    for (const std::uint16_t column : std::initializer_list<std::uint16_t>{0, 1, 4, 5, 11})
        EXPECT_TRUE(roundTrip("dd_pci_device_info", column, variant_t()).is_null());
    EXPECT_EQ(
        stored("SELECT count(*) FROM dd_pci_device_info WHERE name IS NULL AND package IS NULL"
               " AND domain IS NULL AND link_speed_b IS NULL"),
        "5");
}

TEST_F(Values, MissingKeysAreStoredAsTheWriterWritesThem)
{
    EXPECT_EQ(roundTrip("dd_io_unit_info", 3, variant_t(-1)), variant_t(-1));
    EXPECT_TRUE(roundTrip("dd_io_unit_info", 3, variant_t()).is_null());
    EXPECT_EQ(stored("SELECT ifnull(traffic_source, 'null') FROM dd_io_unit_info"), "-1\nnull");
}

TEST_F(Values, AValueThatFitsIsConvertedToTheKindOfItsColumn)
{
    const AssertionLog log;
    EXPECT_EQ(roundTrip("dd_code_location", 0, variant_t(0)), variant_t(std::uint64_t{0}));
    EXPECT_EQ(roundTrip("dd_sample", 2, variant_t(7U)), variant_t(std::uint64_t{7}));
    EXPECT_EQ(roundTrip("dd_module_segment", 3, variant_t(-9)), variant_t(std::int64_t{-9}));
    EXPECT_EQ(roundTrip("dd_module_segment", 3, variant_t(9U)), variant_t(std::int64_t{9}));
    EXPECT_EQ(roundTrip("dd_cpu", 0, variant_t(std::uint16_t{9})), variant_t(9));
    EXPECT_EQ(roundTrip("dd_cpu", 0, variant_t(std::int64_t{-9})), variant_t(-9));
    EXPECT_EQ(roundTrip("dd_pci_device_info", 11, variant_t(-3)), variant_t(-3.0));
    EXPECT_TRUE(log.expressions().empty());
}

TEST_F(Values, AValueThatDoesNotFitFiresAndIsStoredAsNull)
{
    const AssertionLog log;
    EXPECT_TRUE(roundTrip("dd_cpu", 0, variant_t("seven")).is_null());
    EXPECT_TRUE(roundTrip("dd_cpu", 0, variant_t(2147483648U)).is_null());
    EXPECT_TRUE(roundTrip("dd_cpu", 0, variant_t(1.0)).is_null());
    EXPECT_TRUE(roundTrip("dd_sample", 2, variant_t(-1)).is_null());
    EXPECT_TRUE(roundTrip("dd_module_segment", 2, variant_t(std::uint64_t{1} << 63)).is_null());
    EXPECT_TRUE(roundTrip("dd_package", 0, variant_t(1)).is_null());
    EXPECT_TRUE(
        roundTrip("dd_pci_device_info", 11, variant_t((std::int64_t{1} << 53) + 1)).is_null());
    EXPECT_EQ(log.expressions(), std::vector<std::string>(7, "kindMatches( column )"));
}

TEST_F(Values, AColumnThatTheTableDoesNotHaveFiresAndIsLeft)
{
    const AssertionLog log;
    EXPECT_TRUE(roundTrip("dd_callsite", 2, variant_t(1)).is_null());
    EXPECT_TRUE(roundTrip("dd_callsite", 65535, variant_t(1)).is_null());
    EXPECT_EQ(log.expressions(), std::vector<std::string>(2, "isValidColumn( column )"));
}

TEST_F(Values, TextKeepsZeroBytesAndBytesThatAreNoCharacters)
{
    const std::string_view odd("a\0b\xff", 4);
    EXPECT_EQ(roundTrip("dd_package", 0, variant_t(odd)), variant_t(odd));
    EXPECT_EQ(stored("SELECT hex(CAST(name AS BLOB)) FROM dd_package"), "610062FF");
}

TEST_F(Values, ALongTextIsKeptWhole)
{
    const std::string path(3 << 20, 'x');
    EXPECT_EQ(roundTrip("dd_module_file", 1, variant_t(path)).as_text().size(), path.size());
    EXPECT_EQ(stored("SELECT length(path) FROM dd_module_file"), "3145728");
}

TEST_F(Values, AnOrphanRecordShowsItsOwnColumns)
{
    const auto result = create();
    const OrphanRecord record =
        result->database()->getAttributeTable("dd_package")->createOrphanRecord();
    EXPECT_TRUE(record[0].get().is_null());
    record[0] = variant_t("one");
    EXPECT_EQ(record[0].get(), variant_t("one"));
    EXPECT_TRUE(record[9].get().is_null());
}

} // namespace
