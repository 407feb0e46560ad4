#include "shell/listhead.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
struct Item : ListNode {
    explicit Item(int v) : value(v) { }
    int value;
};

std::vector<int> values(ListHead<Item>& list)
{
    std::vector<int> out;
    for (auto it = list.begin(); it != list.end(); ++it)
        out.push_back(it->value);
    return out;
}
}

TEST(ListHead, StartsEmpty)
{
    ListHead<Item> list;
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(list.begin() == list.end());
}

TEST(ListHead, PushFrontPutsTheNewestFirst)
{
    ListHead<Item> list;
    Item a(1), b(2), c(3);
    list.push_front(a);
    list.push_front(b);
    list.push_front(c);
    EXPECT_EQ(values(list), (std::vector<int> { 3, 2, 1 }));
}

TEST(ListHead, RemoveUnlinksOneElement)
{
    ListHead<Item> list;
    Item a(1), b(2), c(3);
    list.push_front(a);
    list.push_front(b);
    list.push_front(c);
    list.remove(b);
    EXPECT_EQ(values(list), (std::vector<int> { 3, 1 }));
    EXPECT_FALSE(b.isLinked());
    list.remove(b);   // not linked any more: nothing happens
    EXPECT_EQ(values(list), (std::vector<int> { 3, 1 }));
}

TEST(ListHead, PushingALinkedElementAgainMovesItToTheFront)
{
    ListHead<Item> list;
    Item a(1), b(2);
    list.push_front(a);
    list.push_front(b);
    list.push_front(a);
    EXPECT_EQ(values(list), (std::vector<int> { 1, 2 }));
}

TEST(ListHead, AnElementMayBeRemovedWhileTheIteratorHasMovedPastIt)
{
    ListHead<Item> list;
    Item a(1), b(2), c(3);
    list.push_front(a);
    list.push_front(b);
    list.push_front(c);
    std::vector<int> visited;
    for (auto it = list.begin(); it != list.end();) {
        Item& item = *it;
        ++it;
        visited.push_back(item.value);
        list.remove(item);
    }
    EXPECT_EQ(visited, (std::vector<int> { 3, 2, 1 }));
    EXPECT_TRUE(list.empty());
}

TEST(ListHead, DestroyingTheListUnlinksItsElements)
{
    Item a(1);
    {
        ListHead<Item> list;
        list.push_front(a);
    }
    EXPECT_FALSE(a.isLinked());
}
