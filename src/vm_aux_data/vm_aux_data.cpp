#include <samplefold_1/vm_aux_data.h>

#include <algorithm>

namespace samplefold_1 {
namespace {

/// Widens the record to hold the tick when the tick belongs to it, and tells whether it does. The
/// oldest record takes whatever is left.
bool takesTick(PerfProcessInfo& record, std::uint64_t tsc, bool isOldest)
{
    if (record.firstTsc == 0 && record.lastTsc == 0) {
        record.firstTsc = record.lastTsc = tsc;
        return true;
    }
    if (record.firstTsc == 0 && tsc < record.lastTsc) {
        record.firstTsc = tsc;
        return true;
    }
    if (record.firstTsc <= tsc) {
        record.lastTsc = std::max(record.lastTsc, tsc);
        return true;
    }
    // An end before the start: it was set without one.
    if (record.lastTsc < tsc) {
        record.lastTsc = tsc;
        return true;
    }
    if (isOldest) record.firstTsc = tsc;
    return isOldest;
}

} // namespace

int VmAuxData::getProcessState(std::uint64_t tsc, std::uint32_t pid, std::uint64_t& index,
                               accessor& held)
{
    held.release();
    insert(held, pid);
    PerfProcessInfos& records = held->second;
    index = 0;
    // A vector that is growing may count records whose room is not there yet.
    const std::size_t count = std::min(records.size(), records.capacity());
    for (std::size_t i = count; i-- > 0;) {
        if (!takesTick(records[i], tsc, i == 0)) continue;
        index = i;
        return 1;
    }
    return 0;
}

} // namespace samplefold_1
