#include "session/quality_log.h"

#include "session/row_writer.h"

namespace samplefold::session {
namespace {

std::string_view severityText(Severity severity)
{
    switch (severity) {
    case Severity::info:
        return "info";
    case Severity::error:
        return "error";
    case Severity::dataLoss:
        break;
    }
    return "data_loss";
}

} // namespace

void QualityLog::add(std::string_view reason, std::uint64_t count, std::string_view remedy,
                     Severity severity)
{
    if (count == 0) return;
    const auto [entry, isNew] = m_entries.try_emplace(std::string(reason));
    if (isNew) entry->second = {0, std::string(remedy), severity};
    entry->second.count += count;
}

std::uint64_t QualityLog::count(std::string_view reason) const
{
    const auto entry = m_entries.find(reason);
    return entry != m_entries.end() ? entry->second.count : 0;
}

void QualityLog::store(const tb2::sptr_t<rowvault1::IDatabase>& db) const
{
    RowWriter writer(db, "dd_quality");
    for (const auto& [reason, entry] : m_entries) {
        writer.set("reason", tb2::variant_t(std::string_view(reason)))
            .set("count", tb2::variant_t(entry.count))
            .set("remedy", tb2::variant_t(std::string_view(entry.remedy)))
            .set("severity", tb2::variant_t(severityText(entry.severity)));
        writer.commit();
    }
}

} // namespace samplefold::session
