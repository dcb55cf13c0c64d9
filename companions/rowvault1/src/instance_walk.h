#pragma once

#include "store.h"

#include <rowvault1/instance_container.h>

#include <cstdint>
#include <vector>

namespace rowvault1 {

/// Reads instances of a range of times in order, in pages: between two pages no statement is open.
class InstanceWalk {
public:
    InstanceWalk(Store& store, const schema::table_t& table);

    /// Gives the rows of first <= time <= last; both ends must lie in the same half of the range of
    /// 64 bits. False when the reader has stopped or a page cannot be read.
    bool run(std::uint64_t first, std::uint64_t last, IInstanceReader& reader);

private:
    bool readPage(std::uint64_t last);

    Store& m_store;
    Statement m_statement;
    std::int64_t m_time = 0; ///< the walk stands behind this time and row number
    std::int64_t m_number = 0;
    std::vector<instance_row_t> m_page;
};

} // namespace rowvault1
