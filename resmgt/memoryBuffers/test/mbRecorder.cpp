#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <base/text/typeName.h>

#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <typeinfo>

namespace Qv {

namespace {

bool isLockedByThisThread( const MbBufferImp& buffer ) {
    return buffer.getLock().getImp().getHolder() == ThreadNumber::get();
}

bool isEmpty( const MbTestAccess::Words& words ) {
    return words == MbTestAccess::Words();
}

} // namespace

void Recorder::note( const char* call ) {
    calls.append( calls.empty() ? "" : " " ).append( call );
    // A copy, since the hook may replace itself.
    if( const auto called = hook ) {
        called( call );
    }
    if( call == faultyCall ) {
        faultyCall.clear();
        throw std::runtime_error( "fault on demand" );
    }
}

MbRegion RecordingManager::makeRegion( int block ) {
    char* const memory = _blocks[block];
    return MbRegion( memory, memory, memory + BLOCK_SIZE, memory + BLOCK_SIZE );
}

void RecordingManager::note( const char* call, const MbBufferImp& buffer ) {
    EXPECT_TRUE( isLockedByThisThread( buffer ) ) << call;
    _recorder.note( call );
}

void RecordingManager::allocateRegion( MbBufferImp* buffer ) {
    EXPECT_TRUE( isEmpty( MbTestAccess::words( *buffer ) ) ) << "a region is forgotten";
    // Others may need the lock meanwhile.
    EXPECT_FALSE( isLockedByThisThread( *buffer ) );
    EXPECT_TRUE( MbTestAccess::owner( *buffer ).isCurrentThread() );
    _recorder.note( "allocate" );
    buffer->setRegion( makeRegion() );
}

void RecordingManager::deallocateRegion( const MbRegion& region ) {
    EXPECT_FALSE( isEmpty( MbTestAccess::words( region ) ) );
    _recorder.note( "giveBack" );
}

void RecordingManager::deallocateRegion( MbBufferImp* buffer ) {
    EXPECT_FALSE( isEmpty( MbTestAccess::words( *buffer ) ) ) << "a region is given back twice";
    note( "deallocate", *buffer );
    buffer->setRegion( MbRegion() );
}

void RecordingProtocol::note( const char* call ) {
    EXPECT_FALSE( isLockedByThisThread( *buffer ) ) << call;
    _recorder.note( call );
}

void RecordingProtocol::note( const char* call, void* memory, Size size ) {
    const MbTestAccess::Words words = MbTestAccess::words( *buffer );
    EXPECT_EQ( memory, words[1] ) << call;
    EXPECT_EQ( static_cast<char*>( memory ) + size, words[2] ) << call;
    note( call );
}

MbBuffer RecordedBuffers::make( MbStateMachine::LockPolicy_e policy, MbStateMachine::Trace_e trace,
                                int size ) {
    auto* const protocol = new RecordingProtocol( recorder );
    const RCShdEngPtr<MbBufferImp> engine(
        new MbBufferImp( "buffer", MbStateMachine::getInstance( trace, policy ).getInitialState(),
                         manager, OPtr<MbProtocol>( protocol ), size, MbAlignment( 127, 0, 0 ) ) );
    protocol->buffer = imp = engine.get();
    return MbBuffer( engine );
}

void RecordedBuffers::send( const std::string& events ) {
    const auto unload = []( MbBufferImp& b ) {
        b.pin();
        const std::shared_ptr<void> pin( nullptr, [&b]( void* ) { b.unpin(); } );
        b.unload();
    };
    const std::map<std::string, std::function<void( MbBufferImp& )>> operations = {
        { "rdlock", &MbBufferImp::rdlock },
        { "wrlock", &MbBufferImp::wrlock },
        { "wrdup", &MbBufferImp::wrdup },
        { "wr2rd", &MbBufferImp::wr2rd },
        { "prefetch", &MbBufferImp::prefetch },
        { "asyncSync", &MbBufferImp::asyncSync },
        { "sync", &MbBufferImp::sync },
        { "unlock", &MbBufferImp::unlock },
        { "unload", unload },
        { "refused",
          [&]( MbBufferImp& b ) {
              recorder.unloadAnswer = false;
              unload( b );
          } },
        { "free", &MbBufferImp::free },
        { "destroy", &MbBufferImp::destroy },
        { "asyncOpSucceeded", &MbBufferImp::asyncSucceeded },
        { "asyncOpFailed", &MbBufferImp::asyncFailed },
        { "drop", [&]( MbBufferImp& ) { buffer = MbBuffer(); } },
    };
    std::istringstream words( events );
    for( std::string event; words >> event; ) {
        operations.at( event )( *imp );
    }
}

void RecordedBuffers::inside( const std::string& call, std::function<void()> body ) {
    recorder.hook = [this, call, body]( const std::string& name ) {
        if( name == call ) {
            recorder.hook = nullptr;
            body();
        }
    };
}

std::string nameOf( const MbState* state ) {
    const std::string name = TypeName::get( typeid( *state ) );
    return name.substr( name.rfind( "::" ) + 2 );
}

} // namespace Qv
