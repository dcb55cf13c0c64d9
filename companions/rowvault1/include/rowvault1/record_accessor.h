#pragma once

#include <rowvault1/record.h>

#include <PORTA_2_18/assert.h>

#include <type_traits>
#include <utility>

namespace rowvault1 {

/// Handle on a record of type `R`: IOrphanRecordInternal, IRecordInternal (a stored row for change)
/// or IConstRecordInternal (for reading). `operator[]` on a null record fires "m_pRecord" and gives
/// a field that reads null and drops what is assigned. An accessor on a row for change, when it is
/// released, commits what was assigned to the row, be it by a copy. It belongs to one thread.
template <class R>
class RecordAccessor {
    static constexpr bool commitsOnRelease = std::is_same_v<R, IRecordInternal>;

public:
    RecordAccessor() = default;
    RecordAccessor(tb2::sptr_t<R> record) : m_pRecord(std::move(record)) {}
    RecordAccessor(const RecordAccessor&) = default;
    RecordAccessor(RecordAccessor&& other) noexcept : m_pRecord(std::move(other.m_pRecord)) {}
    RecordAccessor& operator=(RecordAccessor other)
    {
        release();
        m_pRecord = other.m_pRecord;
        other.m_pRecord.reset();
        return *this;
    }
    ~RecordAccessor() { release(); }

    FieldAccessor<R> operator[](std::uint16_t column) const
    {
        PORTA_ASSERT_TEXT(!m_pRecord.is_null(), "m_pRecord");
        return FieldAccessor<R>(m_pRecord.get(), column);
    }

    /// Commits an orphan record as a new row (IOrphanRecordInternal::commit). On a null record
    /// fires "m_pRecord" and returns false.
    bool commit(Index& out, int a, int b) const requires std::is_same_v<R, IOrphanRecordInternal>
    {
        PORTA_ASSERT_TEXT(!m_pRecord.is_null(), "m_pRecord");
        return m_pRecord && m_pRecord->commit(out, a, b);
    }

    /// Commits changes now, and lets the record go.
    void release()
    {
        if constexpr (commitsOnRelease) {
            if (m_pRecord) m_pRecord->commit();
        }
        m_pRecord.reset();
    }

    bool isNull() const noexcept { return m_pRecord.is_null(); }
    const tb2::sptr_t<R>& handle() const noexcept { return m_pRecord; }

private:
    tb2::sptr_t<R> m_pRecord;
};

using OrphanRecord = RecordAccessor<IOrphanRecordInternal>;
using StoredRecord = RecordAccessor<IRecordInternal>;
using ConstRecord = RecordAccessor<IConstRecordInternal>;

} // namespace rowvault1
