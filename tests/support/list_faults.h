// Interposes the library's list operations to make them fail. For programs that are linked with the
// shared library.
#pragma once

#include "lc_list.h"
#include "support/interpose.h"

#include <atomic>
#include <functional>

namespace testing_support {

// Fails the n-th call from now on, once.
class ListFault {
public:
    void fail_nth(int n) { fail_in_ = n; }
    bool fails() { return fail_in_ > 0 && --fail_in_ == 0; }

private:
    std::atomic<int> fail_in_{0};
};

struct ListFaults {
    ListFault add_at_head;
    ListFault add_at_tail;
    ListFault add_before;
    ListFault del_node;
    ListFault del_from_head;
    // Called with each node before it is added at a tail; set while no other thread adds.
    std::function<void(lc_list_node *)> before_add_at_tail;
};

inline ListFaults &g_list_faults = kept<ListFaults>();

} // namespace testing_support

TAKES_OVER uint32_t lc_list_add_at_head(lc_list *list, lc_list_node *node)
{
    using namespace testing_support;
    if (g_list_faults.add_at_head.fails()) {
        return LC_LIST_ERR_NULL;
    }
    return next_definition<decltype(lc_list_add_at_head)>("lc_list_add_at_head")(list, node);
}

TAKES_OVER uint32_t lc_list_add_at_tail(lc_list *list, lc_list_node *node)
{
    using namespace testing_support;
    if (g_list_faults.add_at_tail.fails()) {
        return LC_LIST_ERR_NULL;
    }
    if (g_list_faults.before_add_at_tail) {
        g_list_faults.before_add_at_tail(node);
    }
    return next_definition<decltype(lc_list_add_at_tail)>("lc_list_add_at_tail")(list, node);
}

TAKES_OVER uint32_t lc_list_add_before(lc_list *list, lc_list_node *ref, lc_list_node *node)
{
    using namespace testing_support;
    if (g_list_faults.add_before.fails()) {
        return LC_LIST_ERR_NULL;
    }
    return next_definition<decltype(lc_list_add_before)>("lc_list_add_before")(list, ref, node);
}

TAKES_OVER uint32_t lc_list_del_node(lc_list *list, lc_list_node *node)
{
    using namespace testing_support;
    if (g_list_faults.del_node.fails()) {
        return LC_LIST_ERR_EMPTY;
    }
    return next_definition<decltype(lc_list_del_node)>("lc_list_del_node")(list, node);
}

TAKES_OVER lc_list_node *lc_list_del_from_head(lc_list *list, uint32_t *error)
{
    using namespace testing_support;
    if (g_list_faults.del_from_head.fails()) {
        *error = LC_LIST_ERR_EMPTY;
        return nullptr;
    }
    return next_definition<decltype(lc_list_del_from_head)>("lc_list_del_from_head")(list, error);
}
