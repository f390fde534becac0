#pragma once

#include <resmgt/memoryBuffers/mbBuffer.h>

namespace Qv {

/// Makes buffers. A new one has no memory: nothing is allocated until its first lock or prefetch.
class QV_RESMGT_API MbBufferFactory {
public:
    MbBufferFactory() = default;
    MbBufferFactory( const MbBufferFactory& ) = delete;
    MbBufferFactory& operator=( const MbBufferFactory& ) = delete;
    virtual ~MbBufferFactory();

    /// `size` is in bytes and not negative, or MbEx::ExInvalidArgument is raised. A buffer without
    /// a protocol has a plain one, and without an alignment one that the factory chooses.
    virtual MbBuffer create( const LiString& name, OPtr<MbProtocol> protocol, int size,
                             const MbAlignment& alignment ) = 0;
    virtual MbBuffer create( const LiString& name, int size, const MbAlignment& alignment ) = 0;
    virtual MbBuffer create( const LiString& name, int size ) = 0;
    /// Of the memory that the buffers share, in bytes.
    virtual unsigned long long getSize() const = 0;
    virtual unsigned long long getFreeSpace() const = 0;
};

} // namespace Qv
