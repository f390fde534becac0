#include <base/init/inSingletonEx.h>
#include <base/ownership/rcEx.h>
#include <resmgt/memoryBuffers/mbBufferFactoryRegistry.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <tests/support/holdPoint.h>
#include <tests/support/testThread.h>

namespace Qv {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const MbState* initialState( MbStateMachine::LockPolicy_e policy = MbStateMachine::RELAXED ) {
    return MbStateMachine::getInstance( MbStateMachine::TRACED, policy ).getInitialState();
}

RCShdPtr<MbManager> makeHeap( unsigned long long limit = 1 << 20 ) {
    return RCShdPtr<MbManager>(
        new MbHeapManager( "heap", limit, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
}

template <class Body>
std::string invalidArgument( Body body ) {
    try {
        body();
    } catch( const MbEx::ExInvalidArgument& exception ) {
        return exception.getReason();
    }
    return "nothing was raised";
}

const char* const EMPTY = "Invalid argument: Buffer is empty.";

/// A buffer of a recording manager and protocol.
class MbBufferTest : public testing::Test {
protected:
    MbBuffer make( MbStateMachine::LockPolicy_e policy = MbStateMachine::RELAXED ) {
        protocol = new RecordingProtocol( log );
        protocol->onEnd = [this] { log.push_back( "end" ); };
        const RCShdEngPtr<MbBufferImp> engine( new MbBufferImp(
            "buffer", initialState( policy ), manager, OPtr<MbProtocol>( protocol ),
            RecordingManager::BLOCK_SIZE, MbAlignment( 127, 0, 0 ) ) );
        protocol->buffer = imp = engine.get();
        return MbBuffer( engine );
    }
    /// Calls `body` once, inside the protocol's `call`.
    template <class Body>
    void inside( const char* call, Body body ) {
        protocol->hook = [this, call, body]( const std::string& name ) {
            if( name == call ) {
                protocol->hook = nullptr;
                body();
            }
        };
    }

    CallLog log;
    RCShdPtr<MbManager> manager{ new RecordingManager( log ) };
    RecordingProtocol* protocol = nullptr;
    MbBufferImp* imp = nullptr;
};

TEST( MbBuffer, ANullHandleIsHarmlessUntilItIsUsed ) {
    MbBuffer null;
    EXPECT_TRUE( null.isNull() );
    EXPECT_FALSE( null.isUniqueOwner() );
    EXPECT_EQ( null, MbBuffer() );
    EXPECT_THROW( null.getName(), ExNullPtr );
    EXPECT_THROW( null.isLoaded(), ExNullPtr );
    EXPECT_THROW( null.prefetch(), ExNullPtr );
    EXPECT_EQ( invalidArgument( [&] { MbBufferRdGuardImp guard( null ); } ), EMPTY );
    EXPECT_EQ( invalidArgument( [&] { MbBufferWrGuardImp guard( null ); } ), EMPTY );
    MbBufferWrGuardImp writer;
    MbBufferRdGuardImp reader;
    EXPECT_EQ( invalidArgument( [&] { writer.setProtocol( OPtr<MbProtocol>() ); } ), EMPTY );
    EXPECT_EQ( invalidArgument( [&] { reader.setProtocol( OPtr<MbProtocol>() ); } ), EMPTY );
    EXPECT_TRUE( MbBufferWrGuardImp( writer ).isNull() );
    EXPECT_TRUE( MbBufferRdGuardImp( reader ).isNull() );
    EXPECT_TRUE( MbBufferRdGuardImp( writer ).isNull() );
}

TEST( MbBuffer, TheErrorOfALongNamedBufferStillTellsEventAndState ) {
    const std::string name( 5000, 'n' );
    EXPECT_THAT( MbEx::ExIllegalTransition( QV_HERE, name.c_str(), "sync()", "Here" ).getReason(),
                 HasSubstr( "n received event sync() from state Here." ) );
}

TEST( MbBuffer, FactoriesGiveNewBuffersTheirPropertiesButNoMemory ) {
    const RCShdPtr<MbManager> manager = makeHeap( 5000 );
    MbBufferSimpleFactory factory( initialState(), manager );
    const MbBuffer plain = factory.create( "plain", 1000 );
    const MbBuffer other( plain );
    EXPECT_STREQ( plain.getName(), "plain" );
    EXPECT_EQ( plain.getSize(), 1000 );
    EXPECT_EQ( plain.getAlignment().getAlignmentMask(), 127u );
    EXPECT_NE( plain.getProtocol(), nullptr );
    EXPECT_FALSE( plain.isLoaded() );
    EXPECT_TRUE( plain == other );
    EXPECT_FALSE( plain.isUniqueOwner() );
    EXPECT_EQ( factory.getFreeSpace(), 5000u );
    {
        const MbBufferRdGuardImp guard( plain );
        EXPECT_TRUE( plain.isLoaded() );
        EXPECT_EQ( reinterpret_cast<std::uintptr_t>( guard.getMemory() ) % 128, 0u );
        EXPECT_EQ( factory.getFreeSpace(), 5000u - 1127 );
        EXPECT_TRUE( guard.getBuffer() == plain );
    }
    EXPECT_EQ( factory.getSize(), 5000u );
    EXPECT_EQ(
        factory.create( "aligned", 16, MbAlignment( 15, 0, 0 ) ).getAlignment().getAlignmentMask(),
        15u );
    EXPECT_THROW( factory.create( "negative", -1 ), MbEx::ExInvalidArgument );
}

TEST_F( MbBufferTest, GuardsLockCopyAndAssign ) {
    MbBuffer first = make();
    MbBufferImp* const firstImp = imp;
    const RCShdPtr<MbManager> second = makeHeap();
    MbBufferSimpleFactory factory( initialState(), second );
    MbBuffer other = factory.create( "other", 16 );
    MbBufferWrGuardImp writer( first );
    EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 1u );
    {
        const MbBufferWrGuardImp copy( writer );
        EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 2u );
        MbBufferWrGuardImp same( copy );
        same = copy;
        EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 3u );
    }
    EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 1u );
    const MbBufferRdGuardImp reader( writer );
    EXPECT_TRUE( writer.isNull() );
    EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 1u );
    MbBufferRdGuardImp moving( other );
    moving = reader;
    EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 2u );
    EXPECT_TRUE( moving.getBuffer() == first );
    moving = MbBufferRdGuardImp();
    EXPECT_TRUE( moving.isNull() );
    EXPECT_EQ( MbTestAccess::lockCount( *firstImp ), 1u );
}

