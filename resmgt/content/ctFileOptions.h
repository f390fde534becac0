#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv {

/// How a CtFileServer keeps its blocks. What is below 0 is as the volume advises.
struct QV_RESMGT_API CtFileOptions {
    /// Whether transfers bypass the system's file cache.
    int unbufferedIO = -1;
    /// In bytes, as the next.
    int blockSize = -1;
    /// Where blocks begin in their files.
    int alignment = -1;
    /// Levels of folders below the directory; 0 is the only one that servers take.
    int nbLevels = 0;
    /// Bits of a block's number that each level takes.
    int nbBits = 8;
    /// The bytes that the process's servers together may reserve; the first of them decides.
    std::uint64_t mostBytes = UINT64_MAX;
    /// Whether what is read is compared with sums of what was written.
    bool isVerifying = false;

    /// The values of QV_UNBUFFERED_IO, QV_IO_BLOCKSIZE, QV_IO_ALIGNMENT, QV_IO_LEVELS, QV_IO_BITS,
    /// QV_IO_MAX_BYTES and QV_IO_VERIFY, as they are just now.
    static CtFileOptions getConfigured();
};

} // namespace Qv
