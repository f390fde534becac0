#pragma once

#include <resmgt/logger/lgRegistry.h>

namespace Qv {

/// A registry for one thread: the one in force while there is no reader thread. It doesn't look for
/// duplicates; `deregisterQueue` removes all.
class QV_RESMGT_API LgSimpleRegistry : public LgRegistry {
public:
    void registerQueue( LgQueue* queue ) override;
    void deregisterQueue( LgQueue* queue ) override;
    List<LgQueue*> getQueueList() const override;

private:
    List<LgQueue*> _queues;
};

} // namespace Qv
