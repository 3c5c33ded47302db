#include "Scan/unix/systemEntry.h"

#include <sys/sysmacros.h>

// No scope objects: these run on the cancellable thread of guarded calls too.
EntryStat entryStatOf(const struct statx& status) {
    EntryStat result;
    result.identity.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    result.identity.inode = status.stx_ino;
    result.identity.mountId = (status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0;
    result.mode = status.stx_mode;
    result.linkCount = status.stx_nlink;
    result.userId = status.stx_uid;
    result.groupId = status.stx_gid;
    result.size = static_cast<std::int64_t>(status.stx_size);
    result.blocks = static_cast<std::int64_t>(status.stx_blocks);
    result.accessed = status.stx_atime.tv_sec;
    result.modified = status.stx_mtime.tv_sec;
    return result;
}

EntryStat entryStatOf(const struct stat& status) {
    EntryStat result;
    result.identity = {status.st_dev, status.st_ino, 0};
    result.mode = status.st_mode;
    result.linkCount = static_cast<std::uint32_t>(status.st_nlink);
    result.userId = status.st_uid;
    result.groupId = status.st_gid;
    result.size = status.st_size;
    result.blocks = status.st_blocks;
    result.accessed = status.st_atime;
    result.modified = status.st_mtime;
    return result;
}
