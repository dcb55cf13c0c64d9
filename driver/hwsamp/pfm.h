#pragma once

#include <linux/perf_event.h>

#include <optional>
#include <string>
#include <vector>

// What libpfm4 knows of this machine's PMUs and of events. This is the one place that talks to it.
namespace samplefold::hwsamp {

/// A PMU as libpfm4 describes it.
struct PmuDescription {
    std::string name;
    int generalCounters = 0;
    int fixedCounters = 0;
};

/// An event as the kernel takes it.
struct EncodedEvent {
    perf_event_attr attributes{};
    PmuDescription pmu;
    bool isUncore = false;
};

/// libpfm4, set up for as long as the object lives. One object at a time, one thread.
class Pfm {
public:
    Pfm();
    ~Pfm();
    Pfm(const Pfm&) = delete;
    Pfm& operator=(const Pfm&) = delete;

    /// PMU of the processor's cores: the one that stands for the model, or where the model is not
    /// known the architecture's. Null when there is none.
    std::optional<PmuDescription> corePmu() const;
    /// Null for a name that it does not know on this machine.
    std::optional<EncodedEvent> encode(const std::string& event) const;

private:
    bool m_isReady = false;
};

} // namespace samplefold::hwsamp
