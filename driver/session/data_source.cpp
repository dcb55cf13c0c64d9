#include "session/data_source.h"

#include <array>
#include <span>
#include <string_view>

namespace samplefold::session {
namespace {

struct BitName {
    unsigned bit;
    std::string_view name;
};

constexpr std::array g_operations{BitName{1, "load"}, BitName{2, "store"}, BitName{3, "prefetch"},
                                  BitName{4, "exec"}};
constexpr std::array g_levels{BitName{1, "hit"},
                              BitName{2, "miss"},
                              BitName{3, "L1"},
                              BitName{4, "LFB"},
                              BitName{5, "L2"},
                              BitName{6, "L3"},
                              BitName{7, "local RAM"},
                              BitName{8, "remote RAM"},
                              BitName{9, "remote RAM, 2 hops"},
                              BitName{10, "remote cache"},
                              BitName{11, "remote cache, 2 hops"},
                              BitName{12, "I/O"},
                              BitName{13, "uncached"}};
constexpr std::array g_snoops{BitName{1, "none"}, BitName{2, "hit"}, BitName{3, "miss"},
                              BitName{4, "hit modified"}};
constexpr std::array g_locks{BitName{1, "locked"}};
constexpr std::array g_tlbs{BitName{1, "hit"}, BitName{2, "miss"},        BitName{3, "L1"},
                            BitName{4, "L2"},  BitName{5, "page walker"}, BitName{6, "OS handler"}};
constexpr std::array g_transactions{BitName{0, "elision"},        BitName{1, "transaction"},
                                    BitName{2, "synchronous"},    BitName{3, "asynchronous"},
                                    BitName{4, "retry"},          BitName{5, "conflict"},
                                    BitName{6, "capacity write"}, BitName{7, "capacity read"}};

/// Names of the set bits of a field, joined by ", ".
std::string bitNames(std::uint64_t field, std::span<const BitName> names)
{
    std::string text;
    for (const BitName& name : names) {
        if ((field >> name.bit & 1U) == 0) continue;
        if (!text.empty()) text += ", ";
        text += name.name;
    }
    return text;
}

std::uint64_t field(std::uint64_t word, unsigned shift, unsigned bits)
{
    return word >> shift & ((std::uint64_t{1} << bits) - 1);
}

} // namespace

DataSource decodeDataSource(std::uint64_t word)
{
    DataSource source;
    source.operation = bitNames(field(word, 0, 5), g_operations);
    source.level = bitNames(field(word, 5, 14), g_levels);
    source.snoop = bitNames(field(word, 19, 5), g_snoops);
    source.lock = bitNames(field(word, 24, 2), g_locks);
    source.tlb = bitNames(field(word, 26, 7), g_tlbs);
    return source;
}

std::string transactionText(std::uint64_t word)
{
    std::string text = bitNames(word, g_transactions);
    const std::uint64_t abortCode = word >> 32;
    if (abortCode != 0) {
        if (!text.empty()) text += ", ";
        text += "abort code " + std::to_string(abortCode);
    }
    return text;
}

} // namespace samplefold::session
