// SPDX-License-Identifier: MIT
// Links of a list that grows while others, signal handlers among them, walk it.
#ifndef DIAGS_COMMON_SRC_LIB_ATOMIC_LINK_H
#define DIAGS_COMMON_SRC_LIB_ATOMIC_LINK_H

namespace diag {

template <typename Element>
Element *load_link(Element *const &link) {
    return __atomic_load_n(&link, __ATOMIC_ACQUIRE);
}

// The element is whole before anybody can find it.
template <typename Element>
void publish_link(Element *&link, Element *element) {
    __atomic_store_n(&link, element, __ATOMIC_RELEASE);
}

}  // namespace diag

#endif
