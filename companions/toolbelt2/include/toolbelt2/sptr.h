#pragma once

#include <toolbelt2/object.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstddef>
#include <type_traits>
#include <utility>

namespace toolbelt2 {

/// Shared handle on a counted object. Copying takes a reference, dropping gives it back; it may be
/// null. One handle belongs to one thread at a time, the object's count allows handles on several.
template <class T>
class sptr_t {
public:
    sptr_t() = default;
    sptr_t(std::nullptr_t) {}
    explicit sptr_t(T* object) : m_ptr(object) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> sptr_t(const sptr_t<U>& other) : m_ptr(other.get()) {}

    T* get() const noexcept { return m_ptr.get(); }
    T* operator->() const noexcept { return m_ptr.get(); }
    T& operator*() const noexcept { return *m_ptr; }
    bool is_null() const noexcept { return !m_ptr; }
    explicit operator bool() const noexcept { return !is_null(); }
    void reset() noexcept { m_ptr.reset(); }

    friend bool operator==(const sptr_t& a, const sptr_t& b) noexcept { return a.get() == b.get(); }

private:
    boost::intrusive_ptr<T> m_ptr;
};

/// Makes a counted `Impl` and returns the first handle on it, as a handle on `Impl`.
template <class Impl, class... Args>
sptr_t<Impl> make_counted(Args&&... args)
{
    return sptr_t<Impl>(new ref_counted_t<Impl>(std::forward<Args>(args)...));
}

} // namespace toolbelt2
