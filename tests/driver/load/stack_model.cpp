#include "stack_model.h"

#include <algorithm>

namespace samplefold::load::testing {

/// The code that was laid there last, unless something was laid over a part of it since.
const ModelCode* ModelSpace::codeAt(std::uint64_t address, std::uint64_t tick) const
{
    const ModelCode* found = nullptr;
    for (const ModelCode& code : dump) {
        if (code.tick > tick) break;
        if (found != nullptr && found->overlaps(code)) found = nullptr;
        if (code.holds(address)) found = &code;
    }
    return found;
}

bool ModelSpace::wasLaidOverCode(std::uint64_t address, std::uint64_t tick) const
{
    return std::any_of(laid.begin(), laid.end(), [&](const ModelCode& mapping) {
        return mapping.holds(address) && mapping.tick <= tick &&
               codeAt(address, mapping.tick) != nullptr;
    });
}

std::optional<ModelFrame> ModelSpace::at(std::uint64_t address, std::uint64_t tick) const
{
    const auto mapped = mappings.find(address, tick);
    bool isThere = mapped && !(hasCode && (*modules)[mapped->segment].isPlain);
    if (isThere && hasCode) {
        // Code ends a mapping one tick before it starts.
        const bool isEnded = std::any_of(dump.begin(), dump.end(), [&](const ModelCode& code) {
            return code.holds(address) && mapped->loadTime < code.tick && code.tick - 1 <= tick;
        });
        if (isEnded && wasLaidOverCode(address, tick)) return std::nullopt;
        isThere = !isEnded;
    }
    if (isThere) return ModelFrame{(*modules)[mapped->segment].path, mapped->rva};
    const ModelFrame unknown{"-", address};
    if (!hasCode) return unknown;
    if (const ModelCode* const code = codeAt(address, tick))
        return ModelFrame{dumpPath, code->rva + (address - code->first), code->function};
    for (auto line = map.rbegin(); line != map.rend(); ++line) {
        if (line->holds(address)) return ModelFrame{mapPath, address, line->function};
    }
    return unknown;
}

} // namespace samplefold::load::testing
