#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/threads/mtLogger.h>

namespace Qv {

/// The queues of all threads. A queue that is registered already isn't listed twice.
class MtLogger::Registry final : public LgRegistry {
public:
    void registerQueue( LgQueue* queue ) override;
    void deregisterQueue( LgQueue* queue ) override;
    List<LgQueue*> getQueueList() const override;

private:
    const LkLock _lock{ "LogRegistry_Lock" };
    List<LgQueue*> _queues QV_GUARDED_BY( _lock );
};

} // namespace Qv
