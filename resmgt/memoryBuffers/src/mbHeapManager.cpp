#include <resmgt/memoryBuffers/mbHeapManager.h>

#include <base/failure/qvHere.h>
#include <base/ownership/aPtr.h>
#include <resmgt/memoryBuffers/mbEx.h>

#include <limits>
#include <new>
#include <ostream>
#include <string>

namespace Qv {

MbHeapManager::MbHeapManager( const std::string& name, unsigned long long maxAllocatedBytes,
                              OPtr<MbUnloadStrategy> strategy )
    : MbPoolManager( name, strategy )
    , _maxAllocatedBytes( maxAllocatedBytes ) {}

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
    APtr<char> block( new( std::nothrow ) char[static_cast<std::size_t>( needed )] );
    if( block.isNull() ) {
        throw MbEx::ExNotEnoughMemory( QV_HERE, "Unable to allocate memory." );
    }
    const auto address = reinterpret_cast<std::uintptr_t>( block.get() );
    const std::uint64_t padding = buffer->getAlignment().roundUpToAlignment( address ) - address;
    char* const memory = block.get() + padding;
    buffer->setRegion(
        MbRegion( block.get(), memory, memory + buffer->getSize(), block.get() + needed ) );
    _allocatedBytes += needed;
    static_cast<void>( block.release() );
    return true;
}

void MbHeapManager::deallocateRegionImp( const MbRegion& region ) {
    _allocatedBytes -= region.getAllocationSize();
    APtr<char>( static_cast<char*>( region._header ) ).reset();
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
