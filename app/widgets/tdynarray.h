#pragma once
// A typed view of the toolkit's DynArray for pointers and small plain values.

#include <lumi/dynarray.h>

#include <new>
#include <type_traits>

template <class T>
class TDynArray {
    static_assert(sizeof(T) <= sizeof(void*), "elements live in the array's pointer-sized slots");
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
        "the array moves elements as bytes and never destroys them");

public:
    explicit TDynArray(int capacity = 8) : m_array(capacity) { }

    void push_back(const T& value)
    {
        m_array.push_back(nullptr);
        new (m_array.slot(m_array.size() - 1)) T(value);
    }
    T& operator[](int index) { return *std::launder(static_cast<T*>(m_array.slot(index))); }
    const T& operator[](int index) const
    {
        return *std::launder(static_cast<T*>(const_cast<DynArray&>(m_array).slot(index)));
    }
    int size() const { return m_array.size(); }
    // 0, or -1 for an index out of range.
    int erase(int position) { return m_array.erase(position); }
    void clear() { m_array.clear(); }

private:
    DynArray m_array;
};
