#include <samplefold_1/loader_context.h>

namespace samplefold_1 {
namespace {

namespace segment_instance_column {
constexpr std::uint16_t moduleSegment = 0, address = 1, process = 2, extra = 3;
}

} // namespace

Index LoaderContext::addSegmentInstance(Index moduleSegment, std::uint64_t address, Index process,
                                        const tb2::variant_t& extra)
{
    const rowvault1::OrphanRecord record = m_segmentInstanceTable->createOrphanRecord();
    record[segment_instance_column::moduleSegment] =
        rowvault1::utils::indexToVariant(moduleSegment);
    record[segment_instance_column::process] = tb2::variant_t(process.value());
    record[segment_instance_column::address] = tb2::variant_t(address);
    record[segment_instance_column::extra] = extra;
    Index newKey;
    record.commit(newKey, 0, 0);
    m_segInstToModuleSegment[newKey.value()] = moduleSegment.value();
    return newKey;
}

Index LoaderContext::getBogusSegmentInstance(Index process)
{
    return addSegmentInstance(Index(), 0, process, tb2::variant_t());
}

} // namespace samplefold_1
