#include "common/table_access.h"
#include "common/uncore_names.h"
#include <samplefold_1/xlk_link_info.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {
namespace {

using rowvault1::utils::variantToIndex;
using rowvault1::utils::variantToString;
using tb2::variant_t;
using uncore_names::textOf;

constexpr std::uint16_t g_nameColumn = 0; ///< of packages and of events

namespace link_column {
constexpr std::uint16_t package = 0, link = 2, displayName = 5;
}

/// Number of the link that an event counts; false for names of other events.
bool linkOfEvent(const std::string& name, const boost::regex& pattern, int& link)
{
    boost::cmatch groups;
    if (!uncore_names::matchEvent(name, pattern, groups)) return false;
    if (textOf(groups["eventType"]) != "UNC_XLK") return false;
    uncore_names::readNumber(textOf(groups["unitNum"]), link);
    return true;
}

bool numberOfPackage(const std::string& name, const boost::regex& pattern, int& number)
{
    boost::cmatch groups;
    if (!uncore_names::matchPackage(name, pattern, groups)) return false;
    uncore_names::readNumber(textOf(groups["packageId"]), number);
    return true;
}

} // namespace

void XlkLinkInfo::init(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    if (m_initialized) return;
    PORTA_ASSERT(!db.is_null());
    m_packageTable = tables::open(db, "dd_package");
    PORTA_ASSERT(!m_packageTable.is_null());
    m_uncoreEventTypeTable = tables::open(db, "dd_uncore_event_type");
    PORTA_ASSERT(!m_uncoreEventTypeTable.is_null());
    m_xlkLinkInfoTable = tables::open(db, "dd_xlk_link_info");
    PORTA_ASSERT(!m_xlkLinkInfoTable.is_null());
    fillPackageAndXlkLinkToDbIndexMap();
    fillPackageNumAndEventTypeToXlkLinkInfoIndexMap();
    m_initialized = true;
}

void XlkLinkInfo::fillPackageAndXlkLinkToDbIndexMap()
{
    tables::forEachRow(m_xlkLinkInfoTable, [this](Index key) {
        const rowvault1::ConstRecord xlkLinkAcc(tables::row(m_xlkLinkInfoTable, key));
        PORTA_ASSERT(!xlkLinkAcc.isNull());
        const Index package = variantToIndex(xlkLinkAcc[link_column::package]);
        const Index link = variantToIndex(xlkLinkAcc[link_column::link]);
        m_packageAndLinkKeys.try_emplace({package, link.value()}, key);
    });
}

void XlkLinkInfo::fillPackageNumAndEventTypeToXlkLinkInfoIndexMap()
{
    const boost::regex eventPattern(R"(^(?<eventType>\w+?_\w+?)_.*\[UNIT(?<unitNum>\d+)\]$)");
    const boost::regex packagePattern(R"(^.*_(?<packageId>\d+)$)");
    tables::forEachRow(m_packageTable, [&](Index package) {
        const rowvault1::ConstRecord packageAcc(tables::row(m_packageTable, package));
        PORTA_ASSERT(!packageAcc.isNull());
        int packageNum = -1;
        const std::string packageName = variantToString(packageAcc[g_nameColumn]);
        if (!numberOfPackage(packageName, packagePattern, packageNum)) return;
        tables::forEachRow(m_uncoreEventTypeTable, [&](Index eventType) {
            const rowvault1::ConstRecord event(tables::row(m_uncoreEventTypeTable, eventType));
            int link = -1;
            if (!linkOfEvent(variantToString(event[g_nameColumn]), eventPattern, link)) return;
            m_linkKeyByEvent.try_emplace({packageNum, eventType}, linkKey(package, link));
        });
    });
}

/// A new row is not noted, so that the next event of the link gets one of its own.
Index XlkLinkInfo::linkKey(Index package, std::int32_t link) const
{
    const auto known = m_packageAndLinkKeys.find({package, link});
    return known != m_packageAndLinkKeys.end() ? known->second : addLinkRow(package, link);
}

Index XlkLinkInfo::addLinkRow(Index package, std::int32_t link) const
{
    const rowvault1::OrphanRecord row = tables::newRow(m_xlkLinkInfoTable);
    row[link_column::link] = variant_t(link);
    row[link_column::package] = tables::keyValue(package);
    row[link_column::displayName] = variant_t("Link " + std::to_string(link));
    return tables::commit(row);
}

Index XlkLinkInfo::getXlkLinkInfoDbIndexByEventTypeAndPackage(Index eventType, int packageNum) const
{
    const auto found = m_linkKeyByEvent.find({packageNum, eventType});
    return found != m_linkKeyByEvent.end() ? found->second : Index();
}

} // namespace samplefold_1
