#include <samplefold_1/seg_inst_map.h>

namespace samplefold_1 {

SegInstInfo* SegInstMap::findSegInst(std::uint64_t point, std::uint64_t time)
{
    ensureBuilt();
    SegInstInfo* best = nullptr;
    std::uint64_t bestLoad = 0;
    walk(point, [&](SegInstInfo* segment) {
        if (!segment->isValidAt(time) || segment->loadTime < bestLoad) return;
        best = segment;
        bestLoad = segment->loadTime;
    });
    return best;
}

} // namespace samplefold_1
