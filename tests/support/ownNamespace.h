#pragma once

#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <thread>

#include <gtest/gtest.h>

#include "support/TempTree.h"

/// Gives the calling thread mounts, a host name and a network (without interfaces) of its
/// own, and shows it `directory` in place of `place`. Needs root.
inline bool coverInOwnNamespace(const std::string& directory, const char* place) {
    return unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(directory.c_str(), place, nullptr, MS_BIND, nullptr) == 0;
}

/// Runs `body` on a thread that sees `directory` in place of `place`.
template <class Body>
void whileCovered(const std::string& directory, const char* place, const Body& body) {
    std::thread([&] {
        ASSERT_TRUE(coverInOwnNamespace(directory, place));
        body();
    }).join();
}

/// Makes an "/etc" of `directory` in which the resolver knows these lines and asks nobody.
inline void writeResolver(const TempTree& tree, const std::string& directory,
                          const std::string& hosts) {
    tree.mkdirp(directory);
    tree.write(directory + "/nsswitch.conf", "hosts: files\n");
    tree.write(directory + "/hosts", hosts);
}
