// Lists of named nodes, and their chain read back in both directions.
#pragma once

#include "lc_list.h"
#include "lc_mem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>

namespace testing_support {

// A node whose data is the name of its test subject. The tests own their nodes, except those of
// heap_node.
inline lc_list_node named_node(const char *name)
{
    lc_list_node node = {};
    node.data = const_cast<char *>(name);
    return node;
}

// A node for lists that free what they hold.
inline lc_list_node *heap_node(void *data)
{
    auto *node = static_cast<lc_list_node *>(mem_malloc_ex(0, 0, 0, sizeof(lc_list_node)));
    *node = {};
    node->data = data;
    return node;
}

inline const char *name_of(const lc_list_node *node)
{
    return node == nullptr ? "none" : static_cast<const char *>(node->data);
}

// The names from head to tail, as in "a b c"; fails the test unless the chain is circular, leads back
// the same way and agrees with the count.
inline std::string names_in(const lc_list &list)
{
    if (list.count == 0) {
        EXPECT_EQ(list.head, nullptr);
        EXPECT_EQ(list.tail, nullptr);
        return "";
    }
    std::string names;
    const lc_list_node *node = list.head;
    for (uint32_t i = 0; i < list.count; ++i, node = node->next) {
        EXPECT_EQ(node->next->prev, node);
        EXPECT_EQ(node->prev->next, node);
        EXPECT_EQ(node == list.tail, i + 1 == list.count);
        EXPECT_EQ(node->reserved, 0u);
        names += std::string(names.empty() ? "" : " ") + name_of(node);
    }
    EXPECT_EQ(node, list.head);
    EXPECT_EQ(list.head->prev, list.tail);
    return names;
}

// A list with the nodes a, b, c, ... as many as asked for.
class NamedList {
public:
    explicit NamedList(size_t count)
    {
        static constexpr const char *kNames[] = {"a", "b", "c", "d", "e"};
        for (size_t i = 0; i < count; ++i) {
            nodes_.push_back(named_node(kNames[i]));
            lc_list_add_at_tail(&list, &nodes_.back());
        }
    }

    lc_list_node *node(const char *name)
    {
        const auto found = std::find_if(nodes_.begin(), nodes_.end(), [name](const lc_list_node &node) {
            return std::string(name) == name_of(&node);
        });
        return found == nodes_.end() ? nullptr : &*found;
    }
    std::string names() const { return names_in(list); }

    lc_list list = {};

private:
    std::deque<lc_list_node> nodes_; // does not move its elements
};

} // namespace testing_support
