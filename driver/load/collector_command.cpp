#include "load/collector_command.h"

#include "session/row_writer.h"

#include <samplefold_1/utils_command_line.h>

#include <string_view>

namespace samplefold::load {

CollectorCommand collectorCommand(const perfdata::Features& features, const std::string& given)
{
    if (!given.empty()) return {given, samplefold_1::utils::splitCollectorCmdline(given)};
    CollectorCommand command{{}, features.cmdline};
    for (const std::string& word : command.arguments)
        command.text += (command.text.empty() ? "" : " ") + word;
    return command;
}

void storeArguments(const tb2::sptr_t<rowvault1::IDatabase>& db, const CollectorCommand& command,
                    std::uint32_t load)
{
    session::RowWriter writer(db, "dd_collector_argument");
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
        writer.set("load", tb2::variant_t(load))
            .set("position", tb2::variant_t(static_cast<std::uint32_t>(i)))
            .set("argument", tb2::variant_t(std::string_view(command.arguments[i])));
        writer.commit();
    }
}

} // namespace samplefold::load