TEST_F( MbBufferTest, UnderTheStrictPolicyADemotedWriterLetsReadersInButNoWriter ) {
    MbBuffer buffer = make( MbStateMachine::STRICT );
    MbBufferWrGuardImp writer( buffer );
    MbBufferWrGuardImp copy( writer );
    std::optional<MbBufferRdGuardImp> demoted( std::in_place, writer );
    EXPECT_EQ( MbTestAccess::lockCount( *imp ), 2u );
    const std::optional<MbBufferRdGuardImp> reader( std::in_place, buffer );
    TestThread blocked( [&] { const MbBufferWrGuardImp guard( buffer ); } );
    blocked.waitUntilBlocked();
    demoted.reset();
    const_cast<std::optional<MbBufferRdGuardImp>&>( reader ).reset();
    copy = MbBufferWrGuardImp();
    blocked.join();
}

TEST_F( MbBufferTest, AnUnlockThatRaisesIsReportedAndCanBeRepeated ) {
    MbBuffer buffer = make();
    protocol->faultyCall = "P.unlocked";
    testing::internal::CaptureStderr();
    { const MbBufferRdGuardImp guard( buffer ); }
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "protocol fault" ) );
    EXPECT_EQ( log.back(), "P.unlocked" );
    protocol->faultyCall.clear();
    imp->unlock();
    EXPECT_EQ( MbTestAccess::lockCount( *imp ), 0u );
    EXPECT_EQ( log.back(), "M.bufferUnloadable" );
}

