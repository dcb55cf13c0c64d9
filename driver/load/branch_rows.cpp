#include "load/branch_rows.h"

#include "session/keyed_rows.h"
#include "session/table_rows.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <array>
#include <string_view>

namespace samplefold::load {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using samplefold_1::branch_t;
using tb2::variant_t;

namespace {

constexpr std::string_view g_digits = "0123456789abcdef";
/// Half a record: the bits 0 to 47 of an address.
constexpr std::size_t g_addressDigits = 12;
/// Of one record: five digits of cycles, one of flags.
constexpr std::size_t g_detailDigits = 6;
constexpr std::uint64_t g_flags = 15;

char* putAddress(char* out, std::uint64_t address)
{
    for (std::size_t i = g_addressDigits; i-- > 0; address >>= 4)
        out[i] = g_digits[address & 15];
    return out + g_addressDigits;
}

void putRecords(const std::vector<branch_t>& records, std::string& text)
{
    text.resize(records.size() * 2 * g_addressDigits);
    char* out = text.data();
    for (auto record = records.rbegin(); record != records.rend(); ++record)
        out = putAddress(putAddress(out, record->from), record->to);
}

/// Cycles and flags of a record in one word.
std::uint64_t toldBy(const perfdata::Branch& branch)
{
    return std::uint64_t{branch.cycles()} << 4 | (branch.flags & g_flags);
}

char* putDetail(char* out, std::uint64_t told)
{
    std::uint64_t cycles = told >> 4;
    for (std::size_t i = g_detailDigits - 1; i-- > 0; cycles /= 10)
        out[i] = g_digits[cycles % 10];
    out[g_detailDigits - 1] = g_digits[told & g_flags];
    return out + g_detailDigits;
}

variant_t textOrNull(std::string_view text)
{
    return text.empty() ? variant_t() : variant_t(text);
}

std::string summaryOf(const BranchTask& task)
{
    std::string text(nameOf(task.kind));
    text += ", " + std::to_string(task.records.size()) + " records";
    if (task.source != ChainSource::none) text += ", chain: " + std::string(nameOf(task.source));
    return text;
}

} // namespace

std::string_view nameOf(samplefold_1::merge_outcome_t outcome)
{
    constexpr std::array<std::string_view, 10> names{
        "",
        "merged up to the outermost function",
        "merged, the outermost frames are not known",
        "not needed",
        "the software chain is as long",
        "a frame of the software chain is in no known code",
        "a record is in no known code",
        "frame and record are in different modules",
        "frame and record are of different calls",
        "the outermost frame is in no known code"};
    return names[static_cast<std::size_t>(outcome)];
}

BranchRows::BranchRows(const tb2::sptr_t<rowvault1::IDatabase>& db)
    : m_heads(db, "dd_lbr_head"), m_details(db, "dd_branch_detail")
{
    readHeads(*db);
    writeMeanings(db);
}

void BranchRows::readHeads(rowvault1::IDatabase& db)
{
    session::readTable(
        "dd_lbr_head", db,
        std::array{"kind", "records", "verdicts", "chain", "merge", "common", "software", "rowid"},
        [this](const auto& row) {
            const auto text = [&row](std::size_t at) { return std::string(row[at].as_text()); };
            m_rows.try_emplace(keyOf({text(0), text(1), text(2), text(3), text(4), text(5),
                                      rowvault1::utils::variantToIndex(row[6])}),
                               rowvault1::utils::variantToIndex(row[7]));
        });
}

void BranchRows::writeMeanings(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    session::KeyedRows<std::string> rows(db, "dd_link_verdict", {"letter"});
    for (const verdict::meaning_t& meaning : verdict::meanings()) {
        rows.findOrAdd({std::string(1, meaning.letter)}, [&](session::RowWriter& writer) {
            writer.set("name", variant_t(meaning.name));
            if (meaning.kept >= 0) writer.set("kept", variant_t(std::int32_t{meaning.kept}));
        });
    }
}

BranchRows::Key BranchRows::keyOf(const Columns& columns)
{
    XXH64_hash_t seed = static_cast<std::uint32_t>(columns.software.value());
    for (const std::string* text :
         {&columns.kind, &columns.verdicts, &columns.chain, &columns.merge, &columns.common})
        seed = XXH3_64bits_withSeed(text->data(), text->size(), seed);
    const XXH128_hash_t hash =
        XXH3_128bits_withSeed(columns.records.data(), columns.records.size(), seed);
    return {hash.low64, hash.high64 ^ seed};
}

Index BranchRows::head(const BranchTask& task, Index software, std::string_view common)
{
    m_columns.kind = nameOf(task.kind);
    putRecords(task.records, m_columns.records);
    m_columns.verdicts = task.verdicts;
    m_columns.chain = nameOf(task.source);
    m_columns.merge = nameOf(task.merge);
    m_columns.common = common;
    m_columns.software = software;
    const auto [entry, isNew] = m_rows.try_emplace(keyOf(m_columns));
    if (!isNew) return entry->second;
    m_heads.clear();
    m_heads.set("summary", variant_t(summaryOf(task)))
        .set("kind", variant_t(m_columns.kind))
        .set("records", textOrNull(m_columns.records))
        .set("verdicts", textOrNull(m_columns.verdicts))
        .set("chain", textOrNull(m_columns.chain))
        .set("merge", textOrNull(m_columns.merge))
        .set("common", textOrNull(m_columns.common))
        .set("software", indexToVariant(software));
    return entry.value() = m_heads.commit();
}

void BranchRows::addDetails(Index thread, std::uint64_t tick, std::string_view each)
{
    if (each.empty()) return;
    m_details.clear();
    m_details.set("thread", indexToVariant(thread))
        .set("tick", variant_t(tick))
        .set("details", variant_t(each));
    m_details.commit();
}

void BranchDetails::read(const perfdata::Sample& sample)
{
    m_text.clear();
    m_common = none;
    if (sample.branches.empty()) return;
    m_common = toldBy(sample.branches[0]);
    for (const perfdata::Branch branch : sample.branches) {
        if (toldBy(branch) != m_common) m_common = none;
    }
    if (m_common != none) return;
    m_text.resize(sample.branches.size() * g_detailDigits);
    char* out = m_text.data();
    for (const perfdata::Branch branch : sample.branches)
        out = putDetail(out, toldBy(branch));
}

std::string BranchDetails::common() const
{
    std::string text(m_common != none ? g_detailDigits : 0, '0');
    if (!text.empty()) putDetail(text.data(), m_common);
    return text;
}

} // namespace samplefold::load
