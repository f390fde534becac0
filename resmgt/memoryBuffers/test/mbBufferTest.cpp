#include <base/ownership/rcEx.h>
#include <resmgt/memoryBuffers/mbBufferFactoryRegistry.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/support/holdPoint.h>
#include <tests/support/testThread.h>

namespace Qv {

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class MbBufferTest : public RecordedBuffers {
protected:
    static RCShdPtr<MbManager> makeHeap( unsigned long long limit = 1 << 20 ) {
        return RCShdPtr<MbManager>(
            new MbHeapManager( "heap", limit, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    }
    static MbBufferSimpleFactory makeFactory( const RCShdPtr<MbManager>& manager = makeHeap() ) {
        return MbBufferSimpleFactory(
            MbStateMachine::getInstance( MbStateMachine::TRACED, MbStateMachine::RELAXED )
                .getInitialState(),
            manager );
    }
};

TEST_F( MbBufferTest, ANullHandleIsHarmlessUntilItIsUsed ) {
    MbBuffer null;
    EXPECT_TRUE( null.isNull() );
    EXPECT_FALSE( null.isUniqueOwner() );
    EXPECT_EQ( null, MbBuffer() );
    EXPECT_THROW( null.getName(), ExNullPtr );
    EXPECT_THROW( null.prefetch(), ExNullPtr );
    MbBufferWrGuardImp writer;
    MbBufferRdGuardImp reader;
    EXPECT_TRUE( MbBufferWrGuardImp( writer ).isNull() );
    EXPECT_TRUE( MbBufferRdGuardImp( reader ).isNull() );
    EXPECT_TRUE( MbBufferRdGuardImp( writer ).isNull() );
    const std::function<void()> uses[] = {
        [&] { MbBufferRdGuardImp guard( null ); },
        [&] { MbBufferWrGuardImp guard( null ); },
        [&] { writer.setProtocol( OPtr<MbProtocol>() ); },
        [&] { reader.setProtocol( OPtr<MbProtocol>() ); },
        [&] { make().grab( null ); },
    };
    for( const auto& use : uses ) {
        EXPECT_EQ( raisedBy( use ), "Invalid argument: Buffer is empty." );
    }
}

TEST_F( MbBufferTest, FactoriesGiveNewBuffersTheirPropertiesButNoMemory ) {
    MbBufferSimpleFactory factory = makeFactory( makeHeap( 5000 ) );
    const MbBuffer plain = factory.create( "plain", 1000 );
    EXPECT_TRUE( plain.isUniqueOwner() );
    const MbBuffer other( plain );
    EXPECT_STREQ( plain.getName(), "plain" );
    EXPECT_EQ( plain.getSize(), 1000 );
    EXPECT_EQ( plain.getAlignment().getAlignmentMask(), 127u );
    EXPECT_NE( plain.getProtocol(), nullptr );
    EXPECT_TRUE( plain == other );
    EXPECT_FALSE( plain.isUniqueOwner() );
    EXPECT_EQ( factory.getFreeSpace(), 5000u );
    EXPECT_EQ( factory.getSize(), 5000u );
    const MbAlignment fine( 15, 0, 0 );
    EXPECT_EQ( factory.create( "fine", 16, fine ).getAlignment().getAlignmentMask(), 15u );
    EXPECT_THROW( factory.create( "negative", -1 ), MbEx::ExInvalidArgument );
    const std::string name( 5000, 'n' );
    EXPECT_THAT( MbEx::ExIllegalTransition( QV_HERE, name.c_str(), "sync()", "Here" ).getReason(),
                 HasSubstr( "n received event sync() from state Here." ) );
}

TEST_F( MbBufferTest, GuardsLockCopyAssignAndDemote ) {
    MbBuffer other = make( MbStateMachine::STRICT );
    MbBuffer first = make( MbStateMachine::STRICT );
    MbBufferWrGuardImp writer( first );
    const auto nbLocks = [this] { return MbTestAccess::lockCount( *imp ); };
    {
        MbBufferWrGuardImp same( writer );
        EXPECT_EQ( nbLocks(), 2u );
        same = writer;
        EXPECT_EQ( nbLocks(), 2u );
        MbBufferWrGuardImp assigned( other );
        assigned = same;
        EXPECT_EQ( nbLocks(), 3u );
    }
    EXPECT_EQ( nbLocks(), 1u );
    {
        const MbBufferWrGuardImp copy( writer );
        const MbBufferRdGuardImp reader( writer );
        EXPECT_TRUE( writer.isNull() );
        EXPECT_EQ( nbLocks(), 2u );
        EXPECT_EQ( reader.getMemory(), MbTestAccess::words( *imp )[1] );
        MbBufferRdGuardImp moving( other );
        // The writer's copy has become a reader, or this would wait.
        moving = reader;
        EXPECT_EQ( nbLocks(), 3u );
        EXPECT_TRUE( moving.getBuffer() == first );
        moving = MbBufferRdGuardImp();
        EXPECT_TRUE( moving.isNull() );
        EXPECT_EQ( nbLocks(), 2u );
    }
    EXPECT_EQ( nbLocks(), 0u );
    recorder.faultyCall = "unlocked";
    testing::internal::CaptureStderr();
    { const MbBufferRdGuardImp guard( first ); }
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "fault on demand" ) );
}

TEST_F( MbBufferTest, ReplacingTheProtocolDeletesTheFormerOneAfterItsCall ) {
    buffer = make();
    MbBufferRdGuardImp guard( buffer );
    const MbProtocol* const former = buffer.getProtocol();
    HoldPoint markDirty( "markDirty" );
    inside( "markDirty", [&] { markDirty.pass(); } );
    TestThread writer( [&] { const MbBufferWrGuardImp lock( buffer ); } );
    markDirty.waitUntilReached();
    TestThread replacer( [&] { guard.setProtocol( OPtr<MbProtocol>( new MbProtocol ) ); } );
    replacer.waitUntilBlocked();
    EXPECT_EQ( recorder.calls, "allocate load markDirty" );
    EXPECT_EQ( buffer.getProtocol(), former );
    markDirty.release();
    writer.join();
    replacer.join();
    EXPECT_EQ( recorder.calls, "allocate load markDirty end" );
    EXPECT_NE( buffer.getProtocol(), former );
}

/// Has only the operations that those of a plain protocol come down to.
class LeafProtocol : public MbProtocol {
public:
    explicit LeafProtocol( Recorder& recorder )
        : _recorder( recorder ) {}

