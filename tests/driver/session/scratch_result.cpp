#include "scratch_result.h"

#include <cstdlib>
#include <filesystem>
#include <span>

namespace samplefold::session::testing {

using rowvault1::open_mode_t;
using tb2::variant_t;

namespace {

std::string makeFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "sf_session_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    return name;
}

std::string textOf(const variant_t& value)
{
    if (value.is_null()) return "-";
    if (value.kind() == variant_t::kind_t::text) return std::string(value.as_text());
    return std::to_string(static_cast<std::int64_t>(value.integer_bits()));
}

struct Reader final : rowvault1::ISqlReader {
    void onColumns(std::span<const std::string>) override {}
    bool onRow(std::span<const variant_t> row) override
    {
        std::string line;
        for (const variant_t& value : row)
            line += (line.empty() ? "" : "|") + textOf(value);
        lines.push_back(line);
        return true;
    }
    std::vector<std::string> lines;
};

} // namespace

void storeModules(rowvault1::IResult& result, ModuleCatalog& modules)
{
    const auto folder = std::filesystem::path(result.databasePath()).parent_path();
    ModuleFiles files(result.database(), folder.string(), {});
    files.expect(modules.buildIds(), {});
    modules.store(result.database(), files);
}

ScratchResultTest::ScratchResultTest()
    : m_folder(makeFolder()), m_result(rowvault1::openResult(m_folder + "/r", open_mode_t::create))
{
}

ScratchResultTest::~ScratchResultTest()
{
    m_result = {};
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

void ScratchResultTest::reopen()
{
    m_result->finish();
    m_result = {};
    m_result = rowvault1::openResult(m_folder + "/r", open_mode_t::append);
}

std::vector<std::string> ScratchResultTest::ask(const std::string& sql)
{
    m_result->drain();
    Reader reader;
    rowvault1::readSql(*m_result, sql, reader);
    return reader.lines;
}

} // namespace samplefold::session::testing
