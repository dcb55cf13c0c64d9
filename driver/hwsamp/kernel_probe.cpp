#include "hwsamp/kernel_probe.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace samplefold::hwsamp {
namespace {

/// Descriptors of one group, the leader first.
class OpenGroup {
public:
    OpenGroup() = default;
    OpenGroup(const OpenGroup&) = delete;
    OpenGroup& operator=(const OpenGroup&) = delete;
    ~OpenGroup()
    {
        for (const int descriptor : m_descriptors)
            ::close(descriptor);
    }

    /// 0, or the number of the error.
    int add(perf_event_attr attributes)
    {
        attributes.disabled = m_descriptors.empty() ? 1 : 0;
        attributes.sample_period = 0;
        int problem = open(attributes);
        if (problem == EACCES || problem == EPERM) {
            // What everybody may count is the thread's own code.
            attributes.exclude_kernel = 1;
            attributes.exclude_hv = 1;
            problem = open(attributes);
        }
        return problem;
    }

private:
    int open(perf_event_attr& attributes)
    {
        const int leader = m_descriptors.empty() ? -1 : m_descriptors.front();
        const long descriptor =
            ::syscall(SYS_perf_event_open, &attributes, 0, -1, leader, PERF_FLAG_FD_CLOEXEC);
        if (descriptor < 0) return errno;
        m_descriptors.push_back(static_cast<int>(descriptor));
        return 0;
    }

    std::vector<int> m_descriptors;
};

bool opensAlone(const perf_event_attr& attributes)
{
    return OpenGroup().add(attributes) == 0;
}

} // namespace

fit_t askKernel(std::span<const perf_event_attr> events)
{
    OpenGroup group;
    for (const perf_event_attr& attributes : events) {
        const int problem = group.add(attributes);
        if (problem == 0) continue;
        return problem == EINVAL && opensAlone(attributes) ? fit_t::tooMany : fit_t::cannotTell;
    }
    return fit_t::fits;
}

} // namespace samplefold::hwsamp
