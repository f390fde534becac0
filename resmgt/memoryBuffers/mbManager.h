#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>
#include <string>

namespace Qv {

class MbBufferImp;
class MbRegion;

/// Gives buffers their memory, within bounds. It owns no buffers; a buffer shares its manager.
///
/// Threads: any. Lock order: a buffer's lock, then the manager's; a manager takes no buffer's lock
///          while it holds its own.
class QV_RESMGT_API MbManager : public RCBase<LkCounter<int>> {
public:
    ~MbManager() override;

    virtual const std::string& getName() const = 0;

    /// Gives `buffer` a region of its size and alignment. Blocks until there is one, and evicts
    /// other buffers meanwhile, on the calling thread. If the buffer `isAskingByTheWay`, raises
    /// MbEx::ExNotEnoughMemory instead.
    /// REQUIRES: the calling thread has the buffer in transition, which keeps others from it, and
    ///           doesn't hold its lock, which others may need to give memory back.
    virtual void allocateRegion( MbBufferImp* buffer ) = 0;
    /// Takes back a region that no buffer holds.
    virtual void deallocateRegion( const MbRegion& region ) = 0;
    /// Takes back the region of `buffer`, which has none afterwards.
    /// REQUIRES: the caller holds the buffer's lock.
    virtual void deallocateRegion( MbBufferImp* buffer ) = 0;
    /// The buffer can't be evicted any more.
    virtual void bufferNotUnloadable( MbBufferImp* buffer ) = 0;
    /// The buffer can be evicted from now on.
    virtual void bufferUnloadable( MbBufferImp* buffer ) = 0;

    /// In bytes.
    virtual unsigned long long getSize() const = 0;
    virtual unsigned long long getFreeSpace() const = 0;
    /// Writes the state, for people.
    virtual void dump( std::ostream& stream ) const = 0;
};

/// Calls `dump`.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const MbManager& manager );

} // namespace Qv
