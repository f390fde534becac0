#pragma once

#include <base/containers/list.h>
#include <resmgt/resmgtApi.h>

#include <atomic>

namespace Qv {

class LgQueue;

/// The queues that are read, which it doesn't own.
class QV_RESMGT_API LgRegistry {
public:
    LgRegistry( const LgRegistry& ) = delete;
    LgRegistry& operator=( const LgRegistry& ) = delete;
    virtual ~LgRegistry();

    /// The reader knows the queue from now on.
    virtual void registerQueue( LgQueue* queue ) = 0;
    /// No effect for one that isn't registered.
    virtual void deregisterQueue( LgQueue* queue ) = 0;
    /// In the order of registration.
    virtual List<LgQueue*> getQueueList() const = 0;

    /// Another number after each change of the list, so that a reader copies the list only then.
    /// Numbers differ between registries too.
    unsigned long long getVersion() const noexcept {
        return _version.load( std::memory_order_acquire );
    }

protected:
    LgRegistry();

    /// After each change of the list.
    void noteChange() noexcept;

private:
    // Stored by whoever changes the list, one at a time. A release: who sees the number and copies
    // the list has at least that change.
    std::atomic<unsigned long long> _version;
};

} // namespace Qv
