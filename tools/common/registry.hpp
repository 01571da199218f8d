// SPDX-License-Identifier: MIT
// Self-registration for the pieces of a program that each live in a file of
// their own: commctl's commands, boardsim's board parts, the preload
// library's close reactions. A file registers its piece with one line,
//   COMM_REGISTER(Type, ident, fields of Type...);
// so adding a piece never touches another file.
//
// The entries form an intrusive list that the registrars link while the
// program loads: nothing is allocated, and the order in which the files'
// statics run does not matter. A listing in name order sorts the pointers
// once.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

namespace comm::registry {

template <typename T>
struct Entry {
    T item;
    const Entry *next = nullptr;
};

// The last entry linked; constant-initialised, so it is null before any
// registrar runs.
template <typename T>
inline const Entry<T> *g_head = nullptr;

template <typename T>
struct Registrar {
    explicit Registrar(Entry<T> &entry) {
        entry.next = g_head<T>;
        g_head<T> = &entry;
    }
};

// Every registered item, in no particular order.
template <typename T, typename Fn>
void for_each(Fn &&fn) {
    for (const Entry<T> *e = g_head<T>; e != nullptr; e = e->next) fn(e->item);
}

// The first item found for which `pred` holds, or null.
template <typename T, typename Pred>
const T *find_if(Pred &&pred) {
    for (const Entry<T> *e = g_head<T>; e != nullptr; e = e->next) {
        if (pred(e->item)) return &e->item;
    }
    return nullptr;
}

// The item whose `name` is `name`, or null.
template <typename T>
const T *find(const char *name) {
    return find_if<T>([name](const T &item) { return strcmp(item.name, name) == 0; });
}

// Every registered item, sorted by `name`.
template <typename T>
std::vector<const T *> by_name() {
    std::vector<const T *> items;
    for_each<T>([&](const T &item) { items.push_back(&item); });
    std::sort(items.begin(), items.end(),
              [](const T *a, const T *b) { return strcmp(a->name, b->name) < 0; });
    return items;
}

}  // namespace comm::registry

#define COMM_REGISTER(Type, ident, ...)                                    \
    static ::comm::registry::Entry<Type> ident##_entry{Type{__VA_ARGS__}}; \
    static const ::comm::registry::Registrar<Type> ident##_registrar { ident##_entry }
