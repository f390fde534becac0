#include <resmgt/logger/lgSimpleRegistry.h>

namespace Qv {

void LgSimpleRegistry::registerQueue( LgQueue* queue ) {
    _queues.push_back( queue );
    noteChange();
}

void LgSimpleRegistry::deregisterQueue( LgQueue* queue ) {
    _queues.remove( queue );
    noteChange();
}

List<LgQueue*> LgSimpleRegistry::getQueueList() const {
    return _queues;
}

} // namespace Qv
