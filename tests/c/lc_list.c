/* Lists of letters, which read as a text from head to tail. */
#include "lc_list.h"

#include "check.h"
#include "lc_mem.h"

static uint32_t freed;

static uint32_t free_letter(void *data)
{
    ++freed;
    return mem_free_ex(0, __LINE__, MEM_OWNER_LIST, data);
}

static lc_list_node *new_node(char letter)
{
    lc_list_node *node = mem_malloc_ex(0, __LINE__, MEM_OWNER_LIST, sizeof(*node));
    char *data = mem_malloc_ex(0, __LINE__, MEM_OWNER_LIST, 1);
    REQUIRE(node != NULL && data != NULL);
    memset(node, 0, sizeof(*node));
    *data = letter;
    node->data = data;
    return node;
}

static char letter_of(const lc_list_node *node) { return *(const char *)node->data; }

static void free_node(lc_list_node *node)
{
    mem_free_ex(0, __LINE__, MEM_OWNER_LIST, node->data);
    mem_free_ex(0, __LINE__, MEM_OWNER_LIST, node);
}

static lc_list *new_list(const char *letters)
{
    lc_list *list = lc_list_create();
    REQUIRE(list != NULL);
    for (; *letters != '\0'; ++letters) {
        CHECK_INT(lc_list_add_at_tail(list, new_node(*letters)), LC_LIST_SUCCESS);
    }
    return list;
}

static const char *forwards(const lc_list *list)
{
    static char text[16];
    uint32_t i;
    const lc_list_node *node = list->head;
    for (i = 0; i < list->count && i < sizeof(text) - 1; ++i, node = node->next) {
        text[i] = letter_of(node);
    }
    text[i] = '\0';
    return text;
}

/* The ring holds both ways. */
static int is_ring(const lc_list *list)
{
    uint32_t left = list->count;
    const lc_list_node *node = list->head;
    if (left == 0) {
        return list->head == NULL && list->tail == NULL;
    }
    for (; left > 0 && node->next->prev == node; --left) {
        node = node->next;
    }
    return left == 0 && node == list->head && list->head->prev == list->tail;
}

#define CHECK_LETTERS(list, letters)                         \
    do {                                                     \
        CHECK_TEXT(forwards(list), letters);                 \
        CHECK_INT(lc_list_query_num(list), strlen(letters)); \
        CHECK(is_ring(list));                                \
    } while (0)

/* What a call gives that tells the error in err. */
#define CHECK_NODE(call, node, code) \
    do {                             \
        CHECK((call) == (node));     \
        CHECK_INT(err, code);        \
    } while (0)

/* Takes over and frees a node that a removal gave. */
static void check_removed(lc_list_node *node, uint32_t err, char letter)
{
    CHECK_INT(err, LC_LIST_SUCCESS);
    REQUIRE(node != NULL);
    CHECK_INT(letter_of(node), letter);
    free_node(node);
}

static void new_list_is_empty(void)
{
    lc_list *list = lc_list_create();
    REQUIRE(list != NULL);
    CHECK_LETTERS(list, "");
    CHECK_INT(lc_list_query_num(NULL), UINT32_MAX);
    CHECK_INT(lc_list_destroy(list, NULL), LC_LIST_SUCCESS);
}

static void destroying_frees_what_each_node_carries(void)
{
    freed = 0;
    CHECK_INT(lc_list_destroy(new_list("abc"), free_letter), LC_LIST_SUCCESS);
    CHECK_INT(freed, 3);
    CHECK_INT(lc_list_destroy(NULL, free_letter), LC_LIST_ERR_NULL);
    CHECK_INT(freed, 3);
}

static void nodes_are_added_at_both_ends_and_beside_others(void)
{
    lc_list *list = new_list("m");
    CHECK_INT(lc_list_add_at_head(list, new_node('b')), LC_LIST_SUCCESS);
    CHECK_INT(lc_list_add_at_tail(list, new_node('y')), LC_LIST_SUCCESS);
    CHECK_LETTERS(list, "bmy");
    CHECK_INT(lc_list_add_before(list, list->head, new_node('a')), LC_LIST_SUCCESS);
    CHECK_INT(lc_list_add_next(list, list->tail, new_node('z')), LC_LIST_SUCCESS);
    CHECK_INT(lc_list_add_next(list, list->head->next, new_node('c')), LC_LIST_SUCCESS);
    CHECK_LETTERS(list, "abcmyz");
    lc_list_destroy(list, NULL);
}

static void what_cannot_be_added_is_refused(void)
{
    lc_list *empty = new_list("");
    lc_list *list = new_list("a");
    lc_list_node *node = new_node('b');
    CHECK_INT(lc_list_add_at_head(NULL, node), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_add_at_head(list, NULL), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_add_at_tail(NULL, node), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_add_at_tail(list, NULL), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_add_before(list, NULL, node), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_add_before(empty, list->head, node), LC_LIST_ERR_EMPTY);
    CHECK_INT(lc_list_add_next(list, list->head, NULL), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_add_next(empty, list->head, node), LC_LIST_ERR_EMPTY);
    CHECK_LETTERS(list, "a");
    CHECK_LETTERS(empty, "");
    free_node(node);
    lc_list_destroy(list, NULL);
    lc_list_destroy(empty, NULL);
}

