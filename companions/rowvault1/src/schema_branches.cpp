#include "schema_parts.h"

// Branch record stacks: what the processor noted of the way to a sample, and how much of it holds.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_lbrHead[] = {
    {0, "summary", text, "", "Kind, number of records and source of the call chain, for people."},
    {1, "kind", text, "",
     "call stack: calls that had not returned; taken branches: all; chosen branches: some kinds."},
    {2, "records", text, "",
     "From and to of each record, the newest first: 12 hexadecimal digits each, bits 0 to 47."},
    {3, "verdicts", text, "",
     "A letter of dd_link_verdict per record, the newest first; null when none was checked."},
    {4, "chain", text, "",
     "Where the call chain comes from: software, records, or merged; null without one."},
    {5, "merge", text, "", "What became of merging the two; null when it was not tried."},
    {6, "software", s32, "dd_callsite",
     "Leaf of the chain that software collected; null when there was none."},
    {7, "common", text, "",
     "Six characters that hold for every record, as in dd_branch_detail; null where they differ."},
};

constexpr column_t g_linkVerdict[] = {
    {0, "letter", text, "", "As in the verdicts of a stack."},
    {1, "name", text, "", "Why the record was kept, cut, or not checked."},
    {2, "kept", s32, "", "1 when the record counts as true, 0 when not; null: not known."},
};

constexpr column_t g_branchDetail[] = {
    {0, "thread", s32, "dd_thread", "Thread of the sample."},
    {1, "tick", u64, "", "Tick of the sample; the end_tsc of its interval."},
    {2, "details", text, "",
     "Six characters per record, the newest first: cycles since the record before in five decimal "
     "digits, and a hexadecimal digit of flags (1 mispredicted, 2 predicted, 4 in a transaction, 8 "
     "abort)."},
};

constexpr column_t g_branchQuality[] = {
    {0, "what", text, "", "What was counted."},
    {1, "count", u64, "", "How many samples, or records, it is true of."},
    {2, "total", u64, "", "Sum over those samples, of records or frames; null of a plain count."},
    {3, "most", u64, "", "The largest number in a sample; null of a plain count."},
    {4, "address", u64, "", "An address at which it was so; null without an example."},
    {5, "module", s32, "dd_module_file", "Module that this lies in."},
};

constexpr table_t g_tables[] = {
    {"dd_lbr_head", table_kind_t::attribute,
     "A row per distinct stack of branch records, with what was made of it.", g_lbrHead},
    {"dd_link_verdict", table_kind_t::attribute, "A row per verdict on a branch record.",
     g_linkVerdict},
    {"dd_branch_detail", table_kind_t::attribute,
     "A row per sample whose branch records differ in more than addresses.", g_branchDetail,
     "thread,tick"},
    {"dd_branch_quality", table_kind_t::attribute,
     "A row per number on what became of branch records in a load.", g_branchQuality},
};

constexpr column_t g_branchStacks[] = {
    {0, "branch_stack", s32, "dd_lbr_head", "Key of the stack."},
    {1, "kind", text, "", "call stack, taken branches or chosen branches."},
    {2, "records", s32, "", "Number of records."},
    {3, "kept", s32, "", "Records that count as true; null when none was checked."},
    {4, "chain", text, "", "Where the call chain comes from: software, records, or merged."},
    {5, "merge", text, "", "What became of merging the two."},
    {6, "software", s32, "dd_callsite", "Leaf of the chain that software collected."},
};

constexpr std::string_view g_branchStacksSelect = R"(
SELECT h.id AS branch_stack, h.kind AS kind, length(h.records) / 24 AS records,
       (SELECT sum((length(h.verdicts) - length(replace(h.verdicts, v.letter, ''))) * v.kept)
          FROM dd_link_verdict AS v) AS kept,
       h.chain AS chain, h.merge AS merge, nullif(h.software, -1) AS software
  FROM dd_lbr_head AS h)";

constexpr column_t g_branchRecords[] = {
    {0, "branch_stack", s32, "dd_lbr_head", "Stack that the record is in."},
    {1, "position", s32, "", "0 for the newest record."},
    {2, "from", text, "", "Address of the branch, as 0x and hexadecimal digits."},
    {3, "to", text, "", "Address that it went to."},
    {4, "verdict", text, "", "Why the record was kept, cut, or not checked."},
    {5, "kept", s32, "", "1 when the record counts as true, 0 when not; null: not known."},
};

