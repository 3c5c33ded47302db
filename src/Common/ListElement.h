#pragma once

#include "Common/Object.h"

/// An object that can stand in one singly linked list.
class ListElement : public Object {
public:
    using Object::Object;

    ListElement* nextElement = nullptr;  // owned by the holder of the list; null at its end
};

/// Deletes all members of a list, from its head.
inline void deleteList(ListElement* head) noexcept {
    while (head) {
        ListElement* const next = head->nextElement;
        delete head;
        head = next;
    }
}
