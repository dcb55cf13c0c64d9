#include "session/data_source.h"

#include <gtest/gtest.h>

#include <linux/perf_event.h>

#include <ostream>

namespace samplefold::session {
namespace {

// Words are put together by the kernel's own macros.
struct Row {
    std::uint64_t word;
    DataSource want;
};

void expectWords(const Row& row)
{
    const DataSource got = decodeDataSource(row.word);
    EXPECT_EQ(got.operation, row.want.operation) << std::hex << row.word;
    EXPECT_EQ(got.level, row.want.level) << std::hex << row.word;
    EXPECT_EQ(got.snoop, row.want.snoop) << std::hex << row.word;
    EXPECT_EQ(got.tlb, row.want.tlb) << std::hex << row.word;
    EXPECT_EQ(got.lock, row.want.lock) << std::hex << row.word;
}

TEST(DataSourceTest, OperationsLevelsSnoopsTranslationsAndLocks)
{
    const Row rows[] = {
        {0, {}},
        {PERF_MEM_S(OP, LOAD), {"load", "", "", "", ""}},
        {PERF_MEM_S(OP, STORE), {"store", "", "", "", ""}},
        {PERF_MEM_S(OP, PFETCH), {"prefetch", "", "", "", ""}},
        {PERF_MEM_S(OP, EXEC), {"exec", "", "", "", ""}},
        {PERF_MEM_S(LVL, HIT) | PERF_MEM_S(LVL, L1), {"", "hit, L1", "", "", ""}},
        {PERF_MEM_S(LVL, MISS) | PERF_MEM_S(LVL, L3), {"", "miss, L3", "", "", ""}},
        {PERF_MEM_S(LVL, LFB), {"", "LFB", "", "", ""}},
        {PERF_MEM_S(LVL, L2), {"", "L2", "", "", ""}},
        {PERF_MEM_S(LVL, LOC_RAM), {"", "local RAM", "", "", ""}},
        {PERF_MEM_S(LVL, REM_RAM1), {"", "remote RAM", "", "", ""}},
        {PERF_MEM_S(LVL, REM_RAM2), {"", "remote RAM, 2 hops", "", "", ""}},
        {PERF_MEM_S(LVL, REM_CCE1), {"", "remote cache", "", "", ""}},
        {PERF_MEM_S(LVL, REM_CCE2), {"", "remote cache, 2 hops", "", "", ""}},
        {PERF_MEM_S(LVL, IO), {"", "I/O", "", "", ""}},
        {PERF_MEM_S(LVL, UNC), {"", "uncached", "", "", ""}},
        {PERF_MEM_S(SNOOP, NONE), {"", "", "none", "", ""}},
        {PERF_MEM_S(SNOOP, HIT), {"", "", "hit", "", ""}},
        {PERF_MEM_S(SNOOP, MISS), {"", "", "miss", "", ""}},
        {PERF_MEM_S(SNOOP, HITM), {"", "", "hit modified", "", ""}},
        {PERF_MEM_S(TLB, HIT) | PERF_MEM_S(TLB, L1), {"", "", "", "hit, L1", ""}},
        {PERF_MEM_S(TLB, MISS) | PERF_MEM_S(TLB, L2), {"", "", "", "miss, L2", ""}},
        {PERF_MEM_S(TLB, WK), {"", "", "", "page walker", ""}},
        {PERF_MEM_S(TLB, OS), {"", "", "", "OS handler", ""}},
        {PERF_MEM_S(LOCK, LOCKED), {"", "", "", "", "locked"}},
    };
    for (const Row& row : rows)
        expectWords(row);
}

TEST(DataSourceTest, WhatTheProcessorDoesNotTellIsEmpty)
{
    expectWords({PERF_MEM_S(OP, NA) | PERF_MEM_S(LVL, NA) | PERF_MEM_S(SNOOP, NA) |
                     PERF_MEM_S(TLB, NA) | PERF_MEM_S(LOCK, NA),
                 {}});
}

TEST(DataSourceTest, FieldsOfOneWordDoNotMix)
{
    expectWords({PERF_MEM_S(OP, LOAD) | PERF_MEM_S(LVL, HIT) | PERF_MEM_S(LVL, L3) |
                     PERF_MEM_S(SNOOP, HITM) | PERF_MEM_S(LOCK, LOCKED) | PERF_MEM_S(TLB, HIT) |
                     PERF_MEM_S(TLB, L2),
                 {"load", "hit, L3", "hit modified", "hit, L2", "locked"}});
}

TEST(TransactionTest, FlagsByTheKernelsBits)
{
    EXPECT_EQ(transactionText(0), "");
    EXPECT_EQ(transactionText(PERF_TXN_ELISION), "elision");
    EXPECT_EQ(transactionText(PERF_TXN_TRANSACTION), "transaction");
    EXPECT_EQ(transactionText(PERF_TXN_SYNC), "synchronous");
    EXPECT_EQ(transactionText(PERF_TXN_ASYNC), "asynchronous");
    EXPECT_EQ(transactionText(PERF_TXN_RETRY), "retry");
    EXPECT_EQ(transactionText(PERF_TXN_CONFLICT), "conflict");
    EXPECT_EQ(transactionText(PERF_TXN_CAPACITY_WRITE), "capacity write");
    EXPECT_EQ(transactionText(PERF_TXN_CAPACITY_READ), "capacity read");
}

TEST(TransactionTest, TheAbortCodeIsTold)
{
    const std::uint64_t code = std::uint64_t{170} << PERF_TXN_ABORT_SHIFT;
    EXPECT_EQ(transactionText(code), "abort code 170");
    EXPECT_EQ(transactionText(code | PERF_TXN_TRANSACTION | PERF_TXN_CONFLICT),
              "transaction, conflict, abort code 170");
    EXPECT_EQ(transactionText(PERF_TXN_ABORT_MASK), "abort code 4294967295");
}

} // namespace
} // namespace samplefold::session
