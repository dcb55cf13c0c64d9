#pragma once

#include <toolbelt2/export.h>

#include <atomic>
#include <cstdint>

// Counted objects: the interface that all shared handles of the family hold, and the ready-made
// count.
namespace toolbelt2 {

/// Base of every interface that is held by a counted handle. The count starts at 0 and the first
/// handle takes it to 1; the release that brings it back to 0 destroys the object.
class object_interface_t {
public:
    virtual void add_ref() const noexcept = 0;
    virtual void release() const noexcept = 0;
    /// Text that names the most derived type, for messages; NUL-terminated, lives as long as the
    /// program.
    virtual const char* get_type() const noexcept = 0;
    virtual ~object_interface_t() = default;
};

/// Atomic count: handles of one object may be copied and dropped on several threads at once.
class mt_ref_count_impl_t {
public:
    void increment() noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }
    bool decrement() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) == 1; }

private:
    std::atomic<std::int32_t> m_count{0};
};

/// Plain count, for objects whose handles stay on one thread at a time.
class st_ref_count_impl_t {
public:
    void increment() noexcept { ++m_count; }
    bool decrement() noexcept { return --m_count == 0; }

private:
    std::int32_t m_count = 0;
};

/// `Base`, an implementation of an interface, with its count filled in. Objects of this type live
/// on the heap and are held by handles only.
template <class Base, class Count = mt_ref_count_impl_t>
class ref_counted_t final : public Base {
public:
    using Base::Base;

    void add_ref() const noexcept override { m_refs.increment(); }
    void release() const noexcept override
    {
        if (m_refs.decrement()) delete this;
    }
    const char* get_type() const noexcept override { return __PRETTY_FUNCTION__; }

private:
    mutable Count m_refs;
};

inline void intrusive_ptr_add_ref(const object_interface_t* object) noexcept
{
    object->add_ref();
}
inline void intrusive_ptr_release(const object_interface_t* object) noexcept
{
    object->release();
}

} // namespace toolbelt2