static void removal_gives_the_node_to_the_caller(void)
{
    lc_list *list = new_list("abcdef");
    lc_list_node *node = list->head->next;
    uint32_t err = UINT32_MAX;
    CHECK_INT(lc_list_del_node(list, node), LC_LIST_SUCCESS);
    check_removed(node, LC_LIST_SUCCESS, 'b');
    node = lc_list_del_from_head(list, &err);
    check_removed(node, err, 'a');
    node = lc_list_del_from_tail(list, &err);
    check_removed(node, err, 'f');
    CHECK_LETTERS(list, "cde");
    node = lc_list_del_next(list, list->head, &err);
    check_removed(node, err, 'd');
    node = lc_list_del_prev(list, list->head, &err); /* before the head comes the tail */
    check_removed(node, err, 'e');
    CHECK_LETTERS(list, "c");
    lc_list_destroy(list, NULL);
}

static void what_cannot_be_removed_is_refused(void)
{
    lc_list *empty = new_list("");
    lc_list *list = new_list("a");
    uint32_t err = UINT32_MAX;
    CHECK_NODE(lc_list_del_from_head(empty, &err), NULL, LC_LIST_ERR_EMPTY);
    CHECK_NODE(lc_list_del_from_head(NULL, &err), NULL, LC_LIST_ERR_NULL);
    CHECK_NODE(lc_list_del_from_tail(empty, &err), NULL, LC_LIST_ERR_EMPTY);
    CHECK_NODE(lc_list_del_prev(list, list->head, &err), NULL, LC_LIST_ERR_SINGLE);
    CHECK_NODE(lc_list_del_prev(list, NULL, &err), NULL, LC_LIST_ERR_NULL);
    CHECK_NODE(lc_list_del_next(list, list->head, &err), NULL, LC_LIST_ERR_SINGLE);
    CHECK_NODE(lc_list_del_next(empty, list->head, &err), NULL, LC_LIST_ERR_EMPTY);
    CHECK_INT(lc_list_del_node(list, NULL), LC_LIST_ERR_NULL);
    CHECK_INT(lc_list_del_node(empty, list->head), LC_LIST_ERR_EMPTY);
    CHECK_LETTERS(list, "a");
    lc_list_destroy(list, NULL);
    lc_list_destroy(empty, NULL);
}

static uint32_t is_other_letter(const void *data, const void *key)
{
    return *(const char *)data == *(const char *)key ? 0 : 1;
}

static void node_is_found_by_its_data(void)
{
    lc_list *list = new_list("abcb");
    CHECK(lc_list_find(list, is_other_letter, "b") == list->head->next);
    CHECK(lc_list_find(list, is_other_letter, "z") == NULL);
    CHECK(lc_list_find(NULL, is_other_letter, "b") == NULL);
    CHECK(lc_list_find(list, NULL, "b") == NULL);
    lc_list_destroy(list, NULL);
}

static void node_is_got_by_its_index(void)
{
    lc_list *list = new_list("abc");
    lc_list *empty = new_list("");
    uint32_t err = UINT32_MAX;
    CHECK_NODE(lc_list_get_node(list, 0, &err), list->head, LC_LIST_SUCCESS);
    CHECK(lc_list_get_node(list, 2, &err) == list->tail);
    CHECK_NODE(lc_list_get_node(list, 3, &err), NULL, LC_LIST_ERR_INDEX);
    CHECK_NODE(lc_list_get_node(list, -1, &err), NULL, LC_LIST_ERR_INDEX);
    CHECK_NODE(lc_list_get_node(empty, 0, &err), NULL, LC_LIST_ERR_EMPTY);
    CHECK_NODE(lc_list_get_node(NULL, 0, &err), NULL, LC_LIST_ERR_NULL);
    lc_list_destroy(list, NULL);
    lc_list_destroy(empty, NULL);
}

/* Writes the letters one after the other, and stops behind the letter "c". */
static uint32_t copy_letter(lc_list_node *node, void *argument)
{
    char **next = argument;
    *(*next)++ = letter_of(node);
    return letter_of(node) == 'c';
}

static void traversal_goes_from_head_to_tail_until_it_is_stopped(void)
{
    char seen[8] = "";
    char *next = seen;
    lc_list *list = new_list("abcd");
    CHECK_INT(lc_list_tarverse(list, copy_letter, &next), LC_LIST_ERR_STOPPED);
    CHECK_TEXT(seen, "abc");
    lc_list_destroy(list, NULL);

    list = new_list("xyz");
    next = seen;
    CHECK_INT(lc_list_tarverse(list, copy_letter, &next), LC_LIST_SUCCESS);
    CHECK_TEXT(seen, "xyz");
    CHECK_INT(lc_list_tarverse(list, NULL, &next), LC_LIST_SUCCESS);
    CHECK_INT(lc_list_tarverse(NULL, copy_letter, &next), LC_LIST_ERR_NULL);
    CHECK_TEXT(seen, "xyz");
    lc_list_destroy(list, NULL);
}

int main(void)
{
    new_list_is_empty();
    destroying_frees_what_each_node_carries();
    nodes_are_added_at_both_ends_and_beside_others();
    what_cannot_be_added_is_refused();
    removal_gives_the_node_to_the_caller();
    what_cannot_be_removed_is_refused();
    node_is_found_by_its_data();
    node_is_got_by_its_index();
    traversal_goes_from_head_to_tail_until_it_is_stopped();
    return check_end();
}
