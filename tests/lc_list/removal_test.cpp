// Which node is removed, what remains, and the code stored in *err.

#include "support/list_nodes.h"

namespace removal_test {

using namespace testing_support;

namespace {

// err starts as a value that no operation gives, so that a test sees whether it was written.
constexpr uint32_t kUnset = 77;

struct Removed {
    std::string name;
    uint32_t err;

    bool operator==(const Removed &) const = default;
};

void PrintTo(const Removed &removed, std::ostream *out)
{
    *out << removed.name << " (err " << removed.err << ")";
}

Removed removed(const lc_list_node *node, uint32_t err) { return {name_of(node), err}; }

Removed del_from_head(lc_list *list)
{
    uint32_t err = kUnset;
    const lc_list_node *node = lc_list_del_from_head(list, &err);
    return removed(node, err);
}

Removed del_from_tail(lc_list *list)
{
    uint32_t err = kUnset;
    const lc_list_node *node = lc_list_del_from_tail(list, &err);
    return removed(node, err);
}

Removed del_prev(lc_list *list, lc_list_node *ref)
{
    uint32_t err = kUnset;
    const lc_list_node *node = lc_list_del_prev(list, ref, &err);
    return removed(node, err);
}

Removed del_next(lc_list *list, lc_list_node *ref)
{
    uint32_t err = kUnset;
    const lc_list_node *node = lc_list_del_next(list, ref, &err);
    return removed(node, err);
}

} // namespace

TEST(ListRemoval, del_from_head_returns_the_nodes_in_order_until_the_list_is_empty)
{
    NamedList list(3);
    EXPECT_EQ(del_from_head(&list.list), (Removed{"a", 0}));
    EXPECT_EQ(list.names(), "b c");
    EXPECT_EQ(del_from_head(&list.list), (Removed{"b", 0}));
    EXPECT_EQ(list.names(), "c");
    EXPECT_EQ(del_from_head(&list.list), (Removed{"c", 0}));
    EXPECT_EQ(list.names(), "");
}

TEST(ListRemoval, del_from_tail_returns_the_nodes_backwards_until_the_list_is_empty)
{
    NamedList list(3);
    EXPECT_EQ(del_from_tail(&list.list), (Removed{"c", 0}));
    EXPECT_EQ(list.names(), "a b");
    EXPECT_EQ(del_from_tail(&list.list), (Removed{"b", 0}));
    EXPECT_EQ(list.names(), "a");
    EXPECT_EQ(del_from_tail(&list.list), (Removed{"a", 0}));
    EXPECT_EQ(list.names(), "");
}

TEST(ListRemoval, del_from_either_end_reports_a_null_list_and_an_empty_one)
{
    NamedList empty(0);
    EXPECT_EQ(del_from_head(nullptr), (Removed{"none", LC_LIST_ERR_NULL}));
    EXPECT_EQ(del_from_tail(nullptr), (Removed{"none", LC_LIST_ERR_NULL}));
    EXPECT_EQ(del_from_head(&empty.list), (Removed{"none", LC_LIST_ERR_EMPTY}));
    EXPECT_EQ(del_from_tail(&empty.list), (Removed{"none", LC_LIST_ERR_EMPTY}));
}

TEST(ListRemoval, del_prev_of_a_middle_node)
{
    NamedList list(4);
    EXPECT_EQ(del_prev(&list.list, list.node("c")), (Removed{"b", 0}));
    EXPECT_EQ(list.names(), "a c d");
}

TEST(ListRemoval, del_prev_of_the_head_takes_the_tail)
{
    NamedList list(3);
    EXPECT_EQ(del_prev(&list.list, list.node("a")), (Removed{"c", 0}));
    EXPECT_EQ(list.names(), "a b");
}

TEST(ListRemoval, del_prev_that_takes_the_head_makes_the_reference_the_head)
{
    NamedList list(3);
    EXPECT_EQ(del_prev(&list.list, list.node("b")), (Removed{"a", 0}));
    EXPECT_EQ(list.names(), "b c");
}

TEST(ListRemoval, del_prev_on_two_nodes_leaves_the_reference_alone)
{
    NamedList first(2);
    EXPECT_EQ(del_prev(&first.list, first.node("a")), (Removed{"b", 0}));
    EXPECT_EQ(first.names(), "a");

    NamedList second(2);
    EXPECT_EQ(del_prev(&second.list, second.node("b")), (Removed{"a", 0}));
    EXPECT_EQ(second.names(), "b");
}

TEST(ListRemoval, del_next_of_a_middle_node)
{
    NamedList list(4);
    EXPECT_EQ(del_next(&list.list, list.node("b")), (Removed{"c", 0}));
    EXPECT_EQ(list.names(), "a b d");
}

TEST(ListRemoval, del_next_of_the_tail_takes_the_head)
{
    NamedList list(3);
    EXPECT_EQ(del_next(&list.list, list.node("c")), (Removed{"a", 0}));
    EXPECT_EQ(list.names(), "b c");
}

TEST(ListRemoval, del_next_that_takes_the_tail_makes_the_reference_the_tail)
{
    NamedList list(3);
    EXPECT_EQ(del_next(&list.list, list.node("b")), (Removed{"c", 0}));
    EXPECT_EQ(list.names(), "a b");
}

TEST(ListRemoval, del_next_on_two_nodes_leaves_the_reference_alone)
{
    NamedList first(2);
    EXPECT_EQ(del_next(&first.list, first.node("a")), (Removed{"b", 0}));
    EXPECT_EQ(first.names(), "a");

    NamedList second(2);
    EXPECT_EQ(del_next(&second.list, second.node("b")), (Removed{"a", 0}));
    EXPECT_EQ(second.names(), "b");
}

TEST(ListRemoval, del_prev_and_del_next_on_one_node_return_nothing_with_err_4)
{
    NamedList list(1);
    EXPECT_EQ(del_prev(&list.list, list.node("a")), (Removed{"none", LC_LIST_ERR_SINGLE}));
    EXPECT_EQ(del_next(&list.list, list.node("a")), (Removed{"none", LC_LIST_ERR_SINGLE}));
    EXPECT_EQ(list.names(), "a");
}

TEST(ListRemoval, del_prev_and_del_next_report_null_arguments_and_an_empty_list)
{
    NamedList empty(0);
    NamedList list(2);
    lc_list_node stranger = named_node("stranger");
    for (const auto del : {del_prev, del_next}) {
        EXPECT_EQ(del(nullptr, &stranger), (Removed{"none", LC_LIST_ERR_NULL}));
        EXPECT_EQ(del(&list.list, nullptr), (Removed{"none", LC_LIST_ERR_NULL}));
        EXPECT_EQ(del(&empty.list, &stranger), (Removed{"none", LC_LIST_ERR_EMPTY}));
    }
    EXPECT_EQ(list.names(), "a b");
}

TEST(ListRemoval, del_node_unlinks_head_tail_or_middle)
{
    NamedList list(5);
    EXPECT_EQ(lc_list_del_node(&list.list, list.node("a")), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "b c d e");
    EXPECT_EQ(lc_list_del_node(&list.list, list.node("e")), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "b c d");
    EXPECT_EQ(lc_list_del_node(&list.list, list.node("c")), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "b d");
}

TEST(ListRemoval, del_node_of_the_only_node_empties_the_list)
{
    NamedList list(1);
    EXPECT_EQ(lc_list_del_node(&list.list, list.node("a")), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "");
}

TEST(ListRemoval, del_node_returns_1_for_a_null_argument_and_3_for_an_empty_list)
{
    NamedList empty(0);
    NamedList list(2);
    lc_list_node stranger = named_node("stranger");
    EXPECT_EQ(lc_list_del_node(nullptr, &stranger), LC_LIST_ERR_NULL);
    EXPECT_EQ(lc_list_del_node(&list.list, nullptr), LC_LIST_ERR_NULL);
    EXPECT_EQ(lc_list_del_node(&empty.list, nullptr), LC_LIST_ERR_NULL);
    EXPECT_EQ(lc_list_del_node(&empty.list, &stranger), LC_LIST_ERR_EMPTY);
    EXPECT_EQ(list.names(), "a b");
}

TEST(ListRemoval, removed_nodes_and_their_data_stay_the_callers)
{
    NamedList list(3);
    uint32_t err = 0;
    lc_list_node *node = lc_list_del_from_head(&list.list, &err);
    EXPECT_EQ(node, list.node("a"));
    EXPECT_EQ(lc_list_add_at_tail(&list.list, node), LC_LIST_SUCCESS);
    EXPECT_EQ(list.names(), "b c a");
}

} // namespace removal_test
