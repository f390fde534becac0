#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbUnloadStrategy.h>

#include <chrono>
#include <memory>
#include <vector>

namespace Qv {

class MbAskers;
class MbResidents;

/// A bounded pool of memory: the eviction loop and the bookkeeping. Derived classes say where the
/// bytes come from.
///
/// Eviction: a request that finds no room sends `unload` to victims, one by one, on the calling
///           thread, until there is room. Several threads may evict at once. The victim is pinned
///           meanwhile; if its last handle goes, the evicting thread deletes it. An exception of
///           its protocol goes to the caller, who gets no memory then.
/// Order:    with an MbUnloadLRU itself, not one derived from it, the manager keeps the order by
///           itself, at next to no cost for locking and unlocking: the buffer that has been
///           evictable longest goes first, except that one in use by another thread is passed over.
///           Any other strategy is asked, under the manager's lock.
/// Waiting:  when no buffer can be evicted, and when each refuses, the caller waits without a limit
///           until some lock ends or some memory is given back. Each of these wakes one waiting
///           thread, in the order of their arrival. Smaller requests overtake a larger one 16 times
///           at most, except those of threads that have locks; if it still waits a second after the
///           last return, they overtake it 32 times, and so on. Buffers that refuse are asked again
///           ten times a second.
/// Lock:     none is held while a victim is unloaded or deleted, and while memory is waited for.
/// Errors:   MbEx::ExNotEnoughMemory where no eviction could help: where there isn't room even with
///           no memory in use, and where all memory in use is locked by threads that wait here
///           themselves; then it is raised in one of them, within about a tenth of a second, if
///           each lock is given back by the thread that took it.
/// Stalls:   a wait that lasts for 10 s, or the setting "ombra::memoryBuffers::stallReport", is
///           reported once on the trace, with what is waited for and who holds the most.
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
    /// The manager's lock.
    const LkLock _lock;

    // All of these run with the lock held.

    /// Writes the state, under the lock that the caller holds.
    virtual void dumpUnlocked( std::ostream& stream ) const QV_REQUIRES( _lock );
    /// Gives the buffer a region, or answers false where there is no room now.
    virtual bool tryAllocateRegion( MbBufferImp* buffer ) QV_REQUIRES( _lock ) = 0;
    virtual void deallocateRegionImp( const MbRegion& region ) QV_REQUIRES( _lock ) = 0;
    /// The same with the buffer's region, which is empty afterwards.
    virtual void deallocateRegionImp( MbBufferImp* buffer ) QV_REQUIRES( _lock ) = 0;
    virtual unsigned long long getSizeImp() const QV_REQUIRES( _lock ) = 0;
    virtual unsigned long long getFreeSpaceImp() const QV_REQUIRES( _lock ) = 0;

private:
    friend class MbBufferImp;
    class Search;

    void addResident( MbBufferImp& buffer ) noexcept QV_REQUIRES( _lock );
    void removeResident( MbBufferImp& buffer ) noexcept QV_REQUIRES( _lock );
    void forget( MbBufferImp& buffer ) noexcept;
    void reportEvictable( MbBufferImp& buffer ) QV_REQUIRES( _lock );
    std::size_t countUnloadable() const QV_REQUIRES( _lock );
    static unsigned long getHolder( const MbBufferImp& buffer );
    std::string describeStall( const MbBufferImp& asking ) const QV_REQUIRES( _lock );
    void assumeLocked() const noexcept QV_THREAD_ATTRIBUTE( assert_capability( _lock ) ) {}

    /// The threads that wait for a region to be freed.
    const std::unique_ptr<MbAskers> _regionFreed;
    const OPtr<MbUnloadStrategy> _strategy QV_PT_GUARDED_BY( _lock );
    std::uint32_t _nbAllocatedRegion QV_GUARDED_BY( _lock ) = 0;
    /// How many the strategy has, where it is asked.
    std::uint32_t _nbUnloadableBuffer QV_GUARDED_BY( _lock ) = 0;
    /// The searches that evict, or have not yet looked at what that has given them.
    std::vector<const Search*> _evicting QV_GUARDED_BY( _lock );
    /// The buffers that have a region.
    const std::unique_ptr<MbResidents> _residents;
    /// The strategy isn't asked.
    const bool _isOrderKeptHere;
    std::chrono::steady_clock::time_point _nextLookAtHolders QV_GUARDED_BY( _lock );
};

/// Prints a manager without taking its lock, for a debugger or a handler that may hold it. What it
/// prints may be torn.
class QV_RESMGT_API MbPoolManager::NoLockTracer {
public:
    explicit NoLockTracer( const MbPoolManager* manager ) noexcept
        : _manager( manager ) {}

    /// Writes the manager's state.
    void dump( std::ostream& stream ) const;

private:
    const MbPoolManager* const _manager;
};

/// Calls `dump`.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream,
                                        const MbPoolManager::NoLockTracer& tracer );

} // namespace Qv
