#pragma once

#include "support/fake_table.h"

#include <functional>

namespace samplefold_test {

/// A fake table that says when a record is asked of it.
class HookedTable : public FakeTable {
public:
    using FakeTable::FakeTable;

    rowvault1::OrphanRecord createOrphanRecord() override
    {
        if (onRecord) onRecord();
        return FakeTable::createOrphanRecord();
    }

    std::function<void()> onRecord;
};

} // namespace samplefold_test
