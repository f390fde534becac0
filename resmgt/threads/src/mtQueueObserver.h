#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/locks/lkUnnamedSema.h>
#include <resmgt/logger/lgQueue.h>

#include <atomic>
#include <memory>

namespace Qv {

/// Lets a queue's owner wait for room.
///
/// The owner stores what it needs, and only then looks for room a last time; the reader makes room,
/// and only then looks for what is needed. Both exchange `_needed`: whoever comes second sees what
/// the first did before.
///
/// Locks: the list of those who wait, then "Queue_Observer_Lock".
class MtQueueObserver final : public LgQueue::Observer {
public:
    void entryAdded( LgQueue& queue, unsigned int index ) override;
    void entryRemoved( LgQueue& queue ) noexcept override;
    void waitForSpace( LgQueue& queue, int nbCharacters ) override;

    /// Whether waits may begin. If not, those that wait go on.
    static void allowWaits( bool isAllowed ) noexcept;
    /// Those that wait go on.
    static void wakeAll() noexcept;

private:
    struct Waiting;

    LkUnnamedSema* prepareWait( const LgQueue& queue, unsigned int nbCharacters );
    void callOff() noexcept;

    static bool hasSpace( const LgQueue& queue, unsigned int nbCharacters ) noexcept;

    const LkLock _lock{ "Queue_Observer_Lock" };
    // 0 while nobody waits. Written under the lock.
    std::atomic<unsigned int> _needed{ 0 };
    // Made by the first wait, and kept.
    std::unique_ptr<LkUnnamedSema> _sema QV_GUARDED_BY( _lock );
    bool _isCalledOff QV_GUARDED_BY( _lock ) = false;
};

} // namespace Qv
