#include <base/failure/assertions.h>
#include <resmgt/locks/lkUnnamedSema.h>
#include <resmgt/locks/src/posix/lkSemaHandlePosix.h>
#include <tests/support/deadline.h>
#include <tests/support/deniedCall.h>
#include <tests/support/processCounts.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>

namespace Qv {
namespace {

using enum LkSemaTypes::CreateFlag;

class LkNamedSemaTest : public ::testing::Test {
protected:
    std::unique_ptr<LkNamedSema> open( LkSemaTypes::CreateFlag flag, unsigned int count = 0 ) {
        return std::make_unique<LkNamedSema>( _name.c_str(), count, flag, "display" );
    }
    /// Another process that does `body`, and then waits to be killed or does something else.
    class Process {
    public:
        explicit Process(
            const std::function<void()>& body,
            const std::function<void()>& whenReady = [] { ::pause(); } ) {
            int ends[2] = {};
            EXPECT_EQ( ::pipe( ends ), 0 );
            _id = ::fork();
            if( _id == 0 ) {
                // Else it would outlive a test that the watchdog ends.
                ::prctl( PR_SET_PDEATHSIG, SIGKILL );
                body();
                static_cast<void>( !::write( ends[1], "x", 1 ) );
                whenReady();
                ::_exit( 1 );
            }
            ::close( ends[1] );
            char ready = 0;
            EXPECT_EQ( ::read( ends[0], &ready, 1 ), 1 ) << "the process died early";
            ::close( ends[0] );
        }
        ~Process() { kill(); }
        /// In the kernel, which its state letter says: it stands behind the name in parentheses.
        void waitUntilBlocked() const {
            waitUntil(
                [this] {
                    std::ifstream file( "/proc/" + std::to_string( _id ) + "/stat" );
                    std::string line;
                    std::getline( file, line );
                    return line.find( ") S" ) != std::string::npos;
                },
                "a process that blocks" );
        }
        bool hasEnded() {
            if( ::waitpid( _id, nullptr, WNOHANG ) != _id ) {
                return false;
            }
            _id = 0;
            return true;
        }
        void kill() {
            if( _id > 0 ) {
                ::kill( _id, SIGKILL );
                ::waitpid( _id, nullptr, 0 );
                _id = 0;
            }
        }

    private:
        pid_t _id = 0;
    };

