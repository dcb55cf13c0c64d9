#pragma once

#include "support/call_log.h"

#include <rowvault1/database.h>

#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// The performance view of a fake result; every data name has a definition.
class FakePerfDatabase : public rowvault1::IPerfDatabase {
public:
    explicit FakePerfDatabase(log_ptr_t log) : m_log(std::move(log)) {}

    tb2::sptr_t<rowvault1::IGrouperInstanceTableDef> getInstanceTableDef(const char* dataName,
                                                                         int kind) override
    {
        m_log->add("result.getInstanceTableDef " + std::string(dataName) + " " +
                   std::to_string(kind));
        return tb2::make_counted<Definition>(dataName);
    }
    void bindInstanceTable(const tb2::sptr_t<rowvault1::IGrouperInstanceTableDef>& definition,
                           const char* ownerTable, int flags, const char* ownerName,
                           const char* filter, const char* suffix) override
    {
        m_log->add("result.bindInstanceTable " + std::string(definition->dataName()) + " " +
                   ownerTable + " " + std::to_string(flags) + " " + ownerName + " '" + filter +
                   "' '" + suffix + "'");
    }

private:
    class Definition : public rowvault1::IGrouperInstanceTableDef {
    public:
        explicit Definition(std::string dataName) : m_dataName(std::move(dataName)) {}
        const char* dataName() const override { return m_dataName.c_str(); }

    private:
        std::string m_dataName;
    };

    log_ptr_t m_log;
};

/// Bands of one attribute each, as they came.
class FakeSingleBandTable : public rowvault1::IGenericBandTable<rowvault1::single_band_obj_t> {
public:
    struct call_t {
        rowvault1::band_timeline_key_t key;
        rowvault1::single_band_obj_t band;
        bool withCustomFields;
    };

    bool add(const rowvault1::band_timeline_key_t& key, const rowvault1::single_band_obj_t& band,
             tb2::sptr_t<rowvault1::IMetaData>&, const std::vector<tb2::variant_t>* custom) override
    {
        calls.push_back({key, band, custom != nullptr});
        return !refuses;
    }
    std::uint16_t customColumn(const char*) const override { return rowvault1::InvalidColIdx; }

    std::vector<call_t> calls;
    bool refuses = false;
};

} // namespace samplefold_test
