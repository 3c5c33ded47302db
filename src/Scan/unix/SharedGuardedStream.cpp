#include "Scan/unix/SharedGuardedStream.h"

#include <cerrno>
#include <utility>

#include "Common/unix/pssignal.h"
#include "Scan/unix/GuardedAttributes.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"

SharedGuardedStream::SharedGuardedStream(std::shared_ptr<GuardedNames> opened,
                                         std::chrono::nanoseconds timeout)
    : fd(opened->descriptor()),
      self(opened->ownAttributes()),
      tells(opened->deviceTells()),
      limit(timeout),
      names(std::move(opened)) {}

int SharedGuardedStream::openRoot(const std::string& path, std::chrono::nanoseconds limit,
                                  std::unique_ptr<DirectoryStream>& root) {
    TraceScope scope("SharedGuardedStream::openRoot");
    return openGuarded(std::make_shared<GuardedNames>(nullptr, path), limit, root);
}

int SharedGuardedStream::open(const char* name, const WalkPlace& place,
                              std::unique_ptr<DirectoryStream>& child) {
    TraceScope scope("SharedGuardedStream::open");
    return openGuarded(std::make_shared<GuardedNames>(fd, name, place), limit, child);
}

int SharedGuardedStream::openGuarded(std::shared_ptr<GuardedNames> names,
                                     std::chrono::nanoseconds limit,
                                     std::unique_ptr<DirectoryStream>& stream) {
    TraceScope scope("SharedGuardedStream::openGuarded");
    const int rc = openInTime(names, limit);
    if (rc == 0)
        stream.reset(new SharedGuardedStream(std::move(names), limit));
    return rc;
}

int SharedGuardedStream::next(const char*& name) {
    TraceScope scope("SharedGuardedStream::next");
    name = nullptr;
    while (names && !(name = names->take())) {
        if (names->nothingLeft() && isShortage(names->namesFailure())) {
            const int shortage = names->namesFailure();
            names->askAgain();
            return shortage;
        }
        if (names->nothingLeft()) {
            // A directory can stay open for long after that, and names take much memory.
            namesError = names->namesFailure();
            names.reset();
        } else {
            names->startBatch();
            static_cast<void>(advance(names, limit));  // a failure is in what is left
        }
    }
    return name ? 0 : namesError;
}

int SharedGuardedStream::attributes(const char* name, EntryStat& result) {
    TraceScope scope("SharedGuardedStream::attributes");
    int rc = 0;
    const EntryQuery query{name, &result, &rc};
    if (*name == '\0')
        result = self;
    else
        attributesOf({&query, 1});
    return rc;
}

void SharedGuardedStream::attributesOf(std::span<const EntryQuery> queries) {
    TraceScope scope("SharedGuardedStream::attributesOf");
    while (!queries.empty()) {
        int error = EINTR;  // each entry may hang, and a job that is stopped does not want them
        std::size_t answered = 0;
        if (!agentStop) {
            const auto work = std::make_shared<GuardedAttributes>(fd, queries);
            static_cast<void>(guardedCall(work, limit, error));
            answered = work->answer(queries);
        }
        if (error != 0 && answered < queries.size())
            *queries[answered++].rc = error;
        queries = queries.subspan(answered);
    }
}
