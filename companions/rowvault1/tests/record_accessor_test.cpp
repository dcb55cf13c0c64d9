#include "result_fixture.h"

using namespace rowvault1;
using tb2::variant_t;

namespace {

class RecordAccessorRules : public ResultTest {};

TEST_F(RecordAccessorRules, ANullRecordFiresReadsNullAndDropsWhatIsAssigned)
{
    const AssertionLog log;
    const OrphanRecord none;
    EXPECT_TRUE(none.isNull());
    none[0] = variant_t(1);
    EXPECT_TRUE(none[0].get().is_null());
    Index key(9);
    EXPECT_FALSE(none.commit(key, 0, 0));
    EXPECT_EQ(key.value(), 9);
    EXPECT_EQ(log.expressions(), std::vector<std::string>(3, "m_pRecord"));
}

TEST_F(RecordAccessorRules, AStoredRecordCommitsWhenItIsReleased)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_cpu");
    const Index key = addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    StoredRecord record(table->getRecord(key));
    record[0] = variant_t(2);
    EXPECT_EQ(table->getRecord(key)->getField(0), variant_t(1));
    record.release();
    EXPECT_TRUE(record.isNull());
    EXPECT_EQ(table->getRecord(key)->getField(0), variant_t(2));
}

TEST_F(RecordAccessorRules, ACopyCommitsWhenItIsReleasedAlthoughTheRowIsStillHeld)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_cpu");
    const Index key = addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    const StoredRecord record(table->getRecord(key));
    record[0] = variant_t(2);
    {
        const StoredRecord copy(record);
    }
    EXPECT_EQ(table->getRecord(key)->getField(0), variant_t(2));
}

TEST_F(RecordAccessorRules, AssigningAnotherRecordCommitsTheFormer)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_cpu");
    const Index first = addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    const Index second = addRow(*result, "dd_cpu", {{0, variant_t(2)}});
    StoredRecord record(table->getRecord(first));
    record[0] = variant_t(10);
    record = StoredRecord(table->getRecord(second));
    EXPECT_EQ(table->getRecord(first)->getField(0), variant_t(10));
    EXPECT_EQ(record[0].get(), variant_t(2));
}

TEST_F(RecordAccessorRules, ARecordForReadingIsLeftAsItIs)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_cpu");
    const Index key = addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    const tb2::sptr_t<IRecordInternal> stored = table->getRecord(key);
    const ConstRecord record{tb2::sptr_t<IConstRecordInternal>(stored)};
    EXPECT_EQ(record[0].get(), variant_t(1));
    EXPECT_TRUE(record[1].get().is_null());
}

TEST_F(RecordAccessorRules, OnlyChangedColumnsAreWritten)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_mesh_stop");
    const Index key = addRow(*result, "dd_mesh_stop", {{0, variant_t(1)}, {1, variant_t(2)}});
    StoredRecord one(table->getRecord(key));
    StoredRecord other(table->getRecord(key));
    one[0] = variant_t(11);
    other[1] = variant_t(22);
    one.release();
    other.release();
    result->finish();
    EXPECT_EQ(shell("SELECT tid, package FROM dd_mesh_stop"), "11|22");
}

} // namespace
