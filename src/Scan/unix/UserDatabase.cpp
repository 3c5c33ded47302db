#include "Scan/unix/UserDatabase.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <thread>

#include "Common/unix/pssignal.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/systemCalls.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPauses[] = {milliseconds(250), milliseconds(750)};  // between tries

/// Waits; false as soon as the job is told to stop.
bool wait(milliseconds pause) {
    TraceScope scope("wait");
    constexpr milliseconds step(25);
    for (; pause.count() > 0 && !agentStop; pause -= step)
        std::this_thread::sleep_for(step);
    return !agentStop;
}

struct Free {
    void operator()(char* text) const noexcept { std::free(text); }
};
using OwnText = std::unique_ptr<char, Free>;

/// True for what the library says of a number that does not exist, see getpwnam(3).
bool meansUnknown(int error) {
    return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

/// Finds the number of an entry, the third cell of a line, in the bytes of such a file.
class NumberFinder {
public:
    explicit NumberFinder(std::uint32_t wanted) {
        *std::to_chars(text.begin(), text.end(), wanted).ptr = '\0';
    }

    /// Takes the next byte; true where it ends an entry of the number.
    bool take(char byte) {
        constexpr int numberCell = 2;
        if (byte == ':' || byte == '\n') {
            const bool found = cell == numberCell && matches && text[length] == '\0';
            cell = byte == ':' ? cell + 1 : 0;
            length = 0;
            matches = true;
            return found;
        }
        if (cell == numberCell) {
            matches = matches && text[length] == byte;
            length += matches ? 1 : 0;
        }
        return false;
    }

private:
    std::array<char, 16> text{};
    int cell = 0;
    std::size_t length = 0;  // bytes of the cell that match
    bool matches = true;
};

/// 0 if a file of the host has no such number, or is not there; else why the library's answer
/// that there is none is not to be believed.
int doubtAbout(std::uint32_t number, const char* file) {
    const UniqueFd fd(openFile(file, O_RDONLY | O_CLOEXEC));
    if (!fd)
        return errno == ENOENT ? 0 : errno;
    NumberFinder finder(number);
    std::array<char, 4096> piece;
    for (;;) {
        const ssize_t length = readSome(fd.get(), piece.data(), piece.size());
        if (length <= 0)
            return length < 0 ? errno : 0;
        for (ssize_t i = 0; i < length; ++i) {
            if (finder.take(piece[static_cast<std::size_t>(i)]))
                return EAGAIN;
        }
    }
}

std::string textOf(const OwnText& text) {
    return text ? text.get() : "";
}

}  // namespace

/// One look-up, on whichever thread.
class NameLookup : public GuardedWork {
public:
    NameLookup(const UserDatabase::Calls& systemCalls, std::uint32_t key, bool ofGroup)
        : calls(systemCalls), number(key), isGroup(ofGroup) {}

    // The thread cannot be cancelled in here, where it runs code of the library and of its
    // modules. Nothing in here throws.
    int run(StatContext& /*context*/) override {
        look();
        return error;
    }
    [[nodiscard]] const char* name() const override { return "the user database"; }

    void look() {
        hasBegun = true;
        ask();
        hasEnded = true;
    }

    [[nodiscard]] bool hangs() const { return hasBegun && !hasEnded; }
    [[nodiscard]] bool hasAnswerFor(std::uint32_t key, bool ofGroup) const {
        return hasEnded && number == key && isGroup == ofGroup;
    }

    /// Once it has ended.
    [[nodiscard]] UserDatabase::Answer answer() const {
        return {error, known, textOf(nameText), textOf(description)};
    }

private:
    void ask() {
        // The library answers into memory that the next call uses again.
        static std::mutex oneAtATime;
        const std::lock_guard lock(oneAtATime);
        errno = 0;
        if (isGroup) {
            const struct group* const group = calls.group(number);
            take(group ? group->gr_name : nullptr, nullptr);
        } else {
            const struct passwd* const user = calls.user(number);
            take(user ? user->pw_name : nullptr, user ? user->pw_gecos : nullptr);
        }
    }

    /// Copies the answer, null for none; errno is as the library has left it.
    void take(const char* foundName, const char* foundDescription) {
        known = foundName != nullptr;
        error = known || meansUnknown(errno) ? 0 : errno;
        if (!known) {
            if (error == 0)
                error = doubtAbout(number, isGroup ? calls.groupFile : calls.userFile);
            return;
        }
        nameText.reset(strdup(foundName));
        description.reset(strdup(foundDescription ? foundDescription : ""));
        if (!nameText || !description)
            error = ENOMEM;
    }

    const UserDatabase::Calls calls;
    const std::uint32_t number;
    const bool isGroup;
    std::atomic<bool> hasBegun{false};
    std::atomic<bool> hasEnded{false};  // what follows does not change any more
    int error = 0;
    bool known = false;
    OwnText nameText;
    OwnText description;
};

UserDatabase::UserDatabase(std::int32_t timeout, const Calls& systemCalls)
    : calls(systemCalls), limit(timeout) {}

UserDatabase::~UserDatabase() = default;

UserDatabase::Answer UserDatabase::ask(std::uint32_t number, bool isGroup) {
    TraceScope scope("UserDatabase::ask");
    Answer answer = askOnce(number, isGroup);
    for (const milliseconds pause : kPauses) {
        if (answer.error == 0 || isDown || !wait(pause))
            break;
        answer = askOnce(number, isGroup);
    }
    isDown = answer.error != 0;
    return answer;
}

UserDatabase::Answer UserDatabase::askOnce(std::uint32_t number, bool isGroup) {
    TraceScope scope("UserDatabase::askOnce");
    Answer answer;
    if (limit.count() > 0) {
        answer = askInTime(number, isGroup);
    } else {
        NameLookup lookup(calls, number, isGroup);
        lookup.look();
        answer = lookup.answer();
    }
    if (answer.error != 0)
        trTrace(naMin, "WARNING: %s %u could not be looked up: %s\n",
                isGroup ? "group" : "owner", number, errnoText(answer.error).c_str());
    return answer;
}

UserDatabase::Answer UserDatabase::askInTime(std::uint32_t number, bool isGroup) {
    TraceScope scope("UserDatabase::askInTime");
    Answer failed;
    failed.error = ETIMEDOUT;
    if (hanging && hanging->hangs())
        return failed;
    if (hanging && hanging->hasAnswerFor(number, isGroup))
        return std::exchange(hanging, nullptr)->answer();  // late, but it came

    hanging.reset();
    auto lookup = std::make_shared<NameLookup>(calls, number, isGroup);
    int error = 0;
    if (guardedCall(lookup, limit, error) == 0)
        return lookup->answer();
    hanging = std::move(lookup);
    if (error != ESTALE)
        failed.error = error;
    return failed;
}