TEST_F( MbBufferTest, ACompletionThatRaisesCanBeRepeated ) {
    MbBuffer buffer = make();
    buffer.prefetch();
    protocol->faultyCall = "P.asyncLoadFailed";
    EXPECT_THROW( imp->asyncFailed(), ProtocolFault );
    EXPECT_THROW( imp->asyncSucceeded(), MbEx::ExIllegalTransition ) << "without memory";
    protocol->faultyCall.clear();
    imp->asyncFailed();
    EXPECT_THAT( log, ElementsAre( "M.allocateRegion", "P.asyncLoad", "M.deallocateRegion",
                                   "P.asyncLoadFailed", "P.asyncLoadFailed" ) );
    buffer.prefetch();
    protocol->faultyCall = "P.asyncLoadSucceeded";
    EXPECT_THROW( imp->asyncSucceeded(), ProtocolFault );
    protocol->faultyCall.clear();
    imp->asyncSucceeded();
    EXPECT_TRUE( buffer.isLoaded() );
}

TEST_F( MbBufferTest, ReplacingTheProtocolDeletesTheFormerOneAfterItsCall ) {
    MbBuffer buffer = make();
    const MbBufferRdGuardImp first( buffer );
    MbBufferRdGuardImp second( buffer );
    HoldPoint markDirty( "markDirty" );
    inside( "P.markDirty", [&] { markDirty.pass(); } );
    RecordingProtocol* const former = protocol;
    TestThread writer( [&] { const MbBufferWrGuardImp guard( buffer ); } );
    markDirty.waitUntilReached();
    TestThread replacer( [&] { second.setProtocol( OPtr<MbProtocol>( new MbProtocol ) ); } );
    replacer.waitUntilBlocked();
    EXPECT_THAT( log, testing::Not( testing::Contains( "end" ) ) );
    EXPECT_EQ( imp->getProtocol(), former );
    markDirty.release();
    writer.join();
    replacer.join();
    EXPECT_EQ( log.back(), "end" );
    EXPECT_NE( buffer.getProtocol(), former );
}

// Pending events.

TEST_F( MbBufferTest, ACompletionInsideTheCallIsReplayedBeforeAFreeThatWouldWaitForIt ) {
    MbBuffer buffer = make();
    inside( "P.asyncLoad", [&] {
        buffer.free();
        buffer.asyncSync();
        imp->asyncSucceeded();
    } );
    buffer.prefetch();
    EXPECT_THAT( log, ElementsAre( "M.allocateRegion", "P.asyncLoad", "P.asyncLoadSucceeded",
                                   "M.bufferUnloadable", "M.bufferNotUnloadable", "P.free",
                                   "M.deallocateRegion" ) );
    EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), 0u );
}

TEST_F( MbBufferTest, AFreeOrEndInsideACompletionWaitsForTheNextOperationOffTheThread ) {
    const auto freeIt = []( MbBuffer& buffer ) { buffer.free(); };
    const auto dropIt = []( MbBuffer& buffer ) { buffer = MbBuffer(); };
    for( auto* const finish : { +freeIt, +dropIt } ) {
        MbBuffer buffer = make();
        { const MbBufferWrGuardImp guard( buffer ); }
        buffer.asyncSync();
        inside( "P.asyncSyncFailed", [&] {
            TestThread( [&] { buffer.asyncSync(); } ).join();
            finish( buffer );
        } );
        imp->asyncFailed();
        EXPECT_EQ( log.back(), "P.asyncSync" );
        // The only worker comes back, or nobody could end the second write.
        log.clear();
        imp->asyncSucceeded();
        EXPECT_THAT( log, ElementsAre( "P.asyncSyncSucceeded", "M.bufferUnloadable",
                                       "M.bufferNotUnloadable",
                                       buffer.isNull() ? "M.deallocateRegion" : "P.free",
                                       buffer.isNull() ? "end" : "M.deallocateRegion" ) );
    }
}

TEST_F( MbBufferTest, ADeferredAsyncSyncRunsAfterTheLastLockUnlessTheContentIsFreed ) {
    MbBuffer buffer = make();
    {
        const MbBufferWrGuardImp guard( buffer );
        buffer.asyncSync();
        EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), 32u );
    }
    EXPECT_EQ( log.back(), "P.asyncSync" );
    imp->asyncSucceeded();
    {
        const MbBufferWrGuardImp guard( buffer );
        buffer.asyncSync();
        buffer.free();
    }
    EXPECT_EQ( log.back(), "M.deallocateRegion" );
    EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), 0u );
}

