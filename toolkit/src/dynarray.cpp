#include <lumi/dynarray.h>
#include <lumi/fatal.h>

#include <cstdlib>
#include <cstring>

DynArray::DynArray(int capacity)
    : m_capacity(capacity > 0 ? capacity : 1)
{
    m_items = static_cast<void**>(std::calloc(static_cast<size_t>(m_capacity), sizeof(void*)));
    if (!m_items)
        std::abort();   // out of memory on the device: nothing sensible is left to do
}

DynArray::~DynArray()
{
    std::free(m_items);
}

void DynArray::grow()
{
    const int capacity = m_capacity * 2;
    void** items = static_cast<void**>(std::realloc(m_items, static_cast<size_t>(capacity) * sizeof(void*)));
    if (!items)
        std::abort();
    m_items = items;
    m_capacity = capacity;
}

void DynArray::push_back(void* element)
{
    if (m_count == m_capacity)
        grow();
    m_items[m_count++] = element;
}

void*& DynArray::operator[](int index)
{
    LUMI_ASSERT(index >= 0 && index < m_count, "dynarray", __LINE__, __PRETTY_FUNCTION__);
    return m_items[index];
}

void* DynArray::operator[](int index) const
{
    LUMI_ASSERT(index >= 0 && index < m_count, "dynarray", __LINE__, __PRETTY_FUNCTION__);
    return m_items[index];
}

int DynArray::erase(int index)
{
    if (index < 0 || index >= m_count)
        return -1;
    std::memmove(m_items + index, m_items + index + 1, static_cast<size_t>(m_count - index - 1) * sizeof(void*));
    --m_count;
    return 0;
}

void* DynArray::slot(int index)
{
    LUMI_ASSERT(index >= 0 && index < m_count, "dynarray", __LINE__, __PRETTY_FUNCTION__);
    return &m_items[index];
}
