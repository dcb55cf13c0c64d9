#include "driver/perfdata/oracle_case.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include <zlib.h>

namespace samplefold::perfdata::testing {

namespace {

namespace fs = std::filesystem;

/// gzread passes plain files through unchanged.
std::string readInflated(const fs::path& path)
{
    gzFile file = gzopen(path.c_str(), "rb");
    if (file == nullptr) throw std::runtime_error("cannot open " + path.string());
    std::string content;
    char chunk[65536];
    int got = 0;
    while ((got = gzread(file, chunk, sizeof chunk)) > 0)
        content.append(chunk, static_cast<std::size_t>(got));
    const int closed = gzclose(file);
    if (got < 0 || closed != Z_OK) throw std::runtime_error("cannot inflate " + path.string());
    return content;
}

std::vector<OracleCase> casesIn(const fs::path& root)
{
    std::vector<OracleCase> cases;
    if (!fs::is_directory(root)) return cases;
    for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
        const std::string name = entry.path().filename().string();
        if (fs::exists(entry.path() / (name + ".perf.data")) ||
            fs::exists(entry.path() / (name + ".perf.data.gz")))
            cases.push_back({name, entry.path()});
    }
    std::sort(cases.begin(), cases.end(),
              [](const OracleCase& a, const OracleCase& b) { return a.name < b.name; });
    return cases;
}

bool isTaskToken(const std::string& token)
{
    const std::size_t slash = token.find('/');
    const auto isNumber = [](const std::string& text) {
        const std::size_t start = text.starts_with("-") ? 1 : 0;
        return text.size() > start &&
               text.find_first_not_of("0123456789", start) == std::string::npos;
    };
    return slash != std::string::npos && isNumber(token.substr(0, slash)) &&
           isNumber(token.substr(slash + 1));
}

std::uint64_t parseTime(const std::string& token)
{
    const std::size_t dot = token.find('.');
    return std::stoull(token.substr(0, dot)) * 1'000'000'000u + std::stoull(token.substr(dot + 1));
}

bool isDigits(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

SampleLine parseLine(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> tokens;
    for (std::string token; stream >> token;)
        tokens.push_back(token);
    SampleLine line;
    std::size_t at = 0;
    while (!isTaskToken(tokens.at(at))) // the command's name may have blanks
        ++at;
    line.pid = std::stoll(tokens[at]);
    line.tid = std::stoll(tokens[at].substr(tokens[at].find('/') + 1));
    if (tokens.at(++at).starts_with("["))
        line.cpu = static_cast<std::uint32_t>(std::stoul(tokens[at++].substr(1)));
    line.timeNs = parseTime(tokens.at(at++));
    if (isDigits(tokens.at(at))) line.period = std::stoull(tokens[at++]);
    std::size_t last = tokens.size() - 1;
    line.ip = std::stoull(tokens[last--], nullptr, 16);
    if (!tokens.at(last).ends_with(":")) line.addr = std::stoull(tokens[last--], nullptr, 16);
    for (; at <= last; ++at)
        line.event += (line.event.empty() ? "" : " ") + tokens[at];
    line.event.pop_back(); // the colon after the name
    return line;
}

} // namespace

std::optional<std::string> OracleCase::load(const std::string& suffix) const
{
    for (const char* packing : {"", ".gz"}) {
        const fs::path path = folder / (name + "." + suffix + packing);
        if (fs::exists(path)) return readInflated(path);
    }
    return std::nullopt;
}

std::vector<OracleCase> keptCases()
{
    return casesIn(fs::path(SF_TEST_DATA_DIR) / "perf");
}

fs::path sharedFolder()
{
    const char* wanted = std::getenv("SAMPLEFOLD_SHARED_DATA");
    return wanted != nullptr && *wanted != '\0' ? fs::path(wanted)
                                                : fs::path(SF_DEFAULT_SHARED_DATA);
}

std::vector<OracleCase> sharedCases()
{
    return casesIn(sharedFolder());
}

std::vector<OracleCase> allCases()
{
    std::vector<OracleCase> cases = keptCases();
    for (const OracleCase& shared : sharedCases())
        cases.push_back(shared);
    return cases;
}

std::vector<OracleCase> casesWith(const std::string& suffix)
{
    std::vector<OracleCase> cases = allCases();
    std::erase_if(cases, [&](const OracleCase& oracle) { return !oracle.load(suffix); });
    return cases;
}

std::string caseName(const ::testing::TestParamInfo<OracleCase>& info)
{
    std::string name = info.param.name + "_" + std::to_string(info.index);
    for (char& c : name)
        c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    return name;
}

void PrintTo(const OracleCase& oracle, std::ostream* out)
{
    *out << oracle.folder.string();
}

std::span<const std::byte> bytesOf(const std::string& content)
{
    return std::as_bytes(std::span(content.data(), content.size()));
}

std::string SampleLine::text() const
{
    std::ostringstream out;
    out << pid << '/' << tid;
    if (cpu) out << " [" << *cpu << ']';
    out << ' ' << timeNs << ": ";
    if (period) out << *period << ' ';
    out << event << ':' << std::hex;
    if (addr) out << ' ' << *addr;
    out << ' ' << ip;
    return out.str();
}

std::vector<SampleLine> parseSampleLines(const std::string& text)
{
    std::vector<SampleLine> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (line.find_first_not_of(' ') != std::string::npos) lines.push_back(parseLine(line));
    return lines;
}

StatsText parseStats(const std::string& text)
{
    StatsText stats;
    std::istringstream stream(text);
    std::string event; // empty while in the aggregated part
    bool inEvents = false;
    for (std::string line; std::getline(stream, line);) {
        const std::size_t colon = line.find(" events:");
        if (line.starts_with("## perf evlist"))
            inEvents = true;
        else if (inEvents && !line.empty() && !line.starts_with("#"))
            stats.eventLines.push_back(line);
        else if (colon != std::string::npos && event.empty())
            stats.records[line.substr(line.find_first_not_of(' '),
                                      colon - line.find_first_not_of(' '))] =
                std::stoull(line.substr(colon + 8));
        else if (colon != std::string::npos)
            stats.samplesByEvent[event] += std::stoull(line.substr(colon + 8));
        else if (line.ends_with(" stats:") && !line.starts_with("Aggregated"))
            event = line.substr(0, line.size() - 7);
    }
    return stats;
}

std::vector<PrintedChain> parseChains(const std::string& text)
{
    std::vector<PrintedChain> chains;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line.starts_with("#")) continue;
        if (line.front() == '\t') {
            chains.back().ips.push_back(std::stoull(line, nullptr, 16));
            continue;
        }
        const std::size_t dot = line.find('.', line.find('/'));
        const std::size_t seconds = line.rfind(' ', dot) + 1;
        chains.push_back(
            {std::stoull(line.substr(seconds)) * 1'000'000'000u + std::stoull(line.substr(dot + 1)),
             {}});
    }
    return chains;
}

} // namespace samplefold::perfdata::testing
