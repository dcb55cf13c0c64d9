// Small recordings of side-band records, collected.
#pragma once

#include "scratch_result.h"
#include "side_band_records.h"

#include "session/side_band_collector.h"

#include <cstdint>
#include <optional>
#include <string>

namespace samplefold::session::testing {

class SideBandTest : public ScratchResultTest, protected SideBandRecords {
protected:
    void collect()
    {
        file().event(event());
        m_bytes = file().file();
        const auto recording = perfdata::Recording::fromBytes(m_bytes.span(), "test");
        ASSERT_FALSE(recording.fault()) << recording.fault()->text;
        m_modules.emplace();
        SideBandCollector(recording, processes, *m_modules, quality).collect({});
        storeModules(result(), *m_modules);
    }

    /// Path of what a process has at an address and tick, "-" where nothing is.
    std::string pathAt(Process& process, std::uint64_t address, std::uint64_t tick)
    {
        Place place;
        if (!process.space.find(address, tick, place)) return "-";
        const auto rows =
            ask("SELECT f.path FROM dd_module_segment s JOIN dd_module_file f ON f.id = s.module "
                "WHERE s.id = " +
                std::to_string(place.segment + 1));
        return rows.size() == 1 ? rows[0] : "no such segment";
    }

    ProcessTable processes;
    QualityLog quality;

private:
    Bytes m_bytes;
    std::optional<ModuleCatalog> m_modules; ///< holds the paths of the address spaces
};

} // namespace samplefold::session::testing
