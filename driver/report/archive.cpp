#include "report/archive.h"

#include "report/archive_copy.h"
#include "report/elf_names.h"
#include "report/file_check.h"
#include "report/plain_file.h"
#include "report/source_text.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace samplefold::report {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

constexpr std::pair<ArchiveState, const char*> g_stateNames[] = {
    {ArchiveState::copied, "copied"},   {ArchiveState::present, "present"},
    {ArchiveState::missing, "missing"}, {ArchiveState::refused, "refused"},
    {ArchiveState::skipped, "skipped"},
};

const char* nameOf(ArchiveState state)
{
    return g_stateNames[static_cast<std::size_t>(state)].second;
}

const char* nameOf(ArchivedKind kind)
{
    if (kind == ArchivedKind::source) return "source";
    return kind == ArchivedKind::symbols ? "symbols" : "binary";
}

/// What speaks against a file as the one that the load had found; empty when nothing does.
std::string problemOf(const ArchiveItem& item, const std::string& path)
{
    if (!item.md5.empty() && !hasChecksum(path, item.md5))
        return "it has another checksum than at the load";
    if (item.md5.empty() && !item.buildId.empty() &&
        !buildIdFits(item.buildId, elfNames(path).buildId))
        return "it has another build id than at the load";
    if (item.kind == ArchivedKind::source && fs::file_size(path) > maxSourceBytes)
        return "it is larger than any source file that is shown";
    return {};
}

bool isBelow(const fs::path& path, const fs::path& folder)
{
    const auto [inFolder, inPath] =
        std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
    return inFolder == folder.end() && inPath != path.end();
}

class Archiver {
public:
    Archiver(const std::string& folder, bool dryRun)
        : m_folder(folder), m_canonical(canonical(folder)), m_dryRun(dryRun)
    {
    }

    ArchiveOutcome handle(ArchiveItem item) const
    {
        ArchiveOutcome outcome;
        outcome.item = std::move(item);
        if (outcome.item.file.starts_with("/proc/")) {
            outcome.state = ArchiveState::skipped;
        } else if (isBelow(canonical(outcome.item.file), m_canonical)) {
            outcome.state = ArchiveState::present;
            outcome.place = canonical(outcome.item.file).lexically_relative(m_canonical).native();
        } else {
            choosePlace(outcome);
        }
        return outcome;
    }

private:
    static fs::path canonical(const fs::path& path)
    {
        std::error_code error;
        const fs::path absolute = fs::absolute(path, error);
        fs::path result = fs::weakly_canonical(absolute, error);
        return error ? absolute.lexically_normal() : result;
    }

    /// The first place that holds it already or is free.
    void choosePlace(ArchiveOutcome& outcome) const
    {
        outcome.problem = "a search would find it nowhere in the archive";
        for (const std::string& place : outcome.item.places) {
            const fs::path target = m_folder / place;
            std::error_code ignored;
            outcome.place = place;
            if (!isBelow(canonical(target.parent_path()) / target.filename(), m_canonical)) {
                outcome.problem = "a link leads out of the archive at " + target.native();
            } else if (!fs::exists(fs::symlink_status(target, ignored))) {
                copyTo(target.native(), outcome);
                return;
            } else if (holds(target.native(), outcome.item)) {
                outcome.state = ArchiveState::present;
                outcome.problem.clear();
                return;
            } else {
                outcome.problem = "another file is there: " + target.native();
            }
        }
    }

    /// By its checksum where that is known, else by the bytes of the original, and where that is
    /// gone by its build id.
    static bool holds(const std::string& target, const ArchiveItem& item)
    {
        if (!item.md5.empty()) return hasChecksum(target, item.md5);
        if (PlainFile(item.file).isMissing())
            return !item.buildId.empty() && problemOf(item, target).empty();
        return haveSameBytes(item.file, target);
    }

