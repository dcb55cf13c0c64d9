#include "report/annotate_report.h"

#include "report/annotation.h"
#include "report/archive_plan.h"
#include "report/hex_text.h"
#include "report/source_text.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <algorithm>
#include <set>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

/// Lines that are shown before and behind one with samples.
constexpr std::int64_t g_linesAround = 3;
constexpr std::size_t g_tabWidth = 8;

std::vector<Annotation> readAnnotations(rowvault1::IResult& result, const AnnotateOptions& options)
{
    return annotate(result, chooseFunctions(result, options.function, options.module),
                    options.event);
}

SourceReader sourceReader(rowvault1::IResult& result, const AnnotateOptions& options)
{
    return {options.sources, archiveFolder(result)};
}

std::string withoutTabs(const std::string& line)
{
    std::string out;
    for (const char c : line) {
        if (c == '\r') continue;
        if (c != '\t')
            out += c;
        else
            out.append(g_tabWidth - out.size() % g_tabWidth, ' ');
    }
    return out;
}

/// Columns of one table: what stands in front of each event's count, then its count and percentage,
/// then what the row is.
class SumTable {
public:
    SumTable(const Annotation& annotation, std::initializer_list<const char*> titles)
        : m_annotation(annotation)
    {
        for (const Annotation::Event& event : annotation.events) {
            m_table.addColumn(printable(event.name), TextTable::Align::right);
            m_table.addColumn("percent", TextTable::Align::right);
        }
        const char* const* last = titles.end() - 1;
        for (const char* const& title : titles)
            m_table.addColumn(title,
                              &title == last ? TextTable::Align::left : TextTable::Align::right);
    }

    /// `sums` is null for a row without samples.
    void add(const EventSums* sums, std::vector<std::string> cells)
    {
        std::vector<std::string> row;
        for (std::size_t i = 0; i < m_annotation.events.size(); ++i) {
            const bool isMet = sums != nullptr && (*sums)[i] != Sum{};
            row.push_back(isMet ? std::to_string((*sums)[i].events()) : "");
            row.push_back(
                isMet ? percentText(percentOf((*sums)[i].events(), m_annotation.all[i].events()))
                      : "");
        }
        std::move(cells.begin(), cells.end(), std::back_inserter(row));
        m_table.addRow(std::move(row));
    }

    void print(std::ostream& out) const { m_table.print(out, "    "); }

private:
    const Annotation& m_annotation;
    TextTable m_table;
};

class TextWriter {
public:
    TextWriter(SourceReader reader, bool withSamples, std::ostream& out)
        : m_reader(std::move(reader)), m_withSamples(withSamples), m_out(out)
    {
    }

    void write(const Annotation& annotation)
    {
        writeHead(annotation);
        for (const AnnotatedFile& file : annotation.files)
            writeFile(annotation, file);
        if (annotation.addresses.empty()) return;
        m_out << "\n  places without a source line\n";
        SumTable table(annotation, {"address"});
        for (const auto& [rva, sums] : annotation.addresses)
            table.add(&sums, {hexText(rva)});
        table.print(m_out);
    }

    void end()
    {
        if (m_isSourceMissing)
            m_out << "\nSource files that are not found show without text: --source DIR tells "
                     "where they lie\n";
    }

private:
    void writeHead(const Annotation& annotation)
    {
        m_out << (m_isFirst ? "" : "\n") << printable(annotation.function.name);
        m_isFirst = false;
        if (!annotation.function.module.empty())
            m_out << " in " << printable(annotation.function.module);
        m_out << '\n';
        if (annotation.events.empty()) m_out << "  no samples hit in it\n";
        for (std::size_t i = 0; i < annotation.events.size(); ++i) {
            const Annotation::Event& event = annotation.events[i];
            const Sum& all = annotation.all[i];
            m_out << "  " << printable(event.name) << ": count " << all.events();
            if (m_withSamples) m_out << " in " << all.samples << " samples";
            m_out << ", " << percentText(percentOf(all.events(), event.all.events()))
                  << " of the event";
            const Sum& inlined = annotation.inlinedFromElsewhere[i];
            if (inlined != Sum{})
                m_out << "; " << percentText(percentOf(inlined.events(), all.events()))
                      << " of it in code inlined from other files";
            m_out << '\n';
        }
    }

