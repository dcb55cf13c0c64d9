#include <samplefold_1/loader_context.h>

#include <jitlens_3_13/native_image.h>

#include <limits>

// What a frame's address belongs to, and the rows of the frame.
namespace samplefold_1 {
namespace {

using rowvault1::utils::indexToVariant;
using tb2::variant_t;

namespace segment_instance_column {
constexpr std::uint16_t moduleSegment = 0;
}
namespace code_location_column {
constexpr std::uint16_t rva = 0, modSeg = 1, storedRva = 14;
}
namespace callsite_column {
constexpr std::uint16_t parent = 0, codeLoc = 1, mark = 5;
}

constexpr std::int32_t g_marked = 3;
constexpr std::int32_t g_unmarked = 0;

/// Relative address of an address that stands for no code: 0, -1, -2 and -3 give 0, 1, 2 and 3.
/// False for every other address.
bool standsForNoCode(std::uint64_t ip, std::uint64_t& rva)
{
    const std::uint64_t number = 0 - ip;
    if (number > 3) return false;
    rva = number;
    return true;
}

} // namespace

std::uint32_t LoaderContext::askJitLoader(const jit_frame_t& frame, Index& segInst,
                                          std::uint64_t& rva)
{
    std::uint64_t relative = 0;
    boost::intrusive_ptr<jitlens_3_13::IModule> module;
    const std::uint32_t code =
        frame.loader->resolve(frame.jitTime, frame.ip, frame.pid, m_jitStatus, relative, module);
    if (code == jitlens_3_13::code::found) {
        segInst = getJitSegmentInstance(frame.process, module);
        rva = relative;
    } else if (code != jitlens_3_13::code::noCode) {
        PORTA_ASSERT_TEXT(!m_errorReporter.is_null(), "m_errorReporter");
        if (m_errorReporter) m_errorReporter->report(m_errorReporterMessage, 0);
    }
    return code;
}

std::uint64_t LoaderContext::settleInSegment(const jit_frame_t& frame, std::uint64_t rva,
                                             const std::string& modulePath, segment_type_t type,
                                             Index& segInst)
{
    if (frame.loader == nullptr) return rva;
    if (type != segment_type_t::moduleOrJit && type != segment_type_t::noFile) return rva;
    if (type == segment_type_t::moduleOrJit && jitlens_3_13::isNativeImage(modulePath.c_str()) != 0)
        return rva;
    if (frame.jitTime == 0) return rva;
    if (askJitLoader(frame, segInst, rva) != jitlens_3_13::code::noCode) return rva;
    // It could have been generated code and is none: the segment given is not to be trusted.
    segInst = getBogusSegmentInstance(frame.process);
    return frame.ip;
}

std::uint64_t LoaderContext::settleOutsideSegments(const jit_frame_t& frame, Index& segInst)
{
    segInst = getBogusSegmentInstance(frame.process);
    std::uint64_t rva = frame.ip;
    if (standsForNoCode(frame.ip, rva)) return rva;
    if (frame.loader != nullptr && frame.jitTime != 0) askJitLoader(frame, segInst, rva);
    return rva;
}

Index LoaderContext::moduleSegmentOf(Index segInst)
{
    const auto cached = m_segInstToModuleSegment.find(segInst.value());
    if (cached != m_segInstToModuleSegment.end()) return Index(cached->second);
    const rowvault1::ConstRecord record(m_segmentInstanceTable->getRecord(segInst));
    const Index moduleSegment =
        rowvault1::utils::variantToIndex(record[segment_instance_column::moduleSegment]);
    m_segInstToModuleSegment[segInst.value()] = moduleSegment.value();
    return moduleSegment;
}

Index LoaderContext::addCodeLocation(Index moduleSegment, std::uint64_t rva)
{
    const variant_t address = m_storeRva ? variant_t(rva) : variant_t(std::int32_t{0});
    m_codeLocationRecord[code_location_column::rva] = address;
    m_codeLocationRecord[code_location_column::storedRva] = address;
    m_codeLocationRecord[code_location_column::modSeg] = variant_t(moduleSegment.value());
    Index codeLocKey;
    m_codeLocationRecord.commit(codeLocKey, 0, 0);
    PORTA_ASSERT_TEXT(codeLocKey.exist(), "codeLocKey.exist()");
    return codeLocKey;
}

Index LoaderContext::addCallsite(Index codeLocation, Index parent, bool markFrame)
{
    m_callsiteRecord[callsite_column::codeLoc] = variant_t(codeLocation.value());
    m_callsiteRecord[callsite_column::mark] = variant_t(markFrame ? g_marked : g_unmarked);
    m_callsiteRecord[callsite_column::parent] =
        m_linkCallsiteParents ? indexToVariant(parent) : variant_t();
    Index csKey;
    m_callsiteRecord.commit(csKey, 0, 0);
    PORTA_ASSERT_TEXT(csKey.exist(), "csKey.exist()");
    return csKey;
}

Index LoaderContext::createCallsiteInstance(Index& segInst, std::uint32_t pid, Index process,
                                            std::uint64_t jitTime, std::uint64_t ip,
                                            std::uint64_t segmentStart, std::uint64_t segmentRva,
                                            const std::string& modulePath, Index parent,
                                            bool markFrame, code_location_t* location,
                                            segment_type_t type)
{
    const jit_loader_t loader = m_jitEnabled ? getJitLoader(pid) : nullptr;
    PORTA_ASSERT_TEXT(process.exist(), "processKey.exist()");
    const jit_frame_t frame{loader.get(), pid, process, jitTime, ip};
    const std::uint64_t rva =
        segInst.exist()
            ? settleInSegment(frame, ip - segmentStart + segmentRva, modulePath, type, segInst)
            : settleOutsideSegments(frame, segInst);
    PORTA_ASSERT_TEXT(segInst.exist(), "segInstKey.exist()");

    const Index moduleSegment = moduleSegmentOf(segInst);
    if (location != nullptr) {
        location->rva = m_storeRva ? rva : 0;
        location->mod_seg = moduleSegment;
        return Index();
    }
    return addCallsite(addCodeLocation(moduleSegment, rva), parent, markFrame);
}

} // namespace samplefold_1
