// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_LIB_APPEND_H
#define DIAGS_COMMON_SRC_LIB_APPEND_H

namespace diag {

// Puts an element at the end of a list that is linked through `next`. For short lists: it walks.
template <typename Element>
void append(Element *&head, Element *element) {
    Element **end = &head;
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    *end = element;
}

}  // namespace diag

#endif