// The list of positions is a JSON array with as many elements as there are records: unlike a
// recursion it lets SQLite go straight to the stack that is asked for.
constexpr std::string_view g_branchRecordsSelect = R"(
SELECT h.id AS branch_stack, j.key AS position,
       '0x' || CASE WHEN substr(h.records, 24 * j.key + 1, 1) > '7'
                    THEN 'ffff' || substr(h.records, 24 * j.key + 1, 12)
                    ELSE coalesce(nullif(ltrim(substr(h.records, 24 * j.key + 1, 12), '0'), ''), '0')
               END AS "from",
       '0x' || CASE WHEN substr(h.records, 24 * j.key + 13, 1) > '7'
                    THEN 'ffff' || substr(h.records, 24 * j.key + 13, 12)
                    ELSE coalesce(nullif(ltrim(substr(h.records, 24 * j.key + 13, 12), '0'), ''), '0')
               END AS "to",
       v.name AS verdict, v.kept AS kept
  FROM dd_lbr_head AS h
  JOIN json_each('[' || substr(replace(hex(zeroblob(length(h.records) / 24)), '00', ',0'), 2) || ']')
       AS j
  LEFT JOIN dd_link_verdict AS v ON v.letter = substr(h.verdicts, j.key + 1, 1))";

constexpr column_t g_sampleBranches[] = {
    {0, "interval", s32, "sample_instance", "Number of the sample."},
    {1, "tick", u64, "", "Tick of the sample."},
    {2, "branch_stack", s32, "dd_lbr_head", "Its stack."},
    {3, "position", s32, "", "0 for the newest record."},
    {4, "from", text, "", "Address of the branch, as 0x and hexadecimal digits."},
    {5, "to", text, "", "Address that it went to."},
    {6, "cycles", s32, "", "Cycles since the record before it; null where not recorded."},
    {7, "mispredicted", s32, "", "1 or 0; null where not recorded."},
    {8, "verdict", text, "", "Why the record was kept, cut, or not checked."},
};

constexpr std::string_view g_sampleBranchesSelect = R"(
SELECT i.id AS interval, i.end_tsc AS tick, r.branch_stack AS branch_stack, r.position AS position,
       r."from" AS "from", r."to" AS "to",
       CAST(substr(coalesce(h.common, substr(d.details, 6 * r.position + 1, 6)), 1, 5) AS INTEGER)
         AS cycles,
       CASE (instr('0123456789abcdef',
                   substr(coalesce(h.common, substr(d.details, 6 * r.position + 1, 6)), 6, 1)) - 1) & 3
            WHEN 1 THEN 1 WHEN 2 THEN 0 END AS mispredicted,
       r.verdict AS verdict
  FROM sample_instance AS i
  JOIN dd_sample AS s ON s.id = i.sample
  JOIN dd_lbr_head AS h ON h.id = s.lbr_head
  JOIN branch_records AS r ON r.branch_stack = h.id
  LEFT JOIN dd_branch_detail AS d ON d.thread = i.thread AND d.tick = i.end_tsc)";

constexpr column_t g_branchQualityView[] = {
    {0, "what", text, "", "What was counted."},
    {1, "count", u64, "", "How many samples, or records, it is true of, over all loads."},
    {2, "mean", real, "", "Mean over those samples, of records or frames; null of a plain count."},
    {3, "most", u64, "", "The largest number in a sample."},
    {4, "example", text, "", "An address at which it was so, as 0x and hexadecimal digits."},
    {5, "module", text, "", "Name of the module that this lies in."},
};

constexpr std::string_view g_branchQualityViewSelect = R"(
SELECT q.what AS what, sum(q.count) AS count, sum(q.total) * 1.0 / sum(q.count) AS mean,
       max(q.most) AS most,
       (SELECT printf('0x%llx', x.address) FROM dd_branch_quality AS x
         WHERE x.what = q.what AND x.address IS NOT NULL LIMIT 1) AS example,
       (SELECT f.name FROM dd_branch_quality AS x JOIN dd_module_file AS f ON f.id = x.module
         WHERE x.what = q.what LIMIT 1) AS module
  FROM dd_branch_quality AS q GROUP BY q.what)";

constexpr view_t g_views[] = {
    {"branch_stacks", "A row per distinct stack of branch records.", g_branchStacksSelect,
     g_branchStacks},
    {"branch_records", "A row per record of every stack of branch records.", g_branchRecordsSelect,
     g_branchRecords},
    {"branch_quality", "What became of branch records, in numbers.", g_branchQualityViewSelect,
     g_branchQualityView},
    {"sample_branches", "A row per branch record of every sample.", g_sampleBranchesSelect,
     g_sampleBranches},
};

} // namespace

std::span<const table_t> branchTables()
{
    return g_tables;
}

std::span<const view_t> branchViews()
{
    return g_views;
}

} // namespace rowvault1::schema
