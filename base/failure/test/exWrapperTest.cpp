#include <base/failure/assertions.h>
#include <base/failure/exDebuggerUtil.h>
#include <base/failure/exStandard.h>
#include <base/failure/exWrapper.h>

#include <gmock/gmock.h>

#include <pthread.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>

namespace Qv {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct ForeignThing {};

class Work : public ExWrapper::Functor {
public:
    explicit Work( std::function<void()> body )
        : _body( std::move( body ) ) {}

    void execute() override { _body(); }

private:
    const std::function<void()> _body;
};

std::string logged;

void log( const char* text ) {
    logged = text;
}

class ExWrapperTest : public ::testing::Test {
protected:
    void SetUp() override {
        logged.clear();
        _former = ExWrapper::setLoggingFunction( &log );
    }
    void TearDown() override { EXPECT_EQ( ExWrapper::setLoggingFunction( _former ), &log ); }

    OPtrRet<ExBase> run( std::function<void()> body ) {
        Work work( std::move( body ) );
        return ExWrapper::execute( work, &_out );
    }

    APtr<char> _out{ new char[1]{} };
    ExWrapper::LoggingFunction _former = nullptr;
};

TEST_F( ExWrapperTest, AnOwnExceptionComesBackAsWhatItIsWithTheStackOfItsOrigin ) {
    std::string stackOfOrigin;
    const OPtr<ExBase> caught = run( [&] {
        const ExProgramAborted exception( QV_HERE, "own" );
        stackOfOrigin = exception.getStackText();
        throw exception;
    } );
    EXPECT_THROW( caught->raise(), ExProgramAborted );
    EXPECT_THAT( caught->getReason(), HasSubstr( "own" ) );
    EXPECT_EQ( _out.get(), stackOfOrigin );
    EXPECT_TRUE( OPtr<ExBase>( run( [] {} ) ).isNull() );
    EXPECT_TRUE( _out.isNull() );
    EXPECT_THAT( logged, IsEmpty() );
}

TEST_F( ExWrapperTest, AForeignExceptionIsNamedQuotedAndLogged ) {
    const struct {
        std::function<void()> _throw;
        const char* _type;
        const char* _text;
    } cases[] = {
        { [] { throw std::range_error( "too far" ); }, "std::range_error", "too far" },
        { [] { throw ForeignThing(); }, "ForeignThing", "" },
        { [] { throw 42; }, "int", "" },
    };
    for( const auto& c : cases ) {
        logged.clear();
        const OPtr<ExBase> caught = run( c._throw );
        ASSERT_FALSE( caught.isNull() );
        EXPECT_NE( dynamic_cast<const ExCaughtException*>( caught.get() ), nullptr );
        for( const char* text : { caught->getReason(), const_cast<const char*>( _out.get() ) } ) {
            EXPECT_THAT( text, HasSubstr( c._type ) );
            EXPECT_THAT( text, HasSubstr( c._text ) );
        }
        EXPECT_THAT( _out.get(), HasSubstr( "baseTest+0x" ) );
        EXPECT_EQ( logged, _out.get() );
    }
}

void* cancelInWrapper( void* hasReturned ) {
    Work work( [] {
        ::pthread_cancel( ::pthread_self() );
        ::pthread_testcancel();
    } );
    const OPtr<ExBase> caught = ExWrapper::execute( work, nullptr );
    *static_cast<bool*>( hasReturned ) = true;
    return nullptr;
}

TEST_F( ExWrapperTest, TheCancellationOfAThreadGoesThrough ) {
    bool hasReturned = false;
    pthread_t thread{};
    ASSERT_EQ( ::pthread_create( &thread, nullptr, &cancelInWrapper, &hasReturned ), 0 );
    void* result = nullptr;
    ASSERT_EQ( ::pthread_join( thread, &result ), 0 );
    EXPECT_EQ( result, PTHREAD_CANCELED );
    EXPECT_FALSE( hasReturned );
}

TEST( ExDebuggerUtilTest, TheStackLoggerGetsExceptionAndStackUntilItIsRemoved ) {
    ExDebuggerUtil::registerStackLogger( &log );
    try {
        throw std::range_error( "too\x1b far" );
    } catch( const std::exception& ) {
        ExDebuggerUtil::invokeDebuggerFromTerminateHandler();
    }
    EXPECT_THAT( logged,
                 AllOf( HasSubstr( "std::range_error: too? far" ), HasSubstr( "baseTest+0x" ) ) );
    ExDebuggerUtil::registerStackLogger( nullptr );
    ::testing::internal::CaptureStderr();
    ExDebuggerUtil::invokeDebuggerFromTerminateHandler();
    EXPECT_THAT( ::testing::internal::GetCapturedStderr(), HasSubstr( "Call stack:" ) );
}

TEST( ExDebuggerUtilTest, AnAttachedDebuggerIsStoppedIn ) {
    const pid_t child = ::fork();
    ASSERT_GE( child, 0 );
    if( child == 0 ) {
        ExDebuggerUtil::registerStackLogger( []( const char* ) {} );
        if( ::ptrace( PTRACE_TRACEME, 0, nullptr, nullptr ) == 0 ) {
            ExDebuggerUtil::invokeDebuggerFromTerminateHandler();
        }
        ::_exit( 1 );
    }
    int status = 0;
    ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
    ASSERT_TRUE( WIFSTOPPED( status ) ) << "status " << status;
    EXPECT_EQ( WSTOPSIG( status ), SIGTRAP );
    ::kill( child, SIGKILL );
    ::waitpid( child, &status, 0 );
}

} // namespace

} // namespace Qv
