#pragma once

#include "export.h"

#include <rowvault1/database.h>
#include <rowvault1/index.h>

#include <cstdint>
#include <map>
#include <utility>

namespace samplefold_1 {

using rowvault1::Index;

/// The links between packages that uncore events of the type UNC_XLK count. Each such event on each
/// package gets a row of dd_xlk_link_info: the one that is there for its package and link, else a
/// new one of its own. Failures are assertions; nothing is thrown. No locks: one thread at a time.
class SAMPLEFOLD_1_API XlkLinkInfo {
public:
    /// Reads the tables, maps the events and adds the rows that are missing. `db` must not be null.
    /// Later calls do nothing, also with another database.
    void init(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Row of the link that an event on a package (by the number in its name) counts; -1 for other
    /// events, unknown packages, and before init.
    Index getXlkLinkInfoDbIndexByEventTypeAndPackage(Index eventType, int packageNum) const;

    /// The two steps of init, in its order.
    void fillPackageAndXlkLinkToDbIndexMap();
    void fillPackageNumAndEventTypeToXlkLinkInfoIndexMap();

protected:
    using table_t = tb2::sptr_t<rowvault1::IAttributeTable>;

    table_t m_packageTable;
    table_t m_uncoreEventTypeTable;
    table_t m_xlkLinkInfoTable;
    /// By package row and link number: the rows that were there before.
    std::map<std::pair<Index, std::int32_t>, Index> m_packageAndLinkKeys;
    /// By package number and event type.
    std::map<std::pair<std::int32_t, Index>, Index> m_linkKeyByEvent;
    bool m_initialized = false;

private:
    Index linkKey(Index package, std::int32_t link) const;
    Index addLinkRow(Index package, std::int32_t link) const;
};

} // namespace samplefold_1
