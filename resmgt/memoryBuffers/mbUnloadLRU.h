#pragma once

#include <resmgt/memoryBuffers/mbUnloadIndex.h>
#include <resmgt/memoryBuffers/mbUnloadStrategy.h>

#include <list>

namespace Qv {

/// Picks the member that has been evictable longest: the one whose last lock ended, or that was
/// prefetched, earliest. Reading under a held lock makes no difference.
///
/// Memory: list nodes are kept for later members, so that inserting allocates only where there were
///         never as many before.
class QV_RESMGT_API MbUnloadLRU : public MbUnloadStrategy {
public:
    MbUnloadLRU();
    ~MbUnloadLRU() override;

    /// "MbUnloadLRU"
    const char* getName() const override;
    void insertBuffer( MbBufferImp* buffer ) override;
    void removeBuffer( MbBufferImp* buffer ) override;
    MbBufferImp* selectVictim() const override;
    bool isEmpty() const override;

private:
    using List = std::list<MbBufferImp*>;

    /// Oldest first.
    List _buffers;
    MbUnloadIndex<List::iterator> _nodes;
    List _spareNodes;
};

} // namespace Qv
