// A perf.data recording: opened once, its records delivered in time order as often as wanted.
//
//     Recording recording = Recording::open("perf.data");
//     for (const Event& event : recording.events()) ...
//     MySink sink;
//     DeliveryStats stats = recording.deliver(sink);
#pragma once

#include "perfdata/event.h"
#include "perfdata/features.h"
#include "perfdata/record_sink.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace samplefold::perfdata {

/// Thrown by Recording::open and Recording::fromBytes when nothing can be read. what() is one line
/// with the input's name, the offset where it matters, what is wrong and what to do. Nothing else
/// is thrown by a Recording, but for std::bad_alloc and what a sink or a progress hook throws.
class ReadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Called with bytes done and bytes in total (0 when not known yet) about once per MiB. Returning
/// false stops the work: deliver returns early, open throws ReadError.
using ProgressHook = std::function<bool(std::uint64_t done, std::uint64_t total)>;

struct OpenOptions {
    /// Folder for the unlinked spool files of pipes and compressed recordings; empty: TMPDIR, else
    /// /tmp.
    std::string spoolFolder;
    /// Compressed records may expand to at most this many bytes, and to at most 1000 times the
    /// input (but 64 MiB always): real recordings stay far below. Beyond it reading stops with a
    /// fault.
    std::uint64_t maxExpandedBytes = std::uint64_t{1} << 40;
    ProgressHook progress;
};

enum class Container { File, FileVersion1, Pipe };

/// Where and why reading stopped before the end of the input. What lies before stays usable.
struct Fault {
    std::uint64_t offset = 0;
    std::string text; ///< one line: input's name, offset, what is wrong, what to do
};

/// How many records of one type were read, and their bytes (raw bytes after AUXTRACE and
/// TRACING_DATA records included). Compressed records count beside what they expand to.
struct RecordCount {
    std::uint32_t type = 0;
    std::uint64_t count = 0;
    std::uint64_t bytes = 0;
};

/// Which records a delivery passes on. SideBand is everything but samples.
enum class Deliver { All, SideBand, Samples };

struct DeliveryOptions {
    Deliver filter = Deliver::All;
    ProgressHook progress;
};

/// The books of one delivery. Unless it was stopped they balance:
/// read = samples + sideBand + filtered + badRecords + unknownIdSamples.
struct DeliveryStats {
    std::uint64_t read = 0;                ///< records seen
    std::uint64_t samples = 0;             ///< delivered samples
    std::uint64_t sideBand = 0;            ///< other delivered records
    std::uint64_t filtered = 0;            ///< left out by DeliveryOptions::filter
    std::uint64_t badRecords = 0;          ///< fields overrun the record's size
    std::uint64_t badSamples = 0;          ///< those of badRecords that are samples
    std::uint64_t unknownIdSamples = 0;    ///< samples whose event is not known
    std::uint64_t untimed = 0;             ///< delivered in file order for want of a time
    std::uint64_t mostPending = 0;         ///< highest number of records held back at once
    std::vector<std::uint64_t> badOffsets; ///< where the first badOffsetLimit bad records start
    bool stopped = false;                  ///< the progress hook asked to stop

    static constexpr std::size_t badOffsetLimit = 16;
};

/// An opened recording. Movable, not copyable. After open all const operations may be called from
/// several threads at once. The file is mapped, so it must not be shortened while it is open.
class Recording {
public:
    /// Opens a file, a named pipe, or standard input ("-"), and reads all records once: events,
    /// features, counts and the time bounds that ordering needs. Input that cannot be mapped is
    /// spooled first. Throws ReadError when nothing can be read; later damage becomes fault().
    [[nodiscard]] static Recording open(const std::string& path, const OpenOptions& options = {});

    /// The same for bytes in memory, which must outlive the Recording. `name` is used in messages.
    [[nodiscard]] static Recording fromBytes(std::span<const std::byte> bytes,
                                             const std::string& name,
                                             const OpenOptions& options = {});

    Recording(Recording&&) noexcept;
    Recording& operator=(Recording&&) noexcept;
    ~Recording();

    /// The input's name: the path given, or "standard input".
    [[nodiscard]] const std::string& name() const noexcept;
    [[nodiscard]] Container container() const noexcept;
    /// False when records were expanded: offsets then count in the expanded stream, not in the
    /// file.
    [[nodiscard]] bool offsetsAreInFile() const noexcept;
    /// Bytes of records that deliver passes over.
    [[nodiscard]] std::uint64_t recordBytes() const noexcept;

    [[nodiscard]] const std::vector<Event>& events() const noexcept;
    /// The event with this sample id, or null.
    [[nodiscard]] const Event* eventById(std::uint64_t id) const noexcept;
    [[nodiscard]] const Features& features() const noexcept;
    /// Machine of the recording as uname gives it; empty when it does not say.
    [[nodiscard]] const std::string& architecture() const noexcept;
    /// True for 64-bit x86: by architecture(); without it by the CPU's vendor; without both, as in
    /// most pipes, it is taken for granted.
    [[nodiscard]] bool isX86_64() const noexcept;

    /// By type, ascending; types that do not occur are left out.
    [[nodiscard]] const std::vector<RecordCount>& counts() const noexcept;
    /// Number of records of a type, 0 when there are none.
    [[nodiscard]] std::uint64_t countOf(RecordType type) const noexcept;
    /// True for what a counting run (`perf stat record`) leaves: counter values and no samples.
    [[nodiscard]] bool isCountingRun() const noexcept
    {
        return countOf(RecordType::Stat) != 0 && countOf(RecordType::Sample) == 0;
    }
    /// Lowest and highest time of timed records (time 0 is no time); nullopt when there are none.
    [[nodiscard]] std::optional<std::pair<std::uint64_t, std::uint64_t>> timeRange() const noexcept;
    /// Set when reading stopped before the end of the input.
    [[nodiscard]] const std::optional<Fault>& fault() const noexcept;
    /// One line for each oddity that cost nothing but itself: a broken feature, a recorder that was
    /// killed, trailing bytes.
    [[nodiscard]] const std::vector<std::string>& notes() const noexcept;

    /// Passes the records to `sink` in time order, ties in file order. Records without a time (none
    /// sampled, or 0) are passed at once when they are met. Memory is bounded by the disorder of
    /// the file, not by its size. May be called again; every call starts from the first record.
    DeliveryStats deliver(RecordSink& sink, const DeliveryOptions& options = {}) const;

    struct Impl; ///< not for users

private:
    explicit Recording(std::unique_ptr<Impl> impl) noexcept;

    std::unique_ptr<Impl> m_impl;
};

/// Spreads samples of events with PERF_SAMPLE_READ over the members of their group, the way perf
/// lists them: one line per member whose counter grew since the previous sample. Counters start at
/// 0, so one object must see all samples of a recording, in delivery order. Not thread-safe.
class ReadExpander {
public:
    struct Member {
        const Event* event = nullptr;
        std::uint64_t id = 0;
        std::uint64_t period = 0; ///< growth of the counter, never 0
    };

    /// `recording` must outlive the object.
    explicit ReadExpander(const Recording& recording);
    ~ReadExpander();
    ReadExpander(ReadExpander&&) noexcept;
    ReadExpander& operator=(ReadExpander&&) noexcept;

    /// Members of `sample` that grew, in the order of its values; values of unknown ids are left
    /// out and counted. A sample without read values, or whose values have no ids, gives itself
    /// with its own period. The result lives until the next call.
    [[nodiscard]] std::span<const Member> expand(const Sample& sample);

    [[nodiscard]] std::uint64_t unknownIds() const noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace samplefold::perfdata
