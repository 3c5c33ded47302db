#include "Scan/unix/systemEntry.h"

#include <sys/sysmacros.h>

// No scope object: this runs on the cancellable thread of guarded calls too.
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
