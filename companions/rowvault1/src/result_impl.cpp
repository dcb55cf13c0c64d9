#include "result_impl.h"

#include "band_table_impl.h"
#include "failure_text.h"
#include "instance_container_impl.h"
#include "result_file.h"
#include "sql_reader.h"

#include <filesystem>
#include <utility>

namespace rowvault1 {

ResultImpl::ResultImpl(std::shared_ptr<Store> store)
    : m_store(std::move(store)), m_database(tb2::make_counted<DatabaseImpl>(m_store)),
      m_perfDatabase(tb2::make_counted<PerfDatabaseImpl>(m_store)),
      m_instances(tb2::make_counted<InstanceContainerImpl>(m_store)),
      m_sampleBands(tb2::make_counted<AggregatedBandTable>(m_store, *m_store->table("sample_band")))
{
}

void ResultImpl::setInfo(std::string_view key, std::string_view value)
{
    if (key == stateKey || key == instanceRowsKey)
        throw StoreError(failureText("write", m_store->path(),
                                     "the store keeps '" + std::string(key) + "' itself",
                                     "use another key"));
    m_store->setInfo(key, value);
}

void ResultImpl::drain()
{
    m_store->settle();
    m_store->throwIfFailed();
}

void ResultImpl::readSql(std::string_view sql, ISqlReader& reader)
{
    runReadOnly(*m_store, sql, reader);
}

tb2::sptr_t<IResult> openResult(const std::string& folder, open_mode_t mode,
                                const result_options_t& options)
{
    if (mode == open_mode_t::create) makeResultFolder(folder);
    const std::string path = (std::filesystem::path(folder) / resultFileName).string();
    return tb2::make_counted<ResultImpl>(std::make_shared<Store>(path, mode, options));
}

void readSql(IResult& result, std::string_view sql, ISqlReader& reader)
{
    result.readSql(sql, reader);
}

} // namespace rowvault1