    void reload( void*, unsigned long long ) override { _recorder.note( "reload" ); }
    void asyncReloadSucceeded() override { _recorder.note( "reloadSucceeded" ); }
    void asyncReloadFailed() override { _recorder.note( "reloadFailed" ); }
    void unlocked( void*, unsigned long long, MbBufferImp* ) override {
        _recorder.note( "unlocked" );
    }
    bool unload( void*, unsigned long long ) override {
        _recorder.note( "unload" );
        return true;
    }
    void free( void*, unsigned long long ) override { _recorder.note( "free" ); }
    void markDirty( void*, unsigned long long ) override { _recorder.note( "dirty" ); }

private:
    Recorder& _recorder;
};

TEST_F( MbBufferTest, APlainProtocolsOperationsComeDownToAFew ) {
    const auto protocol = new LeafProtocol( recorder );
    protocol->asyncLoadFailed();
    EXPECT_EQ( recorder.take(), "reloadFailed" );
    buffer = make();
    MbBufferRdGuardImp( buffer ).setProtocol( OPtr<MbProtocol>( protocol ) );
    send( "free" );
    const std::pair<const char*, const char*> cases[] = {
        { "prefetch", "allocate reload reloadSucceeded list" },
        { "wrlock unlock asyncSync", "unlist dirty unlocked list unlist unload list" },
        { "wrlock unlock sync free",
          "unlist dirty unlocked list unlist unload list unlist free deallocate" },
        { "wrlock unlock drop", "allocate reload dirty unlocked list unlist free deallocate" },
    };
    for( const auto& [events, calls] : cases ) {
        recorder.take();
        send( events );
        EXPECT_EQ( recorder.calls, calls );
    }
}

TEST_F( MbBufferTest, EventsFromInsideACallAreSentAgainAtItsEnd ) {
    // What `inside` sends from inside the call `at` comes while the state is about to change. Then
    // `calls` are made in all, and the regular expressions tell what comes out of the events and
    // what is reported.
    const struct {
        const char *before, *events, *at, *inside, *faultyCall, *calls, *raised, *reported;
    } cases[] = {
        // A completion comes before a free that would wait for it.
        { "", "prefetch", "asyncLoad", "free asyncSync asyncOpSucceeded", "",
          "allocate asyncLoad asyncLoadSucceeded list unlist free deallocate", "", "" },
        // A free or end waits for the next operation, without its thread, the only one that could
        // complete this.
        { "wrlock unlock asyncSync", "asyncOpFailed asyncOpSucceeded", "asyncSyncFailed",
          "asyncSync free", "",
          "asyncSyncFailed list unlist asyncSync asyncSyncSucceeded list unlist free deallocate",
          "", "" },
        { "wrlock unlock asyncSync", "asyncOpFailed asyncOpSucceeded", "asyncSyncFailed",
          "asyncSync drop", "",
          "asyncSyncFailed list unlist asyncSync asyncSyncSucceeded list unlist deallocate end", "",
          "" },
        // A deferred asyncSync runs after the last lock, unless the content is freed.
        { "wrlock asyncSync", "unlock asyncOpSucceeded", "", "", "",
          "unlocked list unlist asyncSync asyncSyncSucceeded list", "", "" },
        { "wrlock asyncSync free", "unlock", "", "", "", "free deallocate", "", "" },
        // A prefetch. One that is put off behind a load goes with that if it fails, also where the
        // failure comes before the state is left.
        { "prefetch prefetch", "asyncOpFailed", "", "", "", "deallocate asyncLoadFailed", "", "" },
        { "", "prefetch", "asyncLoad", "prefetch asyncOpFailed", "",
          "allocate asyncLoad deallocate asyncLoadFailed", "", "" },
        { "prefetch prefetch", "asyncOpSucceeded", "", "", "",
          "asyncLoadSucceeded list unlist list", "", "" },
        { "wrlock unlock", "free asyncOpSucceeded", "free", "prefetch", "",
          "unlist free deallocate allocate asyncLoad asyncLoadSucceeded list", "", "" },
        // The last handle's end.
        { "prefetch", "asyncOpSucceeded", "asyncLoadSucceeded", "drop", "",
          "asyncLoadSucceeded list unlist deallocate end", "", "" },
        { "wrlock unlock", "unload", "unload", "drop", "", "unlist unload deallocate end", "", "" },
        { "wrlock unlock", "drop", "", "", "destroy", "unlist destroy deallocate end", "",
          ".*fault on demand.*" },
        // What an event raises that is sent again: goes to the caller, unless it isn't the first.
        // A lock that is taken by then is given up.
        { "wrlock unlock", "sync", "sync", "asyncOpSucceeded", "", "unlist sync list",
          ".*event asyncOpSucceeded.*", "" },
        { "wrlock unlock", "sync", "sync", "asyncOpSucceeded", "sync", "unlist sync list",
          "fault on demand", ".*event asyncOpSucceeded.*" },
        { "", "rdlock", "load", "asyncOpFailed", "", "allocate load unlocked list",
          ".*event asyncOpFailed.*", "" },
        // The last lock ends whatever the protocol does.
        { "rdlock", "unlock", "", "", "unlocked", "unlocked list", "fault on demand", "" },
        // What has raised is sent again. A failed load has lost its memory.
        { "prefetch", "asyncOpFailed asyncOpSucceeded asyncOpFailed", "", "", "asyncLoadFailed",
          "deallocate asyncLoadFailed asyncLoadFailed", "fault on demand.*event asyncOpSucceeded.*",
          "" },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( std::string( c.before ) + ", " + c.events + ", inside " + c.inside );
        buffer = make();
        send( c.before );
        recorder.take();
        inside( c.at, [&] { send( c.inside ); } );
        recorder.faultyCall = c.faultyCall;
        testing::internal::CaptureStderr();
        std::string raised;
        std::istringstream events( c.events );
        for( std::string event; events >> event; ) {
            raised += raisedBy( [&] { send( event ); } );
        }
        EXPECT_THAT( testing::internal::GetCapturedStderr(), MatchesRegex( c.reported ) );
        EXPECT_THAT( raised, MatchesRegex( c.raised ) );
        EXPECT_EQ( recorder.take(), c.calls );
        if( !buffer.isNull() ) {
            EXPECT_EQ( MbTestAccess::lockCount( *imp ), 0u );
            EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), 0u );
            send( "drop" );
            EXPECT_THAT( recorder.take(), testing::EndsWith( "end" ) );
        }
    }
}

