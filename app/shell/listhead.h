#pragma once
// An intrusive, circular, doubly linked list with a sentinel. Elements derive
// from ListNode and are owned by whoever links them in.

struct ListNode {
    ListNode* next { this };
    ListNode* prev { this };

    bool isLinked() const { return next != this; }
};

template <class T>
class ListHead {
public:
    class iterator {
    public:
        explicit iterator(ListNode* node) : m_node(node) { }
        T* operator->() const { return static_cast<T*>(m_node); }
        T& operator*() const { return *static_cast<T*>(m_node); }
        iterator& operator++()
        {
            m_node = m_node->next;
            return *this;
        }
        bool operator==(const iterator& o) const { return m_node == o.m_node; }
        bool operator!=(const iterator& o) const { return m_node != o.m_node; }

    private:
        ListNode* m_node;
    };

    ListHead() = default;
    ListHead(const ListHead&) = delete;
    ListHead& operator=(const ListHead&) = delete;
    // Unlinks every element, so none keeps pointing at a dead sentinel.
    ~ListHead()
    {
        while (m_head.next != &m_head)
            remove(*static_cast<T*>(m_head.next));
    }

    void push_front(T& element)
    {
        ListNode* node = &element;
        if (node->isLinked())
            remove(element);
        node->next = m_head.next;
        node->prev = &m_head;
        m_head.next->prev = node;
        m_head.next = node;
    }

    // Unlinks element; does nothing for an element that is not linked.
    void remove(T& element)
    {
        ListNode* node = &element;
        if (!node->isLinked())
            return;
        node->prev->next = node->next;
        node->next->prev = node->prev;
        node->next = node;
        node->prev = node;
    }

    bool empty() const { return m_head.next == &m_head; }
    iterator begin() { return iterator(m_head.next); }
    iterator end() { return iterator(&m_head); }

private:
    ListNode m_head;
};
