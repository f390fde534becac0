#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbUnloadStrategy.h>

namespace Qv {

/// A bounded pool of memory: the eviction loop and the bookkeeping. Derived classes say where the
/// bytes come from.
///
/// Eviction: a request that finds no room sends `unload` to the strategy's victims, one by one, on
///           the calling thread, until there is room. Several threads may evict at once. When no
///           buffer can be evicted the caller waits, without a limit, until some lock ends or some
///           memory is given back. The victim is pinned meanwhile; one whose last handle went is
///           deleted by the evicting thread. What its protocol raises goes to the caller, who gets
///           no memory then.
/// Lock:     none is held while a victim is unloaded or deleted, apart from that of the buffer
///           that asks.
/// Errors:   MbEx::ExNotEnoughMemory where no eviction could help.
/// Lifetime: the buffers keep their manager. The destructor asserts that no region is handed out
///           and no buffer is listed; a failure is reported through Trace::printException.
class QV_RESMGT_API MbPoolManager : public MbManager {
public:
    class NoLockTracer;

    MbPoolManager( const std::string& name, OPtr<MbUnloadStrategy> strategy );
    ~MbPoolManager() override;

    const std::string& getName() const override;
    void allocateRegion( MbBufferImp* buffer ) override;
    void deallocateRegion( const MbRegion& region ) override;
    void deallocateRegion( MbBufferImp* buffer ) override;
    void bufferNotUnloadable( MbBufferImp* buffer ) override;
    void bufferUnloadable( MbBufferImp* buffer ) override;
    unsigned long long getSize() const override;
    unsigned long long getFreeSpace() const override;
    void dump( std::ostream& stream ) const override;

private:
    const std::string _managerName;

protected:
    const LkLock _lock;

    // All of these run with the lock held.

    virtual void dumpUnlocked( std::ostream& stream ) const QV_REQUIRES( _lock );
    /// Gives the buffer a region, or answers false where there is no room now.
    virtual bool tryAllocateRegion( MbBufferImp* buffer ) QV_REQUIRES( _lock ) = 0;
    virtual void deallocateRegionImp( const MbRegion& region ) QV_REQUIRES( _lock ) = 0;
    /// The same with the buffer's region, which is empty afterwards.
    virtual void deallocateRegionImp( MbBufferImp* buffer ) QV_REQUIRES( _lock ) = 0;
    virtual unsigned long long getSizeImp() const QV_REQUIRES( _lock ) = 0;
    virtual unsigned long long getFreeSpaceImp() const QV_REQUIRES( _lock ) = 0;

private:
    MbBufferImp* allocateOrPinVictim( MbBufferImp* buffer );

    const LkCondVar _regionFreed;
    const OPtr<MbUnloadStrategy> _strategy QV_PT_GUARDED_BY( _lock );
    std::uint32_t _nbAllocatedRegion QV_GUARDED_BY( _lock ) = 0;
    std::uint32_t _nbUnloadableBuffer QV_GUARDED_BY( _lock ) = 0;
};

/// Prints a manager without taking its lock, for a debugger or a handler that may hold it. What it
/// prints may be torn.
class QV_RESMGT_API MbPoolManager::NoLockTracer {
public:
    explicit NoLockTracer( const MbPoolManager* manager ) noexcept
        : _manager( manager ) {}

    void dump( std::ostream& stream ) const;

private:
    const MbPoolManager* const _manager;
};

/// Calls `dump`.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream,
                                        const MbPoolManager::NoLockTracer& tracer );

} // namespace Qv
