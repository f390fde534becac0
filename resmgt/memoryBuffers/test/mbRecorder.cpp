#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <resmgt/memoryBuffers/mbEx.h>

#include <gtest/gtest.h>

namespace Qv {

namespace {

bool isLockedByThisThread( const MbBufferImp& buffer ) {
    return buffer.getLock().getImp().getHolder() == ThreadNumber::get();
}

bool isEmpty( const MbRegion& region ) {
    return MbTestAccess::words( region ) == MbTestAccess::Words();
}

} // namespace

MbRegion RecordingManager::makeRegion( int block ) {
    char* const memory = _blocks[block];
    return MbRegion( memory, memory, memory + BLOCK_SIZE, memory + BLOCK_SIZE );
}

void RecordingManager::allocateRegion( MbBufferImp* buffer ) {
    _log.push_back( "M.allocateRegion" );
    EXPECT_TRUE( isLockedByThisThread( *buffer ) );
    EXPECT_TRUE( isEmpty( buffer->getRegion() ) ) << "a region is forgotten";
    if( refusesMemory ) {
        throw MbEx::ExNotEnoughMemory( QV_HERE, "on demand" );
    }
    buffer->setRegion( makeRegion() );
}

void RecordingManager::deallocateRegion( const MbRegion& region ) {
    _log.push_back( "M.deallocateRegion( region )" );
    EXPECT_FALSE( isEmpty( region ) );
}

void RecordingManager::deallocateRegion( MbBufferImp* buffer ) {
    _log.push_back( "M.deallocateRegion" );
    EXPECT_TRUE( isLockedByThisThread( *buffer ) );
    EXPECT_FALSE( isEmpty( buffer->getRegion() ) ) << "a region is given back twice";
    buffer->setRegion( MbRegion() );
}

void RecordingManager::bufferNotUnloadable( MbBufferImp* buffer ) {
    _log.push_back( "M.bufferNotUnloadable" );
    EXPECT_TRUE( isLockedByThisThread( *buffer ) );
    if( refusesRemoval ) {
        throw ManagerFault();
    }
}

void RecordingManager::bufferUnloadable( MbBufferImp* buffer ) {
    _log.push_back( "M.bufferUnloadable" );
    EXPECT_TRUE( isLockedByThisThread( *buffer ) );
}

RecordingProtocol::~RecordingProtocol() {
    if( onEnd ) {
        onEnd();
    }
}

void RecordingProtocol::note( const char* call ) {
    _log.push_back( call );
    EXPECT_FALSE( isLockedByThisThread( *buffer ) ) << call;
    // A copy, since the hook may replace itself.
    if( const auto called = hook ) {
        called( call );
    }
    if( call == faultyCall ) {
        throw ProtocolFault();
    }
}

void RecordingProtocol::note( const char* call, void* memory, unsigned long long size ) {
    const MbTestAccess::Words words = MbTestAccess::words( MbTestAccess::region( *buffer ) );
    EXPECT_EQ( memory, words[1] ) << call;
    EXPECT_EQ( static_cast<char*>( memory ) + size, words[2] ) << call;
    note( call );
}

void RecordingProtocol::noteAsync( const char* call, void* memory, unsigned long long size,
                                   LkAsyncHandle* handle ) {
    EXPECT_EQ( handle, static_cast<LkAsyncHandle*>( buffer ) ) << call;
    note( call, memory, size );
}

void RecordingProtocol::noteBuffer( const char* call, void* memory, unsigned long long size,
                                    MbBufferImp* b ) {
    EXPECT_EQ( b, buffer ) << call;
    note( call, memory, size );
}

} // namespace Qv