TEST_F( MbBufferTest, AHandleThatEndsInItsOwnPrefetchWaitsForTheCompletion ) {
    buffer = make();
    inside( "asyncLoad", [&] { send( "drop" ); } );
    TestThread prefetcher( [&] { buffer.prefetch(); } );
    prefetcher.waitUntilBlocked();
    send( "asyncOpSucceeded" );
    prefetcher.join();
    EXPECT_THAT( recorder.calls, testing::EndsWith( "end" ) );
}

// Moving memory.

TEST_F( MbBufferTest, GrabMovesTheMemoryAndWakesTheWaitersOfBothBuffers ) {
    MbBuffer first = make();
    MbBufferImp* const firstImp = imp;
    send( "wrlock unlock" );
    const MbTestAccess::Words memory = MbTestAccess::words( *imp );
    MbBuffer second = make();
    recorder.take();
    for( MbBuffer* const target : { &second, &first } ) {
        MbBuffer& source = target == &first ? second : first;
        BroadcastProbe probe( MbTestAccess::stateChanged( *firstImp ) );
        target->grab( source );
        EXPECT_TRUE( probe.wasBroadcast() );
        EXPECT_EQ( recorder.take(), "unlist free grab list" );
        EXPECT_FALSE( source.isLoaded() );
        EXPECT_EQ( MbTestAccess::words( target == &first ? *firstImp : *imp ), memory );
    }
    // The memory isn't lost where the source is free but its event raises, nor where the target,
    // in the middle of a call of its own, can't begin.
    inside( "free", [&] { firstImp->asyncSucceeded(); } );
    EXPECT_THAT( raisedBy( [&] { second.grab( first ); } ), HasSubstr( "asyncOpSucceeded" ) );
    EXPECT_EQ( recorder.take(), "unlist free giveBack" );
    inside( "load", [&] { second.grab( first ); } );
    EXPECT_THAT( raisedBy( [&] { send( "rdlock" ); } ), HasSubstr( "isCurrentThread" ) );
    EXPECT_EQ( recorder.take(), "allocate load allocate load free giveBack deallocate" );
}

