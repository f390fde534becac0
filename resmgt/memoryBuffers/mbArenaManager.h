#pragma once

#include <resmgt/memoryBuffers/mbPoolManager.h>

namespace Qv {

class DaArenaPool;

/// Takes memory from a pool of arenas that was reserved up front.
///
/// Alignment: the alignment mask counts, not the offset; a buffer that asks for one is an
///            assertion.
/// Errors:    MbEx::ExNotEnoughMemory for a buffer that is larger than the whole pool. One that is
///            smaller but larger than each of the pool's pieces waits without end.
class QV_RESMGT_API MbArenaManager : public MbPoolManager {
public:
    MbArenaManager( const std::string& name, OPtr<DaArenaPool> arenaPool,
                    OPtr<MbUnloadStrategy> strategy );
    ~MbArenaManager() override;

private:
    void dumpUnlocked( std::ostream& stream ) const override QV_REQUIRES( _lock );
    bool tryAllocateRegion( MbBufferImp* buffer ) override QV_REQUIRES( _lock );
    void deallocateRegionImp( const MbRegion& region ) override QV_REQUIRES( _lock );
    void deallocateRegionImp( MbBufferImp* buffer ) override QV_REQUIRES( _lock );
    unsigned long long getSizeImp() const override QV_REQUIRES( _lock );
    unsigned long long getFreeSpaceImp() const override QV_REQUIRES( _lock );

    const OPtr<DaArenaPool> _arenaPool QV_PT_GUARDED_BY( _lock );
};

} // namespace Qv
