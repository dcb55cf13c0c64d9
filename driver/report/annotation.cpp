#include "report/annotation.h"

#include "report/grouping_sql.h"
#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

namespace samplefold::report {
namespace {

using FunctionByKey = std::unordered_map<std::int64_t, std::size_t>;

/// Sum of an event at a place.
struct PlaceSum {
    std::int64_t event; ///< row of dd_event_type
    std::size_t function;
    std::string file; ///< empty when not known
    std::int64_t line;
    bool isInlined;
    std::uint64_t rva;
    Sum sum;
};

struct Counts {
    std::vector<PlaceSum> places; ///< in the functions that are asked for
    std::map<std::int64_t, Annotation::Event> events;
};

std::string placesSql()
{
    return "WITH grouped AS (SELECT event_type, sample, count(*) AS samples, " + sumOf("count") +
           " AS total FROM sample_instance GROUP BY event_type, sample) "
           "SELECT g.event_type, e.name, g.samples, g.total, n.function, sf.path, n.line, "
           "n.inlined, l.rva FROM grouped g LEFT JOIN dd_event_type e ON e.rowid = g.event_type" +
           std::string(placeJoins) + std::string(nameJoins) +
           " LEFT JOIN dd_source_file sf ON sf.rowid = n.source_file";
}

Counts readCounts(rowvault1::IResult& result, const FunctionByKey& functions)
{
    Counts counts;
    visitRows(result, placesSql(), [&](const auto& row) {
        const Sum sum{row[2].integer_bits(), row[3].integer_bits()};
        Annotation::Event& event = counts.events[rowKey(row[0])];
        event.name = toText(row[1]);
        event.all += sum;
        const auto function = functions.find(rowKey(row[4]));
        if (function == functions.end()) return;
        counts.places.push_back({rowKey(row[0]), function->second, toText(row[5]), rowKey(row[6]),
                                 rowKey(row[7]) > 0, row[8].integer_bits(), sum});
    });
    return counts;
}

/// Only the events of that name stay.
void keepEvents(rowvault1::IResult& result, Counts& counts, const std::string& name)
{
    if (name.empty()) return;
    std::string known;
    for (const auto& [key, event] : counts.events)
        known += (known.empty() ? "" : ", ") + printable(event.name);
    std::erase_if(counts.events, [&](const auto& entry) { return entry.second.name != name; });
    if (counts.events.empty())
        throw ReportError(result.databasePath() + ": no samples of an event '" + printable(name) +
                          "'" + (known.empty() ? "" : "; there are samples of " + known));
    std::erase_if(counts.places,
                  [&](const PlaceSum& place) { return !counts.events.contains(place.event); });
}

/// The calls that inlined code stands for.
class InlinedCalls {
public:
    explicit InlinedCalls(rowvault1::IResult& result)
    {
        visitRows(result,
                  "SELECT i.id, i.caller, sf.path FROM dd_inlined i "
                  "LEFT JOIN dd_source_file sf ON sf.id = i.call_file",
                  [this](const auto& row) {
                      m_calls[rowKey(row[0])] = {rowKey(row[1]), toText(row[2])};
                  });
    }

