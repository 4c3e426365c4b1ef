#include "lc_list.h"

#include "lc_mem/alloc.h"
#include "support/layout.h"

#include <cstddef>

namespace lterouter {
namespace {

static_assert(sizeof(lc_list_node) == 4 * sizeof(void *));
static_assert(on_32_bits(offsetof(lc_list_node, reserved) == 0 && offsetof(lc_list_node, data) == 4));
static_assert(on_32_bits(offsetof(lc_list_node, next) == 8 && offsetof(lc_list_node, prev) == 12));
static_assert(sizeof(lc_list) == 3 * sizeof(void *) && offsetof(lc_list, count) == 0);
static_assert(on_32_bits(offsetof(lc_list, head) == 4 && offsetof(lc_list, tail) == 8));

// All insertions: links node between prev and the node after it. prev is null in an empty list.
void link_after(lc_list *list, lc_list_node *prev, lc_list_node *node)
{
    if (prev == nullptr) {
        node->next = node;
        node->prev = node;
        list->head = node;
        list->tail = node;
    } else {
        node->prev = prev;
        node->next = prev->next;
        prev->next->prev = node;
        prev->next = node;
    }
    ++list->count;
}

// All removals.
lc_list_node *unlink_node(lc_list *list, lc_list_node *node)
{
    if (node->next == node) {
        list->head = nullptr;
        list->tail = nullptr;
    } else {
        node->prev->next = node->next;
        node->next->prev = node->prev;
        if (list->head == node) {
            list->head = node->next;
        }
        if (list->tail == node) {
            list->tail = node->prev;
        }
    }
    --list->count;
    return node;
}

uint32_t check_not_empty(const lc_list *list)
{
    if (list == nullptr) {
        return LC_LIST_ERR_NULL;
    }
    return list->head == nullptr ? LC_LIST_ERR_EMPTY : LC_LIST_SUCCESS;
}

uint32_t check_insert_beside(const lc_list *list, const lc_list_node *ref, const lc_list_node *node)
{
    if (ref == nullptr || node == nullptr) {
        return LC_LIST_ERR_NULL;
    }
    return check_not_empty(list);
}

uint32_t check_delete_beside(const lc_list *list, const lc_list_node *ref)
{
    const uint32_t result = ref == nullptr ? LC_LIST_ERR_NULL : check_not_empty(list);
    if (result == LC_LIST_SUCCESS && list->count == 1) {
        return LC_LIST_ERR_SINGLE;
    }
    return result;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

lc_list *lc_list_create() { return mem::make<lc_list, MEM_OWNER_LIST>().release(); }

uint32_t lc_list_destroy(lc_list *list, lc_list_free_fn free_data)
{
    if (list == nullptr) {
        return LC_LIST_ERR_NULL;
    }
    for (lc_list_node *node = list->head; list->count > 0; --list->count) {
        lc_list_node *next = node->next;
        if (node->data != nullptr) {
            if (free_data != nullptr) {
                free_data(node->data);
            } else {
                mem::release(MEM_OWNER_LIST, node->data);
            }
        }
        mem::release(MEM_OWNER_LIST, node);
        node = next;
    }
    mem::release(MEM_OWNER_LIST, list);
    return LC_LIST_SUCCESS;
}

uint32_t lc_list_query_num(const lc_list *list) { return list == nullptr ? UINT32_MAX : list->count; }

uint32_t lc_list_add_at_head(lc_list *list, lc_list_node *node)
{
    if (list == nullptr || node == nullptr) {
        return LC_LIST_ERR_NULL;
    }
    link_after(list, list->tail, node);
    list->head = node;
    return LC_LIST_SUCCESS;
}

uint32_t lc_list_add_at_tail(lc_list *list, lc_list_node *node)
{
    if (list == nullptr || node == nullptr) {
        return LC_LIST_ERR_NULL;
    }
    link_after(list, list->tail, node);
    list->tail = node;
    return LC_LIST_SUCCESS;
}

uint32_t lc_list_add_before(lc_list *list, lc_list_node *ref, lc_list_node *node)
{
    const uint32_t result = check_insert_beside(list, ref, node);
    if (result == LC_LIST_SUCCESS) {
        link_after(list, ref->prev, node);
        if (list->head == ref) {
            list->head = node;
        }
    }
    return result;
}

uint32_t lc_list_add_next(lc_list *list, lc_list_node *ref, lc_list_node *node)
{
    const uint32_t result = check_insert_beside(list, ref, node);
    if (result == LC_LIST_SUCCESS) {
        link_after(list, ref, node);
        if (list->tail == ref) {
            list->tail = node;
        }
    }
    return result;
}

lc_list_node *lc_list_del_from_head(lc_list *list, uint32_t *err)
{
    *err = check_not_empty(list);
    return *err == LC_LIST_SUCCESS ? unlink_node(list, list->head) : nullptr;
}

lc_list_node *lc_list_del_from_tail(lc_list *list, uint32_t *err)
{
    *err = check_not_empty(list);
    return *err == LC_LIST_SUCCESS ? unlink_node(list, list->tail) : nullptr;
}

lc_list_node *lc_list_del_prev(lc_list *list, lc_list_node *ref, uint32_t *err)
{
    *err = check_delete_beside(list, ref);
    return *err == LC_LIST_SUCCESS ? unlink_node(list, ref->prev) : nullptr;
}

lc_list_node *lc_list_del_next(lc_list *list, lc_list_node *ref, uint32_t *err)
{
    *err = check_delete_beside(list, ref);
    return *err == LC_LIST_SUCCESS ? unlink_node(list, ref->next) : nullptr;
}

uint32_t lc_list_del_node(lc_list *list, lc_list_node *node)
{
    const uint32_t result = node == nullptr ? LC_LIST_ERR_NULL : check_not_empty(list);
    if (result == LC_LIST_SUCCESS) {
        unlink_node(list, node);
    }
    return result;
}

lc_list_node *lc_list_find(lc_list *list, lc_list_match_fn match, const void *key)
{
    if (check_not_empty(list) != LC_LIST_SUCCESS || match == nullptr || key == nullptr) {
        return nullptr;
    }
    for (lc_list_node *node = list->head;; node = node->next) {
        if (node->data != nullptr && match(node->data, key) == 0) {
            return node;
        }
        if (node == list->tail) {
            return nullptr;
        }
    }
}

uint32_t lc_list_tarverse(lc_list *list, lc_list_visit_fn visit, void *argument)
{
    const uint32_t result = check_not_empty(list);
    if (result != LC_LIST_SUCCESS || visit == nullptr) {
        return result == LC_LIST_ERR_EMPTY ? LC_LIST_SUCCESS : result;
    }
    lc_list_node *node = list->head;
    for (bool last = false; !last;) {
        // Read before the visit, which may unlink and free the node.
        lc_list_node *next = node->next;
        last = node == list->tail;
        if (visit(node, argument) != 0) {
            return LC_LIST_ERR_STOPPED;
        }
        node = next;
    }
    return LC_LIST_SUCCESS;
}

lc_list_node *lc_list_get_node(lc_list *list, int32_t index, uint32_t *err)
{
    *err = check_not_empty(list);
    if (*err != LC_LIST_SUCCESS) {
        return nullptr;
    }
    if (index < 0 || static_cast<uint32_t>(index) >= list->count) {
        *err = LC_LIST_ERR_INDEX;
        return nullptr;
    }
    lc_list_node *node = list->head;
    for (; index > 0; --index) {
        node = node->next;
    }
    return node;
}
