#include "perfdata/recording.h"

#include "perfdata/container.h"
#include "perfdata/expander.h"
#include "perfdata/feature_parser.h"
#include "perfdata/recording_impl.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace samplefold::perfdata {

namespace {

constexpr std::uint64_t releaseEvery = std::uint64_t{16} << 20;
constexpr std::size_t noteLimit = 64;

/// Reports progress, and gives back what the pass has behind it.
class OpenProgress {
public:
    OpenProgress(const Recording::Impl& impl, const ProgressHook& hook) : m_impl(impl), m_hook(hook)
    {
    }

    void operator()(std::uint64_t position)
    {
        if (m_hook && !m_hook(position, m_impl.stream.size()))
            throw ReadError(m_impl.name + ": reading was stopped as asked");
        if (position - m_released < releaseEvery) return;
        m_impl.releaseUpTo(position);
        m_released = position;
    }

private:
    const Recording::Impl& m_impl;
    const ProgressHook& m_hook;
    std::uint64_t m_released = 0;
};

constexpr std::string_view faultRemedy =
    "; what comes before is used, copy or record the file again for the rest";

Fault makeFault(const Recording::Impl& impl, std::uint64_t offset, bool inExpanded,
                const std::string& what)
{
    std::string text = impl.name + ": byte " + std::to_string(offset) +
                       (inExpanded ? " of the expanded records" : "");
    text += ": " + what;
    text += faultRemedy;
    return {offset, text};
}

/// One line for a recording without events: the damage that hides them, or their absence.
std::string noEventsMessage(const Recording::Impl& impl)
{
    if (!impl.fault)
        return impl.name + ": byte " + std::to_string(impl.streamOffset) +
               ": the recording describes no events; record again";
    const std::string& text = impl.fault->text;
    return text.substr(0, text.size() - faultRemedy.size()) +
           ", and no event is described before; record again";
}

void readSections(Recording::Impl& impl, const Layout& layout)
{
    Collected& collected = impl.collected;
    collected.notes = layout.notes;
    collected.events.addSection(layout.attrs, layout.attrEntrySize, impl.input.bytes(),
                                collected.notes);
    collected.events.addEventTypes(layout.eventTypes);
    for (const FeatureSection& section : layout.features)
        readFeature(section.feature, section.bytes, collected.features, collected.events,
                    collected.notes);
    for (const std::uint32_t feature : layout.brokenFeatures) {
        ++collected.features.broken;
        collected.notes.push_back("the feature " + featureName(feature) +
                                  " lies outside of the file: left out");
    }
}

ScanResult scanStream(Recording::Impl& impl, bool stopAtCompressed, const ProgressHook& hook)
{
    OpenProgress progress(impl, hook);
    Collected& to = impl.collected;
    StreamScanner scanner(impl.stream, to.events, to.features, to.counts, to.notes);
    return scanner.scan(stopAtCompressed, [&](std::uint64_t position) { progress(position); });
}

void expandStream(Recording::Impl& impl, const OpenOptions& options)
{
    OpenProgress progress(impl, options.progress);
    ExpansionResult result =
        expandRecords(impl.stream, impl.name, {options.spoolFolder, options.maxExpandedBytes},
                      impl.collected.counts, [&](std::uint64_t position) { progress(position); });
    if (result.fault)
        impl.fault =
            makeFault(impl, impl.offsetOf(result.fault->position), false, result.fault->what);
    impl.releaseUpTo(impl.stream.size());
    impl.expanded = std::move(result.bytes);
    impl.isExpanded = true;
    impl.stream = impl.expanded.bytes();
    impl.streamOffset = 0;
}

void scanRecords(Recording::Impl& impl, const OpenOptions& options)
{
    const Collected before = impl.collected;
    impl.scan = scanStream(impl, true, options.progress);
    if (!impl.scan.isCompressed) return;
    impl.collected = before;
    expandStream(impl, options);
    impl.scan = scanStream(impl, false, options.progress);
}

void setFault(Recording::Impl& impl, const Layout& layout)
{
    // A fault of the expansion comes first in the input, whatever the expanded records hold.
    if (impl.fault) return;
    if (impl.scan.fault)
        impl.fault = makeFault(impl, impl.offsetOf(impl.scan.fault->position), impl.isExpanded,
                               impl.scan.fault->what);
    else if (layout.recordsCut)
        impl.fault = makeFault(impl, layout.recordsOffset + layout.records.size(), false,
                               "the file ends before its records do");
}

void finishCollecting(Recording::Impl& impl)
{
    Collected& collected = impl.collected;
    collected.events.completeNames();
    std::sort(collected.features.present.begin(), collected.features.present.end());
    impl.counts = collected.counts.ascending();
    if (collected.notes.size() > noteLimit) {
        const std::size_t more = collected.notes.size() - noteLimit;
        collected.notes.resize(noteLimit);
        collected.notes.push_back(std::to_string(more) + " more notes are left out");
    }
    if (!collected.events.events().empty()) return;
    throw ReadError(noEventsMessage(impl));
}

std::unique_ptr<Recording::Impl> openInput(InputBytes input, const std::string& name,
                                           const OpenOptions& options)
{
    auto impl = std::make_unique<Recording::Impl>();
    impl->name = name;
    impl->input = std::move(input);
    const Layout layout = parseLayout(impl->input.bytes(), name);
    impl->container = layout.container;
    impl->stream = layout.records;
    impl->streamOffset = layout.recordsOffset;
    readSections(*impl, layout);
    scanRecords(*impl, options);
    setFault(*impl, layout);
    finishCollecting(*impl);
    return impl;
}

} // namespace