    /// Source file of the outermost call: that of the function that has the code. A chain that
    /// never ends has none.
    std::string outermostFile(std::int64_t inlined) const
    {
        constexpr int mostCalls = 1000;
        for (int i = 0; i < mostCalls; ++i) {
            const auto call = m_calls.find(inlined);
            if (call == m_calls.end()) break;
            if (call->second.first <= 0) return call->second.second;
            inlined = call->second.first;
        }
        return {};
    }

private:
    std::unordered_map<std::int64_t, std::pair<std::int64_t, std::string>> m_calls;
};

/// The source file of each function: the one in which most of its places have their own code.
std::vector<std::string> ownFiles(rowvault1::IResult& result, const FunctionByKey& functions,
                                  std::size_t number)
{
    const InlinedCalls calls(result);
    std::vector<std::map<std::string, std::uint64_t>> votes(number);
    visitRows(result,
              "SELECT n.function, sf.path, n.inlined, count(*) FROM dd_code_name n "
              "LEFT JOIN dd_source_file sf ON sf.id = n.source_file "
              "GROUP BY n.function, n.source_file, n.inlined",
              [&](const auto& row) {
                  const auto function = functions.find(rowKey(row[0]));
                  if (function == functions.end()) return;
                  const std::int64_t inlined = rowKey(row[2]);
                  const std::string file =
                      inlined > 0 ? calls.outermostFile(inlined) : toText(row[1]);
                  if (!file.empty()) votes[function->second][file] += row[3].integer_bits();
              });
    std::vector<std::string> files(number);
    for (std::size_t i = 0; i < number; ++i) {
        const auto most =
            std::max_element(votes[i].begin(), votes[i].end(),
                             [](const auto& a, const auto& b) { return a.second < b.second; });
        if (most != votes[i].end()) files[i] = most->first;
    }
    return files;
}

/// Adds up the sums of one function.
class AnnotationMaker {
public:
    AnnotationMaker(ChosenFunction function, std::string ownFile) : m_ownFile(std::move(ownFile))
    {
        m_made.function = std::move(function);
    }

    void setEvents(const Counts& counts, std::size_t function)
    {
        for (const auto& [key, event] : counts.events) {
            const bool isMet = std::any_of(
                counts.places.begin(), counts.places.end(), [&, key = key](const PlaceSum& place) {
                    return place.function == function && place.event == key;
                });
            if (!isMet) continue;
            m_columns[key] = m_made.events.size();
            m_made.events.push_back(event);
        }
        m_made.all.resize(m_made.events.size());
        m_made.inlinedFromElsewhere.resize(m_made.events.size());
    }

    void add(const PlaceSum& place)
    {
        addTo(m_made.all, place);
        if (place.isInlined && place.file != m_ownFile) addTo(m_made.inlinedFromElsewhere, place);
        if (place.file.empty() || place.line <= 0) {
            addTo(m_made.addresses[place.rva], place);
            return;
        }
        AnnotatedFile& file = m_files[place.file];
        addTo(file.all, place);
        addTo(file.lines[place.line], place);
    }

    Annotation release()
    {
        for (auto& [path, file] : m_files) {
            file.path = path;
            file.isOwn = path == m_ownFile;
            m_made.files.push_back(std::move(file));
        }
        std::stable_sort(m_made.files.begin(), m_made.files.end(),
                         [](const AnnotatedFile& a, const AnnotatedFile& b) {
                             if (a.isOwn != b.isOwn) return a.isOwn;
                             return a.all.front().count > b.all.front().count;
                         });
        return std::move(m_made);
    }

private:
    void addTo(EventSums& sums, const PlaceSum& place) const
    {
        sums.resize(m_made.events.size());
        sums[m_columns.at(place.event)] += place.sum;
    }

    std::string m_ownFile;
    std::map<std::int64_t, std::size_t> m_columns;
    std::map<std::string, AnnotatedFile> m_files;
    Annotation m_made;
};

} // namespace

std::vector<Annotation> annotate(rowvault1::IResult& result,
                                 const std::vector<ChosenFunction>& functions,
                                 const std::string& event)
{
    FunctionByKey byKey;
    for (std::size_t i = 0; i < functions.size(); ++i)
        for (const std::int64_t key : functions[i].keys)
            byKey[key] = i;
    Counts counts = readCounts(result, byKey);
    keepEvents(result, counts, event);
    const std::vector<std::string> files = ownFiles(result, byKey, functions.size());
    std::vector<AnnotationMaker> makers;
    for (std::size_t i = 0; i < functions.size(); ++i) {
        makers.emplace_back(functions[i], files[i]);
        makers.back().setEvents(counts, i);
    }
    for (const PlaceSum& place : counts.places)
        makers[place.function].add(place);
    std::vector<Annotation> made;
    for (AnnotationMaker& maker : makers)
        made.push_back(maker.release());
    return made;
}

} // namespace samplefold::report
