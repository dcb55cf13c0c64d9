#include "report/source_text.h"

#include "report/archive_plan.h"
#include "report/plain_file.h"

#include <algorithm>
#include <string_view>

namespace samplefold::report {
namespace {

constexpr std::size_t g_readBytes = std::size_t{1} << 18;
constexpr std::size_t g_maxLineBytes = 1000;

/// Takes the bytes of a file as they come and keeps the lines that are wanted.
class LinePicker {
public:
    LinePicker(const std::set<std::int64_t>& wanted, std::map<std::int64_t, std::string>& lines)
        : m_wanted(wanted), m_lines(lines), m_isWanted(wanted.contains(1))
    {
    }

    bool isDone() const { return m_wanted.empty() || m_line > *m_wanted.rbegin(); }

    void add(std::string_view bytes)
    {
        while (!bytes.empty() && !isDone()) {
            const std::size_t end = bytes.find('\n');
            if (m_isWanted) keep(bytes.substr(0, end));
            if (end == std::string_view::npos) return;
            bytes.remove_prefix(end + 1);
            m_isWanted = m_wanted.contains(++m_line);
        }
    }

private:
    void keep(std::string_view part)
    {
        std::string& line = m_lines[m_line];
        line += part.substr(0, g_maxLineBytes - std::min(g_maxLineBytes, line.size()));
    }

    const std::set<std::int64_t>& m_wanted;
    std::map<std::int64_t, std::string>& m_lines;
    std::int64_t m_line = 1;
    bool m_isWanted;
};

bool readLines(const std::string& path, const std::set<std::int64_t>& wanted, SourceText& text)
{
    PlainFile file(path);
    if (!file.problem().empty() || file.size() > maxSourceBytes) return false;
    LinePicker picker(wanted, text.lines);
    std::vector<char> block(g_readBytes);
    while (!picker.isDone()) {
        const std::size_t got = file.read(block);
        if (got == 0) break;
        picker.add({block.data(), got});
    }
    if (!file.problem().empty()) text.lines.clear();
    return file.problem().empty();
}

} // namespace

std::vector<std::string> SourceReader::candidates(const std::string& path) const
{
    std::vector<std::string> found;
    if (path.starts_with('/')) found.push_back(path);
    const std::string below = placeBelow(path);
    for (const std::string& directory : m_directories) {
        for (std::size_t at = 0; at < below.size(); at = below.find('/', at) + 1) {
            found.push_back(directory + "/" + below.substr(at));
            if (below.find('/', at) == std::string::npos) break;
        }
    }
    const std::string archived = sourcePlace(path);
    if (!archived.empty()) found.push_back(m_archive + "/" + archived);
    return found;
}

SourceText SourceReader::read(const std::string& path, const std::set<std::int64_t>& wanted) const
{
    SourceText text;
    for (const std::string& candidate : candidates(path)) {
        if (!readLines(candidate, wanted, text)) continue;
        text.file = candidate;
        break;
    }
    return text;
}

} // namespace samplefold::report