Recording::Recording(std::unique_ptr<Impl> impl) noexcept : m_impl(std::move(impl)) {}
Recording::Recording(Recording&&) noexcept = default;
Recording& Recording::operator=(Recording&&) noexcept = default;
Recording::~Recording() = default;

Recording Recording::open(const std::string& path, const OpenOptions& options)
{
    return Recording(
        openInput(InputBytes::open(path, options), path == "-" ? "standard input" : path, options));
}

Recording Recording::fromBytes(std::span<const std::byte> bytes, const std::string& name,
                               const OpenOptions& options)
{
    return Recording(openInput(InputBytes::borrow(bytes), name, options));
}

const std::string& Recording::name() const noexcept
{
    return m_impl->name;
}
Container Recording::container() const noexcept
{
    return m_impl->container;
}
bool Recording::offsetsAreInFile() const noexcept
{
    return !m_impl->isExpanded;
}
std::uint64_t Recording::recordBytes() const noexcept
{
    return m_impl->scan.end;
}
const std::vector<Event>& Recording::events() const noexcept
{
    return m_impl->collected.events.events();
}

const Event* Recording::eventById(std::uint64_t id) const noexcept
{
    const std::uint32_t index = m_impl->collected.events.ids().find(id);
    return index == IdMap::none ? nullptr : &events()[index];
}

const Features& Recording::features() const noexcept
{
    return m_impl->collected.features;
}
const std::string& Recording::architecture() const noexcept
{
    return features().arch;
}

bool Recording::isX86_64() const noexcept
{
    constexpr std::array<std::string_view, 5> vendors = {
        "GenuineIntel", "AuthenticAMD", "HygonGenuine", "CentaurHauls", "  Shanghai"};
    if (!architecture().empty()) return architecture() == "x86_64" || architecture() == "amd64";
    const std::string_view cpuId = features().cpuId;
    return cpuId.empty() ||
           std::any_of(vendors.begin(), vendors.end(),
                       [&](std::string_view vendor) { return cpuId.starts_with(vendor); });
}

const std::vector<RecordCount>& Recording::counts() const noexcept
{
    return m_impl->counts;
}

std::uint64_t Recording::countOf(RecordType type) const noexcept
{
    for (const RecordCount& count : counts())
        if (count.type == static_cast<std::uint32_t>(type)) return count.count;
    return 0;
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> Recording::timeRange() const noexcept
{
    if (m_impl->scan.lowestTime == noTime) return std::nullopt;
    return std::pair(m_impl->scan.lowestTime, m_impl->scan.highestTime);
}

const std::optional<Fault>& Recording::fault() const noexcept
{
    return m_impl->fault;
}
const std::vector<std::string>& Recording::notes() const noexcept
{
    return m_impl->collected.notes;
}

} // namespace samplefold::perfdata
