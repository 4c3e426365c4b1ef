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

// A record, zeroed but for what its members set, and a node for it; both or none are listed. The record
// is freed first.
template <typename T, uint32_t Owner> struct OwnedEntry {
    mem::Ptr<lc_list_node, Owner> node;
    mem::Ptr<T, Owner> record;

    // Without memory for the record there is no node either.
    static OwnedEntry with_record_first(uint32_t line = __builtin_LINE())
    {
        OwnedEntry entry;
        entry.record = mem::make<T, Owner>(line);
        if (entry.record != nullptr) {
            entry.node =
                mem::make_copy<Owner>(lc_list_node{0, entry.record.get(), nullptr, nullptr}, line);
        }
        return entry;
    }

    static OwnedEntry with_node_first(uint32_t line = __builtin_LINE())
    {
        OwnedEntry entry;
        entry.node = mem::make<lc_list_node, Owner>(line);
        entry.record = mem::make<T, Owner>(line);
        if (entry.is_complete()) {
            entry.node->data = entry.record.get();
        }
        return entry;
    }

    bool is_complete() const { return node != nullptr && record != nullptr; }

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
