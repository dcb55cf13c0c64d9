#pragma once

#include <cstddef>

namespace toolbelt2 {

/// Walks a row of values that somebody else owns. The values must outlive the iterator. A
/// default-built one is empty. One object belongs to one thread.
template <class T>
class generic_iterator_t {
public:
    generic_iterator_t() = default;
    generic_iterator_t(const T* first, std::size_t count) : m_next(first), m_end(first + count) {}

    bool atEnd() const noexcept { return m_next == m_end; }
    const T& current() const noexcept { return *m_next; }
    void next() noexcept { ++m_next; }

private:
    const T* m_next = nullptr;
    const T* m_end = nullptr;
};

} // namespace toolbelt2
