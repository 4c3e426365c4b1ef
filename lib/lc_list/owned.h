// Owners of a list, and of a record with its node, which are freed together until a list owns them.
#pragma once

#include "lc_list.h"
#include "lc_mem/alloc.h"
#include "support/ignore.h"

#include <memory>

namespace lterouter {

// Destroys the list and its nodes, and frees what they carry.
struct DestroyList {
    void operator()(lc_list *list) const { lc_list_destroy(list, nullptr); }
};
using OwnedList = std::unique_ptr<lc_list, DestroyList>;

// A record, zeroed but for what its members set, and a node for it. After a failed allocation the
// pointer concerned is empty.
template <typename T, uint32_t Owner> struct OwnedEntry {
    mem::Ptr<T, Owner> record = mem::make<T, Owner>();
    mem::Ptr<lc_list_node, Owner> node =
        record == nullptr ? nullptr
                          : mem::make_copy<Owner>(lc_list_node{0, record.get(), nullptr, nullptr});

    // Ownership of both moves to the caller.
    lc_list_node *release()
    {
        ignore(record.release(), "the node carries it");
        return node.release();
    }

    // On success ownership of both moves to the list; add is the list operation for the end.
    uint32_t give(uint32_t (*add)(lc_list *, lc_list_node *), lc_list *list)
    {
        const uint32_t result = add(list, node.get());
        if (result == LC_LIST_SUCCESS) {
            ignore(release(), "the list has it");
        }
        return result;
    }
};

} // namespace lterouter
