#pragma once

#include "store.h"

#include <rowvault1/bucket_table.h>

#include <memory>
#include <vector>

namespace rowvault1 {

/// Buckets of the rows with keys up to `lastKey`, read in pages.
class BucketKeysImpl : public IBucketKeys {
public:
    /// Throws SqlError.
    BucketKeysImpl(std::shared_ptr<Store> store, const schema::table_t& table,
                   std::int64_t lastKey);
    bool atEnd() const override { return m_place == m_page.size(); }
    std::int32_t current() const override { return m_page[m_place]; }
    void next() override;
    bool failed() const override { return m_failed; }

private:
    void readPage();

    std::shared_ptr<Store> m_store;
    Statement m_statement;
    std::int64_t m_lastKey;
    std::int64_t m_lastBucket; ///< last one read into a page
    std::vector<std::int32_t> m_page;
    std::size_t m_place = 0;
    bool m_failed = false;
};

} // namespace rowvault1