    void writeFile(const Annotation& annotation, const AnnotatedFile& file)
    {
        std::set<std::int64_t> wanted;
        for (const auto& [line, sums] : file.lines)
            for (std::int64_t near = line - g_linesAround; near <= line + g_linesAround; ++near)
                if (near > 0) wanted.insert(near);
        const SourceText text = m_reader.read(file.path, wanted);
        m_isSourceMissing = m_isSourceMissing || text.file.empty();
        m_out << "\n  " << printable(file.path) << (file.isOwn ? "" : " (inlined)")
              << (text.file.empty() ? ": not found" : "") << '\n';
        SumTable table(annotation, {"line", "source"});
        std::int64_t former = 0;
        for (const std::int64_t line : wanted) {
            const auto sums = file.lines.find(line);
            const auto source = text.lines.find(line);
            const bool hasText = source != text.lines.end();
            if (sums == file.lines.end() && !hasText) continue;
            if (former != 0 && line != former + 1) table.add(nullptr, {"...", ""});
            former = line;
            table.add(sums != file.lines.end() ? &sums->second : nullptr,
                      {std::to_string(line), hasText ? withoutTabs(source->second) : ""});
        }
        table.print(m_out);
    }

    SourceReader m_reader;
    bool m_withSamples;
    std::ostream& m_out;
    bool m_isFirst = true;
    bool m_isSourceMissing = false;
};

/// The sums of events that are not zero; "percent" is of what `wholeOf(event number)` counted.
template <class WholeOf>
ordered_json sumsToJson(const Annotation& annotation, const EventSums& sums, bool withSamples,
                        WholeOf&& wholeOf)
{
    ordered_json list = ordered_json::array();
    for (std::size_t i = 0; i < sums.size(); ++i) {
        if (sums[i] == Sum{}) continue;
        ordered_json item;
        item["event"] = annotation.events[i].name;
        if (withSamples) item["samples"] = sums[i].samples;
        item["count"] = sums[i].events();
        const auto percent = percentOf(sums[i].events(), wholeOf(i));
        item["percent"] = percent ? ordered_json(*percent) : ordered_json();
        list.push_back(std::move(item));
    }
    return list;
}

ordered_json annotationToJson(const Annotation& annotation, const SourceReader& reader,
                              bool withSamples)
{
    const auto ofFunction = [&](const EventSums& sums) {
        return sumsToJson(annotation, sums, withSamples,
                          [&](std::size_t i) { return annotation.all[i].events(); });
    };
    ordered_json json;
    json["function"] = annotation.function.name;
    json["module"] = textOrNull(annotation.function.module);
    json["events"] = sumsToJson(annotation, annotation.all, withSamples,
                                [&](std::size_t i) { return annotation.events[i].all.events(); });
    json["inlined_from_other_files"] = ofFunction(annotation.inlinedFromElsewhere);
    auto& files = json["files"] = ordered_json::array();
    for (const AnnotatedFile& file : annotation.files) {
        std::set<std::int64_t> wanted;
        for (const auto& [line, sums] : file.lines)
            wanted.insert(line);
        const SourceText text = reader.read(file.path, wanted);
        ordered_json lines = ordered_json::array();
        for (const auto& [line, sums] : file.lines) {
            const auto source = text.lines.find(line);
            ordered_json item;
            item["line"] = line;
            item["text"] =
                source != text.lines.end() ? ordered_json(source->second) : ordered_json();
            item["counts"] = ofFunction(sums);
            lines.push_back(std::move(item));
        }
        ordered_json item;
        item["path"] = file.path;
        item["is_own"] = file.isOwn;
        item["read_from"] = textOrNull(text.file);
        item["lines"] = std::move(lines);
        files.push_back(std::move(item));
    }
    auto& addresses = json["addresses"] = ordered_json::array();
    for (const auto& [rva, sums] : annotation.addresses) {
        ordered_json item;
        item["address"] = hexText(rva);
        item["counts"] = ofFunction(sums);
        addresses.push_back(std::move(item));
    }
    return json;
}

} // namespace

void writeAnnotation(rowvault1::IResult& result, const AnnotateOptions& options, std::ostream& out)
{
    TextWriter writer(sourceReader(result, options), rowsAreSamples(result), out);
    for (const Annotation& annotation : readAnnotations(result, options))
        writer.write(annotation);
    writer.end();
}

ordered_json annotationToJson(rowvault1::IResult& result, const AnnotateOptions& options)
{
    const SourceReader reader = sourceReader(result, options);
    const bool withSamples = rowsAreSamples(result);
    ordered_json json;
    auto& functions = json["functions"] = ordered_json::array();
    for (const Annotation& annotation : readAnnotations(result, options))
        functions.push_back(annotationToJson(annotation, reader, withSamples));
    return json;
}

} // namespace samplefold::report
