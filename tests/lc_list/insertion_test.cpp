// Where inserted nodes end up in the chain.

#include "support/list_nodes.h"

namespace insertion_test {

using namespace testing_support;

namespace {

void expect_only_node(const lc_list &list, const lc_list_node &node)
{
    EXPECT_EQ(list.count, 1u);
    EXPECT_EQ(list.head, &node);
    EXPECT_EQ(list.tail, &node);
    EXPECT_EQ(node.next, &node);
    EXPECT_EQ(node.prev, &node);
}

} // namespace

TEST(ListInsertion, first_node_added_at_head_is_head_and_tail_and_linked_to_itself)
{
    NamedList empty(0);
    lc_list_node node = named_node("a");
    EXPECT_EQ(lc_list_add_at_head(&empty.list, &node), LC_LIST_SUCCESS);
    expect_only_node(empty.list, node);
}

TEST(ListInsertion, first_node_added_at_tail_is_head_and_tail_and_linked_to_itself)
{
    NamedList empty(0);
    lc_list_node node = named_node("a");
    EXPECT_EQ(lc_list_add_at_tail(&empty.list, &node), LC_LIST_SUCCESS);
    expect_only_node(empty.list, node);
}

TEST(ListInsertion, add_at_head_goes_before_the_old_head)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_at_head(&list.list, &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "new a b");
}

TEST(ListInsertion, add_at_tail_goes_behind_the_old_tail)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_at_tail(&list.list, &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a b new");
}

TEST(ListInsertion, add_before_a_middle_node)
{
    NamedList list(3);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_before(&list.list, list.node("b"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a new b c");
}

TEST(ListInsertion, add_before_the_head_makes_a_new_head)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_before(&list.list, list.node("a"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "new a b");
}

TEST(ListInsertion, add_before_the_tail_leaves_the_tail)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_before(&list.list, list.node("b"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a new b");
}

TEST(ListInsertion, add_before_the_only_node_makes_it_the_tail)
{
    NamedList list(1);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_before(&list.list, list.node("a"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "new a");
}

TEST(ListInsertion, add_next_to_a_middle_node)
{
    NamedList list(3);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_next(&list.list, list.node("b"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a b new c");
}

TEST(ListInsertion, add_next_to_the_tail_makes_a_new_tail)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_next(&list.list, list.node("b"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a b new");
}

TEST(ListInsertion, add_next_to_the_head_leaves_the_head)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_next(&list.list, list.node("a"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a new b");
}

TEST(ListInsertion, add_next_to_the_only_node_makes_it_the_head)
{
    NamedList list(1);
    lc_list_node node = named_node("new");
    EXPECT_EQ(lc_list_add_next(&list.list, list.node("a"), &node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "a new");
}

TEST(ListInsertion, add_at_either_end_with_a_null_argument_returns_1_and_changes_nothing)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    for (const auto add : {lc_list_add_at_head, lc_list_add_at_tail}) {
        EXPECT_EQ(add(nullptr, &node), LC_LIST_ERR_NULL);
        EXPECT_EQ(add(&list.list, nullptr), LC_LIST_ERR_NULL);
    }
    EXPECT_EQ(list.names(), "a b");
    EXPECT_EQ(node.next, nullptr);
    EXPECT_EQ(node.prev, nullptr);
}

TEST(ListInsertion, add_beside_a_node_with_a_null_argument_returns_1_and_changes_nothing)
{
    NamedList list(2);
    lc_list_node node = named_node("new");
    for (const auto add : {lc_list_add_before, lc_list_add_next}) {
        EXPECT_EQ(add(nullptr, list.node("a"), &node), LC_LIST_ERR_NULL);
        EXPECT_EQ(add(&list.list, nullptr, &node), LC_LIST_ERR_NULL);
        EXPECT_EQ(add(&list.list, list.node("a"), nullptr), LC_LIST_ERR_NULL);
    }
    EXPECT_EQ(list.names(), "a b");
    EXPECT_EQ(node.next, nullptr);
    EXPECT_EQ(node.prev, nullptr);
}

TEST(ListInsertion, add_beside_a_node_of_an_empty_list_returns_3_and_changes_nothing)
{
    NamedList empty(0);
    lc_list_node stranger = named_node("stranger");
    lc_list_node node = named_node("new");
    for (const auto add : {lc_list_add_before, lc_list_add_next}) {
        EXPECT_EQ(add(&empty.list, &stranger, &node), LC_LIST_ERR_EMPTY);
    }
    EXPECT_EQ(empty.names(), "");
    for (const lc_list_node &untouched : {stranger, node}) {
        EXPECT_EQ(untouched.next, nullptr);
        EXPECT_EQ(untouched.prev, nullptr);
    }
}

TEST(ListInsertion, null_argument_is_found_before_the_empty_list)
{
    NamedList empty(0);
    lc_list_node node = named_node("new");
    for (const auto add : {lc_list_add_before, lc_list_add_next}) {
        EXPECT_EQ(add(&empty.list, nullptr, &node), LC_LIST_ERR_NULL);
        EXPECT_EQ(add(&empty.list, &node, nullptr), LC_LIST_ERR_NULL);
    }
}

TEST(ListInsertion, node_keeps_its_data_and_its_reserved_word)
{
    NamedList list(1);
    char object = 'x';
    lc_list_node node = {7, &object, nullptr, nullptr};
    lc_list_add_at_head(&list.list, &node);
    EXPECT_EQ(node.reserved, 7u);
    EXPECT_EQ(node.data, &object);
}

} // namespace insertion_test