    void copyTo(const std::string& target, ArchiveOutcome& outcome) const
    {
        const auto check = [&](const std::string& path) { return problemOf(outcome.item, path); };
        const CopyOutcome copied =
            m_dryRun ? tryOnly(outcome.item) : copyFile(outcome.item.file, target, check);
        outcome.bytes = copied.bytes;
        outcome.problem = copied.problem;
        outcome.state = copied.problem.empty() ? ArchiveState::copied : ArchiveState::refused;
        if (copied.isMissing) outcome.state = ArchiveState::missing;
    }

    static CopyOutcome tryOnly(const ArchiveItem& item)
    {
        const PlainFile file(item.file);
        if (!file.problem().empty()) return {0, file.isMissing(), file.problem()};
        return {file.size(), false, problemOf(item, item.file)};
    }

    const fs::path m_folder;
    const fs::path m_canonical;
    const bool m_dryRun;
};

/// A file can go away at any moment, and a folder be unreadable.
ArchiveOutcome handled(const Archiver& archiver, const ArchiveItem& item)
{
    try {
        return archiver.handle(item);
    } catch (const fs::filesystem_error& error) {
        return {item, ArchiveState::refused, {}, 0, error.code().message()};
    }
}

std::uint64_t countOf(const ArchiveReport& report, ArchiveState state)
{
    return static_cast<std::uint64_t>(
        std::count_if(report.outcomes.begin(), report.outcomes.end(),
                      [state](const ArchiveOutcome& outcome) { return outcome.state == state; }));
}

std::uint64_t bytesOf(const ArchiveReport& report)
{
    std::uint64_t bytes = 0;
    for (const ArchiveOutcome& outcome : report.outcomes)
        if (outcome.state == ArchiveState::copied) bytes += outcome.bytes;
    return bytes;
}

} // namespace

ArchiveReport fillArchive(ArchivePlan plan, bool dryRun)
{
    ArchiveReport report{plan.folder, dryRun, plan.notFound, {}};
    const Archiver archiver(plan.folder, dryRun);
    for (const ArchiveItem& item : plan.items)
        report.outcomes.push_back(handled(archiver, item));
    return report;
}

bool isFailure(const ArchiveOutcome& outcome)
{
    if (outcome.state == ArchiveState::refused) return true;
    return outcome.state == ArchiveState::missing && outcome.item.kind != ArchivedKind::source;
}

void writeArchive(const ArchiveReport& report, std::ostream& out)
{
    TextTable table;
    for (const char* const title : {"", "kind", "file", "place in the archive"})
        table.addColumn(title, TextTable::Align::left);
    for (const ArchiveOutcome& outcome : report.outcomes) {
        if (outcome.state != ArchiveState::present)
            table.addRow({nameOf(outcome.state), nameOf(outcome.item.kind), outcome.item.file,
                          outcome.place});
    }
    if (!table.empty()) table.print(out);
    out << (report.dryRun ? "would copy " : "copied ") << countOf(report, ArchiveState::copied)
        << " files (" << bytesOf(report) << " bytes) into " << printable(report.folder) << "; "
        << countOf(report, ArchiveState::present) << " there already, "
        << countOf(report, ArchiveState::missing) << " missing, "
        << countOf(report, ArchiveState::refused) << " refused, "
        << countOf(report, ArchiveState::skipped) << " skipped\n";
    if (report.notFound != 0)
        out << report.notFound
            << " modules with samples have no file: samplefold modules tells why\n";
}

ordered_json archiveToJson(const ArchiveReport& report)
{
    ordered_json json;
    json["archive"] = report.folder;
    json["dry_run"] = report.dryRun;
    auto& files = json["files"] = ordered_json::array();
    for (const ArchiveOutcome& outcome : report.outcomes) {
        files.push_back({{"state", nameOf(outcome.state)},
                         {"kind", nameOf(outcome.item.kind)},
                         {"module", textOrNull(outcome.item.module)},
                         {"file", outcome.item.file},
                         {"place", textOrNull(outcome.place)},
                         {"bytes", outcome.bytes},
                         {"problem", textOrNull(outcome.problem)}});
    }
    for (const auto& [state, name] : g_stateNames)
        json[name] = countOf(report, state);
    json["bytes"] = bytesOf(report);
    json["modules_not_found"] = report.notFound;
    return json;
}

} // namespace samplefold::report
