#pragma once

#include "support/context_fixture.h"
#include "support/fake_error_reporter.h"
#include "support/fake_jit_loader.h"

namespace samplefold_test {

using samplefold_1::code_location_t;
using samplefold_1::segment_type_t;

/// What createCallsiteInstance is given; `segInst` is also what it gives back.
struct frame_t {
    Index segInst = Index();
    std::uint32_t pid = 42;
    Index process = Index(7);
    std::uint64_t jitTime = 5;
    std::uint64_t ip = 0x401234;
    std::uint64_t segmentStart = 0x400000;
    std::uint64_t segmentRva = 0x10;
    std::string modulePath{};
    Index parent = Index();
    bool markFrame = false;
    code_location_t* location = nullptr;
    segment_type_t type = segment_type_t::noFile;

    Index createIn(samplefold_1::LoaderContext& context)
    {
        return context.createCallsiteInstance(segInst, pid, process, jitTime, ip, segmentStart,
                                              segmentRva, modulePath, parent, markFrame, location,
                                              type);
    }
};

/// A context over a fake store whose tables number their rows apart, with a reporter. Process 42
/// has a JIT loader once the test calls knowProcess.
class CallsiteTest : public ContextTest {
protected:
    CallsiteTest()
    {
        db->table("dd_segment_instance").firstKey = 100;
        db->table("dd_code_location").firstKey = 200;
        db->table("dd_callsite").firstKey = 300;
        db->table("dd_module_segment").firstKey = 400;
        context.setDb(db);
        context.m_errorReporter = reporter;
        context.m_errorReporterMessage = "generated code cannot be read";
        loader->module = makeShared<FakeJitModule>("jit-42.dump", 0);
        loader->answerRva = 0xABCDEF;
        log->take();
    }

    void knowProcess()
    {
        context.m_jitSession = loader;
        context.createJitLoader(42);
    }
    /// The row 100, of module segment 3.
    Index addSegment()
    {
        const Index key = context.addSegmentInstance(Index(3), 0x400000, Index(7), {});
        log->take();
        return key;
    }
    std::string shown(const char* table, std::int32_t key, std::uint16_t column)
    {
        return show(db->table(table).at(key, column));
    }
    std::size_t rowCount(const char* table) { return db->table(table).rows.size(); }

    tb2::sptr_t<FakeErrorReporter> reporter = tb2::make_counted<FakeErrorReporter>();
    boost::intrusive_ptr<FakeJitLoader> loader = makeShared<FakeJitLoader>();
};

} // namespace samplefold_test