TEST_F( MbBufferTest, ACompletionMayComeFromAnotherThreadBeforeTheStartHasEnded ) {
    MbBuffer buffer = make();
    HoldPoint asyncLoad( "asyncLoad" );
    inside( "P.asyncLoad", [&] { asyncLoad.pass(); } );
    TestThread starter( [&] { buffer.prefetch(); } );
    asyncLoad.waitUntilReached();
    imp->asyncSucceeded();
    EXPECT_EQ( log.back(), "P.asyncLoad" );
    asyncLoad.release();
    starter.join();
    EXPECT_EQ( log.back(), "M.bufferUnloadable" );
}

TEST_F( MbBufferTest, APrefetchThatComesMeanwhileIsDoneAfterwards ) {
    MbBuffer buffer = make();
    buffer.prefetch();
    buffer.prefetch();
    log.clear();
    imp->asyncFailed();
    EXPECT_THAT( log, ElementsAre( "M.deallocateRegion", "P.asyncLoadFailed", "M.allocateRegion",
                                   "P.asyncLoad" ) );
    buffer.prefetch();
    log.clear();
    imp->asyncSucceeded();
    EXPECT_THAT( log, ElementsAre( "P.asyncLoadSucceeded", "M.bufferUnloadable",
                                   "M.bufferNotUnloadable", "M.bufferUnloadable" ) );
    inside( "P.free", [&] { buffer.prefetch(); } );
    log.clear();
    buffer.free();
    EXPECT_THAT( log, ElementsAre( "M.bufferNotUnloadable", "P.free", "M.deallocateRegion",
                                   "M.allocateRegion", "P.asyncLoad" ) );
    imp->asyncSucceeded();
}

TEST_F( MbBufferTest, AReplayedEventsFailureGoesToTheCallerUnlessThereIsAnEarlierOne ) {
    MbBuffer buffer = make();
    { const MbBufferWrGuardImp guard( buffer ); }
    // A completion that nothing asked for is illegal in every state that these calls lead to.
    inside( "P.sync", [&] { imp->asyncSucceeded(); } );
    EXPECT_THROW( buffer.sync(), MbEx::ExIllegalTransition );
    EXPECT_EQ( log.back(), "M.bufferUnloadable" );
    { const MbBufferWrGuardImp guard( buffer ); }
    inside( "P.sync", [&] {
        imp->asyncSucceeded();
        protocol->faultyCall = "P.sync";
    } );
    testing::internal::CaptureStderr();
    EXPECT_THROW( buffer.sync(), ProtocolFault );
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "asyncOpSucceeded()" ) );
}

TEST_F( MbBufferTest, ALockWhoseReplayRaisesIsGivenUpAgain ) {
    MbBuffer buffer = make();
    inside( "P.load", [&] { imp->asyncFailed(); } );
    EXPECT_THROW( MbBufferRdGuardImp guard( buffer ), MbEx::ExIllegalTransition );
    EXPECT_EQ( MbTestAccess::lockCount( *imp ), 0u );
    EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), 0u );
    EXPECT_THAT( log,
                 ElementsAre( "M.allocateRegion", "P.load", "P.unlocked", "M.bufferUnloadable" ) );
}

// The end of a buffer.

TEST_F( MbBufferTest, AnEndThatRaisesIsReportedAndTheBufferGoes ) {
    testing::internal::CaptureStderr();
    {
        MbBuffer buffer = make();
        { const MbBufferWrGuardImp guard( buffer ); }
        protocol->faultyCall = "P.destroy";
        log.clear();
    }
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "protocol fault" ) );
    EXPECT_THAT( log,
                 ElementsAre( "M.bufferNotUnloadable", "P.destroy", "M.deallocateRegion", "end" ) );
}

