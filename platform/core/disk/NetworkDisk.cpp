#include "platform/core/disk/NetworkDisk.h"

#include <sys/vfs.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace tavik {
namespace {

// The numbers under which Linux names file systems that several machines can mount, from statfs(2)
// and linux/magic.h. What runs over FUSE may be one.
constexpr std::uint32_t kShared[] = {
    0x00006969,  // NFS
    0x0000517B,  // SMB
    0xFE534D42,  // SMB 2
    0xFF534D42,  // CIFS
    0x00C36400,  // Ceph
    0x5346414F,  // AFS
    0x6B414653,  // AFS of the kernel
    0x73757245,  // Coda
    0x0000564C,  // NCP
    0x01021997,  // 9P
    0x0BD00BD0,  // Lustre
    0x47504653,  // GPFS
    0x19830326,  // BeeGFS
    0x01161970,  // GFS2
    0x7461636F,  // OCFS2
    0x65735546,  // FUSE
};

}  // namespace

bool isOnNetwork(const std::string& folder) noexcept {
    struct statfs info {};
    return ::statfs(folder.c_str(), &info) != 0 ||
           std::find(std::begin(kShared), std::end(kShared),
                     static_cast<std::uint32_t>(info.f_type)) != std::end(kShared);
}

}  // namespace tavik
