#include <resmgt/dynamicAllocation/src/daArenaPoolImp.h>

#include <base/failure/assertions.h>
#include <resmgt/logger/qvLog.h>

#include <ostream>

namespace Qv {

DaArenaPoolImp::DaArenaPoolImp( DaArenaAllocator* allocator, std::size_t size )
    : DaArenaPool( allocator, size )
    , _pieces( allocator->allocate( size ) ) {
    if( _pieces.empty() ) {
        QV_LOG( Allocation, Error, "No memory available for arena." );
    }
    try {
        makeArenas();
    } catch( ... ) {
        allocator->deallocate( _pieces, size );
        throw;
    }
}

void DaArenaPoolImp::makeArenas() {
    for( const auto& [address, size] : _pieces ) {
        _arenas.push_back( std::make_unique<DaFirstFitArena>( address, size, nullptr ) );
    }
}

DaArenaPoolImp::~DaArenaPoolImp() noexcept( false ) {
    _arenas.clear();
    getAllocator().deallocate( _pieces, getSize() );
    QV_ASSERT( _nbAllocated == 0 );
}

void* DaArenaPoolImp::allocate( std::size_t size, std::size_t alignment ) {
    for( const auto& arena : _arenas ) {
        if( void* const block = arena->allocate( size, alignment ) ) {
            ++_nbAllocated;
            return block;
        }
    }
    return nullptr;
}

void* DaArenaPoolImp::allocate( std::size_t size ) {
    return allocate( size, 0 );
}

void DaArenaPoolImp::free( void* block ) {
    for( const auto& arena : _arenas ) {
        if( arena->free( block ) ) {
            --_nbAllocated;
            return;
        }
    }
    Assertions::throwProgramAborted( QV_HERE, "Trying to free an unknown memory block." );
}

std::uint64_t DaArenaPoolImp::getFreeBytes() const {
    std::uint64_t result = 0;
    for( const auto& arena : _arenas ) {
        result += arena->getFreeBytes();
    }
    return result;
}

void DaArenaPoolImp::dump( std::ostream& stream ) const {
    stream << "DaArenaPoolImp:\n"
           << " Size         = " << getSize() << '\n'
           << " Nb arenas    = " << _arenas.size() << '\n'
           << " Nb allocated = " << _nbAllocated << '\n';
    DaFirstFitArena::Statistics sum;
    for( std::size_t i = 0; i < _arenas.size(); ++i ) {
        const DaFirstFitArena::Statistics statistics = _arenas[i]->getStatistics();
        stream << "----------------\nArena " << i << " [" << _arenas[i]->getName() << "]\n";
        statistics.dump( stream );
        sum += statistics;
    }
    stream << "================\nAggregated:\n";
    sum.dump( stream );
}

} // namespace Qv
