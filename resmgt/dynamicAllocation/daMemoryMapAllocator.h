#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/dynamicAllocation/daArenaAllocator.h>

namespace Qv {

class OsFilePath;

/// Takes memory from the system's page allocator, all in one piece, zeroed and not touched yet.
///
/// Errors: without memory, and for a size of 0, the answer is empty. A failure to give the piece
///         back raises ExSysErrorWindows.
class QV_RESMGT_API DaMemoryMapAllocator : public DaArenaAllocator {
public:
    /// Makes the platform's allocator. `path` is for platforms that need a file behind the memory;
    /// this one doesn't use it.
    static OPtrRet<DaMemoryMapAllocator> create( const OsFilePath& path );
};

} // namespace Qv
