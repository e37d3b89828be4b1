#pragma once

#include "StorageDescriptor.h"

namespace framework_detail {

/// Open what is at `path`, a relative one, strictly beneath the folder `root`, with the flags of
/// `open` (O_CLOEXEC is added). A symbolic link at any level, an absolute path and a ".." component
/// are refused. An empty descriptor comes back with the reason in `errno`.
///
/// Threads: any.

/// With what the kernel has.
StorageDescriptor openBeneath(int root, const char* path, int flags);
/// By the kernel in one call, `openat2`. ENOSYS on kernels before 5.6, EPERM in containers whose
/// filter doesn't know the call.
StorageDescriptor openBeneathByKernel(int root, const char* path, int flags);
/// By hand, one component after the other.
StorageDescriptor openBeneathByHand(int root, const char* path, int flags);

}  // namespace framework_detail
