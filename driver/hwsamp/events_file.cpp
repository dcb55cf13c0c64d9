#include "hwsamp/events_file.h"

#include "hwsamp/text_file.h"

#include <filesystem>
#include <fstream>
#include <ostream>
#include <system_error>
#include <utility>

namespace samplefold::hwsamp {
namespace {

constexpr const char* g_fileName = "hwsamp.events";

} // namespace

void writePlan(std::ostream& out, const EventPlan& plan)
{
    for (const std::string& remark : plan.remarks)
        out << "# " << remark << '\n';
    for (const Section& section : plan.sections) {
        out << "PMU type: " << section.pmu << '\n';
        for (std::size_t number = 0; number < section.groups.size(); ++number) {
            out << "Group " << std::to_string(number) << ':';
            const char* divider = " ";
            for (const Event& event : section.groups[number])
                out << std::exchange(divider, ", ") << event.name;
            out << '\n';
        }
    }
}

void writeEventsFile(const std::string& folder, const EventPlan& plan)
{
    if (std::error_code problem; !std::filesystem::is_directory(folder, problem))
        throw ToolError(folder + ": there is no such folder");
    const std::string path = (std::filesystem::path(folder) / g_fileName).string();
    const std::string unfinished = path + ".new";
    std::ofstream out(unfinished, std::ios::binary | std::ios::trunc);
    writePlan(out, plan);
    out.close();
    std::error_code problem;
    if (out) std::filesystem::rename(unfinished, path, problem);
    if (!out || problem) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        throw ToolError(path + ": it cannot be written");
    }
}

} // namespace samplefold::hwsamp