    const std::string _name = "qv\\test/" + std::to_string( ::getpid() );
};

TEST_F( LkNamedSemaTest, FlagsDecideWhatAnExistingOrMissingOneMeans ) {
    EXPECT_EQ( open( OPEN_ONLY )->getErrno(), ENOENT );
    const auto made = open( CREATE_ONLY, 2 );
    ASSERT_TRUE( made->isValid() ) << std::strerror( made->getErrno() );
    const int nbDescriptors = countDescriptors();
    {
        const auto second = open( CREATE_ONLY );
        EXPECT_FALSE( second->isValid() );
        EXPECT_EQ( second->getErrno(), EEXIST );
        EXPECT_EQ( second->getRefCount(), 0u );
        EXPECT_THROW( second->tryWait(), ExAssertionFailed );
        second->post();
        second->wait();
    }
    EXPECT_EQ( countDescriptors(), nbDescriptors );
    const auto opened = open( OPEN_ONLY );
    EXPECT_TRUE( opened->tryWait() );
    EXPECT_TRUE( open( OPEN_OR_CREATE, 7 )->tryWait() );
    EXPECT_FALSE( made->tryWait() );
    EXPECT_STREQ( made->getName(), "display" );
    EXPECT_STREQ( LkNamedSema( "x", 0, OPEN_ONLY, nullptr ).getName(), "x" );
}

TEST_F( LkNamedSemaTest, AnyNameIsLegalAndOnlySlashesOfBothKindsNameTheSame ) {
    std::set<std::string> seen;
    int nbNames = 0;
    for( const std::string& name :
         { std::string(), std::string( "/" ), std::string( "a" ), std::string( "/a" ),
           std::string( "a%2F" ), std::string( "Global/\xC3\xA9\n\t *?" ), std::string( 5000, 'x' ),
           std::string( 5000, 'x' ) + "y", std::string( 300, '/' ) } ) {
        const std::string unique = name + "-" + std::to_string( ::getpid() );
        const LkNamedSema sema( unique.c_str(), 0, CREATE_ONLY, nullptr );
        EXPECT_TRUE( sema.isValid() ) << name << std::strerror( sema.getErrno() );
        seen.insert( LkSemaHandlePosix::toSystemName( name.c_str() ) );
        EXPECT_EQ( seen.size(), static_cast<std::size_t>( ++nbNames ) ) << name;
    }
    const auto made = open( CREATE_ONLY, 1 );
    std::string other = _name;
    other[2] = '/';
    EXPECT_TRUE( LkNamedSema( other.c_str(), 0, OPEN_ONLY, nullptr ).tryWait() );
    EXPECT_FALSE( made->tryWait() );
}

TEST_F( LkNamedSemaTest, ProcessesShareTheCountAndTheOpeningsAreCounted ) {
    const auto here = open( CREATE_ONLY );
    EXPECT_EQ( here->getRefCount(), 1u );
    Process other( [this] {
        const auto there = open( OPEN_ONLY ).release();
        there->post();
    } );
    here->wait();
    EXPECT_EQ( here->getRefCount(), 2u );
    const auto again = open( OPEN_ONLY );
    EXPECT_EQ( here->getRefCount(), 3u );
    other.kill();
    EXPECT_EQ( here->getRefCount(), 2u );
    EXPECT_EQ( again->getRefCount(), 2u );
}

TEST_F( LkNamedSemaTest, KilledProcessLeavesNoSemaphoreBehind ) {
    {
        const Process other( [this] { open( CREATE_ONLY, 5 ).release(); } );
        EXPECT_EQ( open( CREATE_ONLY )->getErrno(), EEXIST );
    }
    EXPECT_EQ( open( OPEN_ONLY )->getErrno(), ENOENT );
    {
        const Process other( [this] { open( CREATE_ONLY, 5 ).release(); } );
    }
    const auto fresh = open( CREATE_ONLY, 1 );
    ASSERT_TRUE( fresh->isValid() );
    EXPECT_TRUE( fresh->tryWait() );
    EXPECT_FALSE( fresh->tryWait() ) << "the dead process's count";
}

TEST_F( LkNamedSemaTest, WaiterThatIsKilledAsItIsWokenLeavesTheCountToTheNext ) {
    LkSemaHandlePosix sema( _name.c_str(), 0, CREATE_ONLY );
    const auto takeOne = [&] {
        sema.wait();
        ::_exit( 0 );
    };
    for( long round = scaledCount( 20 ); round > 0; --round ) {
        Process killed( [] {}, takeOne );
        killed.waitUntilBlocked();
        Process next( [] {}, takeOne );
        next.waitUntilBlocked();
        ::sem_post( &sema.getSema() );
        killed.kill();
        int count = 0;
        ::sem_getvalue( &sema.getSema(), &count );
        if( count == 0 ) {
            // The killed one may have been quick enough to take it.
            ::sem_post( &sema.getSema() );
        }
        waitUntil( [&] { return next.hasEnded(); }, "the next waiter takes the count" );
        while( ::sem_trywait( &sema.getSema() ) == 0 ) {}
    }
}

TEST_F( LkNamedSemaTest, FullVolumeMakesItInvalidAndLeavesNoName ) {
    TestThread( [this] {
        denyCall( SYS_fallocate, ENOSPC );
        EXPECT_EQ( open( CREATE_ONLY )->getErrno(), ENOSPC );
    } ).join();
    // First, since an opening removes what is left.
    const std::string file = "/dev/shm" + LkSemaHandlePosix::toSystemName( _name.c_str() );
    EXPECT_NE( ::access( file.c_str(), F_OK ), 0 ) << file;
    EXPECT_EQ( open( OPEN_ONLY )->getErrno(), ENOENT );
}

TEST_F( LkNamedSemaTest, ClosingOneWhoseNameWasMadeAnewLeavesTheNewOne ) {
    auto old = open( CREATE_ONLY, 1 );
    const std::string name = LkSemaHandlePosix::toSystemName( _name.c_str() );
    ASSERT_EQ( ::shm_unlink( name.c_str() ), 0 );
    const auto anew = open( CREATE_ONLY, 2 );
    ASSERT_TRUE( anew->isValid() );
    old.reset();
    EXPECT_TRUE( open( OPEN_ONLY )->isValid() );
}

TEST_F( LkNamedSemaTest, ForkedChildsCopyNeitherTakesTheNameAwayNorKeepsItOrTheOpening ) {
    auto closed = open( CREATE_ONLY );
    {
        const Process closing( [&] { closed.reset(); } );
    }
    auto kept = open( OPEN_ONLY );
    EXPECT_TRUE( kept->isValid() );
    const Process child( [] {} );
    closed.reset();
    EXPECT_TRUE( open( OPEN_ONLY )->isValid() );
    EXPECT_EQ( open( CREATE_ONLY )->getErrno(), EEXIST );
    EXPECT_EQ( kept->getRefCount(), 1u );
    kept.reset();
    EXPECT_EQ( open( OPEN_ONLY )->getErrno(), ENOENT );
}

TEST_F( LkNamedSemaTest, AssignedOnesShareUntilTheLastIsGone ) {
    auto made = open( CREATE_ONLY, 1 );
    {
        LkNamedSema other( nullptr, 0, OPEN_OR_CREATE, "other" );
        other = *made;
        made.reset();
        EXPECT_TRUE( other.tryWait() );
        EXPECT_EQ( other.getRefCount(), 1u );
    }
    EXPECT_EQ( open( OPEN_ONLY )->getErrno(), ENOENT );
}

TEST_F( LkNamedSemaTest, ThreadsThatOpenAndCloseTogetherNeverMeetAHalfMadeOne ) {
    TestThreads( 4, [this] {
        for( long round = scaledCount( 2000 ); round > 0; --round ) {
            const auto sema = open( OPEN_OR_CREATE, 1 );
            ASSERT_TRUE( sema->isValid() ) << std::strerror( sema->getErrno() );
            if( sema->tryWait() ) {
                sema->post();
            }
        }
    } ).join();
    EXPECT_EQ( open( OPEN_ONLY )->getErrno(), ENOENT );
}

TEST_F( LkNamedSemaTest, ItsFileNeverGetsTheNumberOfAClosedStream ) {
    const auto use = [this] {
        ::close( STDIN_FILENO );
        const auto sema = open( CREATE_ONLY );
        return sema->isValid() && ::fcntl( STDIN_FILENO, F_GETFD ) < 0 ? 0 : 1;
    };
    EXPECT_EXIT( ::_exit( use() ), ::testing::ExitedWithCode( 0 ), "" );
}

TEST( LkUnnamedSemaTest, CountsAndRefusesAnImpossibleCount ) {
    LkUnnamedSema sema( "sema", 1, LkSemaTypes::SHARED );
    EXPECT_TRUE( sema.tryWait() );
    EXPECT_FALSE( sema.tryWait() );
    TestThread waiter( [&] { sema.wait(); } );
    waiter.waitUntilBlocked();
    sema.post();
    waiter.join();
    EXPECT_STREQ( sema.getName(), "sema" );
    EXPECT_EQ( LkUnnamedSema( "sema", 0x80000000u, LkSemaTypes::NOT_SHARED ).getErrno(), EINVAL );
    EXPECT_EQ( LkNamedSema( nullptr, 0, OPEN_ONLY, "sema" ).getErrno(), EINVAL );
}

} // namespace
} // namespace Qv
