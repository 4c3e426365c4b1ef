// The list beside GLib's GQueue and std::list. An element is added with its node made for it, as all
// three are used, and removed with its node given back.
#include "lc_list.h"
#include "lc_mem.h"
#include "support/measure.h"

#include <cstring>
#include <glib.h>
#include <list>

namespace {

constexpr unsigned kPlacesAtOnce = 100;

int g_element;

// ---- The three ----

class OurList {
public:
    using Place = lc_list_node *;

    void add_at_head() { errors_ |= lc_list_add_at_head(list_, make_node()); }
    void add_at_tail() { errors_ |= lc_list_add_at_tail(list_, make_node()); }
    void remove_from_head()
    {
        uint32_t error;
        give_back(lc_list_del_from_head(list_, &error));
    }
    void remove_from_tail()
    {
        uint32_t error;
        give_back(lc_list_del_from_tail(list_, &error));
    }
    Place place(unsigned index)
    {
        uint32_t error;
        return lc_list_get_node(list_, static_cast<int32_t>(index), &error);
    }
    Place add_before(Place place)
    {
        const Place node = make_node();
        errors_ |= lc_list_add_before(list_, place, node);
        return node;
    }
    void remove(Place place)
    {
        errors_ |= lc_list_del_node(list_, place);
        give_back(place);
    }
    size_t size() { return lc_list_query_num(list_); }

private:
    static Place make_node()
    {
        void *const room = mem_malloc_ex(0, __LINE__, MEM_OWNER_LIST, sizeof(lc_list_node));
        memset(room, 0, sizeof(lc_list_node));
        const auto node = static_cast<Place>(room);
        node->data = &g_element;
        return node;
    }
    // Once for each element, as with the others.
    void give_back(Place node)
    {
        bench::require(errors_ == 0 && node != nullptr && node->data == &g_element,
                       "lc_list's removal");
        mem_free_ex(0, __LINE__, MEM_OWNER_LIST, node);
    }

    lc_list *const list_ = lc_list_create();
    uint32_t errors_ = 0;
};

class GlibList {
public:
    using Place = GList *;

    void add_at_head() { g_queue_push_head(list_, &g_element); }
    void add_at_tail() { g_queue_push_tail(list_, &g_element); }
    void remove_from_head() { require(g_queue_pop_head(list_)); }
    void remove_from_tail() { require(g_queue_pop_tail(list_)); }
    Place place(unsigned index) { return g_queue_peek_nth_link(list_, index); }
    Place add_before(Place place)
    {
        g_queue_insert_before(list_, place, &g_element);
        return place->prev;
    }
    void remove(Place place)
    {
        require(place->data);
        g_queue_delete_link(list_, place);
    }
    size_t size() { return g_queue_get_length(list_); }

private:
    static void require(const void *element)
    {
        bench::require(element == &g_element, "GQueue's removal");
    }

    GQueue *const list_ = g_queue_new();
};

class StandardList {
public:
    using Place = std::list<int *>::iterator;

    void add_at_head() { list_.push_front(&g_element); }
    void add_at_tail() { list_.push_back(&g_element); }
    void remove_from_head()
    {
        require(list_.front());
        list_.pop_front();
    }
    void remove_from_tail()
    {
        require(list_.back());
        list_.pop_back();
    }
    Place place(unsigned index) { return std::next(list_.begin(), index); }
    Place add_before(Place place) { return list_.insert(place, &g_element); }
    void remove(Place place)
    {
        require(*place);
        list_.erase(place);
    }
    size_t size() { return list_.size(); }

private:
    static void require(const int *element)
    {
        bench::require(element == &g_element, "std::list's removal");
    }

    std::list<int *> list_;
};

// ---- What they do ----

template <typename List> class Bench {
public:
    void set_size(unsigned size)
    {
        size_ = size;
        while (list_.size() < size) {
            list_.add_at_tail();
        }
        while (list_.size() > size) {
            list_.remove_from_head();
        }
    }

    // As many again, and away with them: through the list in either direction.
    bench::Contender forward(const char *name)
    {
        return {name,
                [this] {
                    repeat([this] { list_.add_at_tail(); });
                    repeat([this] { list_.remove_from_head(); });
                },
                1};
    }
    bench::Contender backward(const char *name)
    {
        return {name,
                [this] {
                    repeat([this] { list_.add_at_head(); });
                    repeat([this] { list_.remove_from_tail(); });
                },
                1};
    }
    bench::Contender at_a_place(const char *name)
    {
        return {name,
                [this] {
                    const auto place = list_.place(size_ / 2);
                    repeat([&] { list_.remove(list_.add_before(place)); });
                },
                1};
    }
    bench::Contender at_an_index(const char *name)
    {
        return {name,
                [this] {
                    for (unsigned i = 0; i < kPlacesAtOnce; ++i) {
                        list_.remove(list_.add_before(list_.place(size_ / 2)));
                    }
                },
                1};
    }

private:
    template <typename Action> void repeat(const Action &action)
    {
        for (unsigned i = 0; i < size_; ++i) {
            action();
        }
    }

    List list_;
    unsigned size_ = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    Bench<OurList> ours;
    Bench<GlibList> glib;
    Bench<StandardList> standard;
    const auto set_sizes = [&](unsigned size) {
        ours.set_size(size);
        glib.set_size(size);
        standard.set_size(size);
    };
    const auto race = [&](const char *name, const std::function<unsigned(unsigned)> &batch,
                          auto contend) {
        report.race(
            {name,
             {10, 100, 1000},
             batch,
             set_sizes,
             {contend(ours, "lterouter"), contend(glib, "GQueue"), contend(standard, "std::list")}});
    };
    const auto all = [](unsigned size) { return size; };
    race("list: add at the tail, remove from the head", all,
         [](auto &bench, const char *name) { return bench.forward(name); });
    race("list: add at the head, remove from the tail", all,
         [](auto &bench, const char *name) { return bench.backward(name); });
    race("list: add and remove in the middle", all,
         [](auto &bench, const char *name) { return bench.at_a_place(name); });
    race(
        "list: find the middle by its index, add and remove there",
        [](unsigned) { return kPlacesAtOnce; },
        [](auto &bench, const char *name) { return bench.at_an_index(name); });
    return 0;
}