TEST_F( MbBufferTest, AProtocolMayDropTheLastHandleFromInsideACall ) {
    // In a client's own operation, in a completion and in an eviction.
    auto buffer = std::make_unique<MbBuffer>( make() );
    inside( "P.asyncLoad", [&] { buffer.reset(); } );
    MbBuffer& handle = *buffer;
    TestThread prefetcher( [&] { handle.prefetch(); } );
    // Its end waits for the completion.
    prefetcher.waitUntilBlocked();
    imp->asyncSucceeded();
    prefetcher.join();
    EXPECT_EQ( log.back(), "end" );

    buffer = std::make_unique<MbBuffer>( make() );
    buffer->prefetch();
    inside( "P.asyncLoadSucceeded", [&] { buffer.reset(); } );
    imp->asyncSucceeded();
    EXPECT_EQ( log.back(), "end" );

    buffer = std::make_unique<MbBuffer>( make() );
    { const MbBufferWrGuardImp guard( *buffer ); }
    inside( "P.unload", [&] { buffer.reset(); } );
    imp->pin();
    log.clear();
    imp->unload();
    EXPECT_THAT( log, ElementsAre( "M.bufferNotUnloadable", "P.unload", "M.deallocateRegion" ) );
    imp->unpin();
    EXPECT_EQ( log.back(), "end" );
}

// Moving memory.

TEST_F( MbBufferTest, GrabMovesTheMemoryAndFreesTheSource ) {
    MbBuffer source = make();
    MbBufferImp* const sourceImp = imp;
    { const MbBufferWrGuardImp guard( source ); }
    void* const memory = MbTestAccess::words( MbTestAccess::region( *sourceImp ) )[1];
    MbBuffer target = make();
    log.clear();
    target.grab( source );
    EXPECT_THAT( log,
                 ElementsAre( "M.bufferNotUnloadable", "P.free", "P.grab", "M.bufferUnloadable" ) );
    EXPECT_FALSE( source.isLoaded() );
    const MbBufferRdGuardImp guard( target );
    EXPECT_EQ( guard.getMemory(), memory );
}

TEST_F( MbBufferTest, AGrabWaitsForTheSourcesLocksAndWakesTheWaitersOfBothBuffers ) {
    HoldPoint freeing( "free" );
    HoldPoint grabbing( "grab" );
    const auto hold = [&]( const std::string& call ) {
        if( call == "P.free" ) {
            freeing.pass();
        } else if( call == "P.grab" ) {
            grabbing.pass();
        }
    };
    MbBuffer source = make();
    protocol->hook = hold;
    MbBuffer target = make();
    protocol->hook = hold;
    std::optional<MbBufferRdGuardImp> reader( std::in_place, source );
    TestThread grabber( [&] { target.grab( source ); } );
    grabber.waitUntilBlocked();
    reader.reset();
    freeing.waitUntilReached();
    TestThread sourceWaiter( [&] { source.sync(); } );
    sourceWaiter.waitUntilBlocked();
    freeing.release();
    grabbing.waitUntilReached();
    sourceWaiter.join();
    TestThread targetWaiter( [&] { target.sync(); } );
    targetWaiter.waitUntilBlocked();
    grabbing.release();
    targetWaiter.join();
    grabber.join();
    EXPECT_EQ( log.back(), "M.bufferUnloadable" );
}

TEST_F( MbBufferTest, AGrabThatCannotBeginGivesTheMemoryBackAndLeavesTheTarget ) {
    MbBuffer source = make();
    MbBuffer target = make();
    { const MbBufferRdGuardImp guard( target ); }
    static_cast<RecordingManager*>( manager.get() )->refusesRemoval = true;
    log.clear();
    EXPECT_THROW( target.grab( source ), ManagerFault );
    EXPECT_THAT( log, ElementsAre( "M.allocateRegion", "P.load", "P.free", "M.bufferNotUnloadable",
                                   "M.bufferUnloadable", "M.deallocateRegion( region )" ) );
    EXPECT_TRUE( target.isLoaded() );
    static_cast<RecordingManager*>( manager.get() )->refusesRemoval = false;
}

TEST( MbBuffer, GrabRefusesWhatDoesNotFit ) {
    const RCShdPtr<MbManager> manager = makeHeap( 4096 );
    MbBufferSimpleFactory factory( initialState(), manager );
    MbBufferSimpleFactory otherFactory( initialState(), makeHeap() );
    MbBuffer target = factory.create( "target", 512 );
    MbBuffer larger = factory.create( "larger", 1024 );
    MbBuffer foreign = otherFactory.create( "foreign", 512 );
    MbBuffer null;
    { const MbBufferWrGuardImp guard( larger ); }
    { const MbBufferWrGuardImp guard( target ); }
    EXPECT_EQ( invalidArgument( [&] { target.grab( null ); } ), EMPTY );
    EXPECT_EQ( invalidArgument( [&] { target.grab( target ); } ),
               "Invalid argument: Can not grab from same buffer." );
    EXPECT_THAT( invalidArgument( [&] { target.grab( foreign ); } ),
                 HasSubstr( "Buffers must share the same manager in order to transfer the "
                            "ownership of the region." ) );
    EXPECT_TRUE( larger.isLoaded() );
    EXPECT_THAT( invalidArgument( [&] { target.grab( larger ); } ),
                 HasSubstr( "Buffer sizes or alignment do not match." ) );
    EXPECT_FALSE( larger.isLoaded() );
    EXPECT_TRUE( target.isLoaded() );
    EXPECT_EQ( manager->getFreeSpace(), 4096u - 512 - 127 );
}

