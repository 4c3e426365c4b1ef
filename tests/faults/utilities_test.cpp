// Effects of failing calls in the lowest families: memory, lists, hash tables, strings.
#include "harness.h"

#include "lc_hashtab.h"
#include "lc_list.h"
#include "lc_mem.h"
#include "lc_string.h"
#include "support/interpose.h"

namespace utilities_test {

using namespace faults;
using testing_support::next_definition;

namespace {

// ---- Memory ----

void *g_block = nullptr;

void release_block()
{
    mem_free_ex(0, 0, 0, g_block);
    g_block = nullptr;
}

// ---- Lists ----

// A list of three nodes, none of its own.
struct ThreeNodes {
    lc_list list = {};
    lc_list_node nodes[3] = {};
    uint32_t err = 0;

    ThreeNodes()
    {
        for (lc_list_node &node : nodes) {
            lc_list_add_at_tail(&list, &node);
        }
    }
};

template <typename Use> Scenario of_list(const char *function, Use use)
{
    return calls_nothing(function, [use] {
        ThreeNodes three;
        return shown(use(three));
    });
}

lc_list *g_list = nullptr;

// ---- Hash tables ----

lc_hashtab *g_table = nullptr;

uint32_t hash_of(lc_hashtab *, const void *key)
{
    return static_cast<uint32_t>(*static_cast<const char *>(key));
}
int compare(lc_hashtab *, const void *key, const void *other)
{
    return *static_cast<const char *>(key) - *static_cast<const char *>(other);
}
void keep(void *) {}

char g_key[] = "k";
char g_value[] = "v";

void make_table() { g_table = lc_hashtab_create(hash_of, compare, 4); }
void destroy_table()
{
    lc_hashtab_destroy(g_table, keep, keep);
    g_table = nullptr;
}

template <typename Use> Scenario of_table(const char *function, Use use)
{
    Scenario scenario = calls_nothing(function, [use] { return shown(use()); });
    scenario.setup = [] {
        make_table();
        lc_hashtab_insert(g_table, g_key, g_value);
    };
    scenario.undo = destroy_table;
    return scenario;
}

// ---- Text ----

template <typename Use> Scenario of_text(const char *function, Use use)
{
    return calls_nothing(function, [use] {
        char text[32] = "some Text";
        return shown(use(text));
    });
}

const bool g_memory = enlist({
    {.function = "mem_malloc_ex",
     .act =
         [] {
             static const auto allocate = next_definition<decltype(mem_malloc_ex)>("mem_malloc_ex");
             g_block = allocate(0, 0, 0, 16);
             return shown(g_block);
         },
     .rules = {{.call = "malloc", .result = "null"}},
     .undo = release_block,
     .once = true,
     .heap_counts = true},
    {.function = "mem_free_ex",
     .act = [] { return shown(mem_free_ex(0, 0, 0, std::exchange(g_block, nullptr))); },
     .setup = [] { g_block = mem_malloc_ex(0, 0, 0, 16); },
     .calls_nothing = true},
    calls_nothing("mem_init",
                  [] {
                      mem_init();
                      return std::string();
                  }),
    calls_nothing("mem_fin",
                  [] {
                      mem_fin();
                      return std::string();
                  }),
    calls_nothing("mem_dump_trace_info",
                  [] {
                      mem_dump_trace_info();
                      return std::string();
                  }),
    calls_nothing("mem_get_big_block_size", [] { return shown(mem_get_big_block_size()); }),
    calls_nothing("mem_get_pool_size", [] { return shown(mem_get_pool_size()); }),
    calls_nothing("mem_is_valid", [] { return shown(mem_is_valid(nullptr)); }),
    calls_nothing("mem_get_tr_head", [] { return shown(mem_get_tr_head(nullptr)); }),
});

const bool g_lists = enlist({
    {.function = "lc_list_create",
     .act =
         [] {
             g_list = lc_list_create();
             return shown(g_list);
         },
     .rules = {{.call = "mem_malloc_ex", .result = "null"}},
     .undo = [] { lc_list_destroy(std::exchange(g_list, nullptr), nullptr); },
     .once = true},
    {.function = "lc_list_destroy",
     .act = [] { return shown(lc_list_destroy(g_list, nullptr)); },
     .setup = [] { g_list = lc_list_create(); },
     .once = true,
     .calls_nothing = true},
    of_list("lc_list_query_num", [](ThreeNodes &it) { return lc_list_query_num(&it.list); }),
    of_list("lc_list_add_at_head",
            [](ThreeNodes &it) {
                lc_list_node node = {};
                return lc_list_add_at_head(&it.list, &node);
            }),
    of_list("lc_list_add_at_tail",
            [](ThreeNodes &) {
                lc_list list = {};
                lc_list_node node = {};
                return lc_list_add_at_tail(&list, &node);
            }),
    of_list("lc_list_add_before",
            [](ThreeNodes &it) {
                lc_list_node node = {};
                return lc_list_add_before(&it.list, it.nodes, &node);
            }),
    of_list("lc_list_add_next",
            [](ThreeNodes &it) {
                lc_list_node node = {};
                return lc_list_add_next(&it.list, it.nodes, &node);
            }),
    of_list("lc_list_del_from_head",
            [](ThreeNodes &it) { return lc_list_del_from_head(&it.list, &it.err); }),
    of_list("lc_list_del_from_tail",
            [](ThreeNodes &it) { return lc_list_del_from_tail(&it.list, &it.err); }),
    of_list("lc_list_del_prev",
            [](ThreeNodes &it) { return lc_list_del_prev(&it.list, it.nodes, &it.err); }),
    of_list("lc_list_del_next",
            [](ThreeNodes &it) { return lc_list_del_next(&it.list, it.nodes, &it.err); }),
    of_list("lc_list_del_node", [](ThreeNodes &it) { return lc_list_del_node(&it.list, it.nodes); }),
    of_list("lc_list_find",
            [](ThreeNodes &it) {
                return lc_list_find(
                    &it.list, [](const void *, const void *) { return 0U; }, &it);
            }),
    of_list("lc_list_tarverse",
            [](ThreeNodes &it) {
                return lc_list_tarverse(
                    &it.list, [](lc_list_node *, void *) { return 0U; }, nullptr);
            }),
    of_list("lc_list_get_node", [](ThreeNodes &it) { return lc_list_get_node(&it.list, 2, &it.err); }),
});

const bool g_hash_tables = enlist({
    {.function = "lc_hashtab_create",
     .act =
         [] {
             make_table();
             return shown(g_table);
         },
     .rules = {{.call = "mem_malloc_ex", .result = "null"}},
     .undo = destroy_table,
     .once = true},
    {.function = "lc_hashtab_insert",
     .act =
         [] {
             const int32_t result = lc_hashtab_insert(g_table, g_key, g_value);
             return shown(result) + " " + shown(g_table->count);
         },
     .rules = {{.call = "mem_malloc_ex", .result = "-1 0"}},
     .setup = make_table,
     .undo = destroy_table},
    of_table("lc_hashtab_search", [] { return lc_hashtab_search(g_table, g_key); }),
    of_table("lc_hashtab_map",
             [] {
                 return lc_hashtab_map(
                     g_table, [](void *, void *, void *) { return 7; }, nullptr);
             }),
    of_table("lc_hashtab_stat",
             [] {
                 uint32_t out[2];
                 return lc_hashtab_stat(g_table, out);
             }),
    of_table("lc_hashtab_destroy",
             [] {
                 destroy_table();
                 return 0;
             }),
});

const bool g_texts = enlist({
    of_text("lc_strcat", [](char *text) { return lc_strcat(text, "!"); }),
    of_text("lc_strchr", [](char *text) { return lc_strchr(text, 'T'); }),
    of_text("lc_strcmp", [](char *text) { return lc_strcmp(text, text); }),
    of_text("lc_strcpy", [](char *text) { return lc_strcpy(text, "other"); }),
    of_text("lc_strcspn", [](char *text) { return lc_strcspn(text, " "); }),
    of_text("lc_strerror", [](char *) { return lc_strerror(ENOENT); }),
    of_text("lc_strlen", [](char *text) { return lc_strlen(text); }),
    of_text("lc_strncat", [](char *text) { return lc_strncat(text, "!!", 1); }),
    of_text("lc_strncmp", [](char *text) { return lc_strncmp(text, "some", 4); }),
    of_text("lc_strncpy", [](char *text) { return lc_strncpy(text, "other", 3); }),
    of_text("lc_strstr", [](char *text) { return lc_strstr(text, "Text"); }),
    of_text("lc_strtok", [](char *text) { return lc_strtok(text, " "); }),
    of_text("lc_str_tolower",
            [](char *text) {
                lc_str_tolower(text);
                return static_cast<int>(text[5]);
            }),
    of_text("lc_str_toupper",
            [](char *text) {
                lc_str_toupper(text);
                return static_cast<int>(text[0]);
            }),
    of_text("lc_strcasecmp", [](char *text) { return lc_strcasecmp(text, "SOME TEXT"); }),
    of_text("lc_strncasecmp", [](char *text) { return lc_strncasecmp(text, "SOME", 4); }),
    of_text("lc_strwicmp", [](char *text) { return lc_strwicmp(text, "sometext"); }),
    calls_nothing("lc_get_int_arg",
                  [] {
                      char text[] = "10,20";
                      int count;
                      int values[2];
                      return shown(lc_get_int_arg(text, ',', &count, values));
                  }),
});

} // namespace

} // namespace utilities_test
