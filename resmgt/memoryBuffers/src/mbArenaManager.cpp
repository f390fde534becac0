#include <resmgt/memoryBuffers/mbArenaManager.h>

#include <base/failure/assertions.h>
#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/memoryBuffers/mbEx.h>

#include <ostream>
#include <string>

namespace Qv {

MbArenaManager::MbArenaManager( const std::string& name, OPtr<DaArenaPool> arenaPool,
                                OPtr<MbUnloadStrategy> strategy )
    : MbPoolManager( name, strategy )
    , _arenaPool( arenaPool ) {}

MbArenaManager::~MbArenaManager() = default;

bool MbArenaManager::tryAllocateRegion( MbBufferImp* buffer ) {
    const auto size = static_cast<std::size_t>( buffer->getSize() );
    if( size > _arenaPool->getSize() ) {
        throw MbEx::ExNotEnoughMemory(
            QV_HERE, ( "Buffer size larger than total arena pool size: " + std::to_string( size ) +
                       " > " + std::to_string( _arenaPool->getSize() ) )
                         .c_str() );
    }
    const MbAlignment& alignment = buffer->getAlignment();
    auto* const memory = static_cast<char*>( _arenaPool->allocate(
        size, static_cast<std::size_t>( alignment.getAlignmentMask() + 1 ) ) );
    if( memory == nullptr ) {
        return false;
    }
    const auto address = reinterpret_cast<std::uintptr_t>( memory );
    if( !alignment.isAligned( address ) ) {
        _arenaPool->free( memory );
        Assertions::throwAssertionFailed(
            QV_HERE, "memory == imp->getAlignment().roundUpToAlignment( memory )" );
    }
    buffer->setRegion( MbRegion( memory, memory, memory + size, memory + size ) );
    return true;
}

void MbArenaManager::deallocateRegionImp( const MbRegion& region ) {
    _arenaPool->free( region._header );
}

void MbArenaManager::deallocateRegionImp( MbBufferImp* buffer ) {
    deallocateRegionImp( buffer->getRegion() );
    buffer->setRegion( MbRegion() );
}

unsigned long long MbArenaManager::getSizeImp() const {
    return _arenaPool->getSize();
}

unsigned long long MbArenaManager::getFreeSpaceImp() const {
    return _arenaPool->getFreeBytes();
}

void MbArenaManager::dumpUnlocked( std::ostream& stream ) const {
    MbPoolManager::dumpUnlocked( stream );
    _arenaPool->dump( stream );
}

} // namespace Qv
