// Creating and destroying lists, with every allocation counted.

#include "support/counted_memory.h"
#include "support/list_nodes.h"

#include <algorithm>
#include <vector>

namespace lifecycle_test {

using namespace testing_support;

namespace {

void *heap_object() { return mem_malloc_ex(0, 0, 0, 16); }

// In the order of their release.
std::vector<const void *> freed_blocks()
{
    const std::vector<MemoryCall> frees = memory().take_frees();
    std::vector<const void *> blocks(frees.size());
    std::transform(frees.begin(), frees.end(), blocks.begin(),
                   [](const MemoryCall &call) { return call.block; });
    return blocks;
}

std::vector<void *> g_given_to_free_function;

uint32_t free_object(void *data)
{
    g_given_to_free_function.push_back(data);
    return 1; // means nothing to the list
}

} // namespace

TEST(ListLifecycle, new_list_is_empty)
{
    lc_list *list = lc_list_create();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->count, 0u);
    EXPECT_EQ(list->head, nullptr);
    EXPECT_EQ(list->tail, nullptr);
    lc_list_destroy(list, nullptr);
}

TEST(ListLifecycle, every_list_is_its_own)
{
    lc_list *one = lc_list_create();
    lc_list *other = lc_list_create();
    EXPECT_NE(one, other);
    lc_list_destroy(one, nullptr);
    lc_list_destroy(other, nullptr);
}

TEST(ListLifecycle, create_returns_null_when_out_of_memory)
{
    memory().fail_nth(1);
    EXPECT_EQ(lc_list_create(), nullptr);
}

TEST(ListLifecycle, destroy_without_free_function_frees_data_node_and_list)
{
    lc_list *list = lc_list_create();
    lc_list_add_at_tail(list, heap_node(heap_object()));
    lc_list_add_at_tail(list, heap_node(heap_object()));
    lc_list_add_at_tail(list, heap_node(nullptr));
    EXPECT_EQ(memory().blocks_in_use(), 6u);
    EXPECT_EQ(lc_list_destroy(list, nullptr), LC_LIST_SUCCESS);
    EXPECT_EQ(memory().blocks_in_use(), 0u);
}

TEST(ListLifecycle, destroy_goes_from_head_to_tail_and_frees_the_list_last)
{
    lc_list *list = lc_list_create();
    lc_list_node *first = heap_node(heap_object());
    lc_list_node *second = heap_node(heap_object());
    lc_list_add_at_tail(list, first);
    lc_list_add_at_tail(list, second);
    const std::vector<const void *> order = {first->data, first, second->data, second, list};
    lc_list_destroy(list, nullptr);
    EXPECT_EQ(freed_blocks(), order);
}

TEST(ListLifecycle, destroy_leaves_the_data_to_the_free_function)
{
    char first = 'a';
    char second = 'b';
    lc_list *list = lc_list_create();
    lc_list_add_at_tail(list, heap_node(&first));
    lc_list_add_at_tail(list, heap_node(&second));
    EXPECT_EQ(lc_list_destroy(list, free_object), LC_LIST_SUCCESS);
    EXPECT_EQ(g_given_to_free_function, (std::vector<void *>{&first, &second}));
    EXPECT_EQ(memory().blocks_in_use(), 0u);
}

TEST(ListLifecycle, destroy_does_not_call_the_free_function_for_a_node_without_data)
{
    char object = 'a';
    lc_list *list = lc_list_create();
    lc_list_add_at_tail(list, heap_node(nullptr));
    lc_list_add_at_tail(list, heap_node(&object));
    lc_list_destroy(list, free_object);
    EXPECT_EQ(g_given_to_free_function, std::vector<void *>{&object});
    EXPECT_EQ(memory().blocks_in_use(), 0u);
}

TEST(ListLifecycle, destroy_of_an_empty_list_frees_it)
{
    lc_list *list = lc_list_create();
    EXPECT_EQ(lc_list_destroy(list, free_object), LC_LIST_SUCCESS);
    EXPECT_EQ(memory().blocks_in_use(), 0u);
    EXPECT_TRUE(g_given_to_free_function.empty());
}

TEST(ListLifecycle, destroy_of_a_null_list_returns_1)
{
    EXPECT_EQ(lc_list_destroy(nullptr, nullptr), LC_LIST_ERR_NULL);
    EXPECT_EQ(lc_list_destroy(nullptr, free_object), LC_LIST_ERR_NULL);
    EXPECT_TRUE(freed_blocks().empty());
}

TEST(ListLifecycle, query_num_follows_the_nodes)
{
    NamedList list(0);
    EXPECT_EQ(lc_list_query_num(&list.list), 0u);
    lc_list_node first = named_node("a");
    lc_list_node second = named_node("b");
    lc_list_add_at_tail(&list.list, &first);
    lc_list_add_at_tail(&list.list, &second);
    EXPECT_EQ(lc_list_query_num(&list.list), 2u);
    lc_list_del_node(&list.list, &first);
    EXPECT_EQ(lc_list_query_num(&list.list), 1u);
}

TEST(ListLifecycle, query_num_of_a_null_list_is_all_ones)
{
    EXPECT_EQ(lc_list_query_num(nullptr), 0xFFFFFFFFu);
}

} // namespace lifecycle_test
