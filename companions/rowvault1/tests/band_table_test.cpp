#include "result_fixture.h"

using namespace rowvault1;
using tb2::variant_t;

namespace {

class BandTable : public ResultTest {};

TEST_F(BandTable, AnAggregatedBandGivesARowPerAttributeWithItsCustomColumns)
{
    const auto result = create();
    const auto bands = result->sampleBandTable();
    ASSERT_EQ(bands->customColumn("rate"), 0);
    ASSERT_EQ(bands->customColumn("next_attr"), 1);
    const std::vector<variant_t> custom{variant_t(0.25), variant_t(9)};
    tb2::sptr_t<IMetaData> meta;
    aggregated_band_obj_t band{10, 20, {{0, 5, Index(3)}, {0, std::uint64_t{1} << 63, Index()}}};
    ASSERT_TRUE(bands->add({Index(2), "dd_sample"}, band, meta, &custom));
    EXPECT_EQ(meta->rowKey().value(), 2);
    band.data.pop_back();
    ASSERT_TRUE(bands->add({Index(), "dd_sample"}, band, meta, nullptr));
    result->finish();
    EXPECT_EQ(shell("SELECT owner, attribute_table, start_tsc, end_tsc, reserved, count, "
                    "attribute, rate, next_attr FROM sample_band"),
              "2|dd_sample|10|20|0|5|3|0.25|9\n2|dd_sample|10|20|0|-9223372036854775808||0.25|9\n|"
              "dd_sample|10|20|0|5|3||");
}

TEST_F(BandTable, ABandWithoutAttributesGivesNoRow)
{
    const auto result = create();
    tb2::sptr_t<IMetaData> meta;
    EXPECT_TRUE(result->sampleBandTable()->add({Index(1), "dd_sample"}, {1, 2, {}}, meta, nullptr));
    EXPECT_FALSE(meta->rowKey().exist());
    result->finish();
    EXPECT_EQ(shell("SELECT count(*) FROM sample_band"), "0");
}

TEST_F(BandTable, EntriesBeyondTheCustomColumnsMustBeNull)
{
    const auto result = create();
    tb2::sptr_t<IMetaData> meta;
    std::vector<variant_t> custom(65536);
    const AssertionLog log;
    EXPECT_TRUE(
        result->sampleBandTable()->add({Index(1), "dd_sample"}, {1, 2, {{}}}, meta, &custom));
    EXPECT_TRUE(log.expressions().empty());
    custom.back() = variant_t(4);
    EXPECT_TRUE(
        result->sampleBandTable()->add({Index(1), "dd_sample"}, {1, 2, {{}}}, meta, &custom));
    EXPECT_EQ(log.expressions(), std::vector<std::string>{"isValidColumn( column )"});
}

TEST_F(BandTable, AnUnknownCustomColumnIsInvalid)
{
    const auto result = create();
    EXPECT_EQ(result->sampleBandTable()->customColumn("count"), InvalidColIdx);
    EXPECT_EQ(result->sampleBandTable()->customColumn(nullptr), InvalidColIdx);
}

TEST_F(BandTable, FeedbackBandsAreMadeAndBoundToTheirOwner)
{
    const auto result = create();
    EXPECT_TRUE(result->perfDatabase()->getInstanceTableDef("hw_feedback_data", 3).is_null());
    const auto bands =
        result->database()->createBandTable("hw_feedback_data", "dd_hw_feedback", "");
    ASSERT_FALSE(bands.is_null());
    const auto definition = result->perfDatabase()->getInstanceTableDef("hw_feedback_data", 3);
    ASSERT_FALSE(definition.is_null());
    EXPECT_STREQ(definition->dataName(), "hw_feedback_data");
    result->perfDatabase()->bindInstanceTable(definition, "dd_thread", 0, "dd_thread", "", "");
    tb2::sptr_t<IMetaData> meta;
    ASSERT_TRUE(bands->add({Index(4), "dd_hw_feedback"}, {100, 200, 1, Index(8)}, meta, nullptr));
    EXPECT_EQ(meta->rowKey().value(), 1);
    result->finish();
    EXPECT_EQ(shell("SELECT owner, attribute_table, start_tsc, end_tsc, count, attribute FROM "
                    "hw_feedback_data"),
              "4|dd_hw_feedback|100|200|1|8");
    EXPECT_EQ(shell("SELECT data_name, attribute_table, owner_table FROM band_binding"),
              "sample_band|dd_sample|dd_thread\nhw_feedback_data|dd_hw_feedback|dd_thread");
}

TEST_F(BandTable, AnOtherBandDataGetsATableThatAppendFindsAgain)
{
    auto result = create();
    tb2::sptr_t<IMetaData> meta;
    ASSERT_TRUE(result->database()
                    ->createBandTable("my_bands", "dd_cpu", "")
                    ->add({Index(1), "dd_cpu"}, {1, 2, 3, Index(4)}, meta, nullptr));
    result->finish();
    result.reset();
    result = open(open_mode_t::append);
    ASSERT_TRUE(result->database()
                    ->createBandTable("my_bands", "dd_cpu", "")
                    ->add({Index(1), "dd_cpu"}, {5, 6, 7, Index(8)}, meta, nullptr));
    EXPECT_EQ(meta->rowKey().value(), 2);
    result->finish();
    EXPECT_EQ(shell("SELECT start_tsc, attribute FROM my_bands; SELECT count(*) FROM band_binding "
                    "WHERE data_name = 'my_bands'"),
              "1|4\n5|8\n1");
}

TEST_F(BandTable, NamesThatCannotBeBandDataGiveANullHandle)
{
    const auto result = create();
    const auto database = result->database();
    for (const char* const name :
         {"", "dd_sample", "sample_instance", "a b", "x\"; DROP TABLE dd_cpu; --", "sqlite_x"})
        EXPECT_TRUE(database->createBandTable(name, "dd_cpu", "").is_null()) << name;
    EXPECT_TRUE(database->createBandTable("bands", "no_such_table", "").is_null());
    EXPECT_TRUE(database->createBandTable(nullptr, "dd_cpu", "").is_null());
    EXPECT_EQ(result->failure(), "");
}

TEST_F(BandTable, BandDataOverAnotherAttributeTableGiveANullHandle)
{
    auto result = create();
    EXPECT_FALSE(result->database()->createBandTable("my_bands", "dd_cpu", "").is_null());
    EXPECT_TRUE(result->database()->createBandTable("my_bands", "dd_thread", "").is_null());
    EXPECT_FALSE(result->database()->createBandTable("my_bands", "dd_cpu", "").is_null());
    EXPECT_TRUE(result->database()->createBandTable("sample_band", "dd_cpu", "").is_null());
    EXPECT_EQ(result->failure(), "");
    result->finish();
    result.reset();
    result = open(open_mode_t::append);
    EXPECT_TRUE(result->database()->createBandTable("my_bands", "dd_thread", "").is_null());
    EXPECT_FALSE(result->database()->createBandTable("my_bands", "dd_cpu", "").is_null());
    result->finish();
    EXPECT_EQ(shell("SELECT attribute_table FROM band_binding WHERE data_name = 'my_bands'"),
              "dd_cpu");
}

TEST_F(BandTable, ANullDefinitionFires)
{
    const auto result = create();
    const AssertionLog log;
    result->perfDatabase()->bindInstanceTable({}, "dd_thread", 0, "dd_thread", "", "");
    EXPECT_EQ(log.expressions(), std::vector<std::string>{"!definition.is_null()"});
}

} // namespace
