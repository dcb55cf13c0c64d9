#pragma once

#include "support/call_log.h"
#include "support/temporary_folder.h"

#include <rowvault1/result.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// A result on disk, in a folder of its own that goes with it.
class ScratchResult {
public:
    using fields_t = std::initializer_list<std::pair<std::uint16_t, tb2::variant_t>>;

    ScratchResult() { open(rowvault1::open_mode_t::create); }

    tb2::sptr_t<rowvault1::IDatabase> db() const { return m_result->database(); }
    tb2::sptr_t<rowvault1::IAttributeTable> table(const char* name) const
    {
        return db()->getAttributeTable(name);
    }

    rowvault1::Index add(const char* name, fields_t fields) const
    {
        const rowvault1::OrphanRecord record = table(name)->createOrphanRecord();
        for (const auto& [column, value] : fields)
            record[column] = value;
        rowvault1::Index key;
        record.commit(key, 0, 0);
        return key;
    }
    rowvault1::Index addNamed(const char* name, const std::string& text) const
    {
        return add(name, {{0, tb2::variant_t(text)}});
    }

    tb2::variant_t at(const char* name, rowvault1::Index key, std::uint16_t column) const
    {
        return rowvault1::ConstRecord(table(name)->getRecord(key))[column];
    }
    /// The first columns of all rows, a line each, as in "s32:3 null text:nic".
    std::vector<std::string> rows(const char* name, std::uint16_t columns) const
    {
        std::vector<std::string> lines;
        for (const auto keys = table(name)->enumerateRows(); !keys->atEnd(); keys->next()) {
            std::string line;
            for (std::uint16_t column = 0; column < columns; ++column)
                line += (column > 0 ? " " : "") + show(at(name, keys->current(), column));
            lines.push_back(std::move(line));
        }
        return lines;
    }
    std::uint64_t count(const char* name) const { return table(name)->size(); }

    /// Closes the result and opens it again from the disk.
    void reopen()
    {
        m_result->finish();
        m_result.reset();
        open(rowvault1::open_mode_t::append);
    }

private:
    void open(rowvault1::open_mode_t mode)
    {
        m_result = rowvault1::openResult(m_folder.path("result"), mode);
    }

    TemporaryFolder m_folder;
    tb2::sptr_t<rowvault1::IResult> m_result;
};

} // namespace samplefold_test
