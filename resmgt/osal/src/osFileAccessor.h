#pragma once

#include <resmgt/osal/src/osFileCalls.h>
#include <resmgt/osal/src/osOpenFile.h>

namespace Qv {

/// Positioned transfers: what the readers and writers that many threads share have in common.
///
/// Threads: any number at once; no position is shared. `reserve` alone.
class OsFileAccessor {
public:
    static OsFileCalls::Opened openRead( const OsFilePath& path, bool unbuffered );
    static OsFileCalls::Opened openReadWrite( const OsFilePath& path,
                                              const OsFileTypes::Permissions& permissions,
                                              bool truncate, bool unbuffered );

    /// `closed` is the location text for a closed file.
    static unsigned long long read( const OsOpenFile& file, void* buffer, long long offset,
                                    unsigned long long toRead, const char* closed );
    static void write( const OsOpenFile& file, const void* buffer, long long offset,
                       unsigned long long toWrite );
    static void reserve( const OsOpenFile& file, unsigned long long size );
};

} // namespace Qv
