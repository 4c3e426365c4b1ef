// Finding, walking and indexing.

#include "support/list_nodes.h"

#include <cstring>
#include <vector>

namespace search_test {

using namespace testing_support;

namespace {

struct Key {
    const char *name;
    std::vector<const void *> asked; // the data that the match function was given, in order
};

uint32_t match_name(const void *data, const void *key)
{
    // lc_list_find hands the key on as it is, so what is not const at the caller's is not const here.
    auto *wanted = static_cast<Key *>(const_cast<void *>(key));
    wanted->asked.push_back(data);
    return strcmp(static_cast<const char *>(data), wanted->name) == 0 ? 0 : 8;
}

struct Walk {
    lc_list *list;
    std::string names;
    const char *stop_at = "";
};

uint32_t note_name(lc_list_node *node, void *argument)
{
    auto *walk = static_cast<Walk *>(argument);
    walk->names += name_of(node);
    return strcmp(name_of(node), walk->stop_at) == 0 ? 1 : 0;
}

uint32_t unlink_and_free(lc_list_node *node, void *argument)
{
    auto *walk = static_cast<Walk *>(argument);
    walk->names += name_of(node);
    lc_list_del_node(walk->list, node);
    mem_free_ex(0, 0, 0, node);
    return 0;
}

struct Found {
    std::string name;
    uint32_t err;

