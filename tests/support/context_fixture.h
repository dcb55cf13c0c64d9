#pragma once

#include "support/assertion_recorder.h"
#include "support/fake_container.h"
#include "support/fake_database.h"
#include "support/test_context.h"

#include <gtest/gtest.h>

#include <optional>

namespace samplefold_test {

using rowvault1::Index;
using samplefold_1::pmu_data_t;
using samplefold_1::pmu_sample_attribute_t;
using samplefold_1::ThreadInfo;

/// A context over a fake store. Tests set options on `context`, then call `open`.
class ContextTest : public testing::Test {
protected:
    ContextTest()
    {
        db->query = tb2::make_counted<FakeQuery>(log);
        context.m_instanceContainer = container;
        context.m_sampleBandTable = bandTable;
    }
    ~ContextTest() override { EXPECT_EQ(lines_t{}, assertions.take()) << "unexpected assertions"; }

    /// Goes through the order of a load up to the first sample.
    void open()
    {
        context.setDb(db);
        context.initAttributeCaches(256);
        log->take();
    }

    /// An attribute that only its event type and callsite (call stacks on) tell apart.
    static pmu_sample_attribute_t attribute(std::int32_t eventType, std::int32_t callsite = -1)
    {
        pmu_sample_attribute_t attr;
        attr.event_type = Index(eventType);
        attr.callsite = Index(callsite);
        return attr;
    }
    /// An attribute at a code location (call stacks off).
    static pmu_sample_attribute_t located(std::int32_t eventType, std::int32_t modSeg,
                                          std::uint64_t rva)
    {
        pmu_sample_attribute_t attr;
        attr.event_type = Index(eventType);
        attr.code_loc.mod_seg = Index(modSeg);
        attr.code_loc.rva = rva;
        return attr;
    }

    pmu_sample_attribute_t* add(const pmu_sample_attribute_t& attr)
    {
        return context.addpmuSampleAttribute(attr);
    }
    /// A plain sample of slot 0: no scale.
    static void sample(ThreadInfo& thread, std::uint64_t tsc, pmu_sample_attribute_t* attr,
                       std::int64_t count, std::int32_t slot = 0)
    {
        thread.addSample(tsc, attr, count, 0, 0, false, slot, 1);
    }
    void passAndFlush()
    {
        context.bucketPass();
        context.flushData();
    }

    AssertionRecorder assertions;
    log_ptr_t log = std::make_shared<CallLog>();
    tb2::sptr_t<FakeDatabase> db = tb2::make_counted<FakeDatabase>(log);
    tb2::sptr_t<FakeContainer> container = tb2::make_counted<FakeContainer>(log);
    tb2::sptr_t<FakeBandTable> bandTable = tb2::make_counted<FakeBandTable>(log);
    TestContext context;
};

} // namespace samplefold_test
