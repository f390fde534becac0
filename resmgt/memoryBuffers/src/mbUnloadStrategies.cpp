#include <base/failure/assertions.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>

#include <cmath>
#include <ostream>

namespace Qv {

MbUnloadStrategy::~MbUnloadStrategy() = default;

void MbUnloadStrategy::dump( std::ostream& stream ) const {
    stream << getName() << '\n';
}

MbUnloadRandom::MbUnloadRandom( int seed )
    : _rng( static_cast<unsigned int>( seed ) ) {}

MbUnloadRandom::~MbUnloadRandom() = default;

const char* MbUnloadRandom::getName() const {
    return "MbUnloadRandom";
}

void MbUnloadRandom::insertBuffer( MbBufferImp* buffer ) {
    _indexes.reserveOne();
    _buffers.push_back( buffer );
    _indexes.put( buffer, _buffers.size() - 1 );
}

void MbUnloadRandom::removeBuffer( MbBufferImp* buffer ) {
    const std::size_t* const found = _indexes.find( buffer );
    QV_ASSERT( found != nullptr );
    const std::size_t index = *found;
    _buffers[index] = _buffers.back();
    *_indexes.find( _buffers.back() ) = index;
    _buffers.pop_back();
    _indexes.erase( _indexes.find( buffer ) );
}

MbBufferImp* MbUnloadRandom::selectVictim() const {
    const double draw = std::floor( _rng() * 2147483647.0 );
    return _buffers[static_cast<std::size_t>( draw ) % _buffers.size()];
}

bool MbUnloadRandom::isEmpty() const {
    return _buffers.empty();
}

void MbUnloadRandom::dump( std::ostream& stream ) const {
    MbUnloadStrategy::dump( stream );
    stream << "Nb loaded and unlocked buffers  = " << _buffers.size()
           << "\nRandom buffer container: ";
    for( const MbBufferImp* const buffer : _buffers ) {
        stream << static_cast<const void*>( buffer ) << ' ';
    }
    stream << "\nPair associative indexes : ";
    _indexes.forEach( [&]( const MbBufferImp* buffer, std::size_t index ) {
        stream << "( " << static_cast<const void*>( buffer ) << ", " << index << " ) ";
    } );
    stream << '\n';
}

MbUnloadLRU::MbUnloadLRU() = default;
MbUnloadLRU::~MbUnloadLRU() = default;

const char* MbUnloadLRU::getName() const {
    return "MbUnloadLRU";
}

void MbUnloadLRU::insertBuffer( MbBufferImp* buffer ) {
    _nodes.reserveOne();
    if( _spareNodes.empty() ) {
        _buffers.push_back( buffer );
    } else {
        _spareNodes.front() = buffer;
        _buffers.splice( _buffers.end(), _spareNodes, _spareNodes.begin() );
    }
    _nodes.put( buffer, std::prev( _buffers.end() ) );
}

void MbUnloadLRU::removeBuffer( MbBufferImp* buffer ) {
    List::iterator* const found = _nodes.find( buffer );
    QV_ASSERT( found != nullptr );
    _spareNodes.splice( _spareNodes.begin(), _buffers, *found );
    _nodes.erase( found );
}

MbBufferImp* MbUnloadLRU::selectVictim() const {
    return _buffers.front();
}

bool MbUnloadLRU::isEmpty() const {
    return _buffers.empty();
}

} // namespace Qv
