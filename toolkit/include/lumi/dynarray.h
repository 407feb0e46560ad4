#pragma once
// An untyped growable array of pointer-sized elements.

#include <cstddef>

class DynArray {
public:
    explicit DynArray(int capacity = 8);
    ~DynArray();
    DynArray(const DynArray&) = delete;
    DynArray& operator=(const DynArray&) = delete;

    void push_back(void* element);
    // Element at index. Out-of-range access is a programming error (assertion).
    void*& operator[](int index);
    void* operator[](int index) const;
    int size() const { return m_count; }
    // Removes the element at index, moving the later ones down.
    // Returns 0, or -1 when index is out of range.
    int erase(int index);
    void clear() { m_count = 0; }
    // Address of the slot at index, for typed wrappers that keep small values
    // (not only pointers) in the pointer-sized slots.
    void* slot(int index);

private:
    void grow();

    void** m_items { nullptr };
    int m_count { 0 };
    int m_capacity { 0 };
};
