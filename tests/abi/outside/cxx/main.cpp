// A project that knows nothing of this one but its installed copy.
#include <lc_list.h>
#include <lc_mem.h>
#include <lte_sdk.h>

#include <cstdio>
#include <memory>

namespace {

struct DestroyList {
    void operator()(lc_list *list) const { lc_list_destroy(list, nullptr); }
};

} // namespace

int main()
{
    const std::unique_ptr<lc_list, DestroyList> list(lc_list_create());
    auto *node =
        static_cast<lc_list_node *>(mem_malloc_ex(0, __LINE__, MEM_OWNER_LIST, sizeof(lc_list_node)));
    if (!list || !node)
        return 1;
    *node = lc_list_node();
    if (lc_list_add_at_head(list.get(), node) != LC_LIST_SUCCESS)
        return 1;
    std::printf("a list of %u in an outside project\n",
                static_cast<unsigned>(lc_list_query_num(list.get())));
    return 0;
}
