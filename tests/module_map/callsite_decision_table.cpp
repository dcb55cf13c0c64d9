#include "module_map/callsite_decision_table.h"

#include <set>

namespace samplefold_test {
namespace {

using enum loader_t;
using enum address_t;

/// An empty set or an empty optional holds for every value.
struct rule_t {
    bool segmentGiven;
    std::set<std::int32_t> types;
    std::optional<bool> nativeImage;
    std::optional<bool> timed;
    std::set<loader_t> loaders;
    std::set<address_t> addresses;
    decision_t decision;
};

const std::set<loader_t> g_silent{off, none};
const std::set<loader_t> g_speaking{found, noCode, error};
constexpr auto g_any = std::nullopt;

constexpr decision_t stays{home_t::given, rva_t::inSegment, 0, 0, 0};
constexpr decision_t staysWithReport{home_t::given, rva_t::inSegment, 1, 0, 1};
constexpr decision_t leavesItsSegment{home_t::placeholder, rva_t::wholeAddress, 1, 1, 0};
constexpr decision_t isGenerated{home_t::jit, rva_t::ofLoader, 1, 0, 0};
constexpr decision_t isGeneratedAfterAll{home_t::jit, rva_t::ofLoader, 1, 1, 0};
constexpr decision_t isUnknown{home_t::placeholder, rva_t::wholeAddress, 0, 1, 0};
constexpr decision_t staysUnknown{home_t::placeholder, rva_t::wholeAddress, 1, 1, 0};
constexpr decision_t staysUnknownWithReport{home_t::placeholder, rva_t::wholeAddress, 1, 1, 1};

constexpr decision_t isNumber(rva_t number)
{
    return {home_t::placeholder, number, 0, 1, 0};
}

const std::vector<rule_t>& rules()
{
    static const std::vector<rule_t> all{
        // given, types, native image, timed, loaders, addresses
        {true, {1, 7}, g_any, g_any, {}, {}, stays},
        {true, {0, 2}, g_any, g_any, g_silent, {}, stays},
        {true, {0}, true, g_any, g_speaking, {}, stays},
        {true, {0}, false, false, g_speaking, {}, stays},
        {true, {2}, g_any, false, g_speaking, {}, stays},
        {true, {0}, false, true, {found}, {}, isGenerated},
        {true, {0}, false, true, {noCode}, {}, leavesItsSegment},
        {true, {0}, false, true, {error}, {}, staysWithReport},
        {true, {2}, g_any, true, {found}, {}, isGenerated},
        {true, {2}, g_any, true, {noCode}, {}, leavesItsSegment},
        {true, {2}, g_any, true, {error}, {}, staysWithReport},
        {false, {}, g_any, g_any, {}, {zero}, isNumber(rva_t::zero)},
        {false, {}, g_any, g_any, {}, {minusOne}, isNumber(rva_t::one)},
        {false, {}, g_any, g_any, {}, {minusTwo}, isNumber(rva_t::two)},
        {false, {}, g_any, g_any, {}, {minusThree}, isNumber(rva_t::three)},
        {false, {}, g_any, g_any, g_silent, {ordinary}, isUnknown},
        {false, {}, g_any, false, g_speaking, {ordinary}, isUnknown},
        {false, {}, g_any, true, {found}, {ordinary}, isGeneratedAfterAll},
        {false, {}, g_any, true, {noCode}, {ordinary}, staysUnknown},
        {false, {}, g_any, true, {error}, {ordinary}, staysUnknownWithReport},
    };
    return all;
}

template <class T>
bool holds(const std::set<T>& set, T value)
{
    return set.empty() || set.contains(value);
}
bool holds(std::optional<bool> wanted, bool value)
{
    return !wanted || *wanted == value;
}

} // namespace

std::vector<decision_t> decisionsFor(const decision_input_t& input)
{
    std::vector<decision_t> found;
    for (const rule_t& rule : rules()) {
        if (rule.segmentGiven == input.segmentGiven && holds(rule.types, input.type) &&
            holds(rule.nativeImage, input.nativeImage) && holds(rule.timed, input.timed) &&
            holds(rule.loaders, input.loader) && holds(rule.addresses, input.address))
            found.push_back(rule.decision);
    }
    return found;
}

} // namespace samplefold_test