TEST( MbBufferFactoryRegistry, KeepsOneFactoryForEachType ) {
    const auto make = [] {
        return OPtr<MbBufferFactory>( new MbBufferSimpleFactory( initialState(), makeHeap() ) );
    };
    OPtr<MbBufferFactory> factory = make();
    MbBufferFactory* const raw = factory.get();
    EXPECT_FALSE( MbBufferFactoryRegistry::hasFactory( MbBufferFactoryRegistry::SCRATCH ) );
    MbBufferFactoryRegistry::registerFactory( MbBufferFactoryRegistry::SCRATCH, factory );
    EXPECT_TRUE( MbBufferFactoryRegistry::hasFactory( MbBufferFactoryRegistry::SCRATCH ) );
    EXPECT_EQ( MbBufferFactoryRegistry::getFactory( MbBufferFactoryRegistry::SCRATCH ), raw );
    const auto reason = []( auto body ) {
        try {
            body();
        } catch( const ExBase& exception ) {
            return std::string( exception.getReason() );
        }
        return std::string();
    };
    EXPECT_THAT( reason( [&] {
                     MbBufferFactoryRegistry::registerFactory( MbBufferFactoryRegistry::SCRATCH,
                                                               make() );
                 } ),
                 HasSubstr( "_registry.insert( RegistryMap::value_type( factoryType, "
                            "factory.release( ) ) ).second" ) );
    EXPECT_EQ( MbBufferFactoryRegistry::getFactory( MbBufferFactoryRegistry::SCRATCH ), raw );
    EXPECT_THAT(
        reason( [] { MbBufferFactoryRegistry::getFactory( MbBufferFactoryRegistry::TILES ); } ),
        HasSubstr( "it != _registry.end()" ) );
}

TEST_F( MbBufferTest, TracesEventsStatesAndIgnoredOnesOnlyInTheTracingMachine ) {
    TraceLevel& level = *Trace::registerLevel( "MbStateMachine", "mbStateTrace.cpp" );
    const auto traceOf = [&]( MbStateMachine::Trace_e trace ) {
        protocol = new RecordingProtocol( log );
        const RCShdEngPtr<MbBufferImp> engine( new MbBufferImp(
            "traced",
            MbStateMachine::getInstance( trace, MbStateMachine::RELAXED ).getInitialState(),
            manager, OPtr<MbProtocol>( protocol ), RecordingManager::BLOCK_SIZE,
            MbAlignment( 0, 0, 0 ) ) );
        protocol->buffer = engine.get();
        level.setEnabled( true );
        testing::internal::CaptureStderr();
        engine->unload();
        engine->rdlock();
        engine->rdlock();
        engine->unlock();
        engine->unlock();
        EXPECT_THROW( engine->unlock(), MbEx::ExIllegalTransition );
        level.setEnabled( false );
        return testing::internal::GetCapturedStderr();
    };
    const std::string text = traceOf( MbStateMachine::TRACED );
    for( const char* const line :
         { "MbBuffer : traced (0x", ") [ Lock count = 0 ] -->  Freed unload (ignored)",
           "Freed::rdlock", " ] -->  TransientState::entering", " ] -->  Locked::entering",
           ") [ Lock count = 1 ] -->  Locked", "Locked::rdlock", ") [ Lock count = 2 ] -->  Locked",
           "Synched::unlock" } ) {
        EXPECT_THAT( text, HasSubstr( line ) );
    }
    EXPECT_EQ( traceOf( MbStateMachine::UNTRACED ), "" );
}

} // namespace

} // namespace Qv
