#include "common/nls/MessageCache.h"

#include <cstdio>
#include <cstdlib>

#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"

namespace {

/// An assertion that stays in every build: a broken list would hand out freed messages.
void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "MessageCache: %s\n", what);
    std::abort();
}

}  // namespace

MessageCache::MessageCache() {
    head.next = head.prev = &head;
}

MessageCache::~MessageCache() {
    flush();
}

const NLSMsg* MessageCache::find(int number) {
    FoundationScope scope("MessageCache::find");
    for (NLSMsg* message = head.next; message != &head; message = message->next) {
        if (message->number != number)
            continue;
        trTrace(trNls, "Found message: %d in cache.\n", number);
        takeOut(message);
        putFirst(message);
        return message;
    }
    return nullptr;
}

const NLSMsg* MessageCache::add(std::unique_ptr<NLSMsg> message, std::size_t capacity) {
    FoundationScope scope("MessageCache::add");
    if (count >= capacity && count > 0) {
        const std::unique_ptr<NLSMsg> oldest(head.prev);
        takeOut(oldest.get());
        --count;
        trTrace(trNls, "Deleting message: %d from the cache.\n", oldest->number);
    }
    trTrace(trNls, "Adding message: %d to the cache.\n", message->number);
    putFirst(message.get());
    ++count;
    return message.release();
}

void MessageCache::flush() {
    FoundationScope scope("MessageCache::flush");
    const NLSMsg* message = head.next;
    while (message != &head) {
        trTrace(trNls, "Flushing cache entry for message: %d\n", message->number);
        const std::unique_ptr<const NLSMsg> gone(message);
        message = gone->next;
    }
    head.next = head.prev = &head;
    count = 0;
}

void MessageCache::putFirst(NLSMsg* message) {
    require(!message->next, "a message is added twice");
    message->next = head.next;
    message->prev = &head;
    head.next->prev = message;
    head.next = message;
}

void MessageCache::takeOut(NLSMsg* message) {
    require(message->next && message->prev, "a message is removed that is in no list");
    message->prev->next = message->next;
    message->next->prev = message->prev;
    message->next = message->prev = nullptr;
}