TEST_F( MbBufferTest, GrabRefusesWhatDoesNotFit ) {
    const RCShdPtr<MbManager> heap = makeHeap( 4096 );
    MbBufferSimpleFactory factory = makeFactory( heap );
    MbBuffer target = factory.create( "target", 512 );
    MbBuffer foreign = makeFactory().create( "foreign", 512 );
    MbBuffer larger = factory.create( "larger", 1024 );
    const struct {
        MbBuffer& source;
        const char* raised;
        bool isLost;
    } cases[] = {
        { target, "Can not grab from same buffer.", false },
        { foreign,
          "Buffers must share the same manager in order to transfer the ownership of the region..",
          false },
        { larger, "Buffer sizes or alignment do not match..", true },
    };
    { const MbBufferWrGuardImp guard( target ); }
    for( const auto& c : cases ) {
        { const MbBufferWrGuardImp guard( c.source ); }
        EXPECT_EQ( raisedBy( [&] { target.grab( c.source ); } ),
                   std::string( "Invalid argument: " ) + c.raised );
        EXPECT_NE( c.source.isLoaded(), c.isLost );
        EXPECT_TRUE( target.isLoaded() );
    }
    EXPECT_EQ( heap->getFreeSpace(), 4096u - 512 - 127 );
}

TEST_F( MbBufferTest, TheRegistryKeepsOneFactoryForEachType ) {
    using Registry = MbBufferFactoryRegistry;
    const auto add = [] {
        OPtr<MbBufferFactory> factory( new MbBufferSimpleFactory( makeFactory() ) );
        MbBufferFactory* const raw = factory.get();
        Registry::registerFactory( Registry::SCRATCH, factory );
        return raw;
    };
    EXPECT_FALSE( Registry::hasFactory( Registry::SCRATCH ) );
    MbBufferFactory* const factory = add();
    EXPECT_TRUE( Registry::hasFactory( Registry::SCRATCH ) );
    EXPECT_THAT( raisedBy( add ),
                 HasSubstr( "_registry.insert( RegistryMap::value_type( factoryType, "
                            "factory.release( ) ) ).second" ) );
    EXPECT_EQ( Registry::getFactory( Registry::SCRATCH ), factory );
    EXPECT_THAT( raisedBy( [] { Registry::getFactory( Registry::TILES ); } ),
                 HasSubstr( "it != _registry.end()" ) );
}

TEST_F( MbBufferTest, TracesEventsStatesAndIgnoredOnesOnlyInTheTracingMachine ) {
    TraceLevel& level = *Trace::registerLevel( "MbStateMachine", "mbStateTrace.cpp" );
    const auto traceOf = [&]( MbStateMachine::Trace_e trace ) {
        const MbBuffer traced = make( MbStateMachine::RELAXED, trace );
        level.setEnabled( true );
        testing::internal::CaptureStderr();
        send( "unload rdlock rdlock unlock unlock" );
        EXPECT_THROW( send( "unlock" ), MbEx::ExIllegalTransition );
        level.setEnabled( false );
        return testing::internal::GetCapturedStderr();
    };
    const std::string text = traceOf( MbStateMachine::TRACED );
    for( const char* const line :
         { "MbBuffer : buffer (0x", ") [ Lock count = 0 ] -->  Freed unload (ignored)",
           "Freed::rdlock", " ] -->  TransientState::entering", " ] -->  Locked::entering",
           ") [ Lock count = 1 ] -->  Locked", "Locked::rdlock", ") [ Lock count = 2 ] -->  Locked",
           "Synched::unlock" } ) {
        EXPECT_THAT( text, HasSubstr( line ) );
    }
    EXPECT_EQ( traceOf( MbStateMachine::UNTRACED ), "" );
}

} // namespace

} // namespace Qv
