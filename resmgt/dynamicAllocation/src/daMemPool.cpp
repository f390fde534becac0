#include <resmgt/dynamicAllocation/daMemPool.h>

#include <resmgt/dynamicAllocation/src/daMemPool.imp>
#include <resmgt/dynamicAllocation/src/daMemPoolTraits.h>

namespace Qv {

template class QV_INSTANCE_API DaMemPool<DaMemPoolTraits>;
template class QV_INSTANCE_API DaMemPool<DaMemPoolTaggedTraits>;
template class QV_INSTANCE_API DaMemPool<DaMemPoolCachedTraits>;
template class QV_INSTANCE_API DaMemPool<DaMemPoolSThreadTraits>;

} // namespace Qv
