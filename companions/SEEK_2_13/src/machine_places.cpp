#include "machine_places.h"

#include <toolbelt2/environment.h>

#include <sys/utsname.h>

#include <utility>

namespace SEEK_2_13 {
namespace {

constexpr std::string machine_places_t::*g_fields[] = {
    &machine_places_t::debugRoot,   &machine_places_t::buildIdCache,
    &machine_places_t::bootFolder,  &machine_places_t::kernelCore,
    &machine_places_t::kernelNotes, &machine_places_t::kernelRelease};

class EnvironmentInfo : public IEnvironmentInfo {
public:
    explicit EnvironmentInfo(machine_places_t places) : m_places(std::move(places)) {}
    const machine_places_t& getPlaces() const noexcept override { return m_places; }

private:
    machine_places_t m_places;
};

} // namespace

void fillEmpty(machine_places_t& places, const machine_places_t& others)
{
    for (const auto field : g_fields)
        if ((places.*field).empty()) places.*field = others.*field;
}

machine_places_t usualPlaces()
{
    machine_places_t places;
    places.debugRoot = "/usr/lib/debug";
    // Without a home there is no cache, and nothing is found in a folder that cannot be.
    places.buildIdCache = tb2::get_environ_value("HOME") + "/.debug";
    places.bootFolder = "/boot";
    places.kernelCore = "/proc/kcore";
    places.kernelNotes = "/sys/kernel/notes";
    places.kernelRelease = runningRelease();
    return places;
}

std::string runningRelease()
{
    utsname name = {};
    return ::uname(&name) == 0 ? name.release : "";
}

ObjectPtr<IEnvironmentInfo> IEnvironmentInfo::create(machine_places_t places)
{
    return new tb2::ref_counted_t<EnvironmentInfo>(std::move(places));
}

} // namespace SEEK_2_13