    bool operator==(const Found &) const = default;
};

void PrintTo(const Found &found, std::ostream *out)
{
    *out << found.name << " (err " << found.err << ")";
}

Found get_node(lc_list *list, int32_t index)
{
    uint32_t err = 77; // no operation gives it
    const lc_list_node *node = lc_list_get_node(list, index, &err);
    return {name_of(node), err};
}

} // namespace

TEST(ListFind, returns_the_node_whose_data_matches)
{
    NamedList list(3);
    for (const char *name : {"a", "b", "c"}) {
        Key key = {name, {}};
        EXPECT_EQ(lc_list_find(&list.list, match_name, &key), list.node(name));
    }
}

TEST(ListFind, asks_about_the_data_from_the_head_up_to_the_first_match)
{
    NamedList list(4);
    Key key = {"c", {}};
    lc_list_find(&list.list, match_name, &key);
    EXPECT_EQ(key.asked, (std::vector<const void *>{list.node("a")->data, list.node("b")->data,
                                                    list.node("c")->data}));
}

TEST(ListFind, first_of_two_matching_nodes_wins)
{
    NamedList list(2);
    lc_list_node twin = named_node("a");
    lc_list_add_at_tail(&list.list, &twin);
    Key key = {"a", {}};
    EXPECT_EQ(lc_list_find(&list.list, match_name, &key), list.node("a"));
}

TEST(ListFind, node_without_data_is_passed_over)
{
    NamedList list(2);
    lc_list_node bare = {};
    lc_list_add_at_head(&list.list, &bare);
    Key key = {"b", {}};
    EXPECT_EQ(lc_list_find(&list.list, match_name, &key), list.node("b"));
    EXPECT_EQ(key.asked.size(), 2u);
}

TEST(ListFind, returns_null_when_nothing_matches)
{
    NamedList list(3);
    Key key = {"z", {}};
    EXPECT_EQ(lc_list_find(&list.list, match_name, &key), nullptr);
    EXPECT_EQ(key.asked.size(), 3u);
}

TEST(ListFind, returns_null_for_an_empty_list)
{
    NamedList empty(0);
    Key key = {"a", {}};
    EXPECT_EQ(lc_list_find(&empty.list, match_name, &key), nullptr);
    EXPECT_TRUE(key.asked.empty());
}

TEST(ListFind, returns_null_for_any_null_argument_without_asking)
{
    NamedList list(1);
    Key key = {"a", {}};
    const lc_list_match_fn match_all = [](const void *, const void *) { return 0u; };
    EXPECT_EQ(lc_list_find(nullptr, match_name, &key), nullptr);
    EXPECT_EQ(lc_list_find(&list.list, nullptr, &key), nullptr);
    EXPECT_EQ(lc_list_find(&list.list, match_all, nullptr), nullptr);
    EXPECT_TRUE(key.asked.empty());
}

TEST(ListTraversal, visits_every_node_from_head_to_tail)
{
    NamedList list(4);
    Walk walk = {&list.list, ""};
    EXPECT_EQ(lc_list_tarverse(&list.list, note_name, &walk), LC_LIST_SUCCESS);
    EXPECT_EQ(walk.names, "abcd");
}

TEST(ListTraversal, visitor_gets_the_node_itself_also_one_without_data)
{
    lc_list list = {};
    lc_list_node bare = {};
    lc_list_add_at_tail(&list, &bare);
    lc_list_node *visited = nullptr;
    const lc_list_visit_fn keep = [](lc_list_node *node, void *argument) {
        *static_cast<lc_list_node **>(argument) = node;
        return 0u;
    };
    EXPECT_EQ(lc_list_tarverse(&list, keep, &visited), LC_LIST_SUCCESS);
    EXPECT_EQ(visited, &bare);
}

TEST(ListTraversal, visitor_that_returns_non_zero_stops_the_walk_with_9)
{
    NamedList list(4);
    Walk walk = {&list.list, "", "b"};
    EXPECT_EQ(lc_list_tarverse(&list.list, note_name, &walk), LC_LIST_ERR_STOPPED);
    EXPECT_EQ(walk.names, "ab");
}

TEST(ListTraversal, stop_at_the_tail_is_a_stop_too)
{
    NamedList list(2);
    Walk walk = {&list.list, "", "b"};
    EXPECT_EQ(lc_list_tarverse(&list.list, note_name, &walk), LC_LIST_ERR_STOPPED);
}

TEST(ListTraversal, visitor_may_unlink_and_free_each_node_it_is_given)
{
    lc_list list = {};
    for (const char *name : {"a", "b", "c"}) {
        lc_list_add_at_tail(&list, heap_node(const_cast<char *>(name)));
    }
    Walk walk = {&list, ""};
    EXPECT_EQ(lc_list_tarverse(&list, unlink_and_free, &walk), LC_LIST_SUCCESS);
    EXPECT_EQ(walk.names, "abc");
    EXPECT_EQ(names_in(list), "");
}

TEST(ListTraversal, null_list_returns_1)
{
    Walk walk = {};
    EXPECT_EQ(lc_list_tarverse(nullptr, note_name, &walk), LC_LIST_ERR_NULL);
    EXPECT_EQ(lc_list_tarverse(nullptr, nullptr, nullptr), LC_LIST_ERR_NULL);
}

TEST(ListTraversal, empty_list_or_null_visitor_visits_nothing_and_returns_0)
{
    NamedList empty(0);
    NamedList list(2);
    Walk walk = {};
    EXPECT_EQ(lc_list_tarverse(&empty.list, note_name, &walk), LC_LIST_SUCCESS);
    EXPECT_EQ(lc_list_tarverse(&list.list, nullptr, &walk), LC_LIST_SUCCESS);
    EXPECT_EQ(walk.names, "");
}

TEST(ListIndex, counts_from_the_head_and_from_zero)
{
    NamedList list(3);
    EXPECT_EQ(get_node(&list.list, 0), (Found{"a", 0}));
    EXPECT_EQ(get_node(&list.list, 1), (Found{"b", 0}));
    EXPECT_EQ(get_node(&list.list, 2), (Found{"c", 0}));
    EXPECT_EQ(list.names(), "a b c");
}

TEST(ListIndex, index_that_is_negative_or_not_below_the_count_gives_12)
{
    NamedList list(3);
    for (const int32_t index : {3, 4, INT32_MAX, -1, INT32_MIN}) {
        EXPECT_EQ(get_node(&list.list, index), (Found{"none", LC_LIST_ERR_INDEX})) << index;
    }
}

TEST(ListIndex, null_list_gives_1_and_empty_list_3_before_the_index_counts)
{
    NamedList empty(0);
    EXPECT_EQ(get_node(nullptr, -1), (Found{"none", LC_LIST_ERR_NULL}));
    EXPECT_EQ(get_node(&empty.list, -1), (Found{"none", LC_LIST_ERR_EMPTY}));
    EXPECT_EQ(get_node(&empty.list, 0), (Found{"none", LC_LIST_ERR_EMPTY}));
}

} // namespace search_test
