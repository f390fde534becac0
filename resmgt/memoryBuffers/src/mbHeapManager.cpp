#include <resmgt/memoryBuffers/mbHeapManager.h>

#include <base/failure/qvHere.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/src/mbBlocks.h>

#include <limits>
#include <ostream>
#include <string>

namespace Qv {

MbHeapManager::MbHeapManager( const std::string& name, unsigned long long maxAllocatedBytes,
                              OPtr<MbUnloadStrategy> strategy )
    : MbPoolManager( name, strategy )
    , _maxAllocatedBytes( maxAllocatedBytes )
    , _blocks( std::make_unique<MbBlocks>() ) {}

MbHeapManager::~MbHeapManager() = default;

namespace {

/// Saturates: masks may cover the whole address space.
std::uint64_t neededBytes( const MbBufferImp& buffer ) {
    const auto size = static_cast<std::uint64_t>( buffer.getSize() );
    const std::uint64_t needed = size + buffer.getAlignment().getRoundUpMax( 1 );
    return needed < size ? std::numeric_limits<std::uint64_t>::max() : needed;
}

} // namespace

bool MbHeapManager::tryAllocateRegion( MbBufferImp* buffer ) {
    const std::uint64_t needed = neededBytes( *buffer );
    if( needed > _maxAllocatedBytes ) {
        throw MbEx::ExNotEnoughMemory(
            QV_HERE, ( "Buffer size larger then maximum allocated bytes: " +
                       std::to_string( needed ) + " > " + std::to_string( _maxAllocatedBytes ) )
                         .c_str() );
    }
    if( needed > _maxAllocatedBytes - _allocatedBytes ) {
        return false;
    }
    auto* const block = static_cast<char*>(
        _blocks->take( static_cast<std::size_t>( needed ), _maxAllocatedBytes - _allocatedBytes ) );
    if( block == nullptr ) {
        throw MbEx::ExNotEnoughMemory( QV_HERE, "Unable to allocate memory." );
    }
    const auto address = reinterpret_cast<std::uintptr_t>( block );
    const std::uint64_t padding = buffer->getAlignment().roundUpToAlignment( address ) - address;
    char* const memory = block + padding;
    buffer->setRegion( MbRegion( block, memory, memory + buffer->getSize(), block + needed ) );
    _allocatedBytes += needed;
    return true;
}

void MbHeapManager::deallocateRegionImp( const MbRegion& region ) {
    const std::uint64_t size = region.getAllocationSize();
    _blocks->giveBack( region._header, static_cast<std::size_t>( size ) );
    _allocatedBytes -= size;
    if( _allocatedBytes == 0 ) {
        _blocks->keepAtMost( 0 );
    }
}

void MbHeapManager::deallocateRegionImp( MbBufferImp* buffer ) {
    deallocateRegionImp( buffer->getRegion() );
    buffer->setRegion( MbRegion() );
}

unsigned long long MbHeapManager::getSizeImp() const {
    return _maxAllocatedBytes;
}

unsigned long long MbHeapManager::getFreeSpaceImp() const {
    return _maxAllocatedBytes - _allocatedBytes;
}

void MbHeapManager::dumpUnlocked( std::ostream& stream ) const {
    MbPoolManager::dumpUnlocked( stream );
    stream << "Max allocated bytes = " << _maxAllocatedBytes
           << "\nAllocated bytes     = " << _allocatedBytes << '\n';
}

} // namespace Qv
