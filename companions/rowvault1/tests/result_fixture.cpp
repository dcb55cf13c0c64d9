#include "result_fixture.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>

namespace {

std::mutex g_mutex;
std::vector<std::string> g_expressions;

void noteAssertion(const PORTA_2_18::debug::assertion_t& assertion)
{
    const std::lock_guard lock(g_mutex);
    g_expressions.emplace_back(assertion.expression);
}

class CountReader final : public rowvault1::IInstanceReader {
public:
    bool onInstance(const rowvault1::instance_row_t& row) override
    {
        counts.push_back(row.integers[1].value_or(0));
        return true;
    }
    std::vector<std::uint64_t> counts;
};

std::string makeFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "rowvault1_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    return name;
}

} // namespace

std::string sqliteShell(const std::string& database, const std::string& sql)
{
    const std::string script = database + ".sql";
    std::FILE* const file = std::fopen(script.c_str(), "w");
    if (file == nullptr) return "cannot write the script";
    std::fputs(sql.c_str(), file);
    std::fclose(file);
    std::FILE* const pipe =
        popen(("sqlite3 -batch '" + database + "' < '" + script + "' 2>&1").c_str(), "r");
    if (pipe == nullptr) return "cannot start the shell";
    std::string answer;
    for (int letter = std::fgetc(pipe); letter != EOF; letter = std::fgetc(pipe))
        answer += static_cast<char>(letter);
    pclose(pipe);
    std::filesystem::remove(script);
    if (!answer.empty() && answer.back() == '\n') answer.pop_back();
    return answer;
}

AssertionLog::AssertionLog()
{
    g_expressions.clear();
    m_former = PORTA_2_18::debug::setAssertionHandler(&noteAssertion);
}

AssertionLog::~AssertionLog()
{
    PORTA_2_18::debug::setAssertionHandler(m_former);
}

std::vector<std::string> AssertionLog::expressions() const
{
    const std::lock_guard lock(g_mutex);
    return g_expressions;
}

ResultTest::ResultTest() : m_folder(makeFolder()) {}

ResultTest::~ResultTest()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

tb2::sptr_t<rowvault1::IResult> ResultTest::open(rowvault1::open_mode_t mode) const
{
    return rowvault1::openResult(folder(), mode, options);
}

rowvault1::Index addRow(rowvault1::IResult& result, const char* table,
                        std::initializer_list<std::pair<std::uint16_t, tb2::variant_t>> values)
{
    const rowvault1::OrphanRecord record =
        result.database()->getAttributeTable(table)->createOrphanRecord();
    for (const auto& [position, value] : values)
        record[position] = value;
    rowvault1::Index key;
    record.commit(key, 0, 0);
    return key;
}

void addInstance(rowvault1::IResult& result, std::uint64_t timestamp, std::uint64_t count)
{
    const auto record = result.instanceContainer()->createOrphanInstanceRecord();
    record->setInteger(1, count);
    EXPECT_TRUE(record->insert(timestamp));
}

std::vector<std::uint64_t> countsBetween(rowvault1::IResult& result, std::uint64_t first,
                                         std::uint64_t last)
{
    CountReader reader;
    result.instanceContainer()->read(first, last, reader);
    return reader.counts;
}
