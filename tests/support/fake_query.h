#pragma once

#include "support/call_log.h"

#include <rowvault1/index.h>
#include <rowvault1/query.h>

#include <map>
#include <optional>
#include <set>

namespace samplefold_test {

/// A query whose result the test writes down: rows by column name, columns not named read null.
class FakeQuery : public rowvault1::IQuery {
public:
    using named_row_t = std::map<std::string, tb2::variant_t>;

    explicit FakeQuery(log_ptr_t log) : m_log(std::move(log)) {}

    std::uint16_t addColumn(const char* name, int aggregation,
                            const tb2::generic_iterator_t<const char*>& arguments, int kind,
                            int flags, const char* alias) override
    {
        m_log->add("query.addColumn " + std::string(name));
        columnArguments.insert(std::to_string(aggregation) + (arguments.atEnd() ? " none " : " ") +
                               std::to_string(kind) + " " + std::to_string(flags) + " '" + alias +
                               "'");
        if (missingColumns.contains(name)) return rowvault1::InvalidColIdx;
        m_columns.emplace_back(name);
        return static_cast<std::uint16_t>(m_columns.size() - 1);
    }

    tb2::sptr_t<rowvault1::IGenericRecordset> execute(int flags, const char* filter,
                                                      const char* order) override
    {
        m_log->add("query.execute");
        executeArguments =
            std::to_string(flags) + " '" + std::string(filter) + "' '" + std::string(order) + "'";
        if (unable) return {};
        return tb2::make_counted<Rows>(*this);
    }

    std::vector<std::optional<named_row_t>> rows; ///< an empty element makes current() null
    std::set<std::string> missingColumns;
    bool unable = false; ///< execute gives null
    /// What stood behind the name in calls of addColumn, and in the last call of execute.
    std::set<std::string> columnArguments;
    std::string executeArguments;

private:
    class Rows : public rowvault1::IGenericRecordset, private rowvault1::IConstRecord {
    public:
        explicit Rows(FakeQuery& query) : m_query(&query) {}

        bool atEnd() const override { return m_position == m_query->rows.size(); }
        const rowvault1::IConstRecord* current() const override
        {
            return m_query->rows[m_position] ? this : nullptr;
        }
        void next() override { ++m_position; }

    private:
        const tb2::variant_t& get(std::uint16_t column) const override
        {
            static const tb2::variant_t null;
            const named_row_t& row = *m_query->rows[m_position];
            const std::string& name = m_query->m_columns.at(column);
            m_query->m_log->add("query.get " + name);
            const auto found = row.find(name);
            return found != row.end() ? found->second : null;
        }

        FakeQuery* m_query;
        std::size_t m_position = 0;
    };

    log_ptr_t m_log;
    std::vector<std::string> m_columns;
};

} // namespace samplefold_test
